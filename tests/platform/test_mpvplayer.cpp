// MpvPlayer against a real libmpv. ao=pcm writes what would have sounded to
// a file, faster than real time; ao=null keeps (nearly) real time for cases
// where an item must still be playing when the test acts.

#include "platform/mpvplayer.h"

#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;
using tav::MediaPlayer;
using tav::MpvPlayer;
using State = MediaPlayer::State;
using States = std::vector<State>;

namespace {

constexpr int kWaitMs = 5000;
constexpr qsizetype kHalfSecondPcm = 44100 / 2 * 4; // s16 stereo

// Everything the player tells, in order.
struct Recorder
{
    States states;
    QStringList started, errors, trace;

    explicit Recorder(MpvPlayer &p)
    {
        QObject::connect(&p, &MediaPlayer::stateChanged, &p, [this](State s) { states.push_back(s); });
        QObject::connect(&p, &MediaPlayer::mediaStarted, &p, [this](const QString &n) { started << n; });
        QObject::connect(&p, &MediaPlayer::errorOccurred, &p, [this](const QString &u) { errors << u; });
        p.setTraceSink([this](const QString &event, const QString &) { trace << event; });
    }
    long stops() const { return std::count(states.begin(), states.end(), State::Stopped); }
    bool waitStops(long n) const { return QTest::qWaitFor([&] { return stops() == n; }, kWaitMs); }
};

class MpvPlayerTest : public ::testing::Test
{
protected:
    // A sox tone; a stereo one has different pitches left and right.
    QString tone(const QString &name, double seconds, int channels)
    {
        const QString path = m_dir.filePath(name);
        QStringList args{u"-n"_s, u"-r"_s, u"44100"_s, u"-c"_s, QString::number(channels), path,
                         u"synth"_s, QString::number(seconds), u"sine"_s, u"440"_s};
        if (channels == 2)
            args << u"sine"_s << u"660"_s;
        EXPECT_EQ(QProcess::execute(u"sox"_s, args), 0) << "sox failed on " << qPrintable(path);
        return path;
    }

    std::unique_ptr<MpvPlayer> player(bool realTime)
    {
        const QStringList pcm{u"ao=pcm"_s, u"ao-pcm-file="_s + pcmFile(), u"ao-pcm-append=yes"_s,
                              u"ao-pcm-waveheader=no"_s, u"audio-format=s16"_s, u"audio-channels=stereo"_s};
        auto p = std::make_unique<MpvPlayer>(realTime ? QStringList{u"ao=null"_s} : pcm);
        EXPECT_TRUE(p->isValid()) << qPrintable(p->errorString());
        return p;
    }

    QString pcmFile() const { return m_dir.filePath(u"out.pcm"_s); }

