// A station whose data folder other programs change: a synchroniser, a copy,
// an editor. What it takes in, what it refuses, and the figures it gives.
#include "core/datafaults.h"
#include "fakes/fakes.h"
#include "shell/station.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <functional>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;
using tav::test::at;

namespace {

class FleetStationTest : public ::testing::Test, protected tav::test::StationFakes
{
protected:
    FleetStationTest() : StationFakes("2026-11-23 08:59:58") {}
    std::unique_ptr<tav::Station> station;

    void SetUp() override
    {
        tav::DataFaults::instance().reset();
        d.write(u"【SONG】.ini"_s, tav::test::taskSection(1, {.name = u"早操"_s, .start = u"9:00:00"_s}));
        d.write(u"早操.ini"_s, tav::test::mediaList({u"/m/a.mp3"_s}));
        d.write(u"【CONTROL】.ini"_s, u"[METRICS]\nName=一号楼\n"_s);
        station = std::make_unique<tav::Station>(d.path(), player, prompt, clock, shutdown);
        station->setSettleMs(100);
        station->start();
        station->ticker().stop(); // the test gives the seconds
    }
    void TearDown() override
    {
        station->shutDown();
        station.reset();
    }
    // As a synchroniser does: a temporary file renamed over the old one.
    void deliver(const QString &name, const QString &text)
    {
        d.write(u".syncthing."_s + name + u".tmp"_s, text);
        ASSERT_TRUE(::rename(QFile::encodeName(d.file(u".syncthing."_s + name + u".tmp"_s)).constData(),
                             QFile::encodeName(d.file(name)).constData()) == 0);
    }
    double metric(const QString &name) { return station->metrics().value(name, {}); }
};

} // namespace

TEST_F(FleetStationTest, ChangedFilesAreTakenInWithinTwoSecondsAndBrokenOnesKeepWhatWasThere)
{
    const QString stopMonday = u"[复选控制]\n周一=1\n[METRICS]\nName=一号楼\n"_s; // 2026/11/23 is a Monday
    const struct { const char16_t *file; QString text; std::function<bool()> takenIn; } changes[] = {
        {u"【SONG】.ini", tav::test::taskSection(1, {.name = u"早操"_s, .start = u"9:00:00"_s})
                             + tav::test::taskSection(2, {.name = u"课间"_s, .start = u"10:00:00"_s}),
         [&] { return station->tasks().rows().size() == 2; }},
        {u"【DATE】.ini", u"[The number of Date]\nquantity=1\n[Holiday]\nDate0=2026/11/23\n"_s,
         [&] { return station->scheduler().isStopDay(); }},
        {u"【DATE】.ini", u"[The number of Date]\nquantity=0\n"_s, [&] { return !station->scheduler().isStopDay(); }},
        {u"【SCROLL】.ini", u"[Scroll1]\nstartTime=8:00:00\nendTime=20:00:00\nswicth=开\ncontent=欢迎\n"_s,
         [&] { return station->captions().rows().size() == 1; }},
    };
    for (const auto &c : changes) {
        QElapsedTimer took;
        took.start();
        deliver(QString::fromUtf16(c.file), c.text);
        EXPECT_TRUE(QTest::qWaitFor(c.takenIn, 2000)) << QString::fromUtf16(c.file).toStdString();
        EXPECT_LT(took.elapsed(), 2000);
    }
    EXPECT_EQ(metric(u"tavplayer_reloads_total"_s), std::size(changes));

    // Rewritten ten times, broken each time: kept.
    for (int i = 0; i < 10; ++i)
        deliver(u"【SONG】.ini"_s, u"Name=半截\n"_s);
    deliver(u"【CONTROL】.ini"_s, u"[复选控制]\n周一=1\n"_s + QChar(0) + QChar(0) + QChar(0));
    ASSERT_TRUE(QTest::qWaitFor([&] { return metric(u"tavplayer_reload_failures_total"_s) >= 2; }, 2000));
    QTest::qWait(500);
    EXPECT_EQ(station->tasks().rows().size(), 2);
    EXPECT_FALSE(station->scheduler().isStopDay());
    EXPECT_EQ(metric(u"tavplayer_data_faults"_s), 2);

    deliver(u"【SONG】.ini"_s, tav::test::taskSection(1, {.name = u"早操"_s, .start = u"9:00:00"_s}));
    deliver(u"【CONTROL】.ini"_s, stopMonday);
    ASSERT_TRUE(QTest::qWaitFor([&] { return station->tasks().rows().size() == 1; }, 2000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return station->scheduler().isStopDay(); }, 2000));
    EXPECT_EQ(metric(u"tavplayer_data_faults"_s), 0);
}
