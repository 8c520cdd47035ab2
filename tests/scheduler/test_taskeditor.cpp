#include "core/ini.h"
#include "fakes/fakes.h"
#include "scheduler/taskeditor.h"
#include "scheduler/taskstore.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::DateRule;
using tav::TaskStore;

namespace {

const QString kSong = u"【SONG】.ini"_s;
const QDate kMonday(2026, 11, 23);

QString song(int n, const QString &name)
{
    return u"[FileInfo%1]\nName=%2\nTime=9:00:00\nDuration=9:30:00\nType=50000\nDevice=每天\n"
           "Recurrence=循环\nRemind=开\n"_s.arg(n).arg(name);
}

tav::TaskDraft draft(const QString &name, const QString &previous = QString())
{
    tav::TaskDraft d;
    d.name = name;
    d.previousName = previous;
    d.start = u"8:05:00"_s;
    d.end = u"8:45:30"_s;
    d.volume = u"40000"_s;
    d.mode = u"随机"_s;
    d.remind = u"开"_s;
    d.pictureInterval = u"5"_s;
    return d;
}

DateRule weekly(std::initializer_list<int> days)
{
    DateRule r;
    r.kind = DateRule::Kind::Weekly;
    for (int day : days)
        r.weekdays[day] = true;
    return r;
}

} // namespace

class TaskEditorTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    tav::test::ScriptedPrompt prompt;
    tav::TaskEditor editor{dir, prompt};

    QStringList checkShows(tav::TaskDraft t)
    {
        prompt.shown.clear();
        editor.check(t);
        return prompt.shown;
    }
    QString listOf(const QString &name) const { return d.text(name + u".ini"); }
};

TEST_F(TaskEditorTest, NameValidation)
{
    const QString message = u"提示|任务名称不允许输入半角特殊字符包括  \" \\ / : * ? < > |"_s;
    for (const QString &c : {u"\""_s, u"\\"_s, u"/"_s, u":"_s, u"*"_s, u"?"_s, u"<"_s, u">"_s}) {
        prompt.shown.clear();
        EXPECT_FALSE(tav::checkTaskName(u"早" + c + u"操", prompt)) << c.toStdString();
        EXPECT_EQ(prompt.shown, QStringList{message});
    }
    // The bar is named in the message but passes; 100 GBK bytes do not.
    prompt.shown.clear();
    EXPECT_TRUE(tav::checkTaskName(u"早操|午休"_s, prompt));
    EXPECT_TRUE(tav::checkTaskName(QString(49, u'播') + u'a', prompt));
    EXPECT_TRUE(prompt.shown.isEmpty());
    EXPECT_FALSE(tav::checkTaskName(QString(50, u'播'), prompt));
    EXPECT_EQ(prompt.shown, QStringList{u"提示|任务名称不许超出100个半角字符"_s});
}

TEST_F(TaskEditorTest, ChecksRunInOrderAndStopAtTheFirstFailure)
{
    d.write(kSong, song(1, u"早操"_s));
    tav::TaskDraft t = draft(u"  "_s);
    t.volume = u"0"_s;
    EXPECT_EQ(checkShows(t), QStringList{u"提示|音量设置不正确！"_s});
    t.volume = u"65535"_s;
    EXPECT_EQ(checkShows(t), QStringList{u"提示|任务名称不能为空"_s});
    t.name = u"早:操"_s;
    ASSERT_EQ(checkShows(t).size(), 1);
    EXPECT_TRUE(prompt.shown.at(0).startsWith(u"提示|任务名称不允许输入"));
    t.name = u"早操"_s;
    EXPECT_EQ(checkShows(t), QStringList{u"提示|该名称已存在，请查看音乐列表和语音列表的内容！"_s});
    t.name = u" 午休 "_s;
    EXPECT_TRUE(editor.check(t));
    EXPECT_EQ(t.name, u"午休");
    EXPECT_EQ(QDir(d.path()).entryList(QDir::Files), QStringList{kSong}); // checks write nothing
}

TEST_F(TaskEditorTest, VolumeOutOfRangeIsRefusedAndReset)
{
    for (const QString &volume : {u"0"_s, u"65536"_s, QString(), u"abc"_s, u"-5"_s, u"1"_s, u"65535"_s}) {
        tav::TaskDraft t = draft(u"任务"_s);
        t.volume = volume;
        const bool good = volume == u"1" || volume == u"65535";
        EXPECT_EQ(editor.check(t), good) << volume.toStdString();
        EXPECT_EQ(t.volume, good ? volume : u"50000"_s);
    }
    EXPECT_EQ(prompt.shown, QStringList(5, u"提示|音量设置不正确！"_s));
}

