#include "app/commandline.h"
#include "app/verbs.h"
#include "broadcast/readingsynth.h"
#include "backup/filebackup.h"
#include "core/datadir.h"
#include "core/clock.h"
#include "platform/clocksetter.h"
#include "platform/deckplayer.h"
#include "platform/loadertables.h"
#include "platform/mpvplayer.h"
#include "platform/ondemandplayer.h"
#include "platform/speech.h"
#include "core/zhtext.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "shell/singleinstance.h"
#include "shell/station.h"
#include "shell/stationcommands.h"
#include "remote/metricsserver.h"
#include "shell/weekahead.h"
#include "remote/webserver.h"

// The headless build (tavplayer-headless) is this file without the console:
// it links neither Qt Widgets nor Gui, so a station without a display maps
// none of them. The full program hands every run without a window to it.
#ifndef TAV_HEADLESS_ONLY
#include "playback/frmplay.h"
#include "shell/autostart.h"
#include "shell/language.h"
#include "shell/mainform1.h"
#include "shell/messageboxprompt.h"

#include <QApplication>
#include <QIcon>
#endif

#include <QCoreApplication>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
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
#ifdef TAV_HEADLESS_ONLY
    Q_UNUSED(command);
    return false;
#else
    if (command.isSet(u"headless"_s))
        return false;
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
           || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
#endif
}

#ifndef TAV_HEADLESS_ONLY
// A run without a window (headless, or a verb) becomes the headless build
// beside this program, in the same process: the window libraries are gone
// from it. Returns only when there is none or it cannot be started; the run
// then goes on here.
void becomeHeadless(char **argv)
{
    char self[4096];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0)
        return;
    self[n] = '\0';
    std::string headless(self);
    headless.append("-headless");
    ::execv(headless.c_str(), argv);
}
#endif

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
    std::unique_ptr<QCoreApplication> app;
#ifndef TAV_HEADLESS_ONLY
    if (windowed) {
        app = std::make_unique<QApplication>(argc, argv);
        QGuiApplication::setDesktopFileName(u"tavplayer"_s);
        QGuiApplication::setWindowIcon(QIcon::fromTheme(u"tavplayer"_s, QIcon(u":/app/tavplayer.png"_s)));
    }
#endif
    if (!app)
        app = std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(u"tavplayer"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(TAV_VERSION));
    // The media engine parses numbers the C way whatever the locale.
    std::setlocale(LC_NUMERIC, "C");

    QString error;
    const QString dir = tav::DataDir::resolve(command.value(u"data-dir"_s), &error);
    if (dir.isEmpty()) {
        fail(error);
        return 1;
    }

    std::unique_ptr<tav::Prompt> prompt;
#ifndef TAV_HEADLESS_ONLY
    if (windowed) {
        if (QString why; !tav::useChinese(*app, &why))
            std::fprintf(stderr, "%s\n", why.toUtf8().constData());
        prompt = std::make_unique<tav::MessageBoxPrompt>(nullptr);
    }
