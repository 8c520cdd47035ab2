#include "platform/deckplayer.h"

#include "fakes/fakes.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::DeckPlayer;
using tav::MediaPlayer;
using tav::test::FakePlayer;
using State = MediaPlayer::State;

namespace {

struct Decks : ::testing::Test
{
    FakePlayer main, spare;
    DeckPlayer deck{main, spare};
    QSignalSpy states{&deck, &MediaPlayer::stateChanged};
    QSignalSpy started{&deck, &MediaPlayer::mediaStarted};

    QList<State> statesSeen()
    {
        QList<State> seen;
        for (const QList<QVariant> &args : std::as_const(states))
            seen.append(args.at(0).value<State>());
        states.clear();
        return seen;
    }
    void playOnMain(const QString &url)
    {
        deck.open(url);
        main.sound();
        statesSeen();
        started.clear();
    }
};

} // namespace

// Over an item playing, the next one waits on the other deck without a word;
// its open stops the first and lets the second go, with no "ended" between.
TEST_F(Decks, AnItemPreparedOverAnotherTakesOverAtItsOpen)
{
    playOnMain(u"/m/a.mp3"_s);
    deck.prepare(u"/m/b.mp3"_s);
    EXPECT_EQ(spare.prepared, u"/m/b.mp3"_s);
    EXPECT_EQ(spare.state(), State::Paused);
    EXPECT_EQ(deck.state(), State::Playing);
    EXPECT_EQ(deck.currentUrl(), u"/m/a.mp3"_s);
    EXPECT_TRUE(statesSeen().isEmpty()) << "the deck standing by says nothing";

    deck.setVolume(40); // the start sets its task's volume first
    EXPECT_EQ(spare.volume(), 40);
    deck.open(u"/m/b.mp3"_s);
    EXPECT_EQ(main.state(), State::Stopped);
    EXPECT_TRUE(deck.onSpare());
    EXPECT_EQ(deck.currentUrl(), u"/m/b.mp3"_s);
    EXPECT_EQ(spare.opened, QStringList{u"/m/b.mp3"_s});
    EXPECT_EQ(main.opened, QStringList{u"/m/a.mp3"_s});
    EXPECT_FALSE(statesSeen().contains(State::Stopped)) << "a replaced item has not ended";

    spare.sound();
    ASSERT_EQ(started.count(), 1);
    EXPECT_EQ(started.at(0).at(0).toString(), u"/m/b.mp3"_s);
    spare.finish();
    EXPECT_EQ(statesSeen(), (QList<State>{State::Playing, State::Stopped}));

    // The next item goes to the main deck, which alone shows pictures.
    deck.open(u"/m/c.mp4"_s);
    EXPECT_FALSE(deck.onSpare());
    EXPECT_EQ(main.opened.last(), u"/m/c.mp4"_s);
    EXPECT_EQ(spare.opened.size(), 1);
}

// The item standing by outlives the list's other items and a stop, and is let
// go unheard when its start does not come.
TEST_F(Decks, AStandbyItemWaitsForItsOwnOpenOnly)
{
    deck.setStandbyTimeout(100);
    playOnMain(u"/m/a.mp3"_s);
    deck.prepare(u"/m/b.mp3"_s);
    main.finish();
    deck.open(u"/m/a2.mp3"_s); // the list goes on meanwhile
    main.sound();
    deck.stop();
    EXPECT_EQ(deck.standbyUrl(), u"/m/b.mp3"_s);
    EXPECT_EQ(spare.state(), State::Paused);

    ASSERT_TRUE(QTest::qWaitFor([&] { return spare.state() == State::Stopped; }, 2000));
    EXPECT_TRUE(deck.standbyUrl().isEmpty());
    deck.open(u"/m/b.mp3"_s); // too late: it loads on the main deck
    EXPECT_FALSE(deck.onSpare());
    EXPECT_EQ(spare.opened.size(), 0);
}

// Busy on the spare, the next item is prepared on the main deck; its open
// stops the spare quietly and the main deck is current again.
TEST_F(Decks, AnItemPreparedOverTheSparesTakesOverOnTheMainDeck)
{
    playOnMain(u"/m/a.mp3"_s);
    deck.prepare(u"/m/b.mp3"_s);
    deck.open(u"/m/b.mp3"_s);
    spare.sound();
    deck.prepare(u"/m/c.mp3"_s); // busy on the spare: prepared on the main deck
    EXPECT_EQ(main.prepared, u"/m/c.mp3"_s);
    deck.open(u"/m/c.mp3"_s);
    EXPECT_FALSE(deck.onSpare());
    EXPECT_EQ(spare.state(), State::Stopped);
    EXPECT_FALSE(statesSeen().contains(State::Stopped)) << "a replaced item has not ended";
}