TEST_F(TaskEditorTest, DuplicateNamesAcrossTasksAndBroadcastsIgnoreCase)
{
    d.write(kSong, song(1, u"Morning"_s) + song(2, u"Evening"_s) + u"[Other]\nName=Loose\n"_s);
    d.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=Bell\n[TTS2]\nTTS_Name=上课铃\n"_s);
    EXPECT_FALSE(editor.chkSameNameSong(u"MORNING"_s, QString()));
    EXPECT_FALSE(editor.chkSameNameSong(u"evening"_s, QString()));
    EXPECT_FALSE(editor.chkSameNameSong(u"bELL"_s, QString()));
    EXPECT_FALSE(editor.chkSameNameSong(u"上课铃"_s, QString()));
    EXPECT_TRUE(editor.chkSameNameSong(u"Loose"_s, QString())); // not a task section
    // A modified task keeps its own name in any case, but takes no other.
    EXPECT_TRUE(editor.chkSameNameSong(u"morning"_s, u"Morning"_s));
    EXPECT_FALSE(editor.chkSameNameSong(u"Evening"_s, u"Morning"_s));
    EXPECT_FALSE(editor.chkSameNameSong(u"Bell"_s, u"Bell"_s));
}

TEST_F(TaskEditorTest, DateRuleTextsAreReadBackByTheTaskList)
{
    const QString mwf = tav::DateSelect(weekly({0, 2, 4}));
    EXPECT_EQ(mwf, u"每周一三五");
    EXPECT_EQ(tav::DateSelect(weekly({5, 6})), u"每周六日");
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(TaskStore::playsOn(mwf, kMonday.addDays(i)), i == 0 || i == 2 || i == 4) << i;
    EXPECT_EQ(tav::parseDateRule(mwf).weekdays, weekly({0, 2, 4}).weekdays);

    DateRule one;
    one.kind = DateRule::Kind::OneDate;
    one.date = QDate(2026, 11, 2);
    EXPECT_EQ(tav::DateSelect(one), u"指定 2026/11/2");
    EXPECT_TRUE(TaskStore::playsOn(tav::DateSelect(one), QDate(2026, 11, 2)));
    EXPECT_FALSE(TaskStore::playsOn(tav::DateSelect(one), QDate(2026, 11, 22)));
    EXPECT_EQ(tav::parseDateRule(u"指定2026/11/2"_s).date, one.date);

    EXPECT_EQ(tav::DateSelect(DateRule{}), u"每天");
    EXPECT_EQ(tav::parseDateRule(u"每天"_s).kind, DateRule::Kind::EveryDay);
    // Hand-written texts keep the days they play on.
    EXPECT_EQ(tav::parseDateRule(u"2026/11/2"_s).date, one.date);
    EXPECT_EQ(tav::DateSelect(tav::parseDateRule(u"一三"_s)), u"每周一三");
}

TEST_F(TaskEditorTest, SavingANewTaskWritesTheRecordAndTheListFile)
{
    d.write(kSong, song(1, u"早操"_s));
    tav::TaskDraft t = draft(u"午休"_s);
    t.days = weekly({0, 2});
    t.media = {u"/m/一.mp3"_s, u"http://radio/live"_s};
    t.pictures = {u"/p/a.jpg"_s};
    t.pictureModeOne = false;
    ASSERT_TRUE(editor.check(t));
    EXPECT_TRUE(editor.save(t, editor.newTaskNumber(), false));
    EXPECT_TRUE(prompt.shown.isEmpty());
    EXPECT_TRUE(d.text(kSong).endsWith(
        u"[FileInfo2]\r\nName=午休\r\nTime=8:05:00\r\nDuration=8:45:30\r\nType=40000\r\n"
        "Device=每周一三\r\nRecurrence=随机\r\nRemind=开\r\n"_s));
    EXPECT_EQ(listOf(u"午休"_s),
              u"[多媒体文件数量]\r\n数量=2\r\n图片总数量=1\r\n[歌曲]\r\n歌曲名称0=/m/一.mp3\r\n"
              "歌曲名称1=http://radio/live\r\n[图片]\r\n图片路径0=/p/a.jpg\r\n[图片播放模式]\r\n模式=0\r\n"
              "[时间]\r\n图片切换时间=5\r\n"_s);

    // An empty media list: a count of 0 and no entries.
    t = draft(u"空"_s);
    ASSERT_TRUE(editor.check(t));
    EXPECT_TRUE(editor.save(t, editor.newTaskNumber(), false));
    EXPECT_TRUE(listOf(u"空"_s).startsWith(u"[多媒体文件数量]\r\n数量=0\r\n图片总数量=0\r\n[图片播放模式]"));
}

