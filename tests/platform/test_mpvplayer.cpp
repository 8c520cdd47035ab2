// MpvPlayer against a real libmpv: ao=pcm writes what would have sounded to a
// file, faster than real time; ao=null keeps real time.

#include "platform/mpvplayer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;
using tav::MpvPlayer;
using State = MpvPlayer::State;
using States = std::vector<State>;

namespace {

constexpr qsizetype kHalfSecondPcm = 44100 / 2 * 4; // s16 stereo

// Everything the player tells, in order.
struct Recorder
{
    States states;
    QStringList started, errors;

    void attach(MpvPlayer &p)
    {
        QObject::connect(&p, &MpvPlayer::stateChanged, &p, [this](State s) { states.push_back(s); });
        QObject::connect(&p, &MpvPlayer::mediaStarted, &p, [this](const QString &n) { started << n; });
        QObject::connect(&p, &MpvPlayer::errorOccurred, &p, [this](const QString &u) { errors << u; });
    }
    long stops() const { return std::count(states.begin(), states.end(), State::Stopped); }
    bool waitStops(long n) const { return QTest::qWaitFor([&] { return stops() == n; }); }
    void clear() { states.clear(), started.clear(), errors.clear(); }
};

class MpvPlayerTest : public ::testing::Test
{
protected:
    // A sox tone; a stereo one has different pitches left and right.
    QString tone(const QString &name, int channels, double seconds = 0.5)
    {
        const QString path = m_dir.filePath(name);
        const QStringList args = u"-n -r 44100 -c %1"_s.arg(channels).split(u' ') << path
            << u"synth %1 sine 440%2"_s.arg(seconds).arg(channels == 2 ? u" sine 660"_s : QString()).split(u' ');
        EXPECT_EQ(QProcess::execute(u"sox"_s, args), 0) << "sox failed on " << qPrintable(path);
        return path;
    }
    // A player whose signals go to `rec`.
    std::unique_ptr<MpvPlayer> player(bool realTime)
    {
        const QStringList pcm{u"ao=pcm"_s, u"ao-pcm-file="_s + pcmFile(), u"ao-pcm-append=yes"_s,
                              u"ao-pcm-waveheader=no"_s, u"audio-format=s16"_s, u"audio-channels=stereo"_s};
        auto p = std::make_unique<MpvPlayer>(realTime ? QStringList{u"ao=null"_s} : pcm);
        EXPECT_TRUE(p->isValid()) << qPrintable(p->errorString());
        rec.attach(*p);
        return p;
    }
    QString pcmFile() const { return m_dir.filePath(u"out.pcm"_s); }

    QTemporaryDir m_dir;
    Recorder rec;
};

TEST_F(MpvPlayerTest, UnplayableItemsFailAndPlayableOnesPlayToTheirEnd)
{
    const QString garbage = m_dir.filePath(u"garbage.mp3"_s);
    QFile file(garbage);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(QByteArray(20000, 'Z')) == 20000 && file.flush());
    auto p = player(false);
    for (const QString &bad : {m_dir.filePath(u"missing.mp3"_s), garbage}) {
        p->open(bad);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !rec.errors.isEmpty(); })) << qPrintable(bad);
        QTest::qWait(100);
        EXPECT_EQ(rec.errors, QStringList{bad});
        EXPECT_EQ(rec.states, States{State::Loading}); // no start, no end
        EXPECT_EQ(p->state(), State::Stopped);
        rec.clear();
    }
    p->open(tone(u"tone.wav"_s, 2)); // not stuck after the failures
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Stopped}));
    EXPECT_EQ(rec.started, QStringList{u"tone.wav"_s});
}

// mpv ends an item when it has handed its last samples to the output; the
// player ends it when they have sounded (on an output that keeps time). A
// replaced item does not end; a stop ends it once.
TEST_F(MpvPlayerTest, AnItemEndsOnceWhenItsLastSampleIsHeard)
{
    const QString half = tone(u"half.wav"_s, 2);
    auto p = player(true);
    QElapsedTimer since;
    qint64 handedOver = -1;
    int ends = 0;
    p->setTraceSink([&](const QString &event, const QString &) {
        if (event == u"playing")
            since.start();
        if (event == u"ended")
            ++ends, handedOver = since.elapsed();
    });
    p->open(half);
    ASSERT_TRUE(rec.waitStops(1));
    const qint64 heard = since.elapsed();
    EXPECT_GE(heard, 450);
    EXPECT_LE(heard, 500 + MpvPlayer::kDrainSlackMs + 300);
    EXPECT_LT(handedOver, heard - 100) << "handed over well before it was heard";

    rec.clear(); // replaced while its last samples sound: that end is not reported
    p->open(half);
    ASSERT_TRUE(QTest::qWaitFor([&] { return ends == 2; }));
    EXPECT_EQ(p->state(), State::Playing) << "still sounding";
    p->open(half);
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Loading, State::Playing, State::Stopped}));

    rec.clear(); // replaced while it plays
    const QString longTone = tone(u"long.wav"_s, 2, 3);
    p->open(longTone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rec.started.size() == 1; }));
    p->open(half);
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Loading, State::Playing, State::Stopped}));
    rec.clear(); // stopped while loading, while playing and again
    p->open(longTone);
    p->stop();
    p->open(longTone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return p->state() == State::Playing; }));
    p->stop();
    p->stop();
    QTest::qWait(500);
    EXPECT_EQ(rec.states, (States{State::Loading, State::Stopped, State::Loading, State::Playing, State::Stopped}));
    EXPECT_TRUE(rec.errors.isEmpty());
}

