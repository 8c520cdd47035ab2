#include "scheduler/schedulerfixture.h"
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using tav::Switch;
using tav::test::at;

TEST_F(SchedulerTest, TaskStartsOnItsSecondOnlyAndEndsWithinTheGrace)
{
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    secondsAt({"2026-11-23 08:59:59"});
    EXPECT_TRUE(player.opened.isEmpty());
    secondsAt({"2026-11-23 09:00:00"});
    EXPECT_EQ(player.opened, QStringList{u"/m/早操-a.mp3"_s});
    EXPECT_EQ(scheduler.status(), u"正在播放：早操");
    EXPECT_EQ(log.text(), u"[2026/11/23]开播：早操");
    EXPECT_EQ(player.volume(), 76); // 50000 / 655.35
    secondsAt({"2026-11-23 09:00:01", "2026-11-23 09:30:00"});
    EXPECT_EQ(player.opened.size(), 1);
    EXPECT_EQ(scheduler.runningEnd(), u"9:30:00");
    secondsAt({"2026-11-23 09:30:01"});
    EXPECT_TRUE(scheduler.runningEnd().isEmpty());
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Stopped);
    EXPECT_TRUE(playback.items().isEmpty());
    EXPECT_EQ(scheduler.status(), u"Tavrel多媒体定时播放系统");
}

TEST_F(SchedulerTest, MissedSecondsMissTheStartAndALateTickMissesTheEnd)
{
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    QSignalSpy missed(&scheduler, &tav::Scheduler::startMissed);
    secondsAt({"2026-11-23 08:59:59", "2026-11-23 09:00:01"}); // busy through 9:00:00
    EXPECT_TRUE(player.opened.isEmpty());
    ASSERT_EQ(missed.count(), 1);
    EXPECT_EQ(missed.first().at(0).toString(), u"早操");
    EXPECT_FALSE(log.text().contains(u"跳变")) << "a late tick is no clock step";

    addTask(2, u"课间"_s, u"9:10:00"_s, u"9:20:00"_s);
    store.load(clock.now().date());
    secondsAt({"2026-11-23 09:10:00", "2026-11-23 09:20:49"});
    EXPECT_TRUE(scheduler.runningEnd().isEmpty()); // 49 seconds past: ended
    secondsAt({"2026-11-23 09:10:00", "2026-11-23 09:20:50"});
    EXPECT_EQ(scheduler.runningEnd(), u"9:20:00"); // 50 seconds past: plays on
}

TEST_F(SchedulerTest, EndAsksForPicturesAndClaimsNoScreenItDidNotGet)
{
    addTask(1, u"甲"_s, u"9:00:00"_s, u"9:00:10"_s);
    settings.setSwitch(Switch::Pictures, true);
    startAt("2026-11-23 08:59:58");
    int adverts = 0;
    QObject::connect(&scheduler, &tav::Scheduler::idleContentRequested, [&](bool run) { adverts += run; });
    secondsAt({"2026-11-23 09:00:00", "2026-11-23 09:00:11"});
    EXPECT_EQ(adverts, 1);
    EXPECT_EQ(scheduler.status(), u"Tavrel多媒体定时播放系统"); // nothing took the screen
    EXPECT_FALSE(log.text().contains(u"广告内容"));
}

TEST_F(SchedulerTest, WorkingHoursGateTheTickAndEndTheDayFiveSecondsEarly)
{
    addTask(1, u"甲"_s, u"9:00:00"_s, u"9:30:00"_s);
    settings.setSwitch(Switch::WorkingHours, true);
    settings.setText(tav::Setting::WorkStart, u"8:00:00"_s);
    settings.setText(tav::Setting::WorkEnd, u"10:00:00"_s);
    startAt("2026-11-23 08:59:58");
    EXPECT_EQ(scheduler.nextTaskStatus().workHours, u"工作时段从8:00:00至10:00:00");
    secondsAt({"2026-11-23 09:00:00"});
    EXPECT_EQ(player.opened.size(), 1);
    secondsAt({"2026-11-23 09:59:54"});
    EXPECT_TRUE(scheduler.isEnabled());
    secondsAt({"2026-11-23 09:59:55"});
    EXPECT_FALSE(scheduler.isEnabled());
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Stopped);
    EXPECT_EQ(scheduler.status(), u"提示：今天停播节目或播放时间已结束");
    EXPECT_EQ(shutdown.scheduled, 0);
    clock.set(at("2026-11-23 10:00:01"));
    EXPECT_EQ(scheduler.nextTaskStatus().next, u"不在工作时段范围内");
}

// The daily shutdown fires once; its question stays open while the seconds
// go on (unanswered, the PC goes down); "no" cancels the shutdown and the
// rest of the day's schedule plays.
TEST_F(SchedulerTest, DailyShutdownFiresOnceAndADeclinePutsTheScheduleBackToWork)
{
    addTask(1, u"午后"_s, u"12:00:30"_s, u"12:10:00"_s);
    settings.setShutdownAtTime(true, 12 * 3600);
    prompt.holdQuestions = true;
    startAt("2026-11-23 11:59:58");
    secondsAt({"2026-11-23 12:00:00", "2026-11-23 12:00:00", "2026-11-23 12:00:01", "2026-11-23 12:00:02"});
    EXPECT_EQ(shutdown.scheduled, 1);
    EXPECT_EQ(shutdown.cancelled, 0);
    EXPECT_EQ(prompt.openQuestions(), 1);
    EXPECT_EQ(scheduler.status(), u"正关机倒计时");
    EXPECT_FALSE(scheduler.isEnabled());

    clock.set(at("2026-11-23 12:00:20"));
    prompt.answerOpen(false);
    EXPECT_EQ(shutdown.cancelled, 1);
    EXPECT_TRUE(scheduler.isEnabled());
    EXPECT_EQ(scheduler.status(), u"Tavrel多媒体定时播放系统");
    secondsAt({"2026-11-23 12:00:30"});
    EXPECT_EQ(player.opened, QStringList{u"/m/午后-a.mp3"_s});
    EXPECT_EQ(scheduler.status(), u"正在播放：午后");
    EXPECT_EQ(shutdown.scheduled, 1);
}

