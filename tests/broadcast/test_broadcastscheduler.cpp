#include "broadcast/announcequeue.h"
#include "fakes/broadcastrig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::BroadcastScheduler;
using tav::WaitRow;
using tav::test::at;
using Status = WaitRow::Status;
using State = tav::MediaPlayer::State;

namespace {

// A school's broadcasts on Monday 2026-11-23, with the players and the
// voice faked; the prompt tone is in the folder.
class BroadcastDay : public ::testing::Test, protected tav::test::BroadcastRig
{
protected:
    BroadcastDay() : BroadcastRig("2026-11-23 08:00:00") {}
    QString tasks;
    int count = 0;

    void SetUp() override { d.write(u"TONE.wav"_s, u"RIFF"_s); }

    void add(const QString &name, const QString &start, const QString &text, const QString &extra = {},
             const QString &end = {})
    {
        ++count;
        // The first of two equal keys counts: the extras come first.
        tasks += u"[TTS%1]\n%5TTS_Name=%2\nTTS_TimeStart=%3\nTTS_TimeEnd=%4\nTTS_DateStart=2026/11/1\n"
                 "TTS_DateEnd=2026/11/30\nTTS_Week=一二三四五\nTTS_Interval=0\nTTS_Switch=开\nTTS_BGVolume=20\n"
                 "TTS_Tone=1\nTTS_Speaker=VW Hui\nTTS_Rate=0\nTTS_txtVolume=90\nTTS_BG_Music=\nTTS_Index=%1\n"
                 "TTS_Delay=0\nTTS_Frequency=1\n"_s.arg(count).arg(name, start, end.isEmpty() ? start : end, extra);
        d.write(u"【TTS】.ini"_s, tasks);
        d.write(name + u".ini"_s, text);
    }
    void enable(bool on = true) { scheduler.setEnabled(on); waitBuilt(); }
    void rebuild() { scheduler.rebuild(); waitBuilt(); }
    void waitBuilt() { ASSERT_TRUE(built()); }
    void tickAt(const char *when) { clock.set(at(when)); scheduler.tick(); }
    void tickEachSecond(int seconds)
    {
        for (int i = 0; i < seconds; ++i) {
            clock.advance(1);
            scheduler.tick();
        }
    }
    QStringList listed() const { return listed(scheduler); }
    static QStringList listed(const BroadcastScheduler &s)
    {
        QStringList out;
        for (const WaitRow &r : s.rows())
            out.append(r.time.toString(u"HH:mm:ss"_s) + u' ' + r.name + u' ' + WaitRow::statusText(r.status));
        return out;
    }
    // The current reading: the tone ends, the voice is made and ends.
    void playThroughReading()
    {
        ASSERT_EQ(broadcastPlayer.currentUrl(), dir.tone());
        broadcastPlayer.finish();
        ASSERT_TRUE(voiceIs(State::Loading));
        voicePlayer.sound();
        voicePlayer.finish();
    }
    // The last reading of the broadcast: then the music is back.
    void playLastReading()
    {
        playThroughReading();
        ASSERT_TRUE(restored());
    }
    bool voiceIs(State state, int ms = 3000) { return QTest::qWaitFor([&] { return voicePlayer.state() == state; }, ms); }
    bool opened(int n) { return QTest::qWaitFor([&] { return broadcastPlayer.opened.size() == n; }, 3000); }
    bool restored()
    {
        return QTest::qWaitFor([&] { return !broadcaster.isBusy() && !broadcaster.isRestoring(); }, 10000);
    }
};

} // namespace