    QTemporaryDir m_dir;
};

TEST(MpvPlayerOptions, BadOptionsAreRefusedByName)
{
    for (const QString &option : {u"no-such-option=1"_s, u"volume=loud"_s, u"novalue"_s}) {
        MpvPlayer p({u"ao=null"_s, option});
        EXPECT_FALSE(p.isValid());
        EXPECT_TRUE(p.errorString().contains(option.section(u'=', 0, 0))) << qPrintable(p.errorString());
    }

    // A player that did not start still answers open(), later, with an error.
    MpvPlayer broken({u"no-such-option=1"_s});
    Recorder rec(broken);
    broken.open(u"/x.wav"_s);
    EXPECT_TRUE(rec.errors.isEmpty());
    EXPECT_TRUE(QTest::qWaitFor([&] { return rec.errors == QStringList{u"/x.wav"_s}; }, kWaitMs));
}

TEST_F(MpvPlayerTest, ItemsPlayToTheirEnd)
{
    const QString stereo = tone(u"tone.wav"_s, 0.5, 2);
    const QString mono = tone(u"单声道.wav"_s, 0.5, 1);
    auto p = player(false);
    Recorder rec(*p);

    // A playlist (as a stream's .m3u would be) is one item from start to end,
    // even with an entry in it that fails.
    QFile list(m_dir.filePath(u"list.m3u"_s));
    ASSERT_TRUE(list.open(QIODevice::WriteOnly));
    list.write((mono + u"\n/no/such.wav\n"_s + stereo + u"\n"_s).toUtf8());
    list.close();

    p->open(stereo);
    ASSERT_TRUE(rec.waitStops(1));
    p->open(mono);
    ASSERT_TRUE(rec.waitStops(2));
    p->open(list.fileName());
    ASSERT_TRUE(rec.waitStops(3));

    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Stopped, State::Loading, State::Playing,
                                  State::Stopped, State::Loading, State::Playing, State::Stopped}));
    EXPECT_EQ(rec.started, (QStringList{u"tone.wav"_s, u"单声道.wav"_s, u"list.m3u"_s}));
    EXPECT_EQ(rec.trace.mid(0, 6), (QStringList{u"open"_s, u"playing"_s, u"ended"_s, u"open"_s, u"playing"_s, u"ended"_s}));
    EXPECT_TRUE(rec.errors.isEmpty());
    p.reset(); // closes the PCM file
    EXPECT_EQ(QFile(pcmFile()).size(), 4 * kHalfSecondPcm);
}

TEST_F(MpvPlayerTest, CoreThatQuitsFailsItemsInsteadOfHanging)
{
    // idle=no makes mpv quit once its playlist is done, or before the first
    // item when that comes late.
    MpvPlayer p({u"ao=null"_s, u"idle=no"_s});
    Recorder rec(p);
    const QString t = tone(u"t.wav"_s, 0.2, 2);
    const auto outcomes = [&] { return rec.stops() + rec.errors.size(); };
    p.open(t);
    ASSERT_TRUE(QTest::qWaitFor([&] { return outcomes() == 1; }, kWaitMs));
    QTest::qWait(300);
    p.open(t);
    ASSERT_TRUE(QTest::qWaitFor([&] { return outcomes() == 2; }, kWaitMs));
    EXPECT_EQ(rec.errors.last(), t);
    EXPECT_EQ(p.state(), State::Stopped);
}

TEST_F(MpvPlayerTest, UnplayableItemsGiveErrorsNotEnds)
{
    const QString missing = m_dir.filePath(u"missing.mp3"_s);
    const QString garbage = m_dir.filePath(u"garbage.mp3"_s);
    QList<quint32> noise(5000);
    QRandomGenerator(7).fillRange(noise.data(), noise.size());
    QFile file(garbage);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(reinterpret_cast<const char *>(noise.data()), 20000) == 20000);
    file.close();

    auto p = player(false);
    Recorder rec(*p);
    p->open(missing);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rec.errors.size() == 1; }, kWaitMs));
    p->open(garbage);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rec.errors.size() == 2; }, kWaitMs));
    QTest::qWait(100);
    EXPECT_EQ(rec.errors, (QStringList{missing, garbage}));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Loading}));
    EXPECT_TRUE(rec.started.isEmpty());
    EXPECT_EQ(p->state(), State::Stopped);

    p->open(tone(u"ok.wav"_s, 0.2, 2)); // not stuck afterwards
    EXPECT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.started, QStringList{u"ok.wav"_s});
}

