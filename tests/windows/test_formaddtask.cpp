#include "core/settings.h"
#include "widgets.h"
#include "scheduler/formaddtask.h"

#include <QDir>
#include <QFile>
#include <QListWidget>
#include <QSignalSpy>

static const QString kSong = u"【SONG】.ini"_s;

class FormAddTaskTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    tav::test::ScriptedPrompt prompt;
    tav::test::FakeClock clock{tav::test::at("2026-11-23 10:15:30")};
    tav::FormAddTask form{dir, prompt, clock};
    QSignalSpy saved{&form, &tav::FormAddTask::saved};
    QStringList chosen; // what the file chooser hands back next
    tav::Settings settings{dir};
    tav::TaskStore store{dir, settings};

    void SetUp() override { form.setFileChooser([this](const QString &, const QString &) { return chosen; }); }
    template<typename W = QAbstractButton>
    W *get(const QString &name)
    {
        W *w = form.findChild<W *>(name);
        EXPECT_NE(w, nullptr) << qPrintable(name);
        return w;
    }
    void click(const QString &name) { QTest::mouseClick(get(name), Qt::LeftButton); }
    void type(const QString &name, const QString &text) { get<QLineEdit>(name)->setText(text); }
    // A row of the task list as the main window loads it.
    tav::TaskRecord loadedRow(int row) { return store.load(clock.now().date()), store.rows().value(row); }
};

TEST_F(FormAddTaskTest, NewTaskRefusesBadInputThenWritesTheTaskAndItsList)
{
    d.write(kSong, u"[FileInfo1]\nName=早操\nTime=9:00:00\nDuration=9:30:00\nType=50000\nDevice=每天\n"_s);
    const QByteArray before = d.bytes(kSong);
    form.openNew();
    type(u"TxtTaskName"_s, u"午间*音乐"_s);
    type(u"txtVolume"_s, u"70000"_s);
    click(u"CmdOK"_s);
    EXPECT_EQ(get<QLineEdit>(u"txtVolume"_s)->text(), u"50000");
    click(u"CmdOK"_s);
    EXPECT_EQ(prompt.shown, (QStringList{u"提示|音量设置不正确！"_s,
                                         u"提示|任务名称不允许输入半角特殊字符包括  \" \\ / : * ? < > |"_s}));
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(saved.count(), 0);
    EXPECT_EQ(d.bytes(kSong), before);
    EXPECT_EQ(QDir(d.path()).entryList(QDir::Files), QStringList{kSong});

    prompt.shown.clear();
    type(u"TxtTaskName"_s, u"午间音乐"_s);
    get<QTimeEdit>(u"DTPaddStarTime"_s)->setTime(QTime(12, 0, 0));
    get<QTimeEdit>(u"DTPaddEndTime"_s)->setTime(QTime(12, 45, 0));
    for (const QString &name : {u"OptWeek"_s, u"ChkMondas"_s, u"ChkFriday"_s, u"OptAddPlayMode1"_s, u"OptPicModeTwo"_s})
        click(name);
    get<QComboBox>(u"cboNoteValue"_s)->setCurrentText(u"关"_s);
    chosen = {u"/m/a.mp3"_s, u"/m/b.mp4"_s};
    click(u"CmdAddOK"_s);
    chosen = {u"/m/c.wav"_s, u"/m/a.mp3"_s}; // a.mp3 is in the list already
    click(u"CmdAddOK"_s);
    EXPECT_EQ(prompt.shown, QStringList{u"提示|文件有重复，无法添加！"_s});
    type(u"TextUrlAdd"_s, u"http://radio/live"_s);
    click(u"Command6"_s);
    get<QListWidget>(u"ListPlayAdd"_s)->setCurrentRow(3);
    click(u"cmdMuiscMoveTop"_s);
    chosen = {u"/p/1.jpg"_s, u"/p/2.bmp"_s};
    click(u"cmdOnePicAdd"_s);

    click(u"CmdOK"_s);
    EXPECT_EQ(saved.count(), 1);
    EXPECT_FALSE(form.isVisible());
    EXPECT_EQ(loadedRow(1).columns(), (QStringList{u"午间音乐"_s, u"12:00:00"_s, u"12:45:00"_s, u"50000"_s,
                                                   u"每周一五"_s, u"循环"_s, u"关"_s}));
    EXPECT_EQ(store.readMediaList(u"午间音乐"_s),
              (QStringList{u"http://radio/live"_s, u"/m/a.mp3"_s, u"/m/b.mp4"_s, u"/m/c.wav"_s}));
    EXPECT_EQ(store.readPictureList(u"午间音乐"_s).paths, (QStringList{u"/p/1.jpg"_s, u"/p/2.bmp"_s}));
    EXPECT_EQ(store.readPictureList(u"午间音乐"_s).mode, u"0");
}

TEST_F(FormAddTaskTest, ModifyFillsTheControlsAndARenameMovesTheList)
{
    d.write(kSong, u"[FileInfo1]\nName=早操\nTime=7:30:00\nDuration=7:50:00\nType=30000\nDevice=每周二四\n"
                   "Recurrence=随机\nRemind=开\n[FileInfo2]\nName=午休\nTime=12:00:00\nDuration=13:00:00\n"_s);
    d.write(u"早操.ini"_s, u"[多媒体文件数量]\n数量=2\n[歌曲]\n歌曲名称0=/m/x.mp3\n歌曲名称1=/m/y.mp3\n"_s);
    form.openModify(loadedRow(0)); // what is not retyped is written back as it was read
    type(u"TxtTaskName"_s, u"课间操"_s);
    click(u"cmd_ModiOK"_s);
    EXPECT_EQ(saved.count(), 1);
    EXPECT_FALSE(QFile::exists(dir.taskListFile(u"早操"_s)));
    EXPECT_EQ(loadedRow(0).columns(), (QStringList{u"课间操"_s, u"7:30:00"_s, u"7:50:00"_s, u"30000"_s,
                                                   u"每周二四"_s, u"随机"_s, u"开"_s}));
    EXPECT_EQ(loadedRow(1).name, u"午休");
    EXPECT_EQ(store.readMediaList(u"课间操"_s), (QStringList{u"/m/x.mp3"_s, u"/m/y.mp3"_s}));

    form.openNew(); // nothing of the modified task is carried into a new one
    EXPECT_EQ(get<QListWidget>(u"ListPlayAdd"_s)->count(), 0);
}