TEST_F(BroadcastDay, TodaysListKeepsTheDaysDatesSwitchAndPriorityOrder)
{
    add(u"早安"_s, u"08:30:02"_s, u"早上好"_s);
    add(u"早操"_s, u"08:30:00"_s, u"做早操"_s);                                        // priority 0 first
    add(u"课间"_s, u"09:00:00"_s, u"休息"_s, u"TTS_Interval=10\n"_s, u"09:25:00"_s); // 9:00 9:10 9:20
    add(u"周末"_s, u"10:00:00"_s, u"x"_s, u"TTS_Week=六日\n"_s);
    add(u"关掉"_s, u"10:00:00"_s, u"x"_s, u"TTS_Switch=关\n"_s);
    add(u"晨读"_s, u"07:58:00"_s, u"x"_s);  // two minutes past when the list is made: missed
    add(u"刚过"_s, u"07:59:30"_s, u"x"_s);  // within the minute: still spoken
    add(u"下月"_s, u"10:00:00"_s, u"x"_s, u"TTS_DateStart=2026/12/1\nTTS_DateEnd=2026/12/31\n"_s);
    enable();
    EXPECT_EQ(listed(), (QStringList{u"07:58:00 晨读 超时"_s, u"07:59:30 刚过 待播"_s, u"08:30:00 早操 待播"_s,
                                     u"08:30:02 早安 待播"_s, u"09:00:00 课间 待播"_s, u"09:10:00 课间 待播"_s,
                                     u"09:20:00 课间 待播"_s}));
    EXPECT_EQ(scheduler.header(), u"今日待执行的任务，共:7条");

    clock.set(at("2026-11-28 08:00:00")); // Saturday: only the weekend task
    rebuild();
    EXPECT_EQ(listed(), QStringList{u"10:00:00 周末 待播"_s});

    enable(false);
    EXPECT_TRUE(scheduler.rows().isEmpty());
    EXPECT_EQ(scheduler.header(), u"播音已停止，如果要开启请到主控面板操作！");
    scheduler.setStopDay([](QDate date) { return date == QDate(2026, 11, 28); });
    enable();
    EXPECT_EQ(scheduler.header(), u"现在是停播时间");
    tickAt("2026-11-28 10:00:00");
    EXPECT_TRUE(broadcastPlayer.opened.isEmpty());
}

TEST_F(BroadcastDay, AFiringTurnsTheMusicDownSpeaksAsOftenAsAskedAndBringsItBack)
{
    add(u"早安"_s, u"08:30:00"_s, u"现在是%Time，今天是%Date。"_s, u"TTS_Frequency=2\n"_s);
    enable();
    playback.setSlider(tav::PlaybackController::unitsFor(70));
    tickAt("2026-11-23 08:29:59");
    EXPECT_TRUE(broadcastPlayer.opened.isEmpty());
    tickAt("2026-11-23 08:30:00");
    // The tone first, at the voice volume; the music down to 20 and the slider with it.
    ASSERT_EQ(broadcastPlayer.opened, QStringList{dir.tone()});
    EXPECT_EQ(broadcastPlayer.volume(), 90);
    EXPECT_EQ(media.volume(), 20);
    EXPECT_EQ(playback.slider(), tav::PlaybackController::unitsFor(20));
    EXPECT_TRUE(synth.texts().isEmpty()); // the voice waits for the tone
    EXPECT_EQ(scheduler.rows()[0].status, Status::Spoken);

    playThroughReading();
    ASSERT_EQ(synth.texts().size(), 1);
    EXPECT_EQ(synth.texts()[0], u"现在是上午八点三十分，今天是二〇二六年十一月二十三日。");
    EXPECT_EQ(voicePlayer.volume(), 90);
    ASSERT_TRUE(opened(2)); // the second reading, tone again
    playLastReading();
    EXPECT_EQ(synth.texts().size(), 2);
    EXPECT_EQ(media.volume(), 70);
    EXPECT_EQ(playback.slider(), tav::PlaybackController::unitsFor(70));
    EXPECT_TRUE(log.text().contains(u"播音：早安"_s));
    EXPECT_TRUE(log.text().contains(u"已播：早安"_s));

    // A media task starting meanwhile: its volume is the one to come back to.
    ASSERT_TRUE(broadcaster.speak({.name = u"再播"_s, .text = u"早上好"_s, .musicVolume = 20}));
    playback.setSlider(tav::PlaybackController::unitsFor(45)); // a task's volume, set at its start
    EXPECT_EQ(media.volume(), 20);                              // still under the voice
    playLastReading();
    EXPECT_EQ(media.volume(), 45);
}

