#include "fakes/rig.h"
#include "pictures/picturestore.h"
#include "pictures/slideshow.h"
#include "scheduler/taskstore.h"
#include "shell/station.h"

#include <QSignalSpy>

#include <gtest/gtest.h>


using namespace Qt::StringLiterals;
using tav::PictureStore;
using tav::Slideshow;
using tav::SlideshowSettings;
using tav::test::at;

namespace {

SlideshowSettings sample()
{
    SlideshowSettings s;
    s.pictures = {u"/图片/一.jpg"_s, u"/图片/二.png"_s, u"/图片/三.bmp"_s};
    s.pictureOrder = SlideshowSettings::Random;
    s.volume = 32768;
    s.switchSeconds = 10;
    s.music = {u"/音乐/甲.mp3"_s, u"http://radio.example/live"_s};
    s.musicOrder = SlideshowSettings::MusicRandom;
    s.playMusic = true;
    s.muteOnStopDates = true;
    return s;
}

} // namespace

class PictureStoreTest : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    PictureStoreTest() : PlaybackRig("2026-11-23 10:00:00") {}
    PictureStore store{dir};
};

TEST_F(PictureStoreTest, SavedSettingsAreWrittenKeyByKeyAndTheSecondMonitorKeyStays)
{
    d.write(u"【IMAGE】.ini"_s, u"[设置]\n输出到第二显示器=1\n"_s);
    ASSERT_TRUE(store.save(sample()));
    // Each key read: PicturesWindow.OpensWithTheFileAndSaveRefusesBadValuesLeavingTheFile.
    const QString text = d.text(u"【IMAGE】.ini"_s);
    for (const QString &line : {u"[图片文件数量]\r\n数量=3"_s, u"图片路径0=/图片/一.jpg"_s, u"图片播放模式=1"_s,
                                u"个性音量=32768"_s, u"图片切换时间=10"_s, u"[多媒体文件数量]\r\n多媒体数量=2"_s,
                                u"歌曲名称1=http://radio.example/live"_s, u"音乐模式=1"_s, u"播放音乐=1"_s,
                                u"停播日期音乐静音=1"_s, u"输出到第二显示器=1"_s})
        EXPECT_TRUE(text.contains(line)) << line.toStdString();
    settings.load();
    EXPECT_TRUE(settings.isOn(tav::Switch::SecondMonitor));
}

TEST_F(PictureStoreTest, MissingKeysReadAsZeroAndTheCountBoundsTheList)
{
    EXPECT_TRUE(store.load().pictures.isEmpty()); // no file at all
    // Three counted, one of them missing, one beyond the count; a flag of 2 is not 1.
    d.write(u"【IMAGE】.ini"_s, u"[图片文件数量]\n数量=3\n[图片]\n图片路径0=/a.jpg\n图片路径2=/c.jpg\n"
                               u"图片路径3=/d.jpg\n[设置]\n个性音量=abc\n播放音乐=2\n图片播放模式=7\n"_s);
    const SlideshowSettings s = store.load();
    EXPECT_EQ(s.pictures, (QStringList{u"/a.jpg"_s, u"/c.jpg"_s}));
    EXPECT_EQ(s.volume, 0);
    EXPECT_EQ(s.switchSeconds, 0); // missing
    EXPECT_FALSE(s.playMusic);
    EXPECT_EQ(s.pictureOrder, SlideshowSettings::InOrder);
}

// The slideshow on a fake clock, with a fake player behind the playback controller.
class SlideshowTest : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    SlideshowTest() : PlaybackRig("2026-11-23 10:00:00") {}
    Slideshow show{clock, dir, playback, log};
    QStringList shown;

    void SetUp() override
    {
        show.setDisplay(true);
        QObject::connect(&show, &Slideshow::pictureChanged, [this](const QString &p) { shown.append(p); });
    }
    SlideshowSettings three()
    {
        SlideshowSettings s;
        s.pictures = {u"/p/0.jpg"_s, u"/p/1.jpg"_s, u"/p/2.jpg"_s};
        s.switchSeconds = 5;
        s.volume = 65535;
        return s;
    }
    // Seconds pass and the switch timer wakes, `times` times.
    void after(int seconds, int times = 1)
    {
        for (int i = 0; i < times; ++i) {
            clock.advance(seconds);
            show.switchTick();
        }
    }
};

