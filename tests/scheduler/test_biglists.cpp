// Big list files never hold back the once-a-second clockwork.
#include "core/ini.h"
#include "scheduler/schedulerfixture.h"

#include <QElapsedTimer>
#include <QTest>

namespace {

// A list file's text of `count` items.
QByteArray bigList(int count)
{
    QString text = u"[多媒体文件数量]\r\n数量=%1\r\n[歌曲]\r\n"_s.arg(count);
    text.reserve(count * 40);
    for (int i = 0; i < count; ++i)
        text += u"歌曲名称%1=/srv/media/%1.mp3\r\n"_s.arg(i);
    return tav::toGbk(text);
}

} // namespace

// A task replaced in its own second never reads its list, however big, and
// one whose list is still being read never plays it once another started.
TEST_F(SchedulerTest, AHundredThousandItemListHoldsNoStartBackAndIsCutAt32767)
{
    addTask(1, u"大列表"_s, u"9:00:00"_s, u"9:30:00"_s);
    addTask(2, u"替换"_s, u"9:00:02"_s, u"9:30:00"_s);
    addTask(3, u"紧随"_s, u"9:00:02"_s, u"9:30:00"_s);
    d.writeBytes(u"大列表.ini"_s, bigList(100'000));
    d.writeBytes(u"替换.ini"_s, bigList(100'000));
    startAt("2026-11-23 08:59:59");

    QElapsedTimer tick;
    tick.start();
    secondsAt({"2026-11-23 09:00:00"});
    EXPECT_LT(tick.elapsed(), 500) << "the list was read within the tick"; // it takes seconds there
    EXPECT_EQ(scheduler.status(), u"正在播放：大列表"); // started at once, its first item follows
    ASSERT_TRUE(QTest::qWaitFor([&] { return !player.opened.isEmpty(); }, 10000));
    EXPECT_EQ(player.opened, QStringList{u"/srv/media/0.mp3"_s});
    EXPECT_EQ(playback.items().size(), 32767);
    EXPECT_EQ(playback.items().last(), u"/srv/media/32766.mp3");
    EXPECT_TRUE(log.text().contains(u"“大列表”的列表超过32767项，多出的67233项未载入")) << log.text().toStdString();

    secondsAt({"2026-11-23 09:00:01", "2026-11-23 09:00:02"});
    EXPECT_EQ(player.currentUrl(), u"/m/紧随-a.mp3");
    QTest::qWait(1500);
    EXPECT_EQ(player.opened, (QStringList{u"/srv/media/0.mp3"_s, u"/m/紧随-a.mp3"_s}));
    EXPECT_EQ(playback.items().size(), 2);
}