TEST_F(SchedulerTest, StopDayShutdownAsksAndADeclineKeepsTheDayStopped)
{
    tav::test::ScriptedPrompt dates;
    stopDates.load();
    dates.answers = {true};
    ASSERT_EQ(stopDates.add(QDate(2026, 11, 23), dates), tav::StopDates::AddResult::Added);
    settings.setSwitch(Switch::ShutdownOnStopDay, true);
    prompt.holdQuestions = true;
    startAt("2026-11-23 07:00:00");
    EXPECT_EQ(shutdown.scheduled, 1);
    EXPECT_EQ(scheduler.status(), u"正关机倒计时");
    EXPECT_EQ(prompt.shown, QStringList{u"提示|“是”表示要关机，“否”表示不要关机"_s});
    prompt.answerOpen(false);
    EXPECT_EQ(shutdown.cancelled, 1);
    EXPECT_FALSE(scheduler.isEnabled());
    EXPECT_EQ(scheduler.status(), u"今天停播节目");
}

// Stop dates, weekday stops and working hours take effect the moment they change.
TEST_F(SchedulerTest, ChangedStopsAndHoursTakeEffectAtOnce)
{
    addTask(1, u"甲"_s, u"9:02:00"_s, u"9:10:00"_s);
    settings.setSwitch(Switch::StopMonday, true);
    startAt("2026-11-23 09:00:00");
    EXPECT_EQ(scheduler.status(), u"今天停播节目");
    settings.setSwitch(Switch::StopMonday, false);
    EXPECT_TRUE(scheduler.isEnabled());
    EXPECT_EQ(scheduler.status(), u"Tavrel多媒体定时播放系统");
    secondsAt({"2026-11-23 09:02:00"});
    EXPECT_EQ(player.opened.size(), 1);

    tav::test::ScriptedPrompt yes;
    yes.answers = {true};
    stopDates.add(QDate(2026, 11, 23), yes);
    int ended = 0;
    QObject::connect(&scheduler, &tav::Scheduler::taskEnded, [&] { ++ended; });
    scheduler.reviewDay();
    EXPECT_EQ(ended, 1); // the running task is over
    EXPECT_FALSE(scheduler.isEnabled());
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Stopped);
    EXPECT_EQ(scheduler.status(), u"今天停播节目");
    stopDates.remove(0);
    scheduler.reviewDay();
    EXPECT_TRUE(scheduler.isEnabled());

    // The working day ended early; a later end brings the schedule back.
    settings.setText(tav::Setting::WorkStart, u"8:00:00"_s);
    settings.setText(tav::Setting::WorkEnd, u"9:05:05"_s);
    settings.setSwitch(Switch::WorkingHours, true);
    secondsAt({"2026-11-23 09:05:00"});
    EXPECT_FALSE(scheduler.isEnabled());
    EXPECT_TRUE(store.today().isEmpty()); // 甲 ends after the working hours
    settings.setText(tav::Setting::WorkEnd, u"12:00:00"_s);
    EXPECT_TRUE(scheduler.isEnabled());
    ASSERT_EQ(store.today().size(), 1); // rebuilt: 甲 is within them again
    EXPECT_EQ(store.today().at(0).name(), u"甲");
}

TEST_F(SchedulerTest, StartDelayHoldsBackTheFirstTicks)
{
    addTask(1, u"甲"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    scheduler.delayStart(5);
    secondsAt({"2026-11-23 09:00:00"});
    EXPECT_TRUE(player.opened.isEmpty());
}

// Seconds before a start, with the player idle, the first item of the task
// that wins the second (the later in the list) waits paused; the start lets
// it go, the task it replaced never opened.
TEST_F(SchedulerTest, TheNextStartsFirstItemIsMadeReadyAheadWhileThePlayerIsIdle)
{
    using State = tav::MediaPlayer::State;
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:10:00"_s);
    addTask(2, u"升旗"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:50");
    secondsAt({"2026-11-23 08:59:56"}); // four seconds ahead: too early
    QTest::qWait(600);
    EXPECT_EQ(player.state(), State::Stopped);

    secondsAt({"2026-11-23 08:59:57"});
    EXPECT_EQ(player.state(), State::Stopped) << "never on the tick itself";
    ASSERT_TRUE(QTest::qWaitFor([&] { return player.state() == State::Paused; }, 2000));
    EXPECT_EQ(player.prepared, u"/m/升旗-a.mp3"_s);
    EXPECT_TRUE(player.opened.isEmpty());

    secondsAt({"2026-11-23 08:59:58", "2026-11-23 09:00:00"});
    EXPECT_EQ(player.opened, QStringList{u"/m/升旗-a.mp3"_s});
    EXPECT_EQ(scheduler.runningEnd(), u"9:30:00");
    EXPECT_EQ(log.text(), u"[2026/11/23]开播：早操\r\n[2026/11/23]开播：升旗");
}