TEST_F(SlideshowTest, InOrderShowsEachAtItsTimeAndStartsAgainAfterTheLast)
{
    ASSERT_TRUE(show.play(three()));
    EXPECT_EQ(shown, QStringList{u"/p/0.jpg"_s}); // at once
    after(4);
    EXPECT_EQ(shown.size(), 1); // not yet
    after(1);
    after(5, 3);
    EXPECT_EQ(shown, (QStringList{u"/p/0.jpg"_s, u"/p/1.jpg"_s, u"/p/2.jpg"_s, u"/p/0.jpg"_s, u"/p/1.jpg"_s}));

    // A switch time never saved (0), or too long, is held to 5 … 60 seconds.
    for (auto [saved, held] : {std::pair{0, 5}, {600, 60}}) {
        SlideshowSettings s = three();
        s.switchSeconds = saved;
        ASSERT_TRUE(show.play(s));
        EXPECT_EQ(show.intervalSeconds(), held);
    }
}

TEST_F(SlideshowTest, SwitchTimesDoNotDriftWithLateWakeUps)
{
    ASSERT_TRUE(show.play(three()));
    const struct { const char *why; QDateTime now; int shown; QDateTime next; } wakes[] = {
        {"700 ms late", at("2026-11-23 10:00:05").addMSecs(700), 2, at("2026-11-23 10:00:10")},
        {"the machine slept: counted afresh", at("2026-11-23 11:00:00"), 3, at("2026-11-23 11:00:05")},
        {"the clock set back: not stuck", at("2026-11-23 09:00:00"), 4, at("2026-11-23 09:00:05")},
    };
    for (const auto &w : wakes) {
        SCOPED_TRACE(w.why);
        clock.set(w.now);
        show.switchTick();
        EXPECT_EQ(shown.size(), w.shown);
        EXPECT_EQ(show.nextSwitchAt(), w.next);
    }
}

TEST_F(SlideshowTest, PicturesThatCannotBeShownAreLoggedOnceAndSkipped)
{
    ASSERT_TRUE(show.play(three()));
    show.pictureFailed(u"/p/0.jpg"_s, u"文件不存在"_s); // the one on screen: the next comes at once
    EXPECT_EQ(shown.last(), u"/p/1.jpg");
    show.pictureFailed(u"/p/0.jpg"_s, u"文件不存在"_s);
    EXPECT_EQ(log.text().count(u"图片无法显示：/p/0.jpg（文件不存在）"_s), 1);
    after(5, 2); // past the end: 0 is skipped
    EXPECT_EQ(shown.mid(2), (QStringList{u"/p/2.jpg"_s, u"/p/1.jpg"_s}));

    QSignalSpy cleared(&show, &Slideshow::cleared);
    show.pictureFailed(u"/p/1.jpg"_s, u"不是图片或已损坏"_s);
    show.pictureFailed(u"/p/2.jpg"_s, u"不是图片或已损坏"_s);
    EXPECT_EQ(cleared.count(), 1); // nothing left to show
    EXPECT_EQ(show.currentIndex(), -1);
    after(5);
    EXPECT_EQ(show.currentIndex(), -1);
}

TEST_F(SlideshowTest, MusicStartsAfterTheDelayAtItsOwnVolumeUnlessItIsAStopDate)
{
    SlideshowSettings s = three();
    s.music = {u"/m/a.mp3"_s, u"/m/b.mp3"_s};
    s.playMusic = true;
    s.volume = 32768;
    s.muteOnStopDates = true;
    show.setStopDay([](QDate date) { return date == QDate(2026, 11, 23); });
    ASSERT_TRUE(show.play(s));
    show.startMusic();
    EXPECT_TRUE(player.opened.isEmpty());
    EXPECT_TRUE(log.text().contains(u"停播日期，图片背景音乐静音"));

    clock.set(at("2026-11-24 10:00:00"));
    ASSERT_TRUE(show.play(s));
    EXPECT_TRUE(show.isMusicPending());
    EXPECT_TRUE(player.opened.isEmpty());
    show.startMusic(); // tmrDelayRun
    EXPECT_EQ(player.opened, QStringList{u"/m/a.mp3"_s});
    EXPECT_EQ(playback.mode(), tav::PlayMode::Loop);
    EXPECT_EQ(player.volume(), 50);
    EXPECT_TRUE(show.isMusicPlaying());
    show.stop();
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Stopped);
    EXPECT_TRUE(playback.items().isEmpty());

    // A list the operator put on the player is not the slideshow's to stop.
    ASSERT_TRUE(show.play(s));
    show.startMusic();
    playback.startTask(u"顺序"_s, {u"/task/news.mp3"_s});
    show.stop();
    EXPECT_EQ(playback.items(), QStringList{u"/task/news.mp3"_s});
}

