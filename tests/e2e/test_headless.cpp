// The real binary, headless, on temporary data folders, with the media
// engine writing raw PCM: what plays, in which order, and when it stops.
#include "app/program.h"
#include "core/ini.h"
#include "core/zhtext.h"
#include "fakes/fakes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr int kRate = 44100;

void makeTone(const QString &path, int hz, double seconds)
{
    QProcess sox;
    sox.start(u"sox"_s, {u"-n"_s, u"-r"_s, QString::number(kRate), u"-c"_s, u"2"_s, path, u"synth"_s,
                         QString::number(seconds), u"sine"_s, QString::number(hz)});
    ASSERT_TRUE(sox.waitForFinished(10000));
    ASSERT_EQ(sox.exitCode(), 0) << sox.readAllStandardError().toStdString();
}

QString timeText(const QDateTime &t)
{
    return tav::zh::timeText(tav::zh::secondsOfDay(t.time()));
}

// Pitches heard in s16le stereo PCM, in order, each run of one pitch once.
QList<int> pitches(const QByteArray &pcm, const QList<int> &candidates)
{
    const auto *s = reinterpret_cast<const qint16 *>(pcm.constData());
    const qsizetype frames = pcm.size() / 4;
    const qsizetype window = kRate / 10;
    QList<int> heard;
    for (qsizetype w = 0; w + window <= frames; w += window) {
        int crossings = 0;
        for (qsizetype i = w + 1; i < w + window; ++i)
            crossings += (s[2 * (i - 1)] < 0) != (s[2 * i] < 0);
        const double hz = crossings / 2.0 * 10.0;
        for (int c : candidates)
            if (std::abs(hz - c) < c * 0.1 && (heard.isEmpty() || heard.last() != c))
                heard.append(c);
    }
    return heard;
}

struct Station
{
    tav::test::DataFolder data;
    QProcess process;
    QString songs;
    QString pcm() const { return data.file(u"out.pcm"_s); }
    QString trace() const { return data.file(u"trace.txt"_s); }

    void start()
    {
        // A stand-in shutdown command: the test machine must never power off.
        QDir(data.path()).mkdir(u"bin"_s);
        data.writeBytes(u"bin/shutdown"_s, "#!/bin/sh\nexit 0\n");
        QFile::setPermissions(data.file(u"bin/shutdown"_s), QFile::ReadOwner | QFile::ExeOwner);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"PATH"_s, data.file(u"bin"_s) + u':' + env.value(u"PATH"_s));
        process.setProcessEnvironment(env);
        QStringList arguments{u"--headless"_s, u"--data-dir"_s, data.path(), u"--trace"_s, trace()};
        const QStringList options{u"ao=pcm"_s,           u"ao-pcm-file="_s + pcm(),  u"ao-pcm-append=yes"_s,
                                  u"ao-pcm-waveheader=no"_s, u"audio-format=s16"_s, u"audio-samplerate=44100"_s,
                                  u"audio-channels=stereo"_s};
        for (const QString &option : options)
            arguments << u"--player-option"_s << option;
        process.start(QString::fromUtf8(TAVPLAYER_BIN), arguments);
        ASSERT_TRUE(process.waitForStarted(5000));
    }
    QByteArray traceText() const { return tav::test::DataFolder::readAll(trace()); }
    // The stamp of the first trace line ("stamp event detail") whose event and detail are `what`.
    QDateTime stampOf(const QString &what) const
    {
        for (const QString &line : QString::fromUtf8(traceText()).split(u'\n'))
            if (line.mid(24) == what)
                return QDateTime::fromString(line.left(23), u"yyyy-MM-ddTHH:mm:ss.zzz"_s);
        return {};
    }
    qsizetype starts(const QString &name) const { return QString::fromUtf8(traceText()).count(u" start "_s + name + u'\n'); }
    QString playLog() const { return tav::fromGbk(tav::test::DataFolder::readAll(data.file(u"【PLAYLOG】.txt"_s))); }
    // Ends the station as the system or an operator's Ctrl+C does; it must exit cleanly.
    void stop(int signal = SIGTERM)
    {
        ::kill(pid_t(process.processId()), signal);
        ASSERT_TRUE(process.waitForFinished(10000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }
    void writeTask(int n, const QString &name, const QString &start, const QString &end, const QStringList &files)
    {
        songs += tav::test::taskSection(n, {.name = name, .start = start, .end = end, .volume = u"65535"_s});
        data.write(u"【SONG】.ini"_s, songs);
        data.write(name + u".ini"_s, tav::test::mediaList(files));
    }
};

bool waitFor(const std::function<bool()> &done, int ms)
{
    for (int waited = 0; waited < ms; waited += 50) {
        if (done())
            return true;
        QThread::msleep(50);
    }
    return done();
}

// Far enough from midnight that start and end fall on the same day.
#define SKIP_NEAR_MIDNIGHT()                                                                                           \
    do {                                                                                                               \
        if (QTime::currentTime() > QTime(23, 59, 30))                                                                  \
            GTEST_SKIP() << "too close to midnight";                                                                   \
    } while (false)

} // namespace