TEST_F(BroadcastDay, BusyVoicePostponesByTheDelayOrRightAfterAndMissedOnesAreOverdue)
{
    add(u"长播"_s, u"08:30:00"_s, u"很长的通知"_s);
    add(u"等五分"_s, u"08:31:00"_s, u"x"_s, u"TTS_Delay=5\n"_s);
    add(u"紧随"_s, u"08:32:00"_s, u"紧随其后"_s);
    enable();
    tickAt("2026-11-23 08:30:00");
    tickAt("2026-11-23 08:31:00");
    EXPECT_EQ(scheduler.rows()[1].status, Status::Delayed);
    EXPECT_EQ(scheduler.rows()[1].postponedTo, QTime(8, 36));
    tickAt("2026-11-23 08:32:00");
    EXPECT_EQ(scheduler.rows()[2].status, Status::Delayed);
    clock.set(at("2026-11-23 08:33:00"));
    rebuild(); // an edit meanwhile: both still wait
    EXPECT_TRUE(scheduler.rows()[2].isHeldBack());
    tickAt("2026-11-23 08:36:00"); // still speaking: postponed again
    EXPECT_EQ(scheduler.rows()[1].postponedTo, QTime(8, 41));

    // The long one ends: the held-back one speaks right after it.
    playThroughReading();
    ASSERT_TRUE(opened(2));
    EXPECT_TRUE(scheduler.rows()[2].delayedStarted);
    playLastReading();
    EXPECT_EQ(synth.texts().last(), u"紧随其后");

    tickAt("2026-11-23 08:41:00");
    EXPECT_TRUE(scheduler.rows()[1].delayedStarted);
    EXPECT_EQ(broadcastPlayer.opened.size(), 3);
}

TEST_F(BroadcastDay, SpeakPathRefusalsFilesAndVoices)
{
    // Missing music: said, and the speech goes on; an unknown voice falls back.
    QList<QString> notices;
    QObject::connect(&broadcaster, &tav::Broadcaster::notice, [&](const QString &n) { notices.append(n); });
    ASSERT_TRUE(broadcaster.speak({.name = u"a"_s, .text = u"你好"_s, .speaker = u"某种声音"_s, .tone = false,
                                   .music = u"/没有/音乐.mp3"_s}));
    EXPECT_EQ(notices, QList<QString>{u"路径错误：/没有/音乐.mp3"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return synth.texts().size() == 1; }, 3000));
    EXPECT_EQ(synth.voiceIds()[0], u"cmn-latn-pinyin+f2");
    broadcaster.stop();

    // A text naming a wave file plays the file; the Cantonese voice reads traditional characters.
    d.write(u"通知.wav"_s, u"RIFF"_s);
    ASSERT_TRUE(broadcaster.speak({.text = d.file(u"通知.wav"_s) + u"\r\n"_s, .tone = false}));
    EXPECT_EQ(voicePlayer.currentUrl(), d.file(u"通知.wav"_s));
    EXPECT_EQ(synth.texts().size(), 1);
    broadcaster.stop();
    ASSERT_TRUE(broadcaster.speak({.text = u"头发"_s, .speaker = u"ScanSoft Sin-Ji_Full_22kHz"_s, .tone = false}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return synth.texts().size() == 2; }, 3000));
    EXPECT_EQ(synth.texts()[1], u"頭髮");
    EXPECT_EQ(synth.voiceIds()[1], u"yue+f2");
    broadcaster.stop();

    // A tone that is not audio: logged, the speech goes on.
    ASSERT_TRUE(broadcaster.speak({.text = u"好"_s}));
    broadcastPlayer.fail();
    ASSERT_TRUE(QTest::qWaitFor([&] { return synth.texts().size() == 3; }, 3000));
    EXPECT_TRUE(log.text().contains(u"提示音无法播放"_s));
    broadcaster.stop();

    // A tone that never ends is given up once, and the text read as often as asked.
    broadcaster.setToneLimit(50);
    ASSERT_TRUE(broadcaster.speak({.name = u"长音"_s, .text = u"请注意"_s}));
    ASSERT_TRUE(voiceIs(State::Loading));
    voicePlayer.sound();
    voicePlayer.finish();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !broadcaster.isBusy(); }, 3000));
    QTest::qWait(100);
    EXPECT_EQ(synth.texts().size(), 4);
    EXPECT_EQ(log.text().count(u"提示音未能结束，已跳过"_s), 1);

    // A text of 100 KB (in GBK) is cut and said so; its file is written off this thread.
    ASSERT_TRUE(broadcaster.speak({.name = u"长文"_s, .text = QString(51200, u'好'), .tone = false}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return synth.texts().size() == 5; }, 5000));
    EXPECT_EQ(synth.texts()[4].size(), tav::Broadcaster::kMaxSpokenChars);
    EXPECT_TRUE(log.text().contains(u"只朗读前10000字"_s));
    EXPECT_TRUE(voiceIs(State::Loading, 5000));
    EXPECT_TRUE(QFileInfo(voicePlayer.currentUrl()).size() > 0);
}

