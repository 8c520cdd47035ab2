#include "core/ini.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "scheduler/taskstore.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::TaskStore;

namespace {

QString task(int n, const QString &name, const QString &days = u"每天"_s,
             const QString &remind = u"开"_s, const QString &start = u"9:00:00"_s,
             const QString &end = u"9:30:00"_s)
{
    return tav::test::taskSection(n, {.name = name, .start = start, .end = end, .days = days, .timed = remind});
}

const QDate kMonday(2026, 11, 23);

} // namespace

class TaskStoreTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    tav::Settings settings{dir};
    TaskStore store{dir, settings};

    QStringList names() const
    {
        QStringList n;
        for (const auto &r : store.rows())
            n.append(r.name);
        return n;
    }
};

TEST_F(TaskStoreTest, TodaysListHoldsDueTimedTasksWithinTheWorkingHoursAsSeparatedRecords)
{
    d.write(u"【SONG】.ini"_s, task(1, u"每日"_s) + task(2, u"关闭"_s, u"每天"_s, u"关"_s)
                                 + task(3, u"一三"_s, u"每一三"_s) + task(4, u"周末"_s, u"每六日"_s)
                                 + task(5, u"指定"_s, u"指定 2026/11/23"_s)
                                 + task(6, u"前缀"_s, u"指定 2026/11/2"_s));
    store.load(kMonday);
    EXPECT_EQ(store.rows().size(), 6);
    EXPECT_EQ(store.todayRecords(),
              (QStringList{u"1<分>每日<分>9:00:00<分>9:30:00<分>50000<分>每天<分>循环<分>开"_s,
                           u"3<分>一三<分>9:00:00<分>9:30:00<分>50000<分>每一三<分>循环<分>开"_s,
                           u"5<分>指定<分>9:00:00<分>9:30:00<分>50000<分>指定 2026/11/23<分>循环<分>开"_s,
                           QString()}));
    EXPECT_EQ(store.today().at(1).start, 9 * 3600);
    EXPECT_EQ(store.today().at(1).end, 9 * 3600 + 30 * 60);

    store.load(kMonday.addDays(1)); // Tuesday
    EXPECT_EQ(store.today().size(), 1);
    store.load(kMonday.addDays(2)); // Wednesday
    EXPECT_EQ(store.today().size(), 2);
    // "2026/11/2" is not a part of "2026/11/23" the other way round either.
    store.load(QDate(2026, 11, 2));
    EXPECT_EQ(store.today().last().name(), u"前缀");

    // Working hours keep tasks that start or end outside them off the list.
    d.write(u"【SONG】.ini"_s, task(1, u"早"_s, u"每天"_s, u"开"_s, u"7:00:00"_s, u"7:30:00"_s)
                                 + task(2, u"中"_s, u"每天"_s, u"开"_s, u"8:00:00"_s, u"18:00:00"_s)
                                 + task(3, u"晚"_s, u"每天"_s, u"开"_s, u"17:00:00"_s, u"18:00:01"_s));
    settings.setSwitch(tav::Switch::WorkingHours, true);
    settings.setText(tav::Setting::WorkStart, u"8:00:00"_s);
    settings.setText(tav::Setting::WorkEnd, u"18:00:00"_s);
    store.load(kMonday);
    ASSERT_EQ(store.today().size(), 1);
    EXPECT_EQ(store.today().at(0).name(), u"中");
}

TEST_F(TaskStoreTest, DeleteRulesAndListFile)
{
    tav::test::ScriptedPrompt prompt;
    d.write(u"【SONG】.ini"_s, task(1, u"唯一"_s));
    store.load(kMonday);
    EXPECT_EQ(store.deleteTask(0, prompt, kMonday), TaskStore::DeleteResult::KeepOne);
    EXPECT_EQ(prompt.shown, QStringList{u"提示|至少应保留一条任务"_s});

    d.write(u"【SONG】.ini"_s, task(1, u"早操"_s) + task(2, u"午休"_s) + task(3, u"放学"_s));
    d.write(u"午休.ini"_s, u"[多媒体文件数量]\n数量=1\n[歌曲]\n歌曲名称0=/m/a.mp3\n"_s);
    store.load(kMonday);
    prompt.answers = {false};
    EXPECT_EQ(store.deleteTask(1, prompt, kMonday), TaskStore::DeleteResult::Declined);
    EXPECT_EQ(prompt.shown.last(), u"提示|确定要删除“午休”这个任务吗？");
    EXPECT_EQ(store.rows().size(), 3);

    prompt.answers = {true};
    EXPECT_EQ(store.deleteTask(1, prompt, kMonday), TaskStore::DeleteResult::Deleted);
    EXPECT_EQ(names(), (QStringList{u"早操"_s, u"放学"_s}));
    EXPECT_FALSE(QFile::exists(dir.taskListFile(u"午休"_s)));
    EXPECT_EQ(tav::IniFile(dir.song()).read()->sectionNames(),
              (QStringList{u"FileInfo1"_s, u"FileInfo2"_s}));
}