TEST(Headless, TaskPlaysItsFilesInOrderFromItsSecondAndStopsAtItsEnd)
{
    SKIP_NEAR_MIDNIGHT();
    Station st;
    const QList<int> hz{440, 660, 880};
    QStringList files;
    for (int pitch : hz) {
        files.append(st.data.file(u"tone%1.wav"_s.arg(pitch)));
        makeTone(files.last(), pitch, 0.4);
    }
    const QDateTime start = QDateTime::currentDateTime().addSecs(4);
    const QDateTime end = start.addSecs(4);
    const QString name = u"服务厅大屏视频演示"_s;
    st.writeTask(1, name, timeText(start), timeText(end), files);
    st.start();

    ASSERT_TRUE(waitFor([&] { return st.traceText().contains(" end "); }, 20000))
        << st.traceText().toStdString();
    const qint64 pcmAtEnd = QFileInfo(st.pcm()).size();
    QThread::msleep(2500); // a loop would have played the next item by now
    EXPECT_EQ(QFileInfo(st.pcm()).size(), pcmAtEnd);
    st.stop();

    const QDateTime started = st.stampOf(u"start "_s + name), ended = st.stampOf(u"end "_s);
    ASSERT_TRUE(started.isValid()) << st.traceText().toStdString();
    EXPECT_EQ(started.toSecsSinceEpoch(), start.toSecsSinceEpoch()) << st.traceText().toStdString();
    EXPECT_GT(ended.toSecsSinceEpoch(), end.toSecsSinceEpoch());
    EXPECT_LT(ended.toSecsSinceEpoch(), end.toSecsSinceEpoch() + 50);

    // Looping in the task's order: 440, 660, 880, 440, ...
    const QList<int> heard = pitches(tav::test::DataFolder::readAll(st.pcm()), hz);
    ASSERT_GE(heard.size(), 3) << "heard " << heard.size();
    for (qsizetype i = 0; i < heard.size(); ++i)
        EXPECT_EQ(heard[i], hz[i % 3]) << "item " << i;
}

