#include "fakes/rig.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::PlaybackController;
using tav::PlayMode;

class ControllerTest : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    ControllerTest() : PlaybackRig("2026-11-23 10:00:00") {}
    PlaybackController &pc = playback;
    const QStringList three{u"/m/1.mp3"_s, u"/m/2.mp4"_s, u"/m/3.wav"_s};

    // The current item plays to its end and the one-second step runs.
    void itemEnds()
    {
        player.finish();
        ASSERT_TRUE(pc.isNextStepArmed());
        pc.nextItemStep();
    }
};

TEST_F(ControllerTest, SequentialPlaysInOrderAndStopsAfterTheLast)
{
    QSignalSpy idle(&pc, &PlaybackController::idle);
    pc.startTask(u"顺序"_s, three);
    itemEnds();
    itemEnds();
    EXPECT_EQ(player.opened, three);
    itemEnds();
    EXPECT_EQ(player.opened.size(), 3);
    EXPECT_EQ(idle.count(), 1);
    EXPECT_FALSE(pc.isNextStepArmed());
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Stopped);
}

TEST_F(ControllerTest, LoopStartsOverAndOneItemRepeats)
{
    QSignalSpy pass(&pc, &PlaybackController::endOfPass);
    pc.startTask(u"循环"_s, {u"/m/only.mp3"_s});
    itemEnds();
    itemEnds();
    EXPECT_EQ(player.opened, QStringList(3, u"/m/only.mp3"_s));
    EXPECT_EQ(pass.count(), 2);
    EXPECT_EQ(tav::playModeFromName(u"随机"_s), PlayMode::Random);
    EXPECT_FALSE(tav::playModeFromName(u"shuffle"_s));
}

TEST_F(ControllerTest, RandomPlaysTheItemAfterThePick)
{
    auto draws = std::make_shared<QList<double>>(QList<double>{0.5, 0.4, 0.9});
    pc.setRandomSource([draws] { return draws->takeFirst(); });
    pc.startTask(u"随机"_s, three);
    EXPECT_EQ(player.opened.last(), three[1]); // floor(0.5 * 3)
    itemEnds();                                // picks 1, then steps to 2
    EXPECT_EQ(player.opened.last(), three[2]);
    itemEnds();                                // picks the last: wraps to the first
    EXPECT_EQ(player.opened.last(), three[0]);
    EXPECT_EQ(pc.selectedIndex(), 0);
}

TEST_F(ControllerTest, FileErrorIsLoggedAndSkippedButNeverWraps)
{
    pc.startTask(u"循环"_s, three);
    player.fail();
    QCoreApplication::processEvents();
    EXPECT_EQ(log.text(), u"[2026/11/23 10:00:00]文件错误:/m/1.mp3");
    EXPECT_EQ(player.opened.last(), three[1]);
    EXPECT_FALSE(pc.isNextStepArmed());
    pc.select(2);
    player.fail();
    QCoreApplication::processEvents();
    EXPECT_EQ(player.opened.size(), 2);
    EXPECT_EQ(pc.selectedIndex(), 2);
}

// What the slider shows on every path: MainWindowTest.VolumeSliderShowsWhatSounds.
TEST_F(ControllerTest, VolumeRoundsHalvesToEvenAndTheSliderKeepsItsUnits)
{
    for (const auto &[units, volume] : {std::pair{65535, 100}, {327, 0}, {328, 1}, {50000, 76}})
        EXPECT_EQ(PlaybackController::playerVolumeFor(units), volume) << units;
    pc.setSlider(32768);
    EXPECT_EQ(player.volume(), 50);
    pc.toggleMute();
    EXPECT_EQ(player.volume(), 0);
    EXPECT_TRUE(pc.isMuted());
    pc.toggleMute();
    EXPECT_EQ(player.volume(), 50);
    EXPECT_EQ(pc.slider(), 32768); // back where it was, not rounded through the percentage
    pc.setSlider(50000);
    pc.setPlayerVolume(76); // already in force: the slider does not move
    EXPECT_EQ(pc.slider(), 50000);
}

// That a sound-only item beside pictures hides the video is caught by
// StationSlideshowTest.ATaskTakesOverFromTheIdleContentAndHandsBack.
TEST(PlaybackControllerStatic, StreamsAndSoundFilesAreAudioOnlyWhateverTheirCase)
{
    for (const auto &[url, audio] : {std::pair{u"MMS://radio/live"_s, true}, {u"/m/SONG.FLAC"_s, true}, {u"/m/film.mpeg"_s, false}})
        EXPECT_EQ(PlaybackController::isAudioOnly(url), audio) << url.toStdString();
}