TEST_F(TaskStoreTest, DefaultRecordAndListReaders)
{
    store.load(kMonday);
    EXPECT_TRUE(store.rows().isEmpty());
    ASSERT_TRUE(store.writeDefaultRecord());
    store.load(kMonday);
    ASSERT_EQ(store.rows().size(), 1);
    EXPECT_EQ(tav::IniFile(dir.taskListFile(u"服务厅大屏视频演示"_s)).value(u"多媒体文件数量"_s, u"数量"_s),
              u"0"); // a list file, empty, so the start can say what is missing
    EXPECT_EQ(store.rows().at(0).columns(),
              (QStringList{u"服务厅大屏视频演示"_s, u"9:00:00"_s, u"17:30:00"_s, u"50000"_s,
                           u"每天"_s, u"循环"_s, u"开"_s}));

    d.write(u"服务厅大屏视频演示.ini"_s,
            u"[多媒体文件数量]\n数量=3\n图片总数量=2\n[歌曲]\n歌曲名称0=/m/一.mp4\n"
            "歌曲名称1=http://s/live\n歌曲名称2=/m/三.wav\n歌曲名称3=/m/extra.wav\n"
            "[图片]\n图片路径0=/p/a.jpg\n图片路径1=/p/b.jpg\n[图片播放模式]\n模式=1\n[时间]\n图片切换时间=\n"_s);
    EXPECT_EQ(store.readMediaList(u" 服务厅大屏视频演示 "_s),
              (QStringList{u"/m/一.mp4"_s, u"http://s/live"_s, u"/m/三.wav"_s}));
    EXPECT_EQ(store.readPictureList(u"服务厅大屏视频演示"_s).paths, (QStringList{u"/p/a.jpg"_s, u"/p/b.jpg"_s}));
    // A hostile count does not spin.
    d.write(u"x.ini"_s, u"[多媒体文件数量]\n数量=2000000000\n"_s);
    EXPECT_TRUE(store.readMediaList(u"x"_s).isEmpty());
}

TEST_F(TaskStoreTest, MovingATaskRewritesTheFileInTheNewOrder)
{
    d.write(u"【SONG】.ini"_s, task(1, u"早操"_s) + task(2, u"午休"_s, u"每一二"_s) + task(3, u"晚会"_s));
    store.load(kMonday);
    EXPECT_FALSE(store.moveTask(0, -1, kMonday));
    EXPECT_FALSE(store.moveTask(2, 1, kMonday));
    ASSERT_TRUE(store.moveTask(2, -1, kMonday));
    EXPECT_EQ(names(), (QStringList{u"早操"_s, u"晚会"_s, u"午休"_s}));
    const auto doc = tav::IniFile(dir.song()).read();
    EXPECT_EQ(doc->value(u"FileInfo2"_s, u"Name"_s), u"晚会");
    EXPECT_EQ(doc->value(u"FileInfo3"_s, u"Device"_s), u"每一二");
    // Today's list follows the new order (the later of two same-second tasks wins).
    ASSERT_EQ(store.today().size(), 3);
    EXPECT_EQ(store.today().at(1).name(), u"晚会");
    ASSERT_TRUE(store.moveTask(0, 1, kMonday));
    EXPECT_EQ(names(), (QStringList{u"晚会"_s, u"早操"_s, u"午休"_s}));
}

TEST_F(TaskStoreTest, GarbageTaskFileLoadsNothingAndIsLeftAlone)
{
    QByteArray garbage("\x81\xff[FileInfo\x00\x01=\r\n\xfe", 14);
    for (int i = 0; i < 5000; ++i)
        garbage.append(char(i * 131 % 256));
    d.writeBytes(u"【SONG】.ini"_s, garbage);
    store.load(kMonday);
    EXPECT_TRUE(store.rows().isEmpty());
    EXPECT_EQ(d.bytes(u"【SONG】.ini"_s), garbage);
}