// Time that moved on by less than three hours between ticks (the clock set,
// or the station stood still): what it jumped over is spoken at once, logged
// as late. (Three hours or more leave it overdue: the broadcast window's
// PriorityRoundTripAndTheWaitingListFollows.)
TEST_F(BroadcastDay, TimeThatJumpsSpeaksWhatItJumpedOverLate)
{
    add(u"b0"_s, u"08:30:00"_s, u"第0条"_s);
    enable();
    tickAt("2026-11-23 08:29:59");
    clock.step(3600);
    scheduler.tick();
    EXPECT_EQ(scheduler.rows()[0].status, Status::Spoken);
    EXPECT_EQ(broadcastPlayer.opened.size(), 1);
    EXPECT_TRUE(log.text().contains(u"补播：b0，应于8:30:00播出，晚了59分59秒"_s)) << log.text().toStdString();
}

// The tone and the first reading both wait ready: the tone goes on the
// second, the speech the moment the tone's end is heard, never under it.
TEST_F(BroadcastDay, ThePlayersAreReadiedSecondsBeforeAFiringAndTheSpeechFollowsTheHeardTone)
{
    add(u"午休"_s, u"12:00:00"_s, u"午休时间到了"_s);
    enable();
    tickAt("2026-11-23 11:59:50");
    EXPECT_EQ(broadcastPlayer.warmUps, 0) << "never on the tick itself";
    EXPECT_TRUE(QTest::qWaitFor([&] { return broadcastPlayer.warmUps > 0 && voicePlayer.warmUps > 0; }, 2000));
    // The tone waits at its first sample; the firing lets it go.
    EXPECT_EQ(broadcastPlayer.prepared, dir.tone());
    EXPECT_EQ(broadcastPlayer.state(), State::Paused);
    ASSERT_TRUE(voiceIs(State::Paused));
    const QString reading = voicePlayer.prepared;

    tickAt("2026-11-23 12:00:00");
    EXPECT_EQ(broadcastPlayer.currentUrl(), dir.tone());
    broadcastPlayer.sound();
    QTest::qWait(100);
    EXPECT_TRUE(voicePlayer.opened.isEmpty()) << "not under the tone";
    broadcastPlayer.finish(); // heard to its end
    EXPECT_EQ(voicePlayer.opened, QStringList{reading}) << "at once, nothing left to synthesise";
    EXPECT_EQ(synth.texts().size(), 1);
}