// The watchdog, looking once a second on the fake clock.
class WatchdogTest : public ControllerTest
{
protected:
    // `seconds` seconds of the watchdog's looks; the item sounds on if told.
    void watch(int seconds, bool sounding)
    {
        for (int i = 0; i < seconds; ++i) {
            clock.advance(1);
            if (sounding && player.state() == tav::MediaPlayer::State::Playing)
                player.progress += 1000;
            pc.checkProgress();
        }
    }
};

TEST_F(WatchdogTest, AStreamThatNeverSendsIsAFileErrorAfterFifteenSeconds)
{
    pc.startTask(u"顺序"_s, {u"http://radio.example/live"_s, u"/m/2.mp3"_s});
    watch(14, false); // connected, loading, nothing comes
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Loading);
    EXPECT_TRUE(log.text().isEmpty());
    watch(1, false);
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Paused) << "stopped, the next item held ready";
    EXPECT_EQ(pc.nextHeld(), u"/m/2.mp3");
    EXPECT_TRUE(log.text().contains(u"]文件错误:http://radio.example/live")) << log.text().toStdString();
    EXPECT_TRUE(log.text().contains(u"]15秒仍未开始播放：http://radio.example/live"));
    EXPECT_EQ(player.reopened, 0);
    ASSERT_TRUE(pc.isNextStepArmed());
    pc.nextItemStep();
    EXPECT_EQ(player.currentUrl(), u"/m/2.mp3");
}

TEST_F(WatchdogTest, DeadAirWhilePlayingReopensTheOutputAndMovesOn)
{
    pc.startTask(u"循环"_s, {u"http://radio.example/live"_s});
    player.begin();
    watch(60, true); // sounding for a minute: nothing to say
    EXPECT_TRUE(log.text().isEmpty());
    watch(14, false); // the output vanished: progress stands still
    EXPECT_TRUE(log.text().isEmpty());
    watch(1, false);
    EXPECT_TRUE(log.text().contains(u"]文件错误:http://radio.example/live"));
    EXPECT_TRUE(log.text().contains(u"]播放中15秒无声，重新打开声音输出"));
    EXPECT_EQ(player.reopened, 1);
    pc.nextItemStep(); // a looping stream is tried again
    EXPECT_EQ(player.opened.size(), 2);
}

TEST_F(WatchdogTest, PausedItemsAndBackendsThatCannotTellAreLeftAloneAndItRunsOnItsOwn)
{
    pc.startTask(u"顺序"_s, three);
    player.begin();
    player.progress = 5000;
    pc.pause();
    watch(60, false);
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Paused);
    pc.resume();
    player.progress = -1; // playing, but the backend gives no position
    watch(60, false);
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Playing);
    EXPECT_TRUE(log.text().isEmpty());

    // Left to itself, it runs on its own once an item is opened.
    pc.setStallTimeout(0);
    pc.startTask(u"顺序"_s, three);
    ASSERT_TRUE(QTest::qWaitFor([&] { return player.state() == tav::MediaPlayer::State::Stopped; }, 5000));
    EXPECT_TRUE(log.text().contains(u"文件错误:/m/1.mp3"));
}

// A task's first item made ready before its start: only the start lets it
// go; unopened it moves nothing and is never heard.
TEST_F(ControllerTest, APreparedItemPlaysOnlyWhenItsStartOpensIt)
{
    using State = tav::MediaPlayer::State;
    pc.prepare(u"/m/1.mp3"_s);
    ASSERT_TRUE(pc.holdsPrepared());
    pc.stop(); // the start stops what plays first: the held item stays
    EXPECT_EQ(player.state(), State::Paused);
    pc.startTask(u"顺序"_s, three);
    EXPECT_FALSE(pc.holdsPrepared());
    EXPECT_EQ(player.opened, QStringList{u"/m/1.mp3"_s});
    player.finish();
    EXPECT_TRUE(pc.isNextStepArmed()) << "its end is an item's end like any other";
    pc.stopByOperator();
    ASSERT_FALSE(pc.isNextStepArmed());

    // Never opened: let go after its time, with no step and no word.
    pc.setPreparedTimeout(50);
    pc.appendItems(three); // the operator's list stands by, not playing
    QSignalSpy selection(&pc, &PlaybackController::selectionChanged);
    pc.prepare(u"/m/3.wav"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return player.state() == State::Stopped; }, 2000));
    EXPECT_FALSE(pc.holdsPrepared());
    EXPECT_FALSE(pc.isNextStepArmed());
    EXPECT_EQ(selection.count(), 0);
}

