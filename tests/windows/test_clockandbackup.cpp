#include "backup/frmfilebak.h"
#include "fakes/rig.h"
#include "widgets.h"
#include "timesync/localdaytime.h"
#include "timesync/nettime.h"
#include "timesync/timekeeper.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

namespace {

using tav::test::bytesOf;
using tav::test::put;

// The backup window on a station folder, with a backup folder beside it.
class BackupWindowTest : public ::testing::Test, public tav::test::WindowDriver
{
protected:
    QTemporaryDir station, backupDir;
    tav::test::ScriptedPrompt prompt;
    tav::test::FakeClock clock{at("2026-11-24 09:30:00")};
    std::unique_ptr<tav::frmFileBak> window;
    QStringList chosen; // folders the picker will give, in order
    int exits = 0;

    void SetUp() override
    {
        put(station.filePath(u"【SONG】.ini"_s), "[FileInfo1]\r\nName=早操\r\n");
        put(station.filePath(u"早操.ini"_s), "[多媒体文件数量]\r\n数量=0\r\n");
        put(station.filePath(u"字幕/欢迎.txt"_s), "欢迎光临");
        put(station.filePath(u"media/bell.mp3"_s), "not data");
        open();
    }
    void open()
    {
        window = std::make_unique<tav::frmFileBak>(station.path(), prompt, clock);
        window->setFolderChooser([this](const QString &title) {
            EXPECT_EQ(title, u"请选择文件夹"_s);
            return chosen.isEmpty() ? QString() : chosen.takeFirst();
        });
        window->setExit([this] { ++exits; });
    }
    const QObject *root() const override { return window.get(); }
    bool enabled(const char *name) const { return get<QPushButton>(name)->isEnabled(); }
    // Clicks and waits for the work the click started.
    bool clickAndWait(const char *name)
    {
        QSignalSpy done(window.get(), &tav::frmFileBak::workDone);
        get<QPushButton>(name)->click();
        return done.wait(10000);
    }
};

} // namespace

// Every check is FileBackup::check's; the window reaches it before any search or copy.
TEST_F(BackupWindowTest, FoldersAreCheckedBeforeAnySearchOrCopy)
{
    window->openForBackup();
    get<QListWidget>("List1")->addItem(u"上次的结果"_s);
    get<QLineEdit>("Text1")->setText(station.path());
    get<QLineEdit>("Text2")->setText(station.path());
    window->searchAndCompare();
    click("Command4");
    EXPECT_EQ(prompt.shown, QStringList(2, u"警告|来源文件夹和目的文件夹不能相同！"_s));
    EXPECT_FALSE(window->isBusy());
    EXPECT_EQ(tav::test::texts(get<QListWidget>("List1")), QStringList{u"上次的结果"_s}); // the last results stay
}

// What is copied and what not is FileBackupTest.BackupsReplaceWhatChangedWholeAndReportWhatDoesNotFit.
TEST_F(BackupWindowTest, PickedFolderTheComparisonListsTheFilesAndBackupCopies)
{
    chosen = {backupDir.path()};
    window->openForBackup();
    EXPECT_EQ(get<QLineEdit>("Text1")->text(), station.path()); // the data folder by default
    click("Command2");
    EXPECT_EQ(get<QLineEdit>("Text2")->text(), backupDir.path());

    put(backupDir.filePath(u"早操.INI"_s), "[多媒体文件数量]\r\n数量=0\r\n");
    put(backupDir.filePath(u"【SONG】.ini"_s), "older");
    put(backupDir.filePath(u"旧.txt"_s), "x");
    ASSERT_TRUE(clickAndWait("Command3"));
    // The remembered folders are a data file too.
    EXPECT_EQ(tav::test::texts(get<QListWidget>("List3")), (QStringList{u"【FILEBAK】.ini"_s, u"字幕/欢迎.txt"_s}));
    EXPECT_EQ(tav::test::texts(get<QListWidget>("List4")), QStringList{u"旧.txt"_s});
    EXPECT_EQ(tav::test::texts(get<QListWidget>("List5")), QStringList{u"【SONG】.ini"_s});
    EXPECT_EQ(tav::test::texts(get<QListWidget>("List6")), QStringList{u"早操.ini"_s});
    EXPECT_EQ(get<QListWidget>("List1")->count(), 4); // media files are not data

    ASSERT_TRUE(enabled("Command4"));
    ASSERT_TRUE(clickAndWait("Command4"));
    EXPECT_EQ(get<QLabel>("lblStatus")->text(), u"已完成操作！"_s);
    EXPECT_EQ(bytesOf(backupDir.filePath(u"字幕/欢迎.txt"_s)), QByteArray("欢迎光临"));
    EXPECT_EQ(exits, 0);
}