// Once the output's latency is known the waiting tone goes that much before
// its firing, at the firing's volume, and the firing finds it going; a firing
// that does not come stops it.
TEST_F(BroadcastDay, TheWaitingToneGoesAheadOfItsSecondByTheOutputsLatency)
{
    broadcastPlayer.latency = 300;
    const tav::BroadcastRequest request{.name = u"午休"_s, .text = u"午休时间到了"_s, .voiceVolume = 90, .tone = true};
    const QDateTime firing = at("2026-11-23 12:00:00");
    for (const bool comes : {true, false}) {
        broadcastPlayer.stop();
        clock.set(firing.addMSecs(-350));
        broadcaster.warmUp(request, firing);
        ASSERT_EQ(broadcastPlayer.state(), State::Paused);
        EXPECT_NEAR(broadcaster.toneReleaseInMs(), 50, 20);
        ASSERT_TRUE(QTest::qWaitFor([&] { return broadcastPlayer.state() == State::Playing; }, 2000));
        EXPECT_EQ(broadcastPlayer.volume(), 90);
        if (!comes) {
            ASSERT_TRUE(QTest::qWaitFor([&] { return broadcastPlayer.state() == State::Stopped; }, 3000));
            continue;
        }
        clock.set(firing);
        QString error;
        ASSERT_TRUE(broadcaster.speak(request, &error)) << error.toStdString();
        EXPECT_EQ(broadcastPlayer.opened, QStringList{dir.tone()});
        EXPECT_EQ(broadcastPlayer.state(), State::Playing) << "going on, not opened again";
        broadcaster.stop();
    }
}

 // A broadcast without a tone speaks first: its first reading is synthesised

// A broadcast without a tone speaks first: its first reading is synthesised
// at the warm-up, with the firing's time, and waits on the voice's player.
TEST_F(BroadcastDay, ASpeechFirstBroadcastIsReadyAheadWithItsFiringTimeAndPlaysOnItsSecond)
{
    add(u"报时"_s, u"12:00:00"_s, u"现在是%Time，开饭"_s, u"TTS_Tone=0\nTTS_Frequency=2\n"_s);
    enable();
    tickAt("2026-11-23 11:59:50");
    ASSERT_TRUE(voiceIs(State::Paused));
    const QString prepared = voicePlayer.prepared;
    EXPECT_EQ(synth.texts(), QStringList{u"现在是上午十二点整，开饭"_s}) << "the firing's time, not the warm-up's";
    EXPECT_EQ(broadcastPlayer.state(), State::Stopped) << "no tone to make ready";
    tickAt("2026-11-23 11:59:55"); // warmed up again: kept as it is
    QTest::qWait(400);
    EXPECT_EQ(synth.texts().size(), 1);
    EXPECT_TRUE(voicePlayer.opened.isEmpty());

    tickAt("2026-11-23 12:00:00");
    // Opened on the second itself: only its pause goes, nothing is synthesised.
    EXPECT_EQ(voicePlayer.opened, QStringList{prepared});
    EXPECT_EQ(synth.texts().size(), 1);
    EXPECT_EQ(broadcaster.spokenText(), u"现在是上午12:00，开饭");

    // The second reading is synthesised as ever.
    voicePlayer.finish();
    ASSERT_TRUE(QTest::qWaitFor([&] { return voicePlayer.opened.size() == 2; }, 3000));
    EXPECT_EQ(synth.texts().size(), 2);
    EXPECT_NE(voicePlayer.opened.last(), prepared);
}

