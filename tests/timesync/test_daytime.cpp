#include "fakes/fakes.h"
#include "timesync/daytime.h"
#include "timesync/localdaytime.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::DaytimeAnswer;
using tav::DaytimeSync;
using tav::test::at;
using tav::test::LocalDaytime;
using tav::test::nist;

TEST(DaytimeAnswerTest, HealthDigitAndLayoutAreCheckedWhereTheyStand)
{
    const QDateTime now = at("2026-11-24 07:14:00");
    const DaytimeAnswer good = DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19"), now);
    ASSERT_TRUE(good.healthy) << good.why.toStdString();
    EXPECT_EQ(good.target, at("2026-11-24 07:14:19"));
    EXPECT_EQ(good.offsetMs, 19000);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19", '1'), now).healthy);
    // Without the leading line feed every position moves: the digit is not where it must be.
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-11-23 23:14:19").mid(1) + "x", now).healthy);
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, nist("26-13-45 23:14:19"), now).healthy);
    QByteArray binary(40, '\0');
    binary[30] = '0';
    EXPECT_FALSE(DaytimeAnswer::parse(u"s"_s, binary, now).healthy);
}

// The first healthy answer is taken, whole or in halves, slow or not; the
// clock is set once from it (a dry run only says what it would set), and left
// when no answer is healthy (sick, garbage, too long, silent). A lone
// answer a day or more away is not believed; two that agree are, when they
// come from two addresses: one host reached under two names, on two ports, or
// by "localhost" and its number is one server.
TEST(DaytimeSyncTest, TheFirstHealthyAnswerSetsTheClockOnceAndAFarOneNeedsASecondAddress)
{
    const QByteArray line = nist("26-11-23 23:14:19"), far = nist("99-01-01 00:00:00");
    LocalDaytime sick({nist("26-11-23 23:10:00", '2')}), first({line}, 50), second({nist("26-11-23 23:14:25")}, 100);
    LocalDaytime halves({line.left(12), line.mid(12)}, 0, 300);
    LocalDaytime forged({far}), forgedAgain({far}, 50), epoch({nist("70-01-01 00:00:00")}, 100);
    LocalDaytime elsewhere({far}, 50, 0, true, QHostAddress(u"127.0.0.2"_s));
    LocalDaytime garbage({QByteArray("HELLO\r\nnot a time at all, really not\n")}), overlong({QByteArray(4000, 'x')});
    LocalDaytime silent({}, 0, 0, false);
    tav::test::FakeClock clock{at("2026-11-24 07:14:00")};
    const QString port = QString::number(forged.port()), done = u"开始校时...|网络校时已成功! \n"_s;
    const struct
    {
        const char *what;
        QStringList servers;
        bool dryRun;
        QDateTime set; // invalid: the clock is left as it is
        QString said;  // the messages, joined by '|'; when the clock is left after a far answer, a part of them
    } cases[] = {
        {"three, one sick", {sick.address(), first.address(), second.address()}, false, at("2026-11-24 07:14:19"), done},
        {"in halves, slowly", {halves.address()}, false, at("2026-11-24 07:14:19"), done},
        {"a dry run", {first.address()}, true, {}, u"开始校时...|试运行：本应把时钟设为 2026-11-24 07:14:19"_s},
        {"far, and one that disagrees", {forged.address(), epoch.address()}, false, {}, u"相差超过一天"_s},
        {"far, one host on two ports", {forged.address(), forgedAgain.address()}, false, {}, u"相差超过一天"_s},
        {"far, a name and its number", {u"localhost:"_s + port, u"127.0.0.1:"_s + port}, false, {}, u"相差超过一天"_s},
        {"far, one address twice", {forged.address(), forged.address()}, false, {}, u"相差超过一天"_s},
        {"far, from two addresses", {forged.address(), elsewhere.address()}, false, at("2099-01-01 08:00:00"), done},
        {"none healthy", {sick.address(), garbage.address(), overlong.address(), silent.address()}, false, {},
         u"网络校时不成功"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        tav::test::FakeClockSetter setter;
        DaytimeSync run(clock, setter);
        run.setTimeout(1500);
        run.setDryRun(c.dryRun);
        run.setServers(c.servers);
        QStringList said;
        QObject::connect(&run, &DaytimeSync::message, [&said](const QString &m) { said.append(m); });
        QSignalSpy finished(&run, &DaytimeSync::finished);
        QSignalSpy close(&run, &DaytimeSync::closeRequested);
        ASSERT_TRUE(run.start());
        ASSERT_TRUE(finished.wait(3000));
        EXPECT_EQ(finished.at(0).at(0).toBool(), c.set.isValid() || c.dryRun);
        QTest::qWait(200); // a later answer comes and is ignored
        const QString joined = said.join(u'|');
        if (c.set.isValid() || c.dryRun)
            EXPECT_EQ(joined, c.said);
        else
            EXPECT_TRUE(joined.contains(c.said)) << joined.toStdString();
        ASSERT_EQ(setter.set.size(), c.set.isValid() ? 1 : 0);
        if (c.set.isValid()) {
            EXPECT_LT(qAbs(setter.set[0].msecsTo(c.set)), 500);
        }
        if (&c == &cases[0]) { // a while after success the window may close
            EXPECT_TRUE(close.wait(DaytimeSync::kFinishMs + 1000));
        }
    }
}
