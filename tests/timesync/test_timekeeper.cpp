#include "core/ini.h"
#include "fakes/rig.h"
#include "timesync/daytime.h"
#include "timesync/localdaytime.h"
#include "timesync/timehealth.h"
#include "timesync/timekeeper.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::DaytimeAnswer;
using tav::TimeHealth;
using tav::test::at;
using tav::test::LocalDaytime;
using tav::test::nist;

namespace {

DaytimeAnswer answerAt(const QDateTime &now, const char *utc)
{
    return DaytimeAnswer::parse(u"s"_s, nist(utc), now);
}

} // namespace

TEST(TimeHealthTest, StatusFromTheLastCheckAndTheSystem)
{
    tav::test::DataFolder d;
    const tav::DataDir dir{d.path()};
    TimeHealth health{dir};
    health.load();
    const QDateTime now = at("2026-11-24 07:14:00");
    EXPECT_EQ(health.status(now, false).text, u"时钟：从未校时"_s);
    EXPECT_TRUE(health.status(now, false).warning);
    // A system that keeps its clock in step needs no check of ours.
    EXPECT_EQ(health.status(now, true).text, u"时钟：系统自动同步"_s);
    EXPECT_FALSE(health.status(now, true).warning);

    // Set from an answer 19 s ahead: the check is the moment set.
    ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:19"), true, now));
    EXPECT_EQ(health.status(at("2026-11-24 12:00:00"), false).text, u"时钟：2026/11/24 7:14:19 已校时"_s);
    EXPECT_FALSE(health.status(at("2026-11-25 07:14:19"), false).warning);
    const TimeHealth::Status stale = health.status(at("2026-11-25 07:14:20"), false);
    EXPECT_TRUE(stale.warning);
    EXPECT_EQ(stale.text, u"时钟：超过24小时未校时（上次 2026/11/24 7:14:19）"_s);
    // A check dated far ahead (a clock stepped back) is as untrustworthy.
    EXPECT_TRUE(health.status(at("2026-11-22 07:00:00"), false).warning);

    // Not set (refused): the offset stays and is warned about at once.
    ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:19"), false, now));
    const TimeHealth::Status off = health.status(now.addSecs(60), false);
    EXPECT_TRUE(off.warning);
    EXPECT_EQ(off.text, u"时钟：偏差19.0秒（2026/11/24 7:14:00 校时未能校正）"_s);
    // Within two seconds is in step.
    ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:02"), false, now));
    EXPECT_FALSE(health.status(now.addSecs(60), false).warning);
}

TEST(TimeHealthTest, KeptBesideTheOtherSettingsAndReadBack)
{
    tav::test::DataFolder d;
    const tav::DataDir dir{d.path()};
    d.write(u"【CONTROL】.ini"_s, u"[Control]\nnetTimeOnOff=1\n[Other]\nKey=值\n"_s);
    const QDateTime now = at("2026-11-24 07:14:00");
    {
        TimeHealth health{dir};
        ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:19"), false, now));
    }
    const tav::IniFile file(dir.control());
    EXPECT_EQ(file.value(u"Control"_s, u"netTimeOnOff"_s), u"1"_s);
    EXPECT_EQ(file.value(u"Other"_s, u"Key"_s), u"值"_s);
    EXPECT_EQ(file.value(u"NETTIME"_s, u"lastcheck"_s), u"2026/11/24 7:14:00"_s);
    EXPECT_EQ(file.value(u"netTime"_s, u"LastOffset"_s), u"19.0"_s);

    TimeHealth again{dir};
    again.load();
    EXPECT_EQ(again.lastCheck(), now);
    EXPECT_EQ(again.residualOffsetMs(), 19000);

    // Nonsense in the file reads as never checked, never as a crash or a good clock.
    d.write(u"【CONTROL】.ini"_s, u"[netTime]\nLastCheck=昨天\nLastOffset=abc\n"_s);
    again.load();
    EXPECT_FALSE(again.lastCheck().isValid());
    EXPECT_TRUE(again.status(now, false).warning);
}