#endif
    if (!prompt)
        prompt = std::make_unique<tav::HeadlessPrompt>();

    // One station per data folder: the copy that takes the folder's lock
    // runs; a later start brings that one to the front (it may still be
    // starting: it is asked for a few seconds) and ends.
    const QString instanceName = tav::SingleInstance::serverNameFor(dir);
    tav::SingleInstance instance;
    if (!instance.lock(dir)) {
        if (!instance.heldElsewhere()) {
            fail(instance.errorString());
            return 1;
        }
        for (int i = 0; i < 50 && !tav::SingleInstance::activateRunning(instanceName, 200); ++i)
            ::usleep(100 * 1000);
        prompt->inform(u"Tavrel多媒体定时播放系统"_s, u"程序已经运行！"_s);
        return 0;
    }
    if (!instance.listen(instanceName)) {
        fail(instance.errorString());
        if (instance.answeredByAnother())
            return 1; // a copy without the lock (an older program) serves the folder
    }
    // A restore that a crash or a full disk cut short is finished or undone
    // before anything reads the folder.
    const QStringList recovered = tav::FileBackup::recover(dir);
    for (const QString &line : recovered)
        std::fprintf(stderr, "tavplayer: %s\n", line.toUtf8().constData());

    // With a window the video is drawn by the player window; the options
    // given on the command line still come last and win.
    const QStringList playerOptions =
        (windowed ? QStringList{u"vo=libmpv"_s} : QStringList()) + command.values(u"player-option"_s);
    tav::MpvPlayer player(playerOptions);
    if (!player.isValid()) {
        fail(player.errorString());
        return 1;
    }
    const qint64 outputLead = command.isSet(u"output-lead"_s) ? command.value(u"output-lead"_s).toLongLong() : -1;
    player.setOutputLatency(outputLead);
    // The broadcast's tone and music, the voice, and the media player's
    // spare engine: players of their own, sound only, made a few seconds
    // before they are needed and let go when they have stood idle. A PCM
    // file given for the main player gets one per role beside it
    // ("F-broadcast", "F-voice", "F-spare"). The spare's trace is the media
    // player's: its "playing" is the station's output beginning just the same.
    tav::Station *owner = nullptr; // the station, once it exists
    const auto rolePlayer = [&command, &owner, outputLead](const QString &role) {
        return [&command, &owner, outputLead, role](QString *why) -> std::unique_ptr<tav::MediaPlayer> {
            const bool spare = role == u"spare";
            QStringList options{u"vid=no"_s};
            for (QString option : command.values(u"player-option"_s)) {
                if (option.trimmed().startsWith(u"ao-pcm-file="_s))
                    option = option.trimmed() + u'-' + role;
                options.append(option);
            }
            auto made = std::make_unique<tav::MpvPlayer>(options);
            made->setOutputLatency(outputLead);
            if (!made->isValid()) {
                *why = made->errorString();
                // Without a spare a start over an item playing loads at its second.
                if (owner && !spare)
                    owner->log().append(tav::zh::stampedLine(owner->clock().now(), u"语音播报不可用："_s + *why));
                return nullptr;
            }
            made->setTraceSink([&owner, prefix = spare ? QString() : role + u'-'](const QString &event,
                                                                                 const QString &detail) {
                if (owner)
                    owner->trace(prefix + event, detail);
            });
            return made;
        };
    };
    tav::OnDemandPlayer broadcastPlayer(rolePlayer(u"broadcast"_s));
    tav::OnDemandPlayer voicePlayer(rolePlayer(u"voice"_s));
    tav::OnDemandPlayer spareEngine(rolePlayer(u"spare"_s));
    tav::DeckPlayer mediaPlayer(player, spareEngine);
    tav::EspeakSynth espeak;
    tav::ReadingSynth synth(espeak); // Chinese words in pinyin for the Mandarin voices
    tav::SystemClock clock;
    tav::SystemShutdown shutdown;
    tav::SystemClockSetter clockSetter; // outlives the station, which uses it
    tav::Station station(dir, mediaPlayer, *prompt, clock, shutdown);
    owner = &station;
    station.setClockSetter(&clockSetter);
    if (!recovered.isEmpty()) // into the message log too, once it is loaded
        QTimer::singleShot(0, &station, [&station, &clock, recovered] {
            for (const QString &line : recovered)
                station.log().append(tav::zh::stampedLine(clock.now(), line));
        });
    if (espeak.isAvailable()) {
        station.setBroadcastDevices(broadcastPlayer, voicePlayer, synth);
    } else {
        // Into the log once it is loaded.
        QTimer::singleShot(0, &station, [&station, &clock] {
            station.log().append(tav::zh::stampedLine(clock.now(), u"语音播报不可用：语音引擎 espeak-ng 无法初始化"_s));
        });
    }
    player.setTraceSink([&station](const QString &event, const QString &detail) { station.trace(event, detail); });
    const QString traceFile = command.value(u"trace"_s);
    if (!traceFile.isEmpty() && !station.setTraceFile(traceFile)) {
        fail(u"cannot write the trace file %1"_s.arg(traceFile));
        return 1;
    }
    quitOnSignals(*app);
    // Announcements and the emergency from the command line, on the same socket.
    tav::StationCommands commands(station);
    instance.setCommandHandler([&commands](QLocalSocket *socket) { commands.serve(socket); });

