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
    QString pcm() const { return data.file(u"out.pcm"_s); }
    QString trace() const { return data.file(u"trace.txt"_s); }

    void start()
    {
        // A stand-in shutdown command: the test machine must never power off.
        QDir(data.path()).mkdir(u"bin"_s);
        data.writeBytes(u"bin/shutdown"_s, "#!/bin/sh\necho \"$@\" >> \"$(dirname \"$0\")/shutdown.calls\"\n");
        QFile::setPermissions(data.file(u"bin/shutdown"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"PATH"_s, data.file(u"bin"_s) + u':' + env.value(u"PATH"_s));
        for (const QString &name : extraEnv.keys())
            env.insert(name, extraEnv.value(name));
        process.setProcessEnvironment(env);
        // PCM output runs ahead of real time; the null output keeps time.
        QStringList arguments{u"--headless"_s, u"--data-dir"_s, data.path(), u"--trace"_s, trace()};
        for (const QString &option : inRealTime ? QStringList{u"ao=null"_s}
                                                : QStringList{u"ao=pcm"_s, u"ao-pcm-file="_s + pcm(), u"ao-pcm-append=yes"_s,
                                                              u"ao-pcm-waveheader=no"_s, u"audio-format=s16"_s,
                                                              u"audio-samplerate=44100"_s, u"audio-channels=stereo"_s})
            arguments << u"--player-option"_s << option;
        process.start(QString::fromUtf8(TAVPLAYER_BIN), arguments);
        ASSERT_TRUE(process.waitForStarted(5000));
    }
    QByteArray traceText() const { return tav::test::DataFolder::readAll(trace()); }
    // The stamp of the first trace line ("stamp event detail") at or after
    // `after` whose event and detail are `what` (or begin with it); invalid if none.
    QDateTime stampOf(const QString &what, bool prefix = false, const QDateTime &after = {}) const
    {
        for (const QString &line : QString::fromUtf8(traceText()).split(u'\n')) {
            const QDateTime t = QDateTime::fromString(line.left(23), u"yyyy-MM-ddTHH:mm:ss.zzz"_s);
            const QString rest = line.mid(24);
            if (t.isValid() && (!after.isValid() || t >= after) && (prefix ? rest.startsWith(what) : rest == what))
                return t;
        }
        return {};
    }
    qsizetype starts(const QString &name) const
    {
        return QString::fromUtf8(traceText()).count(u" start "_s + name + u'\n');
    }
    QString playLog() const
    {
        return tav::fromGbk(tav::test::DataFolder::readAll(data.file(u"【PLAYLOG】.txt"_s)));
    }
    QProcessEnvironment extraEnv;
    bool inRealTime = false;
    // Ends the station as an operator's Ctrl+C does; it must exit cleanly.
    void stop(int signal = SIGTERM)
    {
        ::kill(pid_t(process.processId()), signal);
        ASSERT_TRUE(process.waitForFinished(10000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }
    QString songs;
    void writeTask(int n, const QString &name, const QString &start, const QString &end, const QString &remind = u"开"_s)
    {
        songs += tav::test::taskSection(n, {.name = name, .start = start, .end = end, .volume = u"65535"_s, .timed = remind});
        data.write(u"【SONG】.ini"_s, songs);
    }
    void writeList(const QString &name, const QStringList &files) { data.write(name + u".ini"_s, tav::test::mediaList(files)); }
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
    st.writeTask(1, name, timeText(start), timeText(end));
    st.writeList(name, files);
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

    EXPECT_TRUE(st.playLog().contains(tav::zh::datedLine(start.date(), u"开播："_s + name))) << st.playLog().toStdString();
}

TEST(Headless, StopDaysUntimedTasksAndTasksOutsideWorkingHoursPlayNothing)
{
    SKIP_NEAR_MIDNIGHT();
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime start = now.addSecs(3);

    // A holiday today: the task would otherwise play.
    Station holiday;
    makeTone(holiday.data.file(u"a.wav"_s), 440, 0.3);
    holiday.writeTask(1, u"节日"_s, timeText(start), timeText(start.addSecs(30)));
    holiday.writeList(u"节日"_s, {holiday.data.file(u"a.wav"_s)});
    holiday.data.write(u"【DATE】.ini"_s,
                       u"[The number of Date]\nquantity=1\n[Holiday]\nDate0=%1\n"_s.arg(tav::zh::shortDate(now.date())));

    // Working hours that end before the second task does; the first is not timed.
    Station quiet;
    makeTone(quiet.data.file(u"a.wav"_s), 440, 0.3);
    quiet.writeTask(1, u"不定时"_s, timeText(start), timeText(start.addSecs(5)), u"关"_s);
    quiet.writeTask(2, u"超时段"_s, timeText(start), timeText(now.addSecs(120)));
    for (const QString &n : {u"不定时"_s, u"超时段"_s})
        quiet.writeList(n, {quiet.data.file(u"a.wav"_s)});
    quiet.data.write(u"【CONTROL】.ini"_s, u"[广告时间选项]\nrunPic=1\nPicStartTime=%1\nPicEndTime=%2\n"_s.arg(
                                            timeText(now.addSecs(-60)), timeText(now.addSecs(60))));

    holiday.start();
    quiet.start();
    QThread::msleep(5000);
    holiday.stop(SIGINT);
    quiet.stop();

    EXPECT_TRUE(holiday.process.readAllStandardOutput().contains(u"今天停播节目"_s.toUtf8()));
    for (Station *st : {&holiday, &quiet}) {
        EXPECT_FALSE(st->traceText().contains(" start ")) << st->traceText().toStdString();
        EXPECT_FALSE(QFile::exists(st->pcm()) && QFileInfo(st->pcm()).size() > 0);
        EXPECT_FALSE(QFile::exists(st->data.file(u"bin/shutdown.calls"_s)));
    }
}

// A task file that cannot be read is said on stdout and in the play log at
// every start; a save killed mid-way left a temporary file that start-up
// removes, and only that one.
TEST(Headless, UnreadableTaskFileIsSaidAndOldTemporaryFilesGo)
{
    Station st;
    QDir(st.data.path()).mkdir(u"【SONG】.ini"_s); // root reads any file: a folder stands in its place
    const auto lay = [&](const QString &name, int ageSeconds) {
        st.data.writeBytes(name, "partial");
        QFile f(st.data.file(name));
        f.open(QIODevice::ReadWrite);
        f.setFileTime(QDateTime::currentDateTime().addSecs(-ageSeconds), QFileDevice::FileModificationTime);
    };
    lay(u"【CONTROL】.ini.tmp-Xy12Zq"_s, 7200);
    lay(u"【TTS】.ini.tmp-Ab34Cd"_s, 1);
    st.start();
    const QString fault = u"无法读取数据文件“"_s + st.data.file(u"【SONG】.ini"_s);
    EXPECT_TRUE(waitFor([&] { return st.playLog().contains(fault); }, 8000));
    st.stop();
    const QByteArray out = st.process.readAllStandardOutput();
    EXPECT_TRUE(out.contains(fault.toUtf8())) << out.toStdString();
    EXPECT_TRUE(out.contains(u"已删除上次未完成保存留下的1个临时文件"_s.toUtf8())) << out.toStdString();
    EXPECT_FALSE(QFile::exists(st.data.file(u"【CONTROL】.ini.tmp-Xy12Zq"_s)));
    EXPECT_TRUE(QFile::exists(st.data.file(u"【TTS】.ini.tmp-Ab34Cd"_s)));
    EXPECT_TRUE(QFileInfo(st.data.file(u"【SONG】.ini"_s)).isDir());
    EXPECT_TRUE(st.playLog().contains(fault));
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
// window libraries is in the process, and the voice's player waits until a
// broadcast is near (at rest two media engines: the station's, and the tone's
// holding the emergency's first sound ready).
TEST(Headless, RunsWithoutTheWindowLibrariesAndWithTwoMediaEnginesAtRest)
{
    Station station;
    station.start();
    const QString proc = u"/proc/"_s + QString::number(station.process.processId());
    // The program hands over to the headless build in the same process.
    ASSERT_TRUE(waitFor([&] { return QFileInfo(proc + u"/exe"_s).symLinkTarget().endsWith(u"/tavplayer-headless"_s); },
                        5000));
    QByteArray maps;
    ASSERT_TRUE(waitFor([&] {
        maps = tav::test::DataFolder::readAll(proc + u"/maps"_s);
        return maps.contains("libmpv");
    }, 5000));
    for (const char *library : {"libQt6Widgets", "libQt6Gui", "libQt6OpenGL"})
        EXPECT_FALSE(maps.contains(library)) << library;
    const auto engines = [&proc] {
        int count = 0;
        for (const QString &thread : QDir(proc + u"/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            count += tav::test::DataFolder::readAll(proc + u"/task/"_s + thread + u"/comm"_s).startsWith("mpv/mpv core");
        return count;
    };
    // Both come up (later on a busy machine); no other follows them at rest.
    ASSERT_TRUE(waitFor([&] { return engines() >= 2; }, 15000));
    QThread::msleep(1000);
    EXPECT_EQ(engines(), 2);
    station.stop();
}

// A start over an item still playing: the next task's item is made ready on
// the spare engine while the first still sounds, and is heard once, from its
// second, the first being stopped there rather than ending.
TEST(Headless, AStartOverAnItemPlayingTakesOverOnItsSecond)
{
    SKIP_NEAR_MIDNIGHT();
    Station st;
    st.inRealTime = true;
    const QString low = st.data.file(u"low.wav"_s), high = st.data.file(u"high.wav"_s);
    makeTone(low, 440, 8);
    makeTone(high, 880, 1);
    const QDateTime first = QDateTime::currentDateTime().addSecs(3);
    const QDateTime second = first.addSecs(4);
    st.writeTask(1, u"早读"_s, timeText(first), timeText(first.addSecs(30)));
    st.writeList(u"早读"_s, {low});
    st.writeTask(2, u"铃声"_s, timeText(second), timeText(second.addSecs(30)));
    st.writeList(u"铃声"_s, {high});
    st.start();
    ASSERT_TRUE(waitFor([&] { return st.traceText().contains(QByteArray(" ended " + high.toUtf8())); }, 20000))
        << st.traceText().toStdString();
    st.stop();

    const QDateTime prepared = st.stampOf(u"prepared "_s + high), started = st.stampOf(u"start 铃声"_s);
    const QDateTime playing = st.stampOf(u"playing high.wav"_s), cut = st.stampOf(u"stop "_s + low);
    const std::string trace = st.traceText().toStdString();
    ASSERT_TRUE(prepared.isValid() && started.isValid() && playing.isValid() && cut.isValid()) << trace;
    EXPECT_LT(prepared, started) << "made ready while the first item played";
    EXPECT_EQ(started.toSecsSinceEpoch(), second.toSecsSinceEpoch()) << trace;
    EXPECT_GE(playing, started) << trace;
    EXPECT_LT(started.msecsTo(playing), 100) << trace;
    EXPECT_LE(started.msecsTo(cut), 100) << trace;
    EXPECT_EQ(QString::fromUtf8(st.traceText()).count(u" playing high.wav"_s), 1) << trace;
    EXPECT_FALSE(st.traceText().contains(QByteArray(" ended " + low.toUtf8()))) << "cut, not ended";
}

// A broadcast due at a second: the prompt tone on the broadcast player, then
// speech on the voice's player, each into its own PCM file.
TEST(Headless, BroadcastPlaysItsToneThenSpeaksAtItsSecond)
{
    SKIP_NEAR_MIDNIGHT();
    Station s;
    makeTone(s.data.file(u"TONE.wav"_s), 880, 0.5);
    const QDateTime due = QDateTime::currentDateTime().addSecs(3);
    const QString day = tav::zh::shortDate(due.date());
    s.data.write(u"【CONTROL】.ini"_s, u"[复选控制]\n播音=1\n"_s);
    s.data.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=早安\nTTS_TimeStart=%1\nTTS_TimeEnd=%1\nTTS_DateStart=%2\n"
                                  u"TTS_DateEnd=%2\nTTS_Week=一二三四五六日\nTTS_Interval=0\nTTS_Switch=开\n"
                                  u"TTS_BGVolume=30\nTTS_Tone=1\nTTS_Speaker=VW Hui\nTTS_Rate=0\nTTS_txtVolume=100\n"
                                  u"TTS_BG_Music=\nTTS_Index=1\nTTS_Delay=0\nTTS_Frequency=1\n"_s.arg(timeText(due), day));
    s.data.write(u"早安.ini"_s, u"各位同学早上好，现在是%Time。"_s);
    s.start();
    const QString tonePcm = s.pcm() + u"-broadcast"_s, voicePcm = s.pcm() + u"-voice"_s;
    ASSERT_TRUE(waitFor([&] { return QFileInfo(voicePcm).size() > kRate * 4; }, 15000))
        << s.process.readAllStandardOutput().toStdString();
    QThread::msleep(500);
    s.stop();
    const QString out = QString::fromUtf8(s.process.readAllStandardOutput());
    EXPECT_TRUE(out.contains(u"播音：早安"_s)) << out.toStdString();
    // The tone's pitch, half a second of it.
    const QByteArray tone = tav::test::DataFolder::readAll(tonePcm);
    EXPECT_EQ(pitches(tone, {880}), QList<int>{880});
    EXPECT_NEAR(double(tone.size()) / (kRate * 4), 0.5, 0.1);
    // Speech: some seconds of sound, not silence.
    const QByteArray voice = tav::test::DataFolder::readAll(voicePcm);
    const double seconds = double(voice.size()) / (kRate * 4);
    EXPECT_GT(seconds, 2.0);
    EXPECT_LT(seconds, 15.0);
    const auto *v = reinterpret_cast<const qint16 *>(voice.constData());
    qint64 loud = 0;
    for (qsizetype i = 0; i < voice.size() / 2; ++i)
        loud += std::abs(v[i]) > 1000;
    EXPECT_GT(loud, voice.size() / 2 / 10);
    // The firing went to the trace within its second.
    const QByteArray trace = s.traceText();
    EXPECT_TRUE(trace.contains("broadcast")) << trace.toStdString();
}


// The real binary under libfaketime: its wall clock is read from a file the
// test rewrites, its monotonic clock left alone, so that setting the clock
// is seen as it is on a real machine.
namespace {

const char *const kFaketimeLib = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1";

class FakeTime
{
public:
    // The station's clock starts at `utc` (seconds since the epoch) in `zone`.
    FakeTime(Station &st, qint64 utc, const QString &zone) : m_file(st.data.file(u"faketime.txt"_s))
    {
        m_offset = utc - QDateTime::currentSecsSinceEpoch();
        write();
        st.extraEnv.insert(u"LD_PRELOAD"_s, QString::fromLatin1(kFaketimeLib));
        st.extraEnv.insert(u"FAKETIME_TIMESTAMP_FILE"_s, m_file);
        st.extraEnv.insert(u"FAKETIME_NO_CACHE"_s, u"1"_s);
        st.extraEnv.insert(u"FAKETIME_DONT_FAKE_MONOTONIC"_s, u"1"_s);
        st.extraEnv.insert(u"TZ"_s, zone);
    }
    static bool available() { return QFileInfo::exists(QString::fromLatin1(kFaketimeLib)); }
    // Sets the station's clock by `seconds`, as a time service would.
    void step(qint64 seconds)
    {
        m_offset += seconds;
        write();
    }

private:
    void write() const
    {
        QFile f(m_file);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write((m_offset < 0 ? QByteArray::number(m_offset) : '+' + QByteArray::number(m_offset)) + '\n');
    }
    QString m_file;
    qint64 m_offset = 0;
};

qint64 utcOf(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate).toSecsSinceEpoch();
}

// Task files for tasks that play a one-second tone on a loop.
void addTasks(Station &st, const QList<std::array<QString, 3>> &tasks)
{
    const QString tone = st.data.file(u"tone.wav"_s);
    makeTone(tone, 440, 1.0);
    int n = 0;
    for (const auto &[name, start, end] : tasks) {
        st.writeTask(++n, name, start, end);
        st.writeList(name, {tone});
    }
}

} // namespace

TEST(HeadlessClockSteps, StepsBothWaysStartEachTaskOnceAndEndWhatTheyJumpOver)
{
    if (!FakeTime::available())
        GTEST_SKIP() << "libfaketime is not installed";
    Station st;
    addTasks(st, {{u"甲"_s, u"10:00:00"_s, u"10:30:00"_s},
                  {u"乙"_s, u"10:01:00"_s, u"10:30:00"_s},
                  {u"丙"_s, u"10:45:00"_s, u"11:30:00"_s}});
    FakeTime clock(st, utcOf("2026-11-23T09:59:56Z"), u"UTC"_s);
    st.start();
    ASSERT_TRUE(waitFor([&] { return st.starts(u"甲"_s) == 1; }, 10000)) << st.traceText().toStdString();
    clock.step(-5); // 10:00:0x → 9:59:5x: 10:00:00 comes round again
    QThread::msleep(6000);
    EXPECT_EQ(st.starts(u"甲"_s), 1) << st.traceText().toStdString();
    clock.step(60); // over 10:01:00: 乙 starts at once
    ASSERT_TRUE(waitFor([&] { return st.starts(u"乙"_s) == 1; }, 3000)) << st.traceText().toStdString();
    clock.step(3600); // over 10:30:00 and 10:45:00: 乙 ends, 丙 starts late
    ASSERT_TRUE(waitFor([&] { return st.starts(u"丙"_s) == 1; }, 3000)) << st.traceText().toStdString();
    QThread::msleep(2000);
    st.stop();
    EXPECT_EQ(st.starts(u"甲"_s), 1);
    EXPECT_EQ(st.starts(u"乙"_s), 1);
    EXPECT_EQ(st.starts(u"丙"_s), 1);
    for (const QString &line : {u"系统时钟向后跳变5秒，已开播的任务不再重复开播"_s, u"系统时钟向前跳变1分，跳过的开播立即补上"_s,
                                u"系统时钟向前跳变1小时，跳过的开播立即补上"_s, u"补播：丙，应于10:45:00开播"_s})
        EXPECT_TRUE(st.playLog().contains(line)) << st.playLog().toStdString();
}

TEST(HeadlessClockSteps, SpringForwardStartsTheSkippedHoursTaskOnceAndEndsTheOneEndingInIt)
{
    if (!FakeTime::available())
        GTEST_SKIP() << "libfaketime is not installed";
    Station ending, skipped;
    addTasks(ending, {{u"夜曲"_s, u"1:59:57"_s, u"2:15:00"_s}});
    addTasks(skipped, {{u"晨钟"_s, u"2:30:00"_s, u"3:30:00"_s}});
    // 1:59:45 CET (time for a busy machine to start both); after 1:59:59 the clock shows 3:00:00 CEST.
    FakeTime a(ending, utcOf("2026-03-29T00:59:45Z"), u"Europe/Berlin"_s);
    FakeTime b(skipped, utcOf("2026-03-29T00:59:45Z"), u"Europe/Berlin"_s);
    ending.start();
    skipped.start();
    ASSERT_TRUE(waitFor([&] { return ending.traceText().contains(" end "); }, 22000))
        << ending.traceText().toStdString();
    ASSERT_TRUE(waitFor([&] { return skipped.starts(u"晨钟"_s) == 1; }, 3000)) << skipped.traceText().toStdString();
    QThread::msleep(3000);
    ending.stop();
    skipped.stop();
    EXPECT_EQ(ending.starts(u"夜曲"_s), 1);
    EXPECT_EQ(skipped.starts(u"晨钟"_s), 1);
    EXPECT_TRUE(skipped.playLog().contains(u"夏令时切换：本地时间向前调整1小时")) << skipped.playLog().toStdString();
    EXPECT_TRUE(skipped.playLog().contains(u"补播：晨钟，应于2:30:00开播，晚了30分")) << skipped.playLog().toStdString();
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

    const QDateTime asked = QDateTime::currentDateTime();
    const tav::test::Answer started = runVerb(QStringList{u"--emergency"_s, u"着火了，请从东门撤离"_s});
    ASSERT_EQ(started.exitCode, 0) << started.err.toStdString();
    EXPECT_TRUE(started.out.contains(u"紧急广播已开始"_s));
    ASSERT_TRUE(waitFor([&] { return st.traceText().contains("broadcast-playing"); }, 5000))
        << st.traceText().toStdString();
    std::printf("[ figure ] command line to the alarm's first sound: %lld ms (the request reached the station "
                "after %lld ms)\n",
                static_cast<long long>(asked.msecsTo(st.stampOf(u"broadcast-playing"_s, true, asked))),
                static_cast<long long>(asked.msecsTo(st.stampOf(u"emergency-request"_s, true, asked))));

    const tav::test::Answer refused = runVerb(QStringList{u"--announce"_s, u"测试"_s});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains(u"紧急广播中，不能插播"_s)) << refused.err.toStdString();
    const tav::test::Answer cleared = runVerb(QStringList{u"--emergency-clear"_s});
    EXPECT_EQ(cleared.exitCode, 0) << cleared.err.toStdString();
    const tav::test::Answer announced = runVerb(QStringList{u"--announce"_s, u"恢复正常"_s, u"--repeat"_s, u"2"_s});
    EXPECT_EQ(announced.exitCode, 0) << announced.err.toStdString();
    EXPECT_EQ(runVerb(QStringList{u"--announce"_s, u"x"_s, u"--repeat"_s, u"11"_s}).exitCode, 2);
    st.stop();

    for (const QString &line : {u"紧急广播开始（本机命令行）：着火了，请从东门撤离"_s, u"紧急广播解除（本机命令行）"_s,
                                u"插播（本机命令行）：恢复正常"_s})
        EXPECT_TRUE(st.playLog().contains(line)) << st.playLog().toStdString();
    // The alarm was heard: the tone's pitch is in the broadcast player's output.
    EXPECT_TRUE(pitches(tav::test::DataFolder::readAll(st.pcm() + u"-broadcast"_s), {880}).contains(880));
}
