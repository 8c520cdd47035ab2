// The clock stepped under a running schedule: by a time service, an operator,
// daylight saving.
#include "core/clocksteps.h"
#include "scheduler/schedulerfixture.h"

#include <QSignalSpy>
#include <QTimeZone>

using tav::test::at;

namespace {

QDateTime berlin(int month, int day, int h, int m, int s)
{
    return QDateTime(QDate(2026, month, day), QTime(h, m, s), QTimeZone("Europe/Berlin"));
}

} // namespace

class ClockStepTest : public SchedulerTest
{
protected:
    // One tick a second for `seconds` seconds of real time.
    void runFor(int seconds)
    {
        for (int i = 0; i < seconds; ++i) {
            clock.advance(1);
            scheduler.onSecond();
        }
    }
    // The wall clock is set by `seconds`; the next tick comes a second later.
    void stepAndTick(int seconds)
    {
        clock.step(seconds);
        runFor(1);
    }
};

TEST_F(ClockStepTest, AnHourForwardEndsTheRunningTaskAndStartsOnlyWhatIsStillOnAir)
{
    addTask(1, u"早操"_s, u"8:00:00"_s, u"9:00:00"_s);
    addTask(2, u"课间"_s, u"9:10:00"_s, u"9:20:00"_s);
    addTask(3, u"广播"_s, u"9:30:00"_s, u"11:00:00"_s);
    startAt("2026-11-23 07:59:59");
    runFor(1 + 50 * 60); // 8:50:00, 早操 plays
    ASSERT_EQ(scheduler.runningEnd(), u"9:00:00");
    QSignalSpy missed(&scheduler, &tav::Scheduler::startMissed);
    QSignalSpy madeGood(&scheduler, &tav::Scheduler::startMadeGood);
    stepAndTick(3600); // 8:50:00 → 9:50:01
    // 课间 comes first and is replaced by 广播 in the same second: logged, never opened.
    EXPECT_EQ(starts(u"课间"_s), 0);
    EXPECT_TRUE(log.text().contains(u"补播：课间，应于9:10:00开播，晚了40分1秒")) << log.text().toStdString();
    EXPECT_EQ(starts(u"广播"_s), 1);
    EXPECT_EQ(player.currentUrl(), u"/m/广播-a.mp3");
    EXPECT_EQ(scheduler.runningEnd(), u"11:00:00");
    EXPECT_TRUE(log.text().contains(u"系统时钟向前跳变1小时，")) << log.text().toStdString();
    EXPECT_TRUE(log.text().contains(u"补播：广播，应于9:30:00开播，晚了20分1秒")) << log.text().toStdString();
    EXPECT_EQ(missed.count(), 0);
    ASSERT_EQ(madeGood.count(), 2);
    EXPECT_EQ(madeGood.last().at(1).toInt(), 20 * 60 + 1);
    runFor(120);
    EXPECT_EQ(starts(u"广播"_s), 1);
}

