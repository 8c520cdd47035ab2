#include "core/ini.h"
#include "fakes/stationrig.h"

#include <QFile>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::EmergencySettings;
using tav::MediaPlayer;
using tav::test::at;
using State = MediaPlayer::State;

namespace {

// A station with two tasks on Monday morning and a prompt tone; the test
// gives the seconds.
class EmergencyTest : public ::testing::Test, protected tav::test::StationRig
{
protected:
    EmergencyTest() : StationRig("2026-11-23 08:59:58") {}

    void SetUp() override
    {
        d.write(u"【SONG】.ini"_s,
                tav::test::taskSection(1, {u"早间新闻"_s, u"9:00:00"_s, u"9:10:00"_s, u"每天"_s, u"65535"_s, u"顺序"_s})
                    + tav::test::taskSection(2, {u"午间"_s, u"9:20:00"_s, u"9:30:00"_s, u"每天"_s, u"65535"_s, u"顺序"_s}));
        d.write(u"早间新闻.ini"_s, tav::test::mediaList({u"/news.mp3"_s}));
        d.write(u"午间.ini"_s, tav::test::mediaList({u"/noon.mp3"_s}));
        d.write(u"TONE.wav"_s, u"RIFF"_s);
        startStation();
    }
    // Every second up to `when`; what opens sounds at once.
    void secondsUntil(const char *when)
    {
        const QDateTime end = at(when);
        while (clock.now() < end) {
            clock.advance(1);
            station->scheduler().onSecond();
            if (player.state() == State::Loading)
                player.sound();
        }
    }
};

} // namespace