TEST_F(MpvPlayerTest, ReplacedAndStoppedItemsEndOnce)
{
    const QString longTone = tone(u"long.wav"_s, 3, 2);
    const QString shortTone = tone(u"short.wav"_s, 0.5, 2);
    auto p = player(true);
    Recorder rec(*p);

    // Replacing a playing item: the old one's end is not reported.
    p->open(longTone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rec.started.size() == 1; }, kWaitMs));
    p->open(shortTone);
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Loading, State::Playing, State::Stopped}));
    EXPECT_EQ(rec.started, (QStringList{u"long.wav"_s, u"short.wav"_s}));

    // Replaced before it even began: only the second item is heard of.
    rec.states.clear(), rec.started.clear();
    p->open(longTone);
    p->open(shortTone);
    ASSERT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Stopped}));
    EXPECT_EQ(rec.started, QStringList{u"short.wav"_s});

    // stop() while playing, again, and while loading: one Stopped each time.
    rec.states.clear(), rec.started.clear();
    p->open(longTone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return p->state() == State::Playing; }, kWaitMs));
    p->stop();
    EXPECT_EQ(rec.stops(), 1);
    p->stop();
    p->open(longTone);
    p->stop();
    QTest::qWait(500);
    EXPECT_EQ(rec.states, (States{State::Loading, State::Playing, State::Stopped, State::Loading, State::Stopped}));
    EXPECT_EQ(rec.started, QStringList{u"long.wav"_s});
    EXPECT_TRUE(rec.errors.isEmpty());
}

TEST_F(MpvPlayerTest, PauseHoldsTheAnnouncementAndDoesNotCarryOver)
{
    const QString longTone = tone(u"long.wav"_s, 3, 2);
    auto p = player(true);
    Recorder rec(*p);
    p->open(longTone);
    p->pause();
    QTest::qWait(400);
    EXPECT_TRUE(rec.started.isEmpty());
    p->play();
    EXPECT_TRUE(QTest::qWaitFor([&] { return rec.started.size() == 1; }, kWaitMs));
    EXPECT_EQ(rec.states, (States{State::Loading, State::Paused, State::Playing}));

    // An item opened over a paused one plays to its end.
    p->pause();
    p->open(tone(u"short.wav"_s, 0.3, 2));
    EXPECT_TRUE(rec.waitStops(1));
    EXPECT_EQ(rec.started.last(), u"short.wav"_s);
}

TEST_F(MpvPlayerTest, BalanceAndVolumeShapeTheOutput)
{
    const QString stereo = tone(u"stereo.wav"_s, 0.5, 2);
    const QString mono = tone(u"mono.wav"_s, 0.5, 1);
    struct Case { const char *what; int balance, volume; QString source; bool left, right; };
    const std::vector<Case> cases{
        {"left, stereo", -100, 100, stereo, true, false}, {"right, stereo", 30, 100, stereo, false, true},
        {"centre again", 0, 100, stereo, true, true},     {"left, mono", -1, 100, mono, true, false},
        {"right, mono", 100, 100, mono, false, true},     {"muted", 0, 0, stereo, false, false},
    };
    auto p = player(false);
    Recorder rec(*p);
    for (const Case &c : cases) {
        p->setBalance(c.balance);
        p->setVolume(c.volume);
        p->open(c.source);
        ASSERT_TRUE(rec.waitStops(rec.stops() + 1)) << c.what;
    }
    p.reset();

    QFile file(pcmFile());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray pcm = file.readAll();
    ASSERT_EQ(pcm.size(), kHalfSecondPcm * qsizetype(cases.size()));
    for (size_t i = 0; i < cases.size(); ++i) {
        // RMS of each channel over the middle of the item.
        const auto *frames = reinterpret_cast<const qint16 *>(pcm.constData()) + i * kHalfSecondPcm / 2;
        double sum[2] = {0, 0};
        const int from = kHalfSecondPcm / 40, to = kHalfSecondPcm / 4 - from;
        for (int f = from; f < to; ++f)
            for (int ch : {0, 1})
                sum[ch] += double(frames[2 * f + ch]) * frames[2 * f + ch];
        const double left = std::sqrt(sum[0] / (to - from)), right = std::sqrt(sum[1] / (to - from));
        EXPECT_TRUE(cases[i].left ? left > 1000 : left < 1) << cases[i].what << ": left " << left;
        EXPECT_TRUE(cases[i].right ? right > 1000 : right < 1) << cases[i].what << ": right " << right;
    }
}

} // namespace