// A prepared item waits at its first sample, silent, until it is opened;
// then it plays whole from its start. Another item drops what was prepared.
TEST_F(MpvPlayerTest, APreparedItemWaitsSilentAndPlaysWholeWhenOpened)
{
    const QString bell = tone(u"bell.wav"_s, 2);
    auto p = player(false);
    QStringList events;
    p->setTraceSink([&events](const QString &event, const QString &) { events << event; });
    p->prepare(bell);
    EXPECT_EQ(p->state(), State::Paused);
    QTest::qWait(600); // loaded meanwhile: still nothing sounds
    EXPECT_TRUE(rec.started.isEmpty());
    p->prepare(bell); // not stopped: nothing happens
    p->open(bell);
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.started, QStringList{u"bell.wav"_s});
    EXPECT_EQ(events.count(u"open"_s), 1) << qPrintable(events.join(u' '));
    EXPECT_EQ(events.count(u"prepared"_s), 1);

    EXPECT_EQ(QFile(pcmFile()).size(), kHalfSecondPcm) << "the prepared item whole, once";

    // Dropped unheard (the PCM file cannot tell: it writes a paused item's first buffer).
    rec.clear();
    events.clear();
    p->prepare(bell);
    p->open(tone(u"other.wav"_s, 2));
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.started, QStringList{u"other.wav"_s});
    EXPECT_EQ(events.count(u"playing"_s), 1) << qPrintable(events.join(u' '));
}

TEST_F(MpvPlayerTest, BalanceSilencesTheOtherChannel)
{
    const QString stereo = tone(u"stereo.wav"_s, 2);
    const QString mono = tone(u"mono.wav"_s, 1);
    struct Case { const char *what; int balance; QString source; bool sounds[2]; }; // left, right
    const std::vector<Case> cases{{"left, stereo", -100, stereo, {true, false}}, {"right", 30, stereo, {false, true}},
                                  {"centre again", 0, stereo, {true, true}}, {"left, mono", -1, mono, {true, false}}};
    auto p = player(false);
    for (const Case &c : cases) {
        p->setBalance(c.balance);
        p->open(c.source);
        ASSERT_TRUE(rec.waitStops(rec.stops() + 1)) << c.what;
    }
    p.reset();

    const QByteArray pcm = [&] { QFile f(pcmFile()); return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray(); }();
    ASSERT_EQ(pcm.size(), kHalfSecondPcm * qsizetype(cases.size()));
    const auto *samples = reinterpret_cast<const qint16 *>(pcm.constData());
    constexpr qsizetype from = 1000, to = kHalfSecondPcm / 4 - 1000; // the middle of each item, in frames
    for (size_t i = 0; i < cases.size(); ++i) {
        double power[2] = {0, 0}; // mean square of the left and the right channel
        for (qsizetype f = from; f < to; ++f)
            for (int ch : {0, 1})
                power[ch] += std::pow(samples[i * kHalfSecondPcm / 2 + 2 * f + ch], 2) / (to - from);
        for (int ch : {0, 1})
            EXPECT_TRUE(cases[i].sounds[ch] ? power[ch] > 1e6 : power[ch] < 1) << cases[i].what << ", channel " << ch;
    }
}

} // namespace

// An output buffer deeper than the item (audio-buffer=2) takes a prepared
// item whole while it waits; it must still be there, and heard to its end,
// when it is opened, again and again.
TEST_F(MpvPlayerTest, APreparedItemSurvivesABufferDeeperThanItself)
{
    const QString second = tone(u"second.wav"_s, 2, 1);
    MpvPlayer p({u"ao=null"_s, u"audio-buffer=2"_s});
    ASSERT_TRUE(p.isValid()) << qPrintable(p.errorString());
    rec.attach(p);
    QStringList events;
    p.setTraceSink([&events](const QString &event, const QString &) { events << event; });
    for (int round = 1; round <= 2; ++round) {
        SCOPED_TRACE(round);
        p.prepare(second);
        QTest::qWait(1500);
        QElapsedTimer heard;
        heard.start();
        p.open(second);
        ASSERT_TRUE(rec.waitStops(round));
        EXPECT_GE(heard.elapsed(), 950) << qPrintable(events.join(u' '));
        EXPECT_FALSE(events.contains(u"prepared-dropped"_s));
        EXPECT_EQ(events.count(u"open"_s), round) << "loaded once each round";
    }
}