// Starts at the same instant on one folder, under every spelling of its
// path and a renamed copy of the program: exactly one runs, the others say
// so and end. Each trial's winner is killed outright: its lock goes with it.
TEST(Headless, ExactlyOneOfManySimultaneousStartsRunsAndAKilledOneLeavesNoLock)
{
    tav::test::DataFolder place;
    const QString data = place.file(u"站"_s);
    QDir().mkpath(data);
    QDir().mkpath(place.file(u"other"_s));
    ASSERT_TRUE(QFile::link(data, place.file(u"link"_s)));
    const QString bin = QString::fromUtf8(TAVPLAYER_BIN);
    const QString copy = place.file(u"renamed-station"_s);
    ASSERT_TRUE(QFile::copy(bin, copy));
    ASSERT_TRUE(QFile::copy(bin + u"-headless"_s, copy + u"-headless"_s));
    QFile::setPermissions(copy, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    QFile::setPermissions(copy + u"-headless"_s, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    const QList<QPair<QString, QString>> starts = {
        {bin, data}, {bin, place.file(u"link"_s)}, {bin, data + u"/"_s}, {bin, place.file(u"other/../站"_s)},
        {copy, data},
    };
    for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(trial);
        std::array<QProcess, 5> runs;
        for (qsizetype i = 0; i < starts.size(); ++i)
            runs[i].start(starts[i].first, {u"--headless"_s, u"--data-dir"_s, starts[i].second, u"--player-option"_s,
                                            u"ao=null"_s});
        const auto running = [&runs] {
            int n = 0;
            for (QProcess &p : runs) {
                p.waitForFinished(0);
                n += p.state() != QProcess::NotRunning;
            }
            return n;
        };
        EXPECT_TRUE(waitFor([&] { return running() <= 1; }, 15000));
        QThread::msleep(300); // a second winner would still be running now
        ASSERT_EQ(running(), 1);
        for (QProcess &p : runs) {
            if (p.state() == QProcess::NotRunning) {
                EXPECT_EQ(p.exitCode(), 0);
                EXPECT_TRUE(p.readAllStandardError().contains(u"程序已经运行！"_s.toUtf8()));
            } else {
                ::kill(pid_t(p.processId()), SIGKILL);
                p.waitForFinished(5000);
            }
        }
    }
}

// Without a window the station runs as the headless build: none of the
// window libraries is in the process. A task file that cannot be read is said
// on stdout and in the play log.
TEST(Headless, RunsWithoutTheWindowLibrariesAndSaysAnUnreadableTaskFile)
{
    SKIP_NEAR_MIDNIGHT();
    Station st;
    QDir(st.data.path()).mkdir(u"【SONG】.ini"_s); // root reads any file: a folder stands in its place
    st.start();
    const QString proc = u"/proc/"_s + QString::number(st.process.processId());
    // The program hands over to the headless build in the same process.
    ASSERT_TRUE(waitFor([&] { return QFileInfo(proc + u"/exe"_s).symLinkTarget().endsWith(u"/tavplayer-headless"_s); },
                        5000));
    QByteArray maps;
    ASSERT_TRUE(waitFor([&] { return (maps = tav::test::DataFolder::readAll(proc + u"/maps"_s)).contains("libmpv"); }, 5000));
    for (const char *library : {"libQt6Widgets", "libQt6Gui", "libQt6OpenGL"})
        EXPECT_FALSE(maps.contains(library)) << library;
    const QString fault = u"无法读取数据文件“"_s + st.data.file(u"【SONG】.ini"_s);
    EXPECT_TRUE(waitFor([&] { return st.playLog().contains(fault); }, 8000)) << st.playLog().toStdString();
    st.stop(SIGINT);
    const QByteArray out = st.process.readAllStandardOutput();
    EXPECT_TRUE(out.contains(fault.toUtf8())) << out.toStdString();
    EXPECT_TRUE(QFileInfo(st.data.file(u"【SONG】.ini"_s)).isDir());
}

// The command line asks the station running on the folder; the exit status
// says whether it took the request.
TEST(Headless, TheCommandLineStartsAndClearsTheRunningStationsEmergency)
{
    SKIP_NEAR_MIDNIGHT();
    Station st;
    makeTone(st.data.file(u"TONE.wav"_s), 880, 0.3);
    // One verb of the program on the station's folder, to the end.
    const auto runVerb = [&](const QStringList &arguments) {
        return tav::test::runProgram(arguments + QStringList{u"--data-dir"_s, st.data.path()});
    };

    const tav::test::Answer none = runVerb(QStringList{u"--emergency"_s});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains(u"没有播放站在这个数据文件夹上运行"_s)) << none.err.toStdString();

    st.start();
    // Listening once it traces its first events (the idle media engine is made first).
    ASSERT_TRUE(waitFor([&] { return runVerb(QStringList{u"--emergency-clear"_s}).err.contains(u"当前没有紧急广播"_s); },
                        15000));

    const tav::test::Answer started = runVerb(QStringList{u"--emergency"_s, u"着火了，请从东门撤离"_s});
    ASSERT_EQ(started.exitCode, 0) << started.err.toStdString();
    ASSERT_TRUE(waitFor([&] { return st.traceText().contains("broadcast-playing"); }, 5000))
        << st.traceText().toStdString();

    const tav::test::Answer cleared = runVerb(QStringList{u"--emergency-clear"_s});
    EXPECT_EQ(cleared.exitCode, 0) << cleared.err.toStdString();
    st.stop();
    // The alarm was heard: the tone's pitch is in the broadcast player's output.
    EXPECT_TRUE(pitches(tav::test::DataFolder::readAll(st.pcm() + u"-broadcast"_s), {880}).contains(880));
}