// What was made ready plays only for the very broadcast in its very second.
TEST_F(BroadcastDay, APreparedReadingNeverPlaysForAChangedOrLateFiring)
{
    add(u"午饭"_s, u"12:00:00"_s, u"午饭时间"_s, u"TTS_Tone=0\n"_s);
    add(u"上课"_s, u"13:00:00"_s, u"上课了"_s, u"TTS_Tone=0\n"_s);
    enable();
    QString prepared;
    const auto prepareAt = [&](const char *when) {
        voicePlayer.prepared.clear();
        tickAt(when);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !voicePlayer.prepared.isEmpty(); }, 3000)) << when;
        prepared = voicePlayer.prepared;
        ASSERT_EQ(voicePlayer.state(), State::Paused);
    };
    const auto letGo = [&] {
        return voicePlayer.state() != State::Paused && !QFileInfo::exists(prepared)
               && !voicePlayer.opened.contains(prepared);
    };
    const auto spokenAnew = [&](const QString &text) {
        EXPECT_TRUE(voiceIs(State::Loading));
        EXPECT_EQ(synth.texts().last(), text);
        EXPECT_TRUE(letGo());
        broadcaster.stop();
    };

    // Its text changed after the warm-up.
    prepareAt("2026-11-23 11:59:50");
    d.write(u"午饭.ini"_s, u"午休时间"_s);
    clock.set(at("2026-11-23 11:59:59"));
    rebuild();
    tickAt("2026-11-23 12:00:00");
    spokenAnew(u"午休时间"_s);

    // Spoken late, after a small forward step of the clock over its second.
    prepareAt("2026-11-23 12:59:55");
    clock.step(8);
    scheduler.tick();
    ASSERT_EQ(scheduler.rows()[1].status, Status::Spoken);
    spokenAnew(u"上课了"_s);
}

// Read once a day whatever happens to the station: a rebuild or a restart
// within the minute reads nothing again, the day's past stays listed, and
// midnight starts a new day.
TEST_F(BroadcastDay, AFiringIsReadOnceADayOverRebuildsAndRestartsAndThePastStaysListed)
{
    add(u"课前"_s, u"10:00:00"_s, u"x"_s);
    add(u"预备"_s, u"13:34:00"_s, u"预备铃"_s);
    clock.set(at("2026-11-23 13:33:00"));
    enable();
    tickAt("2026-11-23 13:34:00");
    clock.set(at("2026-11-23 13:34:01"));
    rebuild(); // an edit of the file within the firing's minute
    tickAt("2026-11-23 13:34:02");
    playLastReading();
    scheduler.waitForFiles();

    clock.set(at("2026-11-23 13:34:43"));
    BroadcastScheduler again(clock, store, broadcaster, log);
    again.setEnabled(true);
    ASSERT_TRUE(built(again));
    again.tick();
    EXPECT_EQ(broadcastPlayer.opened.size(), 1);
    EXPECT_EQ(listed(again), (QStringList{u"10:00:00 课前 超时"_s, u"13:34:00 预备 已播"_s}));
    EXPECT_EQ(again.header(), u"今日待执行的任务，共:2条");
    clock.set(at("2026-11-24 00:00:01"));
    again.tick();
    ASSERT_TRUE(built(again));
    EXPECT_EQ(listed(again), (QStringList{u"10:00:00 课前 待播"_s, u"13:34:00 预备 待播"_s}));
}

// The start delay holds a broadcast back; once over, its minute still runs.
TEST_F(BroadcastDay, TheStartDelayHoldsBroadcastsBack)
{
    add(u"早安"_s, u"08:30:00"_s, u"早上好"_s);
    clock.set(at("2026-11-23 08:29:50"));
    scheduler.delayStart(25);
    enable();
    tickEachSecond(24); // to 8:30:14
    EXPECT_TRUE(broadcastPlayer.opened.isEmpty());
    EXPECT_EQ(scheduler.rows()[0].status, Status::Waiting);
    tickEachSecond(1);
    EXPECT_EQ(scheduler.rows()[0].status, Status::Spoken);
}

