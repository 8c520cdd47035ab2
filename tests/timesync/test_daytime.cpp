#include "fakes/fakes.h"
#include "timesync/daytime.h"
#include "timesync/localdaytime.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>

using namespace Qt::StringLiterals;
using tav::DaytimeAnswer;
using tav::DaytimeSync;
using tav::test::at;
using tav::test::deadAddress;
using tav::test::LocalDaytime;
using tav::test::nist;

namespace {

class DaytimeTest : public ::testing::Test
{
protected:
    // 2026-11-24 07:14:00 local; the servers say 23:14:19 UTC the day before.
    tav::test::FakeClock clock{at("2026-11-24 07:14:00")};
    tav::test::FakeClockSetter setter;
    DaytimeSync sync{clock, setter};
    QStringList messages;
    bool finished = false;
    bool ok = false;

    void SetUp() override
    {
        sync.setTimeout(1500);
        QObject::connect(&sync, &DaytimeSync::message, [this](const QString &m) { messages.append(m); });
        QObject::connect(&sync, &DaytimeSync::finished, [this](bool good, bool, const DaytimeAnswer &) {
            finished = true;
            ok = good;
        });
    }
    bool run(const QStringList &servers)
    {
        sync.setServers(servers);
        if (!sync.start())
            return false;
        return QTest::qWaitFor([this] { return finished; }, 5000);
    }
};

} // namespace

TEST(DaytimeAnswerTest, HealthDigitAndLayoutAreCheckedWhereTheyStand)
{
    const QDateTime now = at("2026-11-24 07:14:00");
    const DaytimeAnswer good = DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19"), now);
    ASSERT_TRUE(good.healthy) << good.why.toStdString();
    EXPECT_EQ(good.target, at("2026-11-24 07:14:19"));
    EXPECT_EQ(good.offsetMs, 19000);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19", '1'), now).healthy);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19", '2'), now).healthy);
    // Without the leading line feed every position moves: the digit is not where it must be.
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19").mid(1) + "x", now).healthy);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-13-45 23:14:19"), now).healthy);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26/11/23 23:14:19"), now).healthy);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, QByteArray("\n6100"), now).healthy);
    QByteArray binary(40, '\0');
    binary[30] = '0';
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, binary, now).healthy);
}

// UTC + 8 hours as the local time, whatever zone the computer is set to.
TEST(DaytimeAnswerTest, ChinaTimeInAnyTimeZone)
{
    const QByteArray old = qgetenv("TZ");
    qputenv("TZ", "America/New_York");
    tzset();
    const DaytimeAnswer a = DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19"), QDateTime::currentDateTime());
    EXPECT_EQ(a.target.date(), QDate(2026, 11, 24));
    EXPECT_EQ(a.target.time(), QTime(7, 14, 19));
    EXPECT_EQ(a.target.toUTC().time(), QTime(12, 14, 19)); // New York is 5 hours behind
    if (old.isEmpty())
        qunsetenv("TZ");
    else
        qputenv("TZ", old);
    tzset();
}

