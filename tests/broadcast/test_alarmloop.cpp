#include "broadcast/alarmloop.h"
#include "fakes/broadcastrig.h"

#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::AlarmContent;
using tav::AlarmLoop;

namespace {

class Alarm : public ::testing::Test, protected tav::test::BroadcastRig
{
protected:
    Alarm() : BroadcastRig("2026-11-23 08:00:00") {}
    AlarmLoop alarm{clock, dir, broadcastPlayer, &synth, &voices, log};

    // The kinds of the items played, by the file names the player was given.
    QStringList played() const
    {
        QStringList kinds;
        for (const QString &url : broadcastPlayer.opened)
            kinds.append(url == dir.tone() ? u"tone"_s : url.endsWith(u"siren.wav"_s) ? u"file"_s : u"reading"_s);
        return kinds;
    }
    void endItems(int n)
    {
        for (int i = 0; i < n; ++i) {
            broadcastPlayer.sound();
            broadcastPlayer.finish();
        }
    }
};

} // namespace

// Tone, then the reading or the file, over and over at full volume; what is
// missing is left out.
TEST_F(Alarm, LoopsToneAndReadingAtFullVolumeUntilStopped)
{
    const QString siren = d.file(u"siren.wav"_s);
    struct Case
    {
        const char *name;
        bool tone;
        AlarmContent content;
        QStringList expected; // after the first item and three ends
    } cases[] = {
        {"text with tone", true, {u"请撤离"_s}, {u"tone"_s, u"reading"_s, u"tone"_s, u"reading"_s}},
        {"file with tone", true, {{}, {}, siren}, {u"tone"_s, u"file"_s, u"tone"_s, u"file"_s}},
        {"text, no tone", false, {u"请撤离"_s}, {u"reading"_s, u"reading"_s, u"reading"_s, u"reading"_s}},
    };
    d.write(u"siren.wav"_s, u"RIFF"_s);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(dir.tone());
        if (c.tone)
            d.write(u"TONE.wav"_s, u"RIFF"_s);
        alarm.prepare(c.content);
        ASSERT_TRUE(QTest::qWaitFor([&] { return alarm.isReady(); }, 3000));
        broadcastPlayer.opened.clear();
        broadcastPlayer.setVolume(30);
        alarm.start(c.content);
        EXPECT_EQ(broadcastPlayer.volume(), 100);
        endItems(3);
        EXPECT_EQ(played(), c.expected);
        alarm.stop();
        EXPECT_FALSE(alarm.isRunning());
        EXPECT_EQ(broadcastPlayer.opened.size(), 4); // nothing after the stop
    }
    EXPECT_EQ(synth.texts().size(), 2); // made ready once for each change, not at each start
}

TEST_F(Alarm, ATextNotMadeReadyRepeatsTheToneUntilItsReadingIsThere)
{
    d.write(u"TONE.wav"_s, u"RIFF"_s);
    synth.delayMs = 300;
    alarm.start({u"临时通知：请撤离"_s});
    EXPECT_EQ(played(), QStringList{u"tone"_s});
    endItems(1);
    EXPECT_EQ(played(), (QStringList{u"tone"_s, u"tone"_s})); // the reading is still being made
    ASSERT_TRUE(QTest::qWaitFor([&] { return alarm.isReady(); }, 3000));
    endItems(1);
    EXPECT_EQ(played().last(), u"reading");
}
