#include "core/settings.h"
#include "fakes/fakes.h"
#include "scheduler/formaddtask.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimeEdit>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

class FormAddTaskTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    tav::test::ScriptedPrompt prompt;
    tav::test::FakeClock clock{tav::test::at("2026-11-23 10:15:30")};
    tav::FormAddTask form{dir, prompt, clock};
    QSignalSpy saved{&form, &tav::FormAddTask::saved};
    QStringList chosen;       // what the file chooser hands back next
    QStringList chooserCalls; // "title|filter" of each call

    void SetUp() override
    {
        form.setFileChooser([this](const QString &title, const QString &filter) {
            chooserCalls.append(title + u'|' + filter);
            return chosen;
        });
    }
    template<typename W = QAbstractButton>
    W *get(const QString &name)
    {
        W *w = form.findChild<W *>(name);
        EXPECT_NE(w, nullptr) << name.toStdString();
        return w;
    }
    void click(const QString &name) { QTest::mouseClick(get(name), Qt::LeftButton); }
    // As an input method types (key clicks are ASCII only).
    void type(const QString &name, const QString &text)
    {
        get<QLineEdit>(name)->selectAll();
        get<QLineEdit>(name)->insert(text);
    }
    tav::TaskRecord loadedRow(int row)
    {
        tav::Settings settings(dir);
        tav::TaskStore store(dir, settings);
        store.load(clock.now().date());
        return store.rows().at(row);
    }
    tav::TaskEditor::Lists lists(const QString &name) { return tav::TaskEditor(dir, prompt).readLists(name); }
};

TEST_F(FormAddTaskTest, NewTaskWindowLoadAndDateRuleOptions)
{
    form.openNew();
    EXPECT_EQ(form.windowTitle(), u" 新增定时播放任务");
    EXPECT_EQ(get<QDateEdit>(u"DTP_add_Date_one"_s)->date(), QDate(2026, 11, 23));
    EXPECT_EQ(get<QTimeEdit>(u"DTPaddStarTime"_s)->time(), QTime(10, 15, 30));
    EXPECT_TRUE(get(u"OptAddPlayMode0"_s)->isChecked());
    EXPECT_TRUE(get(u"OptPicModeOne"_s)->isChecked());
    EXPECT_FALSE(get(u"cmd_ModiOK"_s)->isVisible());

    auto *date = get<QDateEdit>(u"DTP_add_Date_one"_s);
    EXPECT_FALSE(get(u"ChkMondas"_s)->isEnabled());
    EXPECT_FALSE(date->isEnabled());
    click(u"OptWeek"_s);
    EXPECT_TRUE(get(u"ChkSunday"_s)->isEnabled());
    EXPECT_FALSE(date->isEnabled());
    click(u"OptDayLight"_s);
    EXPECT_FALSE(get(u"ChkMondas"_s)->isEnabled());
    EXPECT_TRUE(date->isEnabled());

    click(u"tayontop"_s);
    EXPECT_TRUE(form.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(form.isVisible());
    click(u"cmdCancel"_s);
    EXPECT_FALSE(form.isVisible());
    EXPECT_TRUE(QDir(d.path()).entryList(QDir::Files).isEmpty());
}

TEST_F(FormAddTaskTest, NewTaskFlowRefusesBadInputThenWritesTheTaskAndItsList)
{
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\nTime=9:00:00\nDuration=9:30:00\nType=50000\n"
                               "Device=每天\nRecurrence=循环\nRemind=开\n"_s);
    const QByteArray before = d.bytes(u"【SONG】.ini"_s);
    form.openNew();
    type(u"TxtTaskName"_s, u"午间*音乐"_s);
    type(u"txtVolume"_s, u"70000"_s);
    click(u"CmdOK"_s);
    EXPECT_EQ(prompt.shown, QStringList{u"提示|音量设置不正确！"_s});
    EXPECT_EQ(get<QLineEdit>(u"txtVolume"_s)->text(), u"50000");
    click(u"CmdOK"_s);
    EXPECT_TRUE(prompt.shown.last().startsWith(u"提示|任务名称不允许输入半角特殊字符包括"));
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(saved.count(), 0);
    EXPECT_EQ(d.bytes(u"【SONG】.ini"_s), before);

    type(u"TxtTaskName"_s, u"午间音乐"_s);
    get<QTimeEdit>(u"DTPaddStarTime"_s)->setTime(QTime(12, 0, 0));
    get<QTimeEdit>(u"DTPaddEndTime"_s)->setTime(QTime(12, 45, 0));
    click(u"OptWeek"_s);
    click(u"ChkMondas"_s);
    click(u"ChkFriday"_s);
    click(u"OptAddPlayMode1"_s);
    get<QComboBox>(u"cboNoteValue"_s)->setCurrentText(u"关"_s);

    prompt.shown.clear();
    chosen = {u"/m/a.mp3"_s, u"/m/b.mp4"_s};
    click(u"CmdAddOK"_s);
    chosen = {u"/m/c.wav"_s, u"/m/a.mp3"_s};
    click(u"CmdAddOK"_s);
    EXPECT_EQ(prompt.shown, QStringList{u"提示|文件有重复，无法添加！"_s});
    EXPECT_TRUE(chooserCalls.at(0).startsWith(u"打开多个文件|All Files (*.*) (*.*);;"));
    click(u"Command6"_s);
    EXPECT_EQ(prompt.shown.last(), u"提示|内容不能为空");
    type(u"TextUrlAdd"_s, u"http://radio/live"_s);
    click(u"Command6"_s);
    EXPECT_TRUE(get<QLineEdit>(u"TextUrlAdd"_s)->text().isEmpty());
    auto *media = get<QListWidget>(u"ListPlayAdd"_s);
    media->setCurrentRow(3);
    click(u"cmdMuiscMoveTop"_s);
    click(u"cmdUp"_s); // already at the top
    click(u"cmdDown"_s);
    media->setCurrentRow(3);
    click(u"CmdDele"_s);

    chosen = {u"/p/1.jpg"_s, u"/p/2.bmp"_s};
    click(u"cmdOnePicAdd"_s);
    EXPECT_EQ(chooserCalls.last(), u"打开多个文件|(*.bmp;*.jpg) (*.bmp *.jpg)");
    get<QListWidget>(u"ListPicAdd"_s)->setCurrentRow(1);
    click(u"cmdPicMoveTop"_s);
    click(u"OptPicModeTwo"_s);
    get<QComboBox>(u"cboTimeOne"_s)->setCurrentText(u"10"_s);

    click(u"CmdOK"_s);
    EXPECT_EQ(saved.count(), 1);
    EXPECT_FALSE(form.isVisible());
    EXPECT_EQ(loadedRow(1).columns(), (QStringList{u"午间音乐"_s, u"12:00:00"_s, u"12:45:00"_s, u"50000"_s,
                                                   u"每周一五"_s, u"循环"_s, u"关"_s}));
    EXPECT_EQ(loadedRow(1).section, 2);
    const auto written = lists(u"午间音乐"_s);
    EXPECT_EQ(written.media, (QStringList{u"/m/a.mp3"_s, u"http://radio/live"_s, u"/m/b.mp4"_s}));
    EXPECT_EQ(written.pictures.paths, (QStringList{u"/p/2.bmp"_s, u"/p/1.jpg"_s}));
    EXPECT_EQ(written.pictures.mode, u"0");
    EXPECT_EQ(written.pictures.intervalSeconds, 10);
}