// The first healthy answer is taken, whole or in halves, slow or not; the
// clock is set once from it (a dry run only says what it would set).
TEST_F(DaytimeTest, TheFirstHealthyAnswerSetsTheClockOnce)
{
    const QByteArray line = nist("26-11-23 23:14:19");
    LocalDaytime sick({nist("26-11-23 23:10:00", '2')}), first({line}, 50), second({nist("26-11-23 23:14:25")}, 100);
    LocalDaytime halves({line.left(12), line.mid(12)}, 0, 300);
    const struct
    {
        const char *what;
        QStringList servers;
        bool dryRun;
        QString said;
    } cases[] = {
        {"three, one sick", {sick.address(), first.address(), second.address()}, false, u"网络校时已成功! \n"_s},
        {"in halves, slowly", {halves.address()}, false, u"网络校时已成功! \n"_s},
        {"a dry run", {first.address()}, true, u"试运行：本应把时钟设为 2026-11-24 07:14:19"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        tav::test::FakeClockSetter setter2;
        DaytimeSync run(clock, setter2);
        run.setDryRun(c.dryRun);
        run.setServers(c.servers);
        QStringList said;
        QObject::connect(&run, &DaytimeSync::message, [&said](const QString &m) { said.append(m); });
        QSignalSpy done(&run, &DaytimeSync::finished);
        QSignalSpy close(&run, &DaytimeSync::closeRequested);
        ASSERT_TRUE(run.start());
        ASSERT_TRUE(done.wait(3000));
        EXPECT_TRUE(done.at(0).at(0).toBool());
        QTest::qWait(200); // a later answer comes and is ignored
        EXPECT_EQ(said, (QStringList{u"开始校时..."_s, c.said}));
        ASSERT_EQ(setter2.set.size(), c.dryRun ? 0 : 1);
        if (!c.dryRun) {
            EXPECT_LT(qAbs(setter2.set[0].msecsTo(at("2026-11-24 07:14:19"))), 500);
        }
        if (&c == &cases[0]) { // a while after success the window may close
            EXPECT_TRUE(close.wait(DaytimeSync::kFinishMs + 1000));
        }
    }
}

TEST_F(DaytimeTest, NoHealthyAnswerTimesOutAndLeavesTheClock)
{
    LocalDaytime sick({nist("26-11-23 23:14:19", '1')});
    LocalDaytime garbage({QByteArray("HELLO\r\nnot a time at all, really not\n")});
    LocalDaytime overlong({QByteArray(4000, 'x')});
    LocalDaytime silent({}, 0, 0, false);
    QByteArray binary(64, '\x01');
    binary[0] = '\n';
    LocalDaytime noise({binary});
    ASSERT_TRUE(run({sick.address(), garbage.address(), overlong.address(), silent.address(), noise.address()}));
    EXPECT_FALSE(ok);
    EXPECT_TRUE(setter.set.isEmpty());
    EXPECT_EQ(messages.last(), u"网络校时不成功");
    EXPECT_EQ(sync.answers().size(), 4); // the silent one never answered
}

// A lone answer a day or more away is not believed; two that agree are,
// when they come from two addresses: one host reached under two names, on
// two ports, or by "localhost" and its number is one server.
TEST_F(DaytimeTest, FarAnswersNeedASecondAddressThatAgrees)
{
    const QByteArray far = nist("99-01-01 00:00:00");
    LocalDaytime forged({far}), forgedAgain({far}, 50), epoch({nist("70-01-01 00:00:00")}, 100);
    LocalDaytime second({far}, 50, 0, true, QHostAddress(u"127.0.0.2"_s));
    const QString port = QString::number(forged.port());
    struct Case
    {
        const char *what;
        QStringList servers;
        bool taken;
    } cases[] = {
        {"alone, and one that disagrees", {forged.address(), epoch.address()}, false},
        {"one host on two ports", {forged.address(), forgedAgain.address()}, false},
        {"a name and its number", {u"localhost:"_s + port, u"127.0.0.1:"_s + port}, false},
        {"one address twice", {forged.address(), forged.address()}, false},
        {"two addresses", {forged.address(), second.address()}, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        tav::test::FakeClockSetter setter2;
        DaytimeSync run(clock, setter2);
        run.setTimeout(1500);
        run.setServers(c.servers);
        QStringList said;
        QObject::connect(&run, &DaytimeSync::message, [&said](const QString &m) { said.append(m); });
        QSignalSpy done(&run, &DaytimeSync::finished);
        ASSERT_TRUE(run.start());
        ASSERT_TRUE(done.wait(3000));
        EXPECT_EQ(done.at(0).at(0).toBool(), c.taken);
        if (c.taken) {
            ASSERT_EQ(setter2.set.size(), 1);
            EXPECT_EQ(setter2.set[0].date(), QDate(2099, 1, 1));
        } else {
            EXPECT_TRUE(setter2.set.isEmpty());
            EXPECT_TRUE(said.join(u'|').contains(u"相差超过一天"_s)) << said.join(u'|').toStdString();
        }
    }
}

TEST(DaytimeHostKey, OneHostOneKey)
{
    const struct
    {
        const char *address;
        const char *key;
    } cases[] = {
        {"127.0.0.1", "127.0.0.1"}, {"::1", "127.0.0.1"},       {"::ffff:192.0.2.7", "192.0.2.7"},
        {"192.0.2.7", "192.0.2.7"}, {"fe80::1%1", "fe80::1"},   {"2001:db8::5", "2001:db8::5"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(tav::hostKey(QHostAddress(QString::fromLatin1(c.address))), QString::fromLatin1(c.key)) << c.address;
}

// A socket left in error by the last run ends the next start at once:
// the servers after it are not asked and nothing is announced.
TEST_F(DaytimeTest, ASocketInErrorEndsTheStartEarly)
{
    LocalDaytime good({nist("26-11-23 23:14:19", '1')});
    ASSERT_TRUE(run({deadAddress(), good.address()}));
    messages.clear();
    finished = false;
    EXPECT_FALSE(sync.start());
    EXPECT_TRUE(messages.isEmpty());
    EXPECT_FALSE(sync.isRunning());
}