// What is set aside is FileBackupTest.RestoreSetsAsideWhatItReplacesInSubfoldersToo.
TEST_F(BackupWindowTest, RestoreOnlyAsksFirstThenBringsTheFilesBackAndEnds)
{
    put(backupDir.filePath(u"【SONG】.ini"_s), "[FileInfo1]\r\nName=旧任务\r\n");
    get<QLineEdit>("Text2")->setText(backupDir.path());
    window->openForRestore();
    EXPECT_FALSE(enabled("Command4"));
    ASSERT_TRUE(clickAndWait("Command3")); // a comparison in between gives back the opening's direction, not both
    EXPECT_FALSE(enabled("Command4"));
    EXPECT_TRUE(enabled("Command5"));
    const QString aside = station.filePath(u"还原前的文件_20261124_093000"_s);
    prompt.answers = {false};
    click("Command5");
    EXPECT_EQ(prompt.shown, QStringList{u"警告|该操作会删除软件根目录下所有（*.ini）和（*.txt）原文件内容并会退出软件，"
                                        u"需要您手动运行软件才能生效，您真的要执行吗？"_s});
    EXPECT_FALSE(window->isBusy());
    QTest::qWait(50);
    EXPECT_EQ(bytesOf(station.filePath(u"【SONG】.ini"_s)), QByteArray("[FileInfo1]\r\nName=早操\r\n"));
    EXPECT_FALSE(QFile::exists(aside));
    EXPECT_EQ(exits, 0);

    prompt.answers = {true};
    ASSERT_TRUE(clickAndWait("Command5"));
    EXPECT_EQ(exits, 1);
    EXPECT_EQ(bytesOf(station.filePath(u"【SONG】.ini"_s)), QByteArray("[FileInfo1]\r\nName=旧任务\r\n"));
    EXPECT_TRUE(QFile::exists(aside + u"/早操.ini"_s));
    ASSERT_EQ(prompt.shown.size(), 3);
    EXPECT_TRUE(prompt.shown[2].startsWith(u"提示|已完成操作，退出软件！"_s)) << prompt.shown[2].toStdString();
}

namespace {

// The network time window over a keeper that asks local servers.
class NetTimeWindowTest : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    NetTimeWindowTest() : PlaybackRig("2026-11-24 07:14:00") {}
    tav::test::FakeClockSetter setter;
    tav::TimeKeeper keeper{clock, dir, log};

    QString text(const tav::netTime &w, const char *name) const
    {
        const auto *label = tav::test::child<QLabel>(&w, name);
        return label ? label->text() : QString();
    }
    bool finished() { return QTest::qWaitFor([&] { return keeper.current() == nullptr; }, 5000); }
};

} // namespace

// What the keeper does is TimeKeeperTest's; here the window says it and its button tries again.
TEST_F(NetTimeWindowTest, AFailureIsSaidSyncAgainTriesOnceMoreAndASuccessClosesTheWindow)
{
    keeper.setClockSetter(&setter);
    keeper.setServers({tav::test::deadAddress()});
    keeper.start(false);
    tav::netTime window(keeper, clock);
    window.show();
    ASSERT_TRUE(finished());
    EXPECT_TRUE(text(window, "labMsg").endsWith(u"网络校时不成功"_s)) << text(window, "labMsg").toStdString();
    EXPECT_TRUE(setter.set.isEmpty());

    tav::test::LocalDaytime server{{tav::test::nist("26-11-23 23:14:19")}};
    keeper.setServers({server.address()});
    window.findChild<QPushButton *>(u"cmdSyncAgain"_s)->click();
    ASSERT_TRUE(finished());
    EXPECT_EQ(text(window, "labMsg"), u"开始校时...\n网络校时已成功! \n"_s);
    EXPECT_EQ(setter.set.size(), 1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window.isVisible(); }, tav::DaytimeSync::kFinishMs + 2000));
}
