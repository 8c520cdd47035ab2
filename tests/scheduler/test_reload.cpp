// The task file changed by another program while the schedule runs: read
// off the clockwork, no start missed or made twice.
#include "scheduler/schedulerfixture.h"

#include <QSignalSpy>
#include <QTest>

using tav::test::at;

namespace {

struct ReloadCase
{
    const char *what;
    bool tickFirst;      // the second's tick ran before the reload began
    const char *appliedAt;  // when the read file is taken in
    int starts;          // of the task due at 9:00:00, from 8:59:59 to 9:00:05
    bool madeGood;
};

class ReloadTest : public SchedulerTest, public ::testing::WithParamInterface<ReloadCase>
{
protected:
    qsizetype starts(const QString &task) const { return player.opened.count(u"/m/"_s + task + u"-a.mp3"_s); }
    // Lets the reading thread's answer in.
    bool takeReload(QSignalSpy &spy) { return spy.count() > 0 || spy.wait(5000); }
};

} // namespace

TEST_P(ReloadTest, AReloadOnAStartSecondNeitherMissesNorDoublesIt)
{
    const ReloadCase c = GetParam();
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    secondsAt({"2026-11-23 08:59:59"});
    addTask(2, u"课间"_s, u"10:00:00"_s, u"10:10:00"_s); // the change another program made
    QSignalSpy reloaded(&scheduler, &tav::Scheduler::tasksReloaded);

    clock.set(at("2026-11-23 09:00:00"));
    if (c.tickFirst)
        scheduler.onSecond();
    scheduler.reloadTasks();
    if (!c.tickFirst)
        scheduler.onSecond(); // the file is still being read
    clock.set(at(c.appliedAt));
    if (clock.now() > at("2026-11-23 09:00:00"))
        scheduler.onSecond();
    ASSERT_TRUE(takeReload(reloaded));
    EXPECT_TRUE(reloaded.first().at(0).toBool());
    secondsAt({"2026-11-23 09:00:03", "2026-11-23 09:00:04", "2026-11-23 09:00:05"});

    EXPECT_EQ(starts(u"早操"_s), c.starts) << c.what;
    EXPECT_EQ(log.text().contains(u"补播：早操"), c.madeGood) << c.what << log.text().toStdString();
    EXPECT_EQ(store.rows().size(), 2) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Seconds, ReloadTest,
    ::testing::Values(ReloadCase{"reload before the tick, in by the same second", false, "2026-11-23 09:00:00", 1, false},
                      ReloadCase{"reload after the tick made the start", true, "2026-11-23 09:00:01", 1, false},
                      ReloadCase{"reload before the tick, in two seconds later", false, "2026-11-23 09:00:02", 1, true}),
    [](const auto &param) { return std::to_string(param.index); });

TEST_F(SchedulerTest, ATaskFileNotWholeKeepsTheTasksInForce)
{
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    for (const QByteArray &broken : {QByteArray(), QByteArray("Name=x\r\n\0\0\0", 11), QByteArray("garbage")}) {
        d.writeBytes(u"【SONG】.ini"_s, broken);
        QSignalSpy reloaded(&scheduler, &tav::Scheduler::tasksReloaded);
        scheduler.reloadTasks();
        ASSERT_TRUE(reloaded.wait(5000));
        EXPECT_FALSE(reloaded.first().at(0).toBool());
        EXPECT_FALSE(reloaded.first().at(1).toString().isEmpty());
        ASSERT_EQ(store.rows().size(), 1) << broken.toStdString();
    }
    secondsAt({"2026-11-23 08:59:59", "2026-11-23 09:00:00"});
    EXPECT_EQ(player.currentUrl(), u"/m/早操-a.mp3");
}

TEST_F(SchedulerTest, SecondsWithoutATickAreMissedStartsAndHeldBackOnesAreMadeGood)
{
    addTask(1, u"早操"_s, u"9:00:01"_s, u"9:30:00"_s);
    addTask(2, u"课间"_s, u"9:00:30"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    QSignalSpy missed(&scheduler, &tav::Scheduler::startMissed);
    QSignalSpy madeGood(&scheduler, &tav::Scheduler::startMadeGood);
    secondsAt({"2026-11-23 09:00:00", "2026-11-23 09:00:02"}); // a stalled second
    ASSERT_EQ(missed.count(), 1);
    EXPECT_EQ(missed.first().at(0).toString(), u"早操");

    clock.step(30); // set forward by a time service: made good, not missed
    secondsAt({"2026-11-23 09:00:33"});
    EXPECT_EQ(missed.count(), 1);
    ASSERT_EQ(madeGood.count(), 1);
    EXPECT_EQ(madeGood.first().at(1).toInt(), 3);
}