TEST_F(FormAddTaskTest, ModifyFillsTheControlsAndARenameMovesTheList)
{
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\nTime=7:30:00\nDuration=7:50:00\nType=30000\n"
                               "Device=每周二四\nRecurrence=随机\nRemind=开\n"
                               "[FileInfo2]\nName=午休\nTime=12:00:00\nDuration=13:00:00\nType=50000\n"
                               "Device=每天\nRecurrence=顺序\nRemind=关\n"_s);
    d.write(u"早操.ini"_s, u"[多媒体文件数量]\n数量=2\n[歌曲]\n歌曲名称0=/m/x.mp3\n歌曲名称1=/m/y.mp3\n"
                          "[时间]\n图片切换时间=7\n"_s);
    form.openModify(loadedRow(0));
    EXPECT_EQ(form.windowTitle(), u" 修改定时播放任务");
    EXPECT_EQ(get<QLineEdit>(u"txtNameTempSong"_s)->text(), u"早操");
    EXPECT_EQ(get<QTimeEdit>(u"DTPaddStarTime"_s)->time(), QTime(7, 30));
    EXPECT_TRUE(get(u"ChkTuesday"_s)->isChecked());
    EXPECT_FALSE(get(u"ChkWednesday"_s)->isChecked());
    EXPECT_EQ(get<QListWidget>(u"ListPlayAdd"_s)->count(), 2);
    EXPECT_EQ(get<QComboBox>(u"cboTimeOne"_s)->currentText(), u"7");
    EXPECT_FALSE(get(u"CmdOK"_s)->isEnabled());

    const QByteArray before = d.bytes(u"【SONG】.ini"_s);
    type(u"TxtTaskName"_s, u"午休"_s);
    click(u"cmd_ModiOK"_s);
    EXPECT_EQ(prompt.shown, QStringList{u"提示|该名称已存在，请查看音乐列表和语音列表的内容！"_s});
    EXPECT_EQ(d.bytes(u"【SONG】.ini"_s), before);

    type(u"TxtTaskName"_s, u"课间操"_s);
    click(u"cmd_ModiOK"_s);
    EXPECT_EQ(saved.count(), 1);
    EXPECT_FALSE(form.isVisible());
    EXPECT_FALSE(QFile::exists(dir.taskListFile(u"早操"_s)));
    EXPECT_EQ(loadedRow(0).columns(), (QStringList{u"课间操"_s, u"7:30:00"_s, u"7:50:00"_s, u"30000"_s,
                                                   u"每周二四"_s, u"随机"_s, u"开"_s}));
    EXPECT_EQ(loadedRow(1).name, u"午休");
    EXPECT_EQ(lists(u"课间操"_s).media, (QStringList{u"/m/x.mp3"_s, u"/m/y.mp3"_s}));

    form.openNew(); // nothing of the modified task is left
    EXPECT_TRUE(get<QLineEdit>(u"txtNameTempSong"_s)->text().isEmpty());
    EXPECT_EQ(get<QListWidget>(u"ListPlayAdd"_s)->count(), 0);
}
