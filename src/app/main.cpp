#include "app/commandline.h"
#include "app/verbs.h"
#include "core/datadir.h"
#include "core/clock.h"
#include "platform/clocksetter.h"
#include "platform/mpvplayer.h"
#include "platform/speech.h"
#include "core/zhtext.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "playback/frmplay.h"
#include "shell/autostart.h"
#include "shell/mainform1.h"
#include "shell/language.h"
#include "shell/messageboxprompt.h"
#include "shell/singleinstance.h"
#include "shell/station.h"
#include "shell/weekahead.h"

#include <QApplication>
#include <QFileInfo>
#include <QTimer>
#include <QIcon>
#include <QSocketNotifier>
#include <QTextStream>

#include <clocale>
#include <csignal>
#include <cstdio>
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
bool wantsWindow(const tav::CommandLine &command)
{
    if (command.isSet(u"headless"_s))
        return false;
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
           || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

int printHelp(const tav::CommandLine &command, int &, char **)
{
    QTextStream(stdout) << command.helpText(tav::languageOf(QProcessEnvironment::systemEnvironment()));
    return 0;
}

int printVersion(const tav::CommandLine &, int &, char **)
{
    QTextStream(stdout) << tav::CommandLine::versionText();
    return 0;
}

int printAgenda(const tav::CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QString error;
    const QString dir = tav::DataDir::resolve(command.value(u"data-dir"_s), &error);
    if (dir.isEmpty()) {
        fail(error);
        return 1;
    }
    const int days = command.isSet(u"days"_s) ? command.value(u"days"_s).toInt() : tav::WeekAhead::kDays;
    tav::SystemClock clock;
    QTextStream out(stdout);
    return tav::WeekAhead::print(dir, days, clock, out);
}

int runStation(const tav::CommandLine &command, int &argc, char **argv)
{
    const bool windowed = wantsWindow(command);
    std::unique_ptr<QCoreApplication> app(windowed ? new QApplication(argc, argv)
                                                   : new QCoreApplication(argc, argv));
    QCoreApplication::setApplicationName(u"tavplayer"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(TAV_VERSION));
    if (windowed) {
        QGuiApplication::setDesktopFileName(u"tavplayer"_s);
        QGuiApplication::setWindowIcon(QIcon::fromTheme(u"tavplayer"_s, QIcon(u":/app/tavplayer.png"_s)));
    }
    // The media engine parses numbers the C way whatever the locale.
    std::setlocale(LC_NUMERIC, "C");

    QString error;
    const QString dir = tav::DataDir::resolve(command.value(u"data-dir"_s), &error);
    if (dir.isEmpty()) {
        fail(error);
        return 1;
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
        (windowed ? QStringList{u"vo=libmpv"_s} : QStringList()) + command.values(u"player-option"_s);
    tav::MpvPlayer player(playerOptions);
    if (!player.isValid()) {
        fail(player.errorString());
        return 1;
    }
    // The broadcast's tone and music, and the voice: players of their own,
    // sound only. A PCM file given for the main player gets one per role
    // beside it ("F-broadcast", "F-voice").
    const auto roleOptions = [&command](const QString &role) {
        QStringList options{u"vid=no"_s};
        for (QString option : command.values(u"player-option"_s)) {
            if (option.trimmed().startsWith(u"ao-pcm-file="_s))
                option = option.trimmed() + u'-' + role;
            options.append(option);
        }
        return options;
    };
    tav::MpvPlayer broadcastPlayer(roleOptions(u"broadcast"_s));
    tav::MpvPlayer voicePlayer(roleOptions(u"voice"_s));
    tav::EspeakSynth synth;
    tav::SystemClock clock;
    tav::SystemShutdown shutdown;
    tav::SystemClockSetter clockSetter; // outlives the station, which uses it
    tav::Station station(dir, player, *prompt, clock, shutdown);
    station.setClockSetter(&clockSetter);
    if (broadcastPlayer.isValid() && voicePlayer.isValid() && synth.isAvailable())
        station.setBroadcastDevices(broadcastPlayer, voicePlayer, synth);
    else {
        const QString why = !synth.isAvailable()          ? u"语音引擎 espeak-ng 无法初始化"_s
                            : !broadcastPlayer.isValid() ? broadcastPlayer.errorString()
                                                         : voicePlayer.errorString();
        // Into the log once it is loaded.
        QTimer::singleShot(0, &station, [&station, &clock, why] {
            station.log().append(tav::zh::stampedLine(clock.now(), u"语音播报不可用："_s + why));
        });
    }
    player.setTraceSink([&station](const QString &event, const QString &detail) { station.trace(event, detail); });
    broadcastPlayer.setTraceSink([&station](const QString &event, const QString &detail) {
        station.trace(u"broadcast-"_s + event, detail);
    });
    voicePlayer.setTraceSink([&station](const QString &event, const QString &detail) {
        station.trace(u"voice-"_s + event, detail);
    });
    const QString traceFile = command.value(u"trace"_s);
    if (!traceFile.isEmpty() && !station.setTraceFile(traceFile)) {
        fail(u"cannot write the trace file %1"_s.arg(traceFile));
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

} // namespace

int main(int argc, char *argv[])
{
    // What each verb does; kStation runs the station. A verb added to the
    // command-line table gets its line here.
    struct VerbHandler
    {
        QString verb;
        int (*run)(const tav::CommandLine &, int &argc, char **argv);
    };
    const VerbHandler handlers[] = {
        {tav::CommandLine::kStation, runStation},
        {tav::CommandLine::kHelp, printHelp},
        {tav::CommandLine::kVersion, printVersion},
        {u"agenda"_s, printAgenda},
        {u"sync-time"_s, tav::syncTimeVerb},
        {u"backup"_s, tav::backupVerb},
        {u"restore"_s, tav::restoreVerb},
        {u"say"_s, tav::sayVerb},
    };

    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    tav::CommandLine command;
    if (!command.parse(arguments, tav::languageOf(QProcessEnvironment::systemEnvironment()))) {
        QTextStream(stderr) << command.errorText() << u'\n';
        return 2;
    }
    for (const VerbHandler &handler : handlers)
        if (handler.verb == command.verb())
            return handler.run(command, argc, argv);
    fail(u"no handler for --%1"_s.arg(command.verb()));
    return 1;
}
