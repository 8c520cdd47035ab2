#include "core/ini.h"
#include "fakes/rig.h"
#include "timesync/daytime.h"
#include "timesync/localdaytime.h"
#include "timesync/timehealth.h"
#include "timesync/timekeeper.h"

#include <QDir>
#include <QFileInfo>
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

TEST(TimeHealthTest, StatusFromTheLastCheckTheSystemAndARefusal)
{
    tav::test::DataFolder d;
    const tav::DataDir dir{d.path()};
    TimeHealth health{dir};
    health.load();
    const QDateTime now = at("2026-11-24 07:14:00");
    EXPECT_EQ(health.status(now, false).text, u"时钟：从未校时"_s);
    EXPECT_TRUE(health.status(now, false).warning);
    EXPECT_FALSE(health.status(now, true).warning); // a system that keeps its clock in step

    // Set from an answer 19 s ahead: the check is the moment set.
    ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:19")));
    EXPECT_EQ(health.status(at("2026-11-24 12:00:00"), false).text, u"时钟：2026/11/24 7:14:19 已校时"_s);
    EXPECT_FALSE(health.status(at("2026-11-25 07:14:19"), false).warning);
    const TimeHealth::Status stale = health.status(at("2026-11-25 07:14:20"), false);
    EXPECT_TRUE(stale.warning);
    EXPECT_EQ(stale.text, u"时钟：超过24小时未校时（上次 2026/11/24 7:14:19）"_s);
    // A check dated far ahead (a clock stepped back) is as untrustworthy.
    EXPECT_TRUE(health.status(at("2026-11-22 07:00:00"), false).warning);

    // The time found but the clock not set: the last check stands, the
    // status warns at once, even for a clock within two seconds.
    const QDateTime later = at("2026-11-25 07:14:00");
    health.refused(answerAt(later, "26-11-24 23:14:01"), u"没有权限"_s);
    EXPECT_TRUE(health.status(later, false).warning);
    EXPECT_EQ(health.lastCheck(), at("2026-11-24 07:14:19"));
    EXPECT_EQ(health.status(now, false).text, u"时钟：无法设置系统时间（没有权限），偏差1.0秒"_s);
    EXPECT_EQ(health.residualOffsetMs(), 1000);
    // A check that sets the clock ends the warning.
    ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:00")));
    EXPECT_FALSE(health.status(now, false).warning);
}

TEST(TimeHealthTest, KeptBesideTheOtherSettingsAndReadBack)
{
    tav::test::DataFolder d;
    const tav::DataDir dir{d.path()};
    d.write(u"【CONTROL】.ini"_s, u"[Control]\nnetTimeOnOff=1\n[Other]\nKey=值\n"_s);
    const QDateTime now = at("2026-11-24 07:14:00");
    {
        TimeHealth health{dir};
        ASSERT_TRUE(health.record(answerAt(now, "26-11-23 23:14:19")));
    }
    const tav::IniFile file(dir.control());
    EXPECT_EQ(file.value(u"Control"_s, u"netTimeOnOff"_s), u"1"_s);
    EXPECT_EQ(file.value(u"Other"_s, u"Key"_s), u"值"_s);
    EXPECT_EQ(file.value(u"NETTIME"_s, u"lastcheck"_s), u"2026/11/24 7:14:19"_s);
    EXPECT_EQ(file.value(u"netTime"_s, u"LastOffset"_s), u"0.0"_s);
    TimeHealth again{dir};
    again.load();
    EXPECT_EQ(again.lastCheck(), at("2026-11-24 07:14:19"));

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

// The station's own check that cannot set the clock records nothing and
// says why; one that cannot write its record says so.
TEST_F(TimeKeeperTest, ARefusedClockRecordsNothingAndAnUnwritableFolderIsLogged)
{
    setter.refusal = u"没有权限"_s;
    keeper.start(true);
    ASSERT_TRUE(settle());
    EXPECT_TRUE(setter.set.isEmpty());
    EXPECT_TRUE(log.text().contains(u"无法设置系统时间：没有权限"_s)) << log.text().toStdString();
    EXPECT_FALSE(log.text().contains(u"网络校时已成功"_s));
    EXPECT_FALSE(keeper.health().lastCheck().isValid());
    EXPECT_FALSE(QFileInfo::exists(dir.control()));
    EXPECT_EQ(keeper.status().text, u"时钟：无法设置系统时间（没有权限），偏差19.0秒"_s);
    // A folder where the settings file should be: no one can write it.
    setter.refusal.clear();
    ASSERT_TRUE(QDir(d.path()).mkdir(u"【CONTROL】.ini"_s));
    ASSERT_NE(keeper.syncNow(), nullptr);
    ASSERT_TRUE(settle());
    EXPECT_EQ(setter.set.size(), 1);
    EXPECT_TRUE(log.text().contains(u"写入设置文件失败"_s)) << log.text().toStdString();
}
