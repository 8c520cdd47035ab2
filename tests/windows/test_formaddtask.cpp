#include "core/settings.h"
#include "widgets.h"
#include "scheduler/formaddtask.h"

#include <QDir>
#include <QSignalSpy>

static const QString kSong = u"【SONG】.ini"_s;

class FormAddTaskTest : public ::testing::Test, public tav::test::WindowDriver
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
    const QObject *root() const override { return &form; }
    void type(const char *name, const QString &text) { get<QLineEdit>(name)->setText(text); }
    // A row of the task list as the main window loads it.
    tav::TaskRecord loadedRow(int row) { return store.load(clock.now().date()), store.rows().value(row); }
};

// The checks and their order are TaskEditorTest.ChecksRunInOrderAndStopAtTheFirstFailure.
TEST_F(FormAddTaskTest, NewTaskRefusesBadInputThenWritesTheTaskAndItsList)
{
    d.write(kSong, u"[FileInfo1]\nName=早操\nTime=9:00:00\nDuration=9:30:00\nType=50000\nDevice=每天\n"_s);
    const QByteArray before = d.bytes(kSong);
    form.openNew();
    type("TxtTaskName", u"午间音乐"_s);
    type("txtVolume", u"70000"_s);
    click("CmdOK");
    EXPECT_EQ(prompt.shown, QStringList{u"提示|音量设置不正确！"_s});
    EXPECT_EQ(get<QLineEdit>("txtVolume")->text(), u"50000");
    EXPECT_TRUE(form.isVisible());
    EXPECT_EQ(saved.count(), 0);
    EXPECT_EQ(d.bytes(kSong), before);
    EXPECT_EQ(QDir(d.path()).entryList(QDir::Files), QStringList{kSong});

    prompt.shown.clear();
    get<QTimeEdit>("DTPaddStarTime")->setTime(QTime(12, 0, 0));
    get<QTimeEdit>("DTPaddEndTime")->setTime(QTime(12, 45, 0));
    for (const char *name : {"OptWeek", "ChkMondas", "ChkFriday", "OptAddPlayMode1", "OptPicModeTwo"})
        click(name);
    get<QComboBox>("cboNoteValue")->setCurrentText(u"关"_s);
    chosen = {u"/m/a.mp3"_s, u"/m/b.mp4"_s};
    click("CmdAddOK");
    chosen = {u"/m/c.wav"_s, u"/m/a.mp3"_s}; // a.mp3 is in the list already
    click("CmdAddOK");
    EXPECT_EQ(prompt.shown, QStringList{u"提示|文件有重复，无法添加！"_s});
    type("TextUrlAdd", u"http://radio/live"_s);
    click("Command6");
    chosen = {u"/p/1.jpg"_s, u"/p/2.bmp"_s};
    click("cmdOnePicAdd");

    click("CmdOK");
    EXPECT_EQ(saved.count(), 1);
    EXPECT_FALSE(form.isVisible());
    EXPECT_EQ(loadedRow(1).columns(), (QStringList{u"午间音乐"_s, u"12:00:00"_s, u"12:45:00"_s, u"50000"_s,
                                                   u"每周一五"_s, u"循环"_s, u"关"_s}));
    EXPECT_EQ(store.readMediaList(u"午间音乐"_s),
              (QStringList{u"/m/a.mp3"_s, u"/m/b.mp4"_s, u"/m/c.wav"_s, u"http://radio/live"_s}));
    EXPECT_EQ(store.readPictureList(u"午间音乐"_s).paths, (QStringList{u"/p/1.jpg"_s, u"/p/2.bmp"_s}));
    EXPECT_EQ(store.readPictureList(u"午间音乐"_s).mode, u"0");
}

// Moving the list file itself is TaskEditorTest.RenamingMovesTheListFile.
TEST_F(FormAddTaskTest, ModifyFillsTheControlsAndWritesBackWhatIsNotRetyped)
{
    d.write(kSong, u"[FileInfo1]\nName=早操\nTime=7:30:00\nDuration=7:50:00\nType=30000\nDevice=每周二四\n"
                   "Recurrence=随机\nRemind=开\n[FileInfo2]\nName=午休\nTime=12:00:00\nDuration=13:00:00\n"_s);
    d.write(u"早操.ini"_s, u"[多媒体文件数量]\n数量=2\n[歌曲]\n歌曲名称0=/m/x.mp3\n歌曲名称1=/m/y.mp3\n"_s);
    form.openModify(loadedRow(0));
    type("TxtTaskName", u"课间操"_s);
    click("cmd_ModiOK");
    EXPECT_EQ(saved.count(), 1);
    EXPECT_EQ(loadedRow(0).columns(), (QStringList{u"课间操"_s, u"7:30:00"_s, u"7:50:00"_s, u"30000"_s,
                                                   u"每周二四"_s, u"随机"_s, u"开"_s}));
    EXPECT_EQ(loadedRow(1).name, u"午休");
    EXPECT_EQ(store.readMediaList(u"课间操"_s), (QStringList{u"/m/x.mp3"_s, u"/m/y.mp3"_s}));

    form.openNew(); // nothing of the modified task is carried into a new one
    EXPECT_EQ(get<QListWidget>("ListPlayAdd")->count(), 0);
}
