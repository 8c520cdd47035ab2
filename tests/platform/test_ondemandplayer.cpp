#include "platform/ondemandplayer.h"

#include "fakes/fakes.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::test::FakePlayer;
using tav::MediaPlayer;
using tav::OnDemandPlayer;
using State = MediaPlayer::State;

namespace {

// Makes fake engines and remembers the last one; fails while `refuse` is set.
struct Engines
{
    int made = 0;
    bool refuse = false;
    QPointer<FakePlayer> last;

    OnDemandPlayer::Factory factory()
    {
        return [this](QString *error) -> std::unique_ptr<MediaPlayer> {
            if (refuse) {
                *error = u"no audio output"_s;
                return nullptr;
            }
            ++made;
            auto engine = std::make_unique<FakePlayer>();
            engine->devices = {{u"auto"_s, u"Autoselect"_s}, {u"pulse/sink2"_s, u"USB speakers"_s}};
            last = engine.get();
            return engine;
        };
    }
};

constexpr int kIdleMs = 80;

} // namespace

TEST(OnDemandPlayer, MakesItsEngineWhenNeededAndLetsItGoOnlyAfterStandingIdle)
{
    Engines engines;
    OnDemandPlayer player(engines.factory(), kIdleMs);
    QSignalSpy states(&player, &MediaPlayer::stateChanged);
    QSignalSpy started(&player, &MediaPlayer::mediaStarted);

    // Settings given before any engine exists reach the one that is made.
    player.setVolume(35);
    player.setBalance(-1);
    player.setAudioDevice(u"pulse/sink2"_s);
    EXPECT_EQ(engines.made, 0);
    player.open(u"/data/TONE.wav"_s);
    ASSERT_EQ(engines.made, 1);
    ASSERT_TRUE(engines.last);
    EXPECT_EQ(engines.last->volume(), 35);
    EXPECT_EQ(engines.last->balance(), -1);
    EXPECT_EQ(engines.last->device, u"pulse/sink2"_s);
    EXPECT_EQ(engines.last->opened, QStringList{u"/data/TONE.wav"_s});

    engines.last->sound(); // the engine's signals are the player's
    EXPECT_EQ(player.state(), State::Playing);
    EXPECT_EQ(started.count(), 1);

    // Playing (or paused) far longer than the idle time: the engine stays.
    player.pause();
    QTest::qWait(3 * kIdleMs);
    EXPECT_TRUE(player.hasEngine());
    player.play();

    // Ended: after the idle time it is let go; the settings stay for the next.
    engines.last->finish();
    EXPECT_EQ(states.last().at(0).value<State>(), State::Stopped);
    EXPECT_TRUE(player.hasEngine());
    QTRY_VERIFY_WITH_TIMEOUT(!player.hasEngine(), 20 * kIdleMs);
    QTRY_VERIFY(engines.last.isNull()); // really deleted
    player.setVolume(60);
    player.open(u"/data/voice.wav"_s);
    EXPECT_EQ(engines.made, 2);
    EXPECT_EQ(engines.last->volume(), 60);
    EXPECT_EQ(engines.last->device, u"pulse/sink2"_s);
}

TEST(OnDemandPlayer, WarmingUpMakesTheEngineAheadAndRenewsItsIdleTime)
{
    Engines engines;
    OnDemandPlayer player(engines.factory(), 4 * kIdleMs);
    player.warmUp();
    ASSERT_TRUE(player.hasEngine());
    // Warmed again before its idle time is out: the same engine, kept.
    for (int i = 0; i < 4; ++i) {
        QTest::qWait(2 * kIdleMs);
        player.warmUp();
    }
    EXPECT_TRUE(player.hasEngine());
    EXPECT_EQ(engines.made, 1);
    player.open(u"/data/TONE.wav"_s);
    EXPECT_EQ(engines.made, 1);
}

TEST(OnDemandPlayer, AnEngineThatCannotBeMadeIsAnItemThatCannotBePlayed)
{
    Engines engines;
    engines.refuse = true;
    OnDemandPlayer player(engines.factory(), kIdleMs);
    QSignalSpy errors(&player, &MediaPlayer::errorOccurred);
    player.open(u"/data/TONE.wav"_s);
    ASSERT_EQ(errors.count(), 1);
    EXPECT_EQ(errors.first().at(0).toString(), u"/data/TONE.wav"_s);
    EXPECT_EQ(player.errorString(), u"no audio output"_s);
    EXPECT_EQ(player.state(), State::Stopped);
    player.play(); // nothing to resume, nothing breaks
    player.stop();

    // The output is back: the next item plays.
    engines.refuse = false;
    player.open(u"/data/TONE.wav"_s);
    EXPECT_TRUE(player.hasEngine());
    EXPECT_TRUE(player.errorString().isEmpty());
    EXPECT_EQ(errors.count(), 1);
}
