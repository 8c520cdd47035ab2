// The task file changed by another program while the schedule runs: read
// off the clockwork while the seconds start from the tasks in hand, no start
// missed or made twice.
#include "scheduler/schedulerfixture.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

using tav::test::at;

namespace {

struct ReloadCase
{
    const char *what;
    bool tickFirst;        // the second's tick ran before the reload began
    const char *appliedAt; // when the read file is taken in
    const char *added;     // start of the task the change adds
    bool keepsFirst;       // the changed file still has the task due at 9:00:00
    bool addedMadeGood;    // the added task's start is made good when the file is in
    int addedStarts;       // of the added task, up to 9:00:05
};

class ReloadTest : public SchedulerTest, public ::testing::WithParamInterface<ReloadCase>
{
};

} // namespace

TEST_P(ReloadTest, AStartDueWhileTheFileIsReadIsMadeOnItsSecondAndNotAgain)
{
    const ReloadCase c = GetParam();
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    secondsAt({"2026-11-23 08:59:59"});
    if (!c.keepsFirst)
        songs.clear();
    addTask(2, u"课前"_s, QString::fromLatin1(c.added), u"10:10:00"_s); // the change another program made
    QSignalSpy reloaded(&scheduler, &tav::Scheduler::tasksReloaded);

    clock.set(at("2026-11-23 09:00:00"));
    if (c.tickFirst)
        scheduler.onSecond();
    scheduler.reloadTasks();
    if (!c.tickFirst)
        scheduler.onSecond(); // the file is still being read
    EXPECT_EQ(starts(u"早操"_s), 1) << c.what << ": made from the tasks in hand";
    for (QDateTime s = at("2026-11-23 09:00:01"); s <= at(c.appliedAt); s = s.addSecs(1)) {
        clock.set(s);
        scheduler.onSecond();
    }
    ASSERT_TRUE(reloaded.count() > 0 || reloaded.wait(5000));
    EXPECT_TRUE(reloaded.first().at(0).toBool());
    secondsAt({"2026-11-23 09:00:03", "2026-11-23 09:00:04", "2026-11-23 09:00:05"});

    EXPECT_EQ(starts(u"早操"_s), 1) << c.what;
    EXPECT_FALSE(log.text().contains(u"补播：早操")) << c.what;
    EXPECT_EQ(log.text().contains(u"补播：课前"), c.addedMadeGood) << c.what << log.text().toStdString();
    EXPECT_EQ(starts(u"课前"_s), c.addedStarts) << c.what;
    EXPECT_EQ(store.rows().size(), c.keepsFirst ? 2 : 1) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Seconds, ReloadTest,
    ::testing::Values(
        ReloadCase{"reload before the tick, in by the same second", false, "2026-11-23 09:00:00", "10:00:00", true, false, 0},
        ReloadCase{"reload after the tick made the start", true, "2026-11-23 09:00:01", "10:00:00", true, false, 0},
        ReloadCase{"the change adds a start in the seconds it was read", false, "2026-11-23 09:00:02", "9:00:01", true, true, 1},
        ReloadCase{"the change adds a start not ticked yet", false, "2026-11-23 09:00:02", "9:00:03", true, false, 1},
        ReloadCase{"the change drops the start already made", true, "2026-11-23 09:00:02", "10:00:00", false, false, 0}),
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

// An edit here writes the file and loads it again while the watcher's read of
// the file before it is still on its way: that older read does not take the
// edit back.
TEST_F(SchedulerTest, AReadOlderThanAnEditHereDoesNotUndoIt)
{
    addTask(1, u"早操"_s, u"9:00:00"_s, u"9:30:00"_s);
    startAt("2026-11-23 08:59:58");
    QSignalSpy reloaded(&scheduler, &tav::Scheduler::tasksReloaded);
    scheduler.reloadTasks();
    QThread::msleep(300); // read by now; taken in only when events run
    addTask(2, u"课前"_s, u"10:00:00"_s, u"10:10:00"_s);
    store.load(clock.now().date());
    ASSERT_TRUE(reloaded.wait(5000));
    EXPECT_EQ(store.rows().size(), 2);
}