class TimeKeeperTest : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    TimeKeeperTest() : PlaybackRig("2026-11-24 07:14:00") {}
    tav::test::FakeClockSetter setter;
    tav::TimeKeeper keeper{clock, dir, log};
    LocalDaytime server{{nist("26-11-23 23:14:19")}};

    void SetUp() override
    {
        keeper.setClockSetter(&setter);
        keeper.setServers({server.address()});
    }
    // Waits for the run that is going, if any.
    bool settle()
    {
        return QTest::qWaitFor([this] { return keeper.current() == nullptr; }, 5000);
    }
};

TEST_F(TimeKeeperTest, SwitchOnSynchronisesAtStartAndAfterADay)
{
    keeper.start(true);
    ASSERT_NE(keeper.current(), nullptr);
    ASSERT_TRUE(settle());
    ASSERT_EQ(setter.set.size(), 1);
    EXPECT_TRUE(log.text().contains(u"网络校时已成功"_s)) << log.text().toStdString();
    EXPECT_EQ(keeper.health().lastCheck().date(), QDate(2026, 11, 24));
    EXPECT_FALSE(keeper.status().warning) << keeper.status().text.toStdString();

    // The hourly look: within the day nothing is done, after it a new run.
    clock.advance(23 * 3600);
    keeper.recheck();
    EXPECT_EQ(keeper.current(), nullptr);
    clock.advance(2 * 3600);
    LocalDaytime nextDay{{nist("26-11-24 23:14:03")}};
    keeper.setServers({nextDay.address()});
    keeper.recheck();
    ASSERT_NE(keeper.current(), nullptr);
    ASSERT_TRUE(settle());
    ASSERT_EQ(setter.set.size(), 2);
    EXPECT_LT(qAbs(setter.set[1].msecsTo(at("2026-11-25 07:14:03"))), 500);
}

TEST_F(TimeKeeperTest, SwitchOffLeavesTheClockButTheWindowStillSyncs)
{
    keeper.start(false);
    EXPECT_EQ(keeper.current(), nullptr);
    clock.advance(3 * 24 * 3600);
    keeper.recheck();
    EXPECT_EQ(keeper.current(), nullptr);
    EXPECT_TRUE(setter.set.isEmpty());
    EXPECT_TRUE(keeper.status().warning);

    // "Sync now" (the answer within a day of the clock); while a run is
    // going it gives the same run, not a second one.
    LocalDaytime later{{nist("26-11-26 23:14:05")}};
    keeper.setServers({later.address()});
    tav::DaytimeSync *run = keeper.syncNow();
    ASSERT_NE(run, nullptr);
    EXPECT_EQ(keeper.syncNow(), run);
    ASSERT_TRUE(settle());
    EXPECT_EQ(setter.set.size(), 1);
}

TEST_F(TimeKeeperTest, TheSystemsOwnSynchronisationIsAskedOffTheClockworkThread)
{
    setter.state = {.known = true, .automatic = true, .synchronised = true};
    QSignalSpy changed(&keeper, &tav::TimeKeeper::statusChanged);
    keeper.start(false);
    ASSERT_TRUE(QTest::qWaitFor([this] { return keeper.systemState().known; }, 3000));
    EXPECT_EQ(keeper.status().text, u"时钟：系统自动同步"_s);
    EXPECT_GE(changed.size(), 2); // at start, and when the answer came
}

TEST_F(TimeKeeperTest, ARefusedClockAndAnUnwritableFolderAreBothLogged)
{
    setter.refusal = u"没有权限"_s;
    // A folder where the settings file should be: no one can write it.
    ASSERT_TRUE(QDir(d.path()).mkdir(u"【CONTROL】.ini"_s));
    keeper.start(true);
    ASSERT_TRUE(settle());
    EXPECT_TRUE(setter.set.isEmpty());
    EXPECT_TRUE(log.text().contains(u"没有权限"_s)) << log.text().toStdString();
    EXPECT_TRUE(log.text().contains(u"写入设置文件失败"_s)) << log.text().toStdString();
    EXPECT_FALSE(log.text().contains(u"网络校时已成功"_s));
    // The residual offset is what the status warns about.
    EXPECT_TRUE(keeper.status().warning);
}