// Files that cannot be used are said in the message log, never passed over.
TEST_F(BroadcastDay, FilesThatCannotBeUsedAreSaid)
{
    d.write(u"【TTS】.ini"_s, u"乱码\x01\x02 没有一节\n"_s);
    enable();
    EXPECT_TRUE(log.text().contains(u"中没有一个播音任务"_s)) << log.text().toStdString();

    add(u"无名"_s, u"08:30:00"_s, u"x"_s, u"TTS_Name=\n"_s);
    add(u"错时"_s, u"8点半"_s, u"x"_s);
    add(u"乱字"_s, u"08:30:00"_s, u"x"_s);
    d.writeBytes(u"乱字.ini"_s, QByteArray("\x81\x20\xff\xfe\x80", 5));
    rebuild();
    EXPECT_TRUE(log.text().contains(u"[TTS1] 没有任务名称，已跳过"_s)) << log.text().toStdString();
    EXPECT_TRUE(log.text().contains(u"[TTS2]“错时”的开始时间“8点半”无效，今天不播"_s));
    ASSERT_EQ(listed(), QStringList{u"08:30:00 乱字 待播"_s});
    tickAt("2026-11-23 08:30:00");
    EXPECT_EQ(scheduler.rows()[0].status, Status::Overdue);
    EXPECT_TRUE(broadcastPlayer.opened.isEmpty());
    EXPECT_TRUE(log.text().contains(u"播音“乱字”未能播出：“乱字”的内容文件不是有效的GBK文本"_s));
    EXPECT_FALSE(log.text().contains(u"已播：乱字"_s));
}

// A station killed without its clean-up leaves its speech folder; the next
// start removes it, and nothing of a running station, anyone else's or
// behind a link.
TEST(VoiceFolders, StaleSpeechFoldersGoAtTheNextStart)
{
    QTemporaryDir tmp;
    QDir root(tmp.path());
    const QString own = u"tavplayer-voice-%1-aB3dE5"_s.arg(QCoreApplication::applicationPid());
    for (const QString &name : {u"tavplayer-voice-999999999-xY1zW2"_s, own, u"tavplayer-voice-Qw3Er5"_s,
                                u"tavplayer-voice-Zx9Cv8"_s, u"tavplayer-voice-outside"_s})
        ASSERT_TRUE(root.mkdir(name));
    for (const QString &file : {u"/tavplayer-voice-999999999-xY1zW2/speech-1.wav"_s, u"/tavplayer-voice-Zx9Cv8/notes.txt"_s})
        ASSERT_TRUE(QFile(tmp.path() + file).open(QIODevice::WriteOnly)) << file.toStdString();
    ASSERT_TRUE(QFile::link(tmp.path() + u"/tavplayer-voice-outside"_s, tmp.path() + u"/tavplayer-voice-Lk0Lk0"_s));
    EXPECT_EQ(tav::Voice::removeStaleFolders(tmp.path()), 2);
    QStringList left = root.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
    EXPECT_EQ(left, (QStringList{own, u"tavplayer-voice-Lk0Lk0"_s, u"tavplayer-voice-Zx9Cv8"_s,
                                 u"tavplayer-voice-outside"_s}));
}

// A voice that goes while its text is still being synthesised waits for the
// synthesis: the engine and the temporary folder it uses go with it or after.
TEST(VoiceEnd, AVoiceGoneMidSynthesisLeavesNothingRunning)
{
    tav::test::FakeSynth slowSynth;
    tav::test::FakePlayer out;
    slowSynth.delayMs = 300;
    {
        tav::Voice voice(slowSynth, out);
        voice.speak(u"各位同学请注意"_s);
        ASSERT_TRUE(QTest::qWaitFor([&] { return slowSynth.running > 0; }, 2000));
    }
    EXPECT_EQ(slowSynth.running, 0);
    QTest::qWait(50); // the worker's own end, handled after its voice has gone
    EXPECT_TRUE(out.opened.isEmpty());
}