// Between two items the next one waits ready at its first sample, and the
// step lets it go the output's latency before its second is up: a second of
// silence as heard. Pictures are not held; a stop lets the held item go.
TEST_F(ControllerTest, TheNextItemWaitsReadyAndGoesEarlyByTheOutputsLatency)
{
    using State = tav::MediaPlayer::State;
    player.latency = 300;
    pc.startTask(u"顺序"_s, {u"/m/1.mp3"_s, u"/m/2.wav"_s, u"/m/3.mp4"_s});
    player.sound();
    QElapsedTimer since;
    since.start();
    player.finish(); // heard to its end
    EXPECT_EQ(pc.nextHeld(), u"/m/2.wav");
    EXPECT_EQ(player.state(), State::Paused);
    EXPECT_EQ(pc.nextStepMs(), 700);
    ASSERT_TRUE(QTest::qWaitFor([&] { return player.opened.size() == 2; }, 2000));
    EXPECT_GE(since.elapsed(), 650);
    EXPECT_LT(since.elapsed(), 950);
    EXPECT_EQ(player.opened.last(), u"/m/2.wav");
    EXPECT_TRUE(pc.nextHeld().isEmpty());
    player.sound();
    player.finish();
    EXPECT_TRUE(pc.nextHeld().isEmpty()) << "a picture's item loads at its step";
    EXPECT_EQ(pc.nextStepMs(), 1000);
    pc.nextItemStep();

    // Unknown latency: a whole second. A held item that fails is told when
    // the step opens it; a stop lets it go and makes nothing ready.
    player.latency = -1;
    pc.startTask(u"循环"_s, {u"/m/only.mp3"_s});
    player.sound();
    player.finish();
    EXPECT_EQ(pc.nextHeld(), u"/m/only.mp3");
    EXPECT_EQ(pc.nextStepMs(), 1000);
    player.fail();
    QCoreApplication::processEvents();
    EXPECT_TRUE(pc.nextHeld().isEmpty());
    EXPECT_FALSE(log.text().contains(u"文件错误"_s));
    pc.nextItemStep();
    EXPECT_EQ(player.opened.last(), u"/m/only.mp3");
    player.finish();
    ASSERT_EQ(player.state(), State::Paused);
    pc.stopAndClear();
    EXPECT_EQ(player.state(), State::Stopped);
    EXPECT_TRUE(pc.nextHeld().isEmpty());
}

// A task's first item held on the idle player lets its pause go the
// output's latency before its start, so that it is heard on the second; the
// start finds it going and leaves it so. A start that does not come stops it.
TEST_F(ControllerTest, AHeldFirstItemGoesAheadOfItsStartByTheOutputsLatency)
{
    using State = tav::MediaPlayer::State;
    // From the holding to the start leftMs; releaseMs -1: the start lets it go.
    const struct { const char *name; qint64 latency, leftMs; int releaseMs; } cases[] = {
        {"latency unknown", -1, 400, -1},
        {"1.5 s, before the second before", 1500, 1600, 100},
        {"300 ms", 300, 400, 100},
        {"2 s, more than is left", 2000, 1500, -1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        pc.stopAndClear();
        player.opened.clear();
        player.latency = c.latency;
        pc.prepare(u"/m/1.mp3"_s, clock.now().addMSecs(c.leftMs));
        ASSERT_TRUE(pc.holdsPrepared());
        if (c.releaseMs < 0) {
            EXPECT_EQ(pc.releaseInMs(), -1);
        } else {
            EXPECT_NEAR(pc.releaseInMs(), c.releaseMs, 20);
            ASSERT_TRUE(QTest::qWaitFor([&] { return player.state() == State::Playing; }, 2000));
        }
        EXPECT_TRUE(player.opened.isEmpty());
        pc.startTask(u"顺序"_s, three);
        EXPECT_EQ(player.opened, QStringList{u"/m/1.mp3"_s});
        EXPECT_EQ(player.state(), c.releaseMs < 0 ? State::Loading : State::Playing) << "not opened again";
    }
    // Going ahead before does not shorten the next holding.
    pc.stopAndClear();
    player.latency = -1;
    pc.prepare(u"/m/1.mp3"_s, clock.now().addSecs(3));
    QTest::qWait(1400);
    EXPECT_TRUE(pc.holdsPrepared());
    EXPECT_EQ(player.state(), State::Paused);
}