TEST_F(SlideshowTest, ATasksPicturesFollowItsModeAndInterval)
{
    tav::PictureList list{{u"/t/a.jpg"_s, u"/t/b.jpg"_s}, u"1"_s, 3};
    show.startTask(list);
    EXPECT_EQ(show.source(), Slideshow::Source::Task);
    EXPECT_EQ(show.intervalSeconds(), 3);
    after(3, 2);
    EXPECT_EQ(shown, (QStringList{u"/t/a.jpg"_s, u"/t/b.jpg"_s, u"/t/a.jpg"_s}));
    show.stopIdle(); // not the idle content: stays
    EXPECT_TRUE(show.isShowing());
    show.stopTask();
    EXPECT_FALSE(show.isShowing());

    show.setRandomSource([] { return 0.99; });
    show.startTask({{u"/t/a.jpg"_s, u"/t/b.jpg"_s}, u"0"_s, 0}); // "0" is random; 0 s is 1 s
    EXPECT_EQ(shown.last(), u"/t/b.jpg");
    EXPECT_EQ(show.intervalSeconds(), 1);
    show.startTask({{}, u"1"_s, 3}); // no pictures: the screen is the task's
    EXPECT_FALSE(show.isRunning());
}

// The station between tasks: the clockwork asks, the slideshow answers.
class StationSlideshowTest : public ::testing::Test, protected tav::test::StationFakes
{
protected:
    StationSlideshowTest() : StationFakes("2026-11-23 08:59:58") {}
    std::unique_ptr<tav::Station> station;

    void SetUp() override
    {
        d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早间新闻\nTime=9:00:00\nDuration=9:00:10\nType=65535\n"
                                  u"Device=每天\nRecurrence=顺序\nRemind=开\n"_s);
        d.write(u"早间新闻.ini"_s, u"[多媒体文件数量]\n数量=1\n图片总数量=2\n[歌曲]\n歌曲名称0=/news.mp3\n"
                                  u"[图片]\n图片路径0=/n/1.jpg\n图片路径1=/n/2.jpg\n[图片播放模式]\n模式=1\n"_s);
        d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n显示图片=1\n"_s);
        d.writeBytes(u"ad.jpg"_s, "jpeg");
        d.write(u"【IMAGE】.ini"_s, u"[图片文件数量]\n数量=1\n[图片]\n图片路径0=%1\n[多媒体文件数量]\n"
                                   u"多媒体数量=1\n[歌曲]\n歌曲名称0=/bgm.mp3\n[设置]\n播放音乐=1\n个性音量=65535\n"
                                   u"停播日期音乐静音=1\n图片切换时间=5\n"_s.arg(ad));
    }
    const QString ad = d.file(u"ad.jpg"_s);
    void startStation(bool display)
    {
        station = std::make_unique<tav::Station>(d.path(), player, prompt, clock, shutdown);
        station->slideshow().setDisplay(display);
        station->start();
        station->ticker().stop(); // the test gives the seconds
    }
    void second(const char *when)
    {
        clock.set(at(when));
        station->scheduler().onSecond();
    }
};

TEST_F(StationSlideshowTest, HeadlessTheMusicBetweenTasksStillPlays)
{
    startStation(false);
    second("2026-11-23 09:00:00");
    EXPECT_EQ(station->slideshow().source(), Slideshow::Source::None); // a task's pictures need a screen
    EXPECT_EQ(player.opened, QStringList{u"/news.mp3"_s});
    second("2026-11-23 09:00:11");
    EXPECT_EQ(station->slideshow().source(), Slideshow::Source::Idle);
    EXPECT_EQ(station->scheduler().status(), u"正在播放广告内容");
    station->slideshow().startMusic();
    ASSERT_EQ(player.opened.last(), u"/bgm.mp3");
    EXPECT_EQ(player.volume(), 100);
}

// A task with pictures of its own shows them; a sound-only task without any
// keeps the slideshow's pictures beside its music instead of a black player
// window. Either way the task's sound plays, and its end hands back.
TEST_F(StationSlideshowTest, ATaskTakesOverFromTheIdleContentAndHandsBack)
{
    const struct { const char *name; QString list, picture; } cases[] = {
        {"own pictures", {}, u"/n/1.jpg"_s},
        {"no pictures", u"[多媒体文件数量]\n数量=1\n[歌曲]\n歌曲名称0=/news.mp3\n"_s, ad},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        if (!c.list.isEmpty())
            d.write(u"早间新闻.ini"_s, c.list);
        clock.set(at("2026-11-23 08:59:58"));
        player.opened.clear();
        startStation(true);
        QCoreApplication::processEvents(); // the idle content of the start (no start delay)
        ASSERT_EQ(station->slideshow().source(), Slideshow::Source::Idle);
        EXPECT_EQ(station->slideshow().pictures(), QStringList{ad});
        QSignalSpy video(&station->playback(), &tav::PlaybackController::videoVisibilityChanged);
        second("2026-11-23 09:00:00");
        ASSERT_EQ(video.count(), 1); // a sound-only item beside pictures: they show
        EXPECT_FALSE(video.at(0).at(0).toBool());
        EXPECT_EQ(station->slideshow().source(), Slideshow::Source::Task);
        EXPECT_EQ(station->slideshow().currentPicture(), c.picture);
        EXPECT_FALSE(station->slideshow().isMusicPending()); // the task's sound, not the slideshow's
        EXPECT_EQ(player.opened, QStringList{u"/news.mp3"_s});
        second("2026-11-23 09:00:11");
        EXPECT_EQ(station->slideshow().source(), Slideshow::Source::Idle);
        EXPECT_EQ(station->slideshow().currentPicture(), ad);
        station.reset();
    }
}