// Said now: after the broadcast in progress, in the order asked, the
// timed broadcasts' way; what cannot be said is refused with why (an empty
// text: the emergency window's announcement field).
TEST_F(BroadcastDay, AnnouncementsWaitForTheBroadcastInProgressAndBadOnesAreRefused)
{
    tav::AnnounceQueue announcements{clock, broadcaster, log};
    QString error;
    EXPECT_FALSE(announcements.submit({d.file(u"没有.wav"_s), {}, 1, true}, u"主窗口"_s, &error));
    EXPECT_EQ(error, u"找不到声音文件："_s + d.file(u"没有.wav"_s));
    EXPECT_FALSE(announcements.submit({u"x"_s, {}, 11}, u"主窗口"_s, &error));
    EXPECT_EQ(error, u"重复次数应为 1 到 10");
    EXPECT_FALSE(broadcaster.isBusy());

    add(u"早操"_s, u"08:30:00"_s, u"做早操"_s);
    enable();
    tickAt("2026-11-23 08:30:00");
    ASSERT_TRUE(broadcaster.isBusy());
    ASSERT_TRUE(announcements.submit({u"请到操场集合"_s, {}, 2}, u"网页控制台"_s, &error)) << error.toStdString();
    ASSERT_TRUE(announcements.submit({u"第二条"_s}, u"主窗口"_s, &error));
    EXPECT_EQ(announcements.waiting(), 2);

    playThroughReading();
    ASSERT_TRUE(QTest::qWaitFor([&] { return broadcaster.isBusy(); }, 3000));
    EXPECT_EQ(broadcaster.current().name, tav::AnnounceQueue::kName);
    EXPECT_EQ(broadcaster.current().text, u"请到操场集合");
    EXPECT_EQ(broadcaster.current().frequency, 2);
    EXPECT_TRUE(broadcaster.current().tone);
    EXPECT_EQ(media.volume(), 30); // turned down as for a timed broadcast
    EXPECT_EQ(announcements.waiting(), 1);
}

// An emergency holds the list: firings due meanwhile, and one waiting for
// the voice, are overdue and never spoken after it; waiting announcements go.
TEST_F(BroadcastDay, HeldFiringsAreOverdueAndNotSpokenAfterwards)
{
    tav::AnnounceQueue announcements{clock, broadcaster, log};
    add(u"长播"_s, u"08:30:00"_s, u"很长的通知"_s);
    add(u"紧随"_s, u"08:30:05"_s, u"x"_s);
    add(u"其间"_s, u"08:32:00"_s, u"x"_s);
    add(u"之后"_s, u"08:40:00"_s, u"之后的通知"_s);
    enable();
    tickAt("2026-11-23 08:30:00");
    tickAt("2026-11-23 08:30:05"); // held back by the long one
    QString error;
    ASSERT_TRUE(announcements.submit({u"插一句"_s}, u"主窗口"_s, &error));

    scheduler.setHeld(true);
    announcements.setHeld(true);
    broadcaster.stop();
    EXPECT_EQ(announcements.waiting(), 0);
    tickAt("2026-11-23 08:32:00");
    tickAt("2026-11-23 08:33:00");
    scheduler.setHeld(false);
    announcements.setHeld(false);
    tickAt("2026-11-23 08:33:01");
    QTest::qWait(50); // anything queued behind the stopped broadcast would start now
    EXPECT_FALSE(broadcaster.isBusy());
    EXPECT_EQ(listed(), (QStringList{u"08:30:00 长播 已播"_s, u"08:30:05 紧随 超时"_s, u"08:32:00 其间 超时"_s,
                                     u"08:40:00 之后 待播"_s}));
    EXPECT_TRUE(log.text().contains(u"超时：其间（08:32:00）紧急广播期间未播出"_s));
    EXPECT_TRUE(log.text().contains(u"等待中的插播已取消：插一句"_s));
    tickAt("2026-11-23 08:40:00");
    EXPECT_TRUE(broadcaster.isBusy()); // the list runs on as before
}