#ifndef TAV_HEADLESS_ONLY
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
    }
#endif
    if (!windowed) {
        station.printToConsole();
        station.start();
    }
    // The web console: when its settings switch it on, or for this run.
    tav::WebSettings web = tav::WebSettings::load(station.dataDir());
    if (command.isSet(u"web-port"_s)) {
        web.enabled = true;
        web.port = quint16(command.value(u"web-port"_s).toUInt());
    }
    if (command.isSet(u"web-listen"_s)) {
        web.enabled = true;
        web.listen = command.value(u"web-listen"_s);
    }
    std::unique_ptr<tav::WebServer> webServer;
    if (web.enabled) {
        webServer = std::make_unique<tav::WebServer>(station, web);
        webServer->setMetricsProvider([&station] { return station.metrics().text(); });
        QString why;
        if (webServer->start(&why)) {
            station.log().append(tav::zh::stampedLine(
                clock.now(), u"网页控制台：http%1://%2:%3/"_s.arg(web.certificate.isEmpty() ? QString() : u"s"_s,
                                                            web.listen).arg(webServer->port())));
#ifndef TAV_HEADLESS_ONLY
            if (window)
                QObject::connect(&webServer->api(), &tav::StationApi::changed, window.get(),
                                 [w = window.get()](const QString &) { w->reloadFromRemote(); });
#endif
        } else {
            station.log().append(tav::zh::stampedLine(clock.now(), why));
            fail(why);
            webServer.reset();
        }
    }
    // The figures for a monitoring system, on a port of their own when asked for.
    tav::MetricsServer metricsServer([&station] { return station.metrics().text(); });
    const QString metricsListen =
        command.isSet(u"metrics-listen"_s) ? command.value(u"metrics-listen"_s) : station.metricsListen();
    if (!metricsListen.isEmpty()) {
        QString why;
        const QString line = metricsServer.listen(metricsListen, &why)
                                 ? u"指标页面：http://%1:%2/metrics"_s.arg(
                                       metricsServer.address().protocol() == QAbstractSocket::IPv6Protocol
                                           ? u'[' + metricsServer.address().toString() + u']'
                                           : metricsServer.address().toString())
                                       .arg(metricsServer.port())
                                 : why;
        station.log().append(tav::zh::stampedLine(clock.now(), line));
    }
    // The libraries' loading tables go once the first seconds have bound the
    // functions the station uses at rest (see loadertables.h).
    QTimer::singleShot(std::chrono::seconds(5), app.get(), [] { tav::releaseLoaderTables(); });
    const int rc = app->exec();
    webServer.reset();
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
        {u"announce"_s, tav::stationCommandVerb},
        {u"emergency"_s, tav::stationCommandVerb},
        {u"emergency-clear"_s, tav::stationCommandVerb},
        {u"emergency-token"_s, tav::emergencyTokenVerb},
        {u"web-password"_s, tav::webPasswordVerb},
    };

    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    tav::CommandLine command;
    if (!command.parse(arguments, tav::languageOf(QProcessEnvironment::systemEnvironment()))) {
        QTextStream(stderr) << command.errorText() << u'\n';
        return 2;
    }
#ifndef TAV_HEADLESS_ONLY
    // A request to the running station is sent from here: its libraries are
    // loaded already, and an emergency should not wait for a second load.
    static const QStringList kSentFromHere{u"announce"_s, u"emergency"_s, u"emergency-clear"_s};
    if ((command.verb() != tav::CommandLine::kStation || !wantsWindow(command))
        && !kSentFromHere.contains(command.verb()))
        becomeHeadless(argv);
#endif
    for (const VerbHandler &handler : handlers)
        if (handler.verb == command.verb())
            return handler.run(command, argc, argv);
    fail(u"no handler for --%1"_s.arg(command.verb()));
    return 1;
}
