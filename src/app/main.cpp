#include "app/station.h"
#include "core/datadir.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>

#include <clocale>
#include <csignal>
#include <cstdio>
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
// byte, the loop reads it.
void quitOnSignals(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char c;
        [[maybe_unused]] const auto n = ::read(signalPipe[0], &c, 1);
        app.quit();
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

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
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
    parser.process(app);

    if (!parser.isSet(headless))
        fail(u"no window is built yet; running without windows"_s);

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

    tav::Station station(dir, parser.values(playerOption));
    if (!station.isValid()) {
        fail(station.errorString());
        return 1;
    }
    if (parser.isSet(trace) && !station.setTraceFile(parser.value(trace))) {
        fail(u"cannot write the trace file %1"_s.arg(parser.value(trace)));
        return 1;
    }
    quitOnSignals(app);
    station.start();
    const int rc = app.exec();
    station.shutDown();
    return rc;
}