TEST_F(TaskEditorTest, ModifyingWithARenameMovesTheListFile)
{
    d.write(kSong, song(1, u"早操"_s) + song(2, u"午休"_s));
    d.write(u"早操.ini"_s, u"[多媒体文件数量]\n数量=1\n[歌曲]\n歌曲名称0=/m/old.mp3\n"_s);
    tav::TaskDraft t = draft(u"课间操"_s, u"早操"_s);
    t.media = editor.readLists(u"早操"_s).media;
    ASSERT_TRUE(editor.check(t));
    EXPECT_TRUE(editor.save(t, 1, true));
    EXPECT_FALSE(QFile::exists(dir.taskListFile(u"早操"_s)));
    EXPECT_EQ(editor.readLists(u"课间操"_s).media, QStringList{u"/m/old.mp3"_s});
    const auto doc = tav::IniFile(dir.song()).read();
    EXPECT_EQ(doc->value(u"FileInfo1"_s, u"Name"_s), u"课间操");
    EXPECT_EQ(doc->value(u"FileInfo2"_s, u"Name"_s), u"午休");

    // Keeping the name keeps the file, with the new list.
    t.previousName = t.name;
    t.media.append(u"/m/new.mp3"_s);
    EXPECT_TRUE(editor.save(t, 1, true));
    EXPECT_EQ(editor.readLists(u"课间操"_s).media.size(), 2);
}

TEST_F(TaskEditorTest, FailedTaskFileWriteIsReportedAndKeepsTheOldListFile)
{
    ASSERT_TRUE(QDir(d.path()).mkdir(kSong)); // exists but cannot be read: never replaced
    d.write(u"早操.ini"_s, u"[多媒体文件数量]\n数量=1\n[歌曲]\n歌曲名称0=/m/old.mp3\n"_s);
    EXPECT_FALSE(editor.save(draft(u"课间操"_s, u"早操"_s), 1, true));
    EXPECT_EQ(prompt.shown, QStringList{u"提示|写文件时出错"_s});
    EXPECT_TRUE(QFile::exists(dir.taskListFile(u"早操"_s)));
    EXPECT_TRUE(QFile::exists(dir.taskListFile(u"课间操"_s)));
}

TEST_F(TaskEditorTest, NewTaskNumberNeverReusesASection)
{
    EXPECT_EQ(editor.newTaskNumber(), 1);
    d.write(kSong, song(1, u"a"_s) + song(2, u"b"_s) + song(3, u"c"_s));
    EXPECT_EQ(editor.newTaskNumber(), 4);
    d.write(kSong, song(2, u"b"_s) + song(3, u"c"_s) + song(4, u"d"_s));
    EXPECT_EQ(editor.newTaskNumber(), 5);
    editor.save(draft(u"e"_s), editor.newTaskNumber(), false);
    EXPECT_EQ(tav::IniFile(dir.song()).read()->value(u"FileInfo4"_s, u"Name"_s), u"d");
}

TEST_F(TaskEditorTest, OpenDialogFiltersInQtForm)
{
    EXPECT_EQ(tav::qtFileFilter(tav::kPictureFileFilter), u"(*.bmp;*.jpg) (*.bmp *.jpg)");
    const QStringList media = tav::qtFileFilter(tav::kMediaFileFilter).split(u";;"_s);
    ASSERT_EQ(media.size(), 23);
    EXPECT_EQ(media.at(1), u"媒体文件 (所有类型) (*.*)");
    EXPECT_EQ(media.at(6), u"Mp4 Files (*.mp4) (*.mp4)");
    EXPECT_EQ(media.at(19), u"Mid Files (*.mid;*.rmi) (*.mid *.rmi)");
    EXPECT_EQ(media.at(20), u"高清ts格式 Files (*.ts ) (*.ts)");
}