// Between tasks, the slideshow is claimed only when it shows or plays something.
TEST_F(StationSlideshowTest, TheIdleContentIsClaimedOnlyWhenSomethingShows)
{
    const QString missing = u"[图片文件数量]\n数量=2\n[图片]\n图片路径0=/gone/1.jpg\n图片路径1=/gone/2.jpg\n"_s;
    const QString music = u"[多媒体文件数量]\n多媒体数量=1\n[歌曲]\n歌曲名称0=/bgm.mp3\n"_s;
    // Longer than is looked through on the clockwork's second: taken as it is.
    QString long_ = u"[图片文件数量]\n数量=%1\n[图片]\n"_s.arg(Slideshow::kMaxLooked + 1);
    for (int i = 0; i <= Slideshow::kMaxLooked; ++i)
        long_ += u"图片路径%1=/gone/%1.jpg\n"_s.arg(i);
    const struct { const char *name; QString image; bool claimed; int pictures; } cases[] = {
        {"an empty list", u"[设置]\n播放音乐=1\n"_s, false, 0},
        {"every picture missing", missing, false, 0},
        {"missing pictures, music", missing + music + u"[设置]\n播放音乐=1\n"_s, true, 0},
        {"one of two found", u"[图片文件数量]\n数量=2\n[图片]\n图片路径0=/gone/1.jpg\n图片路径1=%1\n"_s.arg(ad), true, 2},
        {"a long list", long_, true, Slideshow::kMaxLooked + 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        station.reset();
        QFile::remove(tav::DataDir(d.path()).playLog()); // each case starts with an empty log
        d.write(u"【IMAGE】.ini"_s, c.image);
        clock.set(at("2026-11-23 08:59:58"));
        startStation(true);
        QCoreApplication::processEvents(); // the start's try
        second("2026-11-23 09:00:00");
        second("2026-11-23 09:00:11"); // the task's end: a second try
        station->settings().setSwitch(tav::Switch::Pictures, false);
        station->settings().setSwitch(tav::Switch::Pictures, true); // a third
        EXPECT_EQ(station->slideshow().isRunning(), c.claimed);
        EXPECT_EQ(station->slideshow().pictureCount(), c.pictures);
        const QString log = station->log().text();
        EXPECT_EQ(station->scheduler().status(), c.claimed ? u"正在播放广告内容"_s : u"Tavrel多媒体定时播放系统"_s);
        EXPECT_EQ(log.contains(u"开播：广告内容"), c.claimed);
    }
}

TEST_F(StationSlideshowTest, WorkingHoursStartAndEndTheIdleContent)
{
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n显示图片=1\n[广告时间选项]\nrunPic=1\nPicStartTime=8:00:00\n"
                                 u"PicEndTime=18:00:00\n"_s);
    clock.set(at("2026-11-23 07:59:58"));
    startStation(true);
    QCoreApplication::processEvents();
    EXPECT_FALSE(station->slideshow().isRunning()); // before the working hours
    second("2026-11-23 08:00:00");
    EXPECT_EQ(station->slideshow().source(), Slideshow::Source::Idle);
    second("2026-11-23 17:59:55");
    EXPECT_FALSE(station->slideshow().isRunning());
}

TEST_F(StationSlideshowTest, TheOperatorsPlayDuringATaskLeavesTheTasksSound)
{
    startStation(true);
    second("2026-11-23 09:00:00");
    SlideshowSettings s = station->slideshow().loadSettings();
    ASSERT_TRUE(station->slideshow().play(s));
    station->slideshow().startMusic();
    EXPECT_EQ(player.opened, (QStringList{u"/news.mp3"_s}));
    EXPECT_TRUE(station->log().text().endsWith(u"定时任务正在播放，图片背景音乐不播放"));
}