// The interrupted task goes on where it was if its end has not come; a task
// that started meanwhile plays from its start; nothing sounds but the alarm.
TEST_F(EmergencyTest, AfterwardsTheScheduleGoesOnAsIfTheTimeHadPassed)
{
    const struct { const char *name, *clearAt; State after; QStringList opened; } cases[] = {
        {"resumes where it was", "2026-11-23 09:06:00", State::Playing, {u"/news.mp3"_s}},
        {"its end came meanwhile", "2026-11-23 09:12:00", State::Stopped, {u"/news.mp3"_s}},
        {"a start meanwhile plays", "2026-11-23 09:21:00", State::Loading, {u"/news.mp3"_s, u"/noon.mp3"_s}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        clock.set(at("2026-11-23 08:59:58"));
        player.stop();
        player.opened.clear();
        broadcastPlayer.opened.clear();
        startStation();
        secondsUntil("2026-11-23 09:05:00");
        ASSERT_EQ(player.opened, QStringList{u"/news.mp3"_s});
        QString error;
        ASSERT_TRUE(station->startEmergency({}, u"本机命令行"_s, &error)) << error.toStdString();
        EXPECT_TRUE(station->emergencyActive());
        EXPECT_EQ(player.state(), State::Paused);
        EXPECT_EQ(broadcastPlayer.opened.value(0), station->dataDir().tone());
        EXPECT_EQ(broadcastPlayer.volume(), 100);

        // Held: ends end, starts wait.
        secondsUntil(c.clearAt);
        EXPECT_EQ(player.opened, QStringList{u"/news.mp3"_s});
        ASSERT_TRUE(station->clearEmergency(u"网页控制台"_s, &error));
        EXPECT_FALSE(station->emergencyActive());
        EXPECT_EQ(player.state(), c.after);
        EXPECT_EQ(player.opened, c.opened);
        EXPECT_TRUE(broadcastPlayer.state() != State::Playing && broadcastPlayer.state() != State::Loading)
            << "the alarm is quiet";
    }
}

TEST_F(EmergencyTest, StopsTheBroadcastAndIsTakenOnceWhenAskedAgain)
{
    QString error;
    ASSERT_TRUE(station->announce({u"请到操场集合"_s}, u"主窗口"_s, &error)) << error.toStdString();
    ASSERT_TRUE(station->broadcaster()->isBusy());
    ASSERT_TRUE(station->startEmergency({u"着火了，请撤离"_s}, u"托盘"_s, &error));
    EXPECT_FALSE(station->broadcaster()->isBusy());
    EXPECT_EQ(station->emergency().text(), u"着火了，请撤离");
    // Asked again: taken, and nothing starts twice.
    const qsizetype opened = broadcastPlayer.opened.size();
    EXPECT_TRUE(station->startEmergency({}, u"报警系统"_s, &error));
    EXPECT_EQ(broadcastPlayer.opened.size(), opened);
    EXPECT_FALSE(station->startEmergency({{}, d.file(u"没有.wav"_s)}, u"报警系统"_s, &error));
    EXPECT_EQ(error, u"找不到声音文件："_s + d.file(u"没有.wav"_s));
}

// The settings keep a section of their own beside the original ones; the
// token only as a hash.
TEST_F(EmergencyTest, SettingsAndTokenAreKeptInTheirOwnSection)
{
    const tav::DataDir &dir = station->dataDir();
    tav::IniFile(dir.control()).setValue(u"复选控制"_s, u"播音"_s, u"1"_s);
    EXPECT_EQ(station->emergency().settings().text, EmergencySettings::kDefaultText);
    QString error;
    EmergencySettings good;
    good.text = u"地震演练，请就地避险"_s;
    ASSERT_TRUE(station->emergency().saveSettings(good, &error)) << error.toStdString();
    EmergencySettings read;
    ASSERT_TRUE(EmergencySettings::load(dir, &read, &error));
    EXPECT_EQ(read.text, good.text);
    EXPECT_EQ(tav::IniFile(dir.control()).value(u"复选控制"_s, u"播音"_s), u"1");

    EXPECT_FALSE(station->emergencyTokenMatches(u"anything-at-all"_s)); // none set: the door is shut
    EXPECT_FALSE(EmergencySettings::setToken(dir, u"short"_s, &error));
    EXPECT_EQ(error, u"令牌至少要有8个字符");
    ASSERT_TRUE(EmergencySettings::setToken(dir, u"panel-secret-1"_s, &error));
    EXPECT_FALSE(tav::IniFile(dir.control()).value(EmergencySettings::kSection, u"报警系统令牌"_s).contains(u"panel"_s));
    EXPECT_TRUE(station->emergencyTokenMatches(u"panel-secret-1"_s));
    EXPECT_FALSE(station->emergencyTokenMatches(u"panel-secret-2"_s));
}

// Between emergencies the alarm's first sound waits on the broadcast player,
// loaded and paused, so that a start only lets its pause go. Whatever else
// plays there takes the player; once it stands stopped the sound waits
// again. Without a tone the first
// sound is the new text's reading. With nothing waiting a start still
// sounds, only later.
TEST_F(EmergencyTest, TheAlarmsFirstSoundWaitsReadyBetweenEmergencies)
{
    const QString tone = station->dataDir().tone();
    const auto waiting = [&](const QString &url) {
        return QTest::qWaitFor([&] { return broadcastPlayer.state() == State::Paused && broadcastPlayer.currentUrl() == url; },
                               3000);
    };
    ASSERT_TRUE(waiting(tone));
    broadcastPlayer.open(u"/music.mp3"_s); // a broadcast's music
    broadcastPlayer.sound();
    QString error;
    ASSERT_TRUE(station->startEmergency({}, u"主窗口"_s, &error)) << error.toStdString();
    EXPECT_EQ(broadcastPlayer.opened.last(), tone) << "nothing waited: opened all the same";
    ASSERT_TRUE(station->clearEmergency(u"主窗口"_s, &error));
    ASSERT_TRUE(waiting(tone)) << "again after the emergency";
    broadcastPlayer.open(u"/music.mp3"_s);
    broadcastPlayer.sound();
    broadcastPlayer.finish();
    ASSERT_TRUE(waiting(tone)) << "again after a broadcast";

    QFile::remove(tone);
    EmergencySettings settings;
    settings.text = u"请从东门撤离"_s;
    ASSERT_TRUE(station->emergency().saveSettings(settings, &error)) << error.toStdString();
    ASSERT_TRUE(QTest::qWaitFor([&] { return broadcastPlayer.currentUrl().endsWith(u".wav"_s)
                                             && broadcastPlayer.state() == State::Paused; }, 3000));
    const QString reading = broadcastPlayer.currentUrl();
    EXPECT_TRUE(synth.texts().contains(u"请从东门撤离"_s));
    ASSERT_TRUE(station->startEmergency({}, u"报警系统"_s, &error));
    EXPECT_EQ(broadcastPlayer.opened.last(), reading);
}
