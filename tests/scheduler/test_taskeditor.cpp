#include "core/ini.h"
#include "fakes/fakes.h"
#include "scheduler/taskeditor.h"
#include "scheduler/taskstore.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::DateRule;

namespace {

const QString kSong = u"【SONG】.ini"_s;

QString song(int n, const QString &name)
{
    return u"[FileInfo%1]\nName=%2\nTime=9:00:00\nDuration=9:30:00\nDevice=每天\n"_s.arg(n).arg(name);
}

tav::TaskDraft draft(const QString &name, const QString &previous = QString())
{
    return {.name = name, .previousName = previous, .start = u"8:05:00"_s, .end = u"8:45:30"_s,
            .volume = u"40000"_s, .days = {}, .mode = u"随机"_s, .remind = u"开"_s, .media = {}, .pictures = {},
            .pictureInterval = u"5"_s};
}

} // namespace

class TaskEditorTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    tav::test::ScriptedPrompt prompt;
    tav::TaskEditor editor{dir, prompt};

    // The messages one confirmation shows.
    QStringList checkShows(tav::TaskDraft &t) { return prompt.shown.clear(), editor.check(t), prompt.shown; }
    QString nameIn(int n) const { return tav::IniFile(dir.song()).value(u"FileInfo%1"_s.arg(n), u"Name"_s); }
};

TEST_F(TaskEditorTest, ChecksRunInOrderAndStopAtTheFirstFailure)
{
    d.write(kSong, song(1, u"早操"_s));
    tav::TaskDraft t = draft(u"  "_s);
    for (const QString &bad : {u"0"_s, u"65536"_s, u"abc"_s}) {
        t.volume = bad;
        EXPECT_EQ(checkShows(t), QStringList{u"提示|音量设置不正确！"_s}) << qPrintable(bad);
        EXPECT_EQ(t.volume, u"50000");
    }
    t.volume = u"65535"_s;
    EXPECT_EQ(checkShows(t), QStringList{u"提示|任务名称不能为空"_s});
    for (const QString &c : {u"\""_s, u"\\"_s, u"/"_s, u":"_s, u"*"_s, u"?"_s, u"<"_s, u">"_s}) {
        t.name = u"早" + c + u"操";
        EXPECT_EQ(checkShows(t), QStringList{u"提示|任务名称不允许输入半角特殊字符包括  \" \\ / : * ? < > |"_s})
            << qPrintable(c);
    }
    t.name = u"【PLAYLOG】"_s; // its list would be the program's own file
    EXPECT_EQ(checkShows(t), QStringList{u"提示|“【PLAYLOG】”是程序自用的文件名，任务名称请换一个"_s});
    t.name = QString(50, u'播'); // 100 GBK bytes
    EXPECT_EQ(checkShows(t), QStringList{u"提示|任务名称不许超出100个半角字符"_s});
    t.name = u"早操"_s;
    EXPECT_EQ(checkShows(t), QStringList{u"提示|该名称已存在，请查看音乐列表和语音列表的内容！"_s});
    // The bar is named in the message but passes, and 99 bytes are fine.
    for (const QString &good : {u" 早操|午休 "_s, QString(QString(49, u'播') + u'a')}) {
        t.name = good;
        t.volume = u"1"_s;
        EXPECT_TRUE(checkShows(t).isEmpty()) << qPrintable(good);
        EXPECT_EQ(t.name, good.trimmed());
    }
    EXPECT_EQ(QDir(d.path()).entryList(QDir::Files), QStringList{kSong}); // checks write nothing
}

TEST_F(TaskEditorTest, DuplicateNamesAcrossTasksAndBroadcastsIgnoreCase)
{
    d.write(kSong, song(1, u"Morning"_s) + song(2, u"Evening"_s));
    d.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=Bell\n[TTS2]\nTTS_Name=上课铃\n"_s);
    for (const QString &taken : {u"MORNING"_s, u"evening"_s, u"bELL"_s, u"上课铃"_s})
        EXPECT_FALSE(editor.chkSameNameSong(taken, QString())) << qPrintable(taken);
    EXPECT_TRUE(editor.chkSameNameSong(u"Noon"_s, QString()));
    // A modified task keeps its own name in any case, but takes no other.
    EXPECT_TRUE(editor.chkSameNameSong(u"morning"_s, u"Morning"_s));
    EXPECT_FALSE(editor.chkSameNameSong(u"Evening"_s, u"Morning"_s));
}

TEST_F(TaskEditorTest, DateRulesAreReadBackByTheTaskList)
{
    using K = DateRule::Kind;
    for (const DateRule &rule : {DateRule{}, DateRule{.kind = K::Weekly, .weekdays = {1, 0, 1, 0, 1, 0, 0}, .date = {}},
                                 DateRule{.kind = K::Weekly, .weekdays = {0, 0, 0, 0, 0, 1, 1}, .date = {}},
                                 DateRule{.kind = K::OneDate, .date = QDate(2026, 11, 25)}}) {
        const QString text = tav::DateSelect(rule);
        for (QDate day(2026, 11, 23); day < QDate(2026, 12, 7); day = day.addDays(1)) {
            const bool plays = rule.kind == K::EveryDay || (rule.kind == K::OneDate && day == rule.date)
                || (rule.kind == K::Weekly && rule.weekdays[day.dayOfWeek() - 1]);
            EXPECT_EQ(tav::TaskStore::playsOn(text, day), plays) << qPrintable(text) << ' ' << day.day();
        }
        const DateRule back = tav::parseDateRule(text); // as the window reopens it
        EXPECT_TRUE(back.kind == rule.kind && back.weekdays == rule.weekdays && back.date == rule.date)
            << qPrintable(text);
    }
}

TEST_F(TaskEditorTest, SavingWritesTheRecordAndAListTheSchedulerReads)
{
    d.write(kSong, song(2, u"b"_s) + song(3, u"c"_s) + song(4, u"d"_s));
    tav::TaskDraft t = draft(u"午休"_s);
    t.media = {u"/m/一.mp3"_s, u"http://radio/live"_s};
    t.pictures = {u"/p/a.jpg"_s};
    const int section = editor.newTaskNumber(); // 4 would overwrite "d"
    EXPECT_EQ(section, 5);
    EXPECT_TRUE(editor.save(t, section, false));
    EXPECT_EQ(nameIn(4), u"d");
    EXPECT_EQ(nameIn(5), u"午休");
    EXPECT_EQ(editor.readLists(u"午休"_s).media, t.media);
    EXPECT_EQ(editor.readLists(u"午休"_s).pictures.paths, t.pictures);
    t.previousName = t.name; // modified, keeping its name: the list file stays
    EXPECT_TRUE(editor.save(t, section, true));
    EXPECT_EQ(editor.readLists(u"午休"_s).media, t.media);

    t = draft(u"空"_s); // an empty list still has its count
    EXPECT_TRUE(editor.save(t, editor.newTaskNumber(), false));
    EXPECT_EQ(tav::IniFile(dir.taskListFile(u"空"_s)).value(u"多媒体文件数量"_s, u"数量"_s), u"0");
    EXPECT_TRUE(prompt.shown.isEmpty());
}
