#include "core/datadir.h"
#include "core/clock.h"
#include "platform/mpvplayer.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "playback/frmplay.h"
#include "shell/autostart.h"
#include "shell/mainform1.h"
#include "shell/language.h"
#include "shell/messageboxprompt.h"
#include "shell/singleinstance.h"
#include "shell/station.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QSocketNotifier>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const auto n = ::write(signalPipe[1], &c, 1);
}

// SIGINT and SIGTERM end the event loop cleanly: the handler only writes a
// byte, the loop reads it. exit() rather than quit(): quit() first asks every
// window to close, and the console would put its exit question to a system
// that is shutting down.
void quitOnSignals(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char c;
        [[maybe_unused]] const auto n = ::read(signalPipe[0], &c, 1);
        QCoreApplication::exit(0);
    });
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &sa, nullptr);
    ::sigaction(SIGTERM, &sa, nullptr);
}

void fail(const QString &message)
{
    std::fprintf(stderr, "tavplayer: %s\n", message.toUtf8().constData());
}

// The window needs a display; --headless, or none, runs the schedule alone.
bool wantsWindow(int argc, char *argv[])
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--headless") == 0)
            return false;
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
           || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

} // namespace

int main(int argc, char *argv[])
{
    const bool windowed = wantsWindow(argc, argv);
    std::unique_ptr<QCoreApplication> app(windowed ? new QApplication(argc, argv)
                                                   : new QCoreApplication(argc, argv));
    QCoreApplication::setApplicationName(u"tavplayer"_s);
    // The media engine parses numbers the C way whatever the locale.
    std::setlocale(LC_NUMERIC, "C");

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Tavrel多媒体定时播放系统"_s);
    parser.addHelpOption();
    const QCommandLineOption headless(u"headless"_s, u"Run the schedule without windows."_s);
    const QCommandLineOption dataDir(u"data-dir"_s, u"The station's data folder."_s, u"DIR"_s);
    const QCommandLineOption playerOption(u"player-option"_s,
                                          u"An option for the media engine (repeatable)."_s,
                                          u"NAME=VALUE"_s);
    const QCommandLineOption trace(u"trace"_s, u"Append timing events to FILE."_s, u"FILE"_s);
    parser.addOptions({headless, dataDir, playerOption, trace});
    parser.process(*app);

    QString error;
    const QString dir = tav::DataDir::resolve(parser.value(dataDir), &error);
    if (dir.isEmpty()) {
        fail(error);
        return 1;
    }
    for (const QString &option : parser.values(playerOption)) {
        if (!option.contains(u'=')) {
            fail(u"--player-option needs NAME=VALUE, got \"%1\""_s.arg(option));
            return 2;
        }
    }

    if (QString why; windowed && !tav::useChinese(*app, &why))
        std::fprintf(stderr, "%s\n", why.toUtf8().constData());
    std::unique_ptr<tav::Prompt> prompt;
    if (windowed)
        prompt = std::make_unique<tav::MessageBoxPrompt>(nullptr);
    else
        prompt = std::make_unique<tav::HeadlessPrompt>();

    // One station per data folder: when another copy of the program runs and
    // it serves this folder, a second start brings that one to the front.
    const QString instanceName = tav::SingleInstance::serverNameFor(dir);
    const QString exeName = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    if (tav::SingleInstance::countProcesses(exeName) > 1 && tav::SingleInstance::activateRunning(instanceName)) {
        prompt->inform(u"Tavrel多媒体定时播放系统"_s, u"程序已经运行！"_s);
        return 0;
    }
    tav::SingleInstance instance;
    instance.listen(instanceName);

    // With a window the video is drawn by the player window; the options
    // given on the command line still come last and win.
    const QStringList playerOptions =
        (windowed ? QStringList{u"vo=libmpv"_s} : QStringList()) + parser.values(playerOption);
    tav::MpvPlayer player(playerOptions);
    if (!player.isValid()) {
        fail(player.errorString());
        return 1;
    }
    tav::SystemClock clock;
    tav::SystemShutdown shutdown;
    tav::Station station(dir, player, *prompt, clock, shutdown);
    player.setTraceSink([&station](const QString &event, const QString &detail) { station.trace(event, detail); });
    if (parser.isSet(trace) && !station.setTraceFile(parser.value(trace))) {
        fail(u"cannot write the trace file %1"_s.arg(parser.value(trace)));
        return 1;
    }
    quitOnSignals(*app);

    std::unique_ptr<tav::AutoStart> autoStart;
    std::unique_ptr<tav::frmPlay> videoWindow;
    std::unique_ptr<tav::MainForm1> window;
    if (windowed) {
        autoStart = std::make_unique<tav::AutoStart>();
        videoWindow = std::make_unique<tav::frmPlay>(station.settings(), station.dataDir(), &player);
        window = std::make_unique<tav::MainForm1>(station, *autoStart, videoWindow.get());
        QObject::connect(&instance, &tav::SingleInstance::activationRequested, window.get(),
                         &tav::MainForm1::bringToFront);
        window->show();
        window->startUp();
    } else {
        station.printToConsole();
        station.start();
    }
    const int rc = app->exec();
    station.shutDown();
    return rc;
}