TEST_F(ClockStepTest, BackwardStepsStartNothingTwice)
{
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    addTask(2, u"课间"_s, u"9:00:40"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    runFor(12); // 9:00:10, 早操 started
    stepAndTick(-60); // → 8:59:11
    EXPECT_TRUE(log.text().contains(u"系统时钟向后跳变1分，已开播的任务不再重复开播")) << log.text().toStdString();
    runFor(120); // through 9:00:00 again and on to 9:01:11
    EXPECT_EQ(starts(u"早操"_s), 1);
    EXPECT_EQ(starts(u"课间"_s), 1); // its second came only once before the step
    EXPECT_TRUE(log.text().contains(u"时钟回拨，不重复开播：早操")) << log.text().toStdString();
    // The next day is a day like any other.
    clock.set(at("2026-11-24 08:59:59"));
    runFor(1);
    EXPECT_EQ(starts(u"早操"_s), 2);
}

TEST_F(ClockStepTest, StepsOfThreeHoursOrMoreAreCorrectionsTakenAsTheyAre)
{
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    addTask(2, u"午间"_s, u"11:00:00"_s, u"11:30:00"_s);
    startAt("2026-11-23 08:59:58");
    runFor(2);
    ASSERT_EQ(starts(u"早操"_s), 1);
    stepAndTick(3 * 3600); // → 12:00:01: 午间 is not made good, 早操's end ends it
    EXPECT_EQ(starts(u"午间"_s), 0);
    EXPECT_TRUE(scheduler.runningEnd().isEmpty());
    EXPECT_TRUE(log.text().contains(u"系统时钟向前跳变3小时，超过3小时，按新时间继续")) << log.text().toStdString();
    stepAndTick(-4 * 3600); // → 8:00:02: the morning comes round again and plays again
    runFor(3600);
    EXPECT_EQ(starts(u"早操"_s), 2);
}

TEST_F(ClockStepTest, SpringForwardStartsTheSkippedHoursTaskOnceAndLate)
{
    addTask(1, u"晨钟"_s, u"2:30:00"_s, u"3:30:00"_s);
    startAt(berlin(3, 29, 1, 59, 58)); // 2:00 CET becomes 3:00 CEST
    runFor(1);
    runFor(1); // 3:00:00 CEST, one real second later
    EXPECT_EQ(clock.now().time(), QTime(3, 0, 0));
    EXPECT_TRUE(log.text().contains(u"夏令时切换：本地时间向前调整1小时，跳过的开播立即补上")) << log.text().toStdString();
    EXPECT_TRUE(log.text().contains(u"补播：晨钟，应于2:30:00开播，晚了30分")) << log.text().toStdString();
    EXPECT_EQ(starts(u"晨钟"_s), 1);
    EXPECT_EQ(scheduler.runningEnd(), u"3:30:00");
    runFor(3600);
    EXPECT_EQ(starts(u"晨钟"_s), 1);
    EXPECT_TRUE(scheduler.runningEnd().isEmpty()); // ended at 3:30:01
}

TEST_F(ClockStepTest, AutumnsRepeatedHourStartsNothingTwice)
{
    addTask(1, u"甲"_s, u"2:10:00"_s, u"2:20:00"_s);
    addTask(2, u"乙"_s, u"2:30:00"_s, u"2:40:00"_s);
    addTask(3, u"丙"_s, u"2:50:00"_s, u"3:30:00"_s);
    startAt(berlin(10, 25, 1, 59, 58)); // 3:00 CEST becomes 2:00 CET
    runFor(2 * 3600 + 120);             // to 3:02 CET, every second of both hours
    EXPECT_EQ(clock.now().time(), QTime(3, 1, 58));
    EXPECT_EQ(starts(u"甲"_s), 1);
    EXPECT_EQ(starts(u"乙"_s), 1);
    EXPECT_EQ(starts(u"丙"_s), 1);
    EXPECT_TRUE(log.text().contains(u"夏令时切换：本地时间向后调整1小时，已开播的任务不再重复开播")) << log.text().toStdString();
    EXPECT_EQ(scheduler.runningEnd(), u"3:30:00"); // 丙 plays on to its end
}

// A step is measured between two ticks, so it carries their jitter: its size
// is told rounded, a minute measured a little short still a minute.
TEST(ClockStepWatch, MeasuresStepsAgainstTheMonotonicClockAndTellsTheirSizeRounded)
{
    tav::test::FakeClock clock(at("2026-11-23 09:00:00"));
    tav::ClockStepWatch watch(clock);
    EXPECT_FALSE(watch.observe(clock.now()).isStep());
    clock.advance(1);
    EXPECT_FALSE(watch.observe(clock.now()).isStep());
    clock.advance(1);
    clock.step(-2);
    const tav::ClockStep back = watch.observe(clock.now());
    EXPECT_EQ(back.ms, -2000);
    EXPECT_FALSE(back.daylightSaving);
    EXPECT_EQ(back.from, at("2026-11-23 09:00:01"));
    clock.advanceMs(1300); // a late tick is no step
    EXPECT_FALSE(watch.observe(clock.now()).isStep());

    const std::pair<qint64, const char16_t *> told[] = {
        {600, u"系统时钟向前跳变0.6秒，"}, {-60'000, u"系统时钟向后跳变1分，"},
        {7'503'000, u"系统时钟向前跳变2小时5分3秒，"}, {59'970, u"系统时钟向前跳变1分，"},
        {-5'020, u"系统时钟向后跳变5秒，"}, {3'600'400, u"系统时钟向前跳变1小时，"}};
    for (const auto &[ms, text] : told) {
        tav::ClockStep step;
        step.ms = ms;
        EXPECT_TRUE(step.text().startsWith(QStringView(text))) << ms << " " << step.text().toStdString();
    }
}
