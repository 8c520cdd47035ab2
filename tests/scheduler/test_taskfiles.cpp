// The task file and the list files when the files themselves are hostile or
// broken: names that point out of the folder, bytes that are not GBK, a task
// file that cannot be read.
#include "core/datafaults.h"
#include "core/ini.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "scheduler/taskstore.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::DataFaults;
using tav::TaskStore;

namespace {

const QDate kMonday(2026, 11, 23);

QByteArray taskBytes(int n, const QByteArray &name)
{
    return "[FileInfo" + QByteArray::number(n) + "]\r\nName=" + name
           + "\r\nTime=9:00:00\r\nDuration=9:30:00\r\nType=50000\r\nDevice=" + tav::toGbk(u"每天"_s)
           + "\r\nRecurrence=" + tav::toGbk(u"循环"_s) + "\r\nRemind=" + tav::toGbk(u"开"_s) + "\r\n";
}

QByteArray listBytes(const QString &song)
{
    return tav::toGbk(u"[多媒体文件数量]\r\n数量=1\r\n[歌曲]\r\n歌曲名称0=%1\r\n"_s.arg(song));
}

// The data folder is "data" inside the test's folder, so that a name can
// point at a file beside it.
class TaskFilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        DataFaults::instance().reset();
        QDir(d.path()).mkpath(u"data"_s);
        QDir(d.path()).mkpath(u"outside"_s);
        QDir(d.path()).mkpath(u"data/sub"_s);
    }
    void TearDown() override { DataFaults::instance().reset(); }

    QString song() const { return u"data/【SONG】.ini"_s; }

    tav::test::DataFolder d;
    tav::DataDir dir{d.file(u"data"_s)};
    tav::Settings settings{dir};
    TaskStore store{dir, settings};
    tav::test::ScriptedPrompt prompt;
    QSignalSpy faults{&DataFaults::instance(), &DataFaults::fault};
};

} // namespace

TEST_F(TaskFilesTest, NamesFromTheFileNeverReadOrDeleteOutsideTheFolder)
{
    const QString outside = d.file(u"outside/外部.ini"_s);
    d.writeBytes(u"outside/外部.ini"_s, listBytes(u"/music/secret.mp3"_s));
    d.writeBytes(u"data/sub/子.ini"_s, listBytes(u"/music/sub.mp3"_s));
    d.writeBytes(u"abs.ini"_s, listBytes(u"/music/abs.mp3"_s));
    d.writeBytes(u"data/早操.ini"_s, listBytes(u"/music/morning.mp3"_s));
    d.writeBytes(song(), taskBytes(1, tav::toGbk(u"../outside/外部"_s)) + taskBytes(2, tav::toGbk(u"sub/子"_s))
                             + taskBytes(3, tav::toGbk(d.file(u"abs"_s))) + taskBytes(4, tav::toGbk(u"早操"_s)));
    store.load(kMonday);
    ASSERT_EQ(store.rows().size(), 4); // listed, so the operator sees and can fix them
    EXPECT_GE(faults.size(), 3);
    EXPECT_TRUE(faults.at(0).at(0).toString().contains(u"../outside/外部"));
    for (int row = 0; row < 3; ++row) {
        EXPECT_TRUE(store.readMediaList(store.rows()[row].name).isEmpty()) << row;
        EXPECT_TRUE(store.readPictureList(store.rows()[row].name).paths.isEmpty()) << row;
        EXPECT_EQ(store.listFileOf(store.rows()[row].name), QString());
    }
    EXPECT_EQ(store.readMediaList(u"早操"_s), QStringList{u"/music/morning.mp3"_s});
    // Deleting them takes their sections and no file anywhere.
    prompt.answers = {true, true, true};
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(store.deleteTask(0, prompt, kMonday), TaskStore::DeleteResult::Deleted);
    EXPECT_TRUE(QFileInfo::exists(outside));
    EXPECT_TRUE(QFileInfo::exists(d.file(u"data/sub/子.ini"_s)));
    EXPECT_TRUE(QFileInfo::exists(d.file(u"abs.ini"_s)));
    ASSERT_EQ(store.rows().size(), 1);
    EXPECT_EQ(store.rows()[0].name, u"早操");
}

TEST_F(TaskFilesTest, ARewriteKeepsANameThatIsNotGbkAndItsListFile)
{
    const QByteArray odd = "\xb2\xe2\x81\x20\xca\xd4"; // 测, a cut character, 试
    // Sections 1 and 3: the gap makes the load rewrite the whole file.
    d.writeBytes(song(), taskBytes(1, odd) + taskBytes(3, tav::toGbk(u"早操"_s)));
    store.load(kMonday);
    ASSERT_EQ(store.rows().size(), 2);
    const QString name = store.rows()[0].name;
    const QString listFile = store.listFileOf(name);
    ASSERT_FALSE(listFile.isEmpty());
    d.writeBytes(u"data/"_s + QFileInfo(listFile).fileName(), listBytes(u"/music/a.mp3"_s));
    const QByteArray rewritten = d.bytes(song());
    EXPECT_TRUE(rewritten.contains(QByteArray("[FileInfo2]"))) << "the gap was closed";
    EXPECT_TRUE(rewritten.startsWith(taskBytes(1, odd))) << rewritten.toHex().toStdString();
    // Moved and rewritten again, reloaded: the same name, the same list.
    ASSERT_TRUE(store.moveTask(0, 1, kMonday));
    ASSERT_EQ(store.rows().size(), 2);
    EXPECT_EQ(store.rows()[1].name, name);
    EXPECT_EQ(store.readMediaList(store.rows()[1].name), QStringList{u"/music/a.mp3"_s});
    EXPECT_TRUE(d.bytes(song()).contains(QByteArray("Name=" + odd + "\r\n")));
}

TEST_F(TaskFilesTest, ATaskFileThatCannotBeReadIsToldAndNeverReplaced)
{
    // Root reads any file: a folder stands in the task file's place.
    QDir(d.path()).mkpath(song());
    store.load(kMonday, true);
    EXPECT_TRUE(store.rows().isEmpty());
    EXPECT_FALSE(store.fileReadable());
    ASSERT_EQ(faults.size(), 1);
    EXPECT_TRUE(faults.at(0).at(0).toString().startsWith(u"无法读取数据文件“"_s + dir.song()));
    EXPECT_FALSE(store.writeDefaultRecord());
    EXPECT_FALSE(store.rewrite());
    EXPECT_TRUE(QFileInfo(d.file(song())).isDir());
    EXPECT_FALSE(DataFaults::instance().outstanding().isEmpty());
}

// Tasks are read by number up to one past the count of sections: one
// numbered beyond is not read, said with its name and lost by the gapless
// rewrite.
TEST_F(TaskFilesTest, TasksNumberedBeyondTheOnesReadAreSaid)
{
    d.writeBytes(song(), taskBytes(1, "A") + taskBytes(2, "B") + taskBytes(9, "C"));
    store.load(kMonday);
    ASSERT_EQ(store.rows().size(), 2);
    EXPECT_EQ(tav::IniFile(dir.song()).read()->sectionNames(), (QStringList{u"FileInfo1"_s, u"FileInfo2"_s}));
    ASSERT_EQ(faults.size(), 1);
    const QString said = faults.at(0).at(0).toString();
    EXPECT_TRUE(said.contains(u"[FileInfo9]“C”"_s)) << said.toStdString();
    EXPECT_TRUE(said.contains(u"共1个任务没有读入"_s)) << said.toStdString();
}
