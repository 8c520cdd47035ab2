#include "backup/filebackup.h"
#include "core/ini.h"
#include "fakes/fakes.h"

#include <QDir>
#include <QFile>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <csignal>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;
using tav::FileBackup;
using tav::test::at;

namespace {

using tav::test::bytesOf;
using tav::test::put;

// A station folder: settings, tasks, a list in a subfolder, the play log,
// media (not data), and a hidden folder that is not searched.
struct Station
{
    QTemporaryDir dir;
    Station()
    {
        put(file(u"【SONG】.ini"_s), "[FileInfo1]\r\nName=早操\r\n");
        put(file(u"【CONTROL】.ini"_s), "[复选控制]\r\n显示图片=1\r\n");
        put(file(u"早操.INI"_s), "[多媒体文件数量]\r\n数量=0\r\n");
        put(file(u"【PLAYLOG】.txt"_s), "log");
        put(file(u"字幕/欢迎.txt"_s), "欢迎光临");
        put(file(u"media/bell.mp3"_s), "not data");
        put(file(u".cache/x.ini"_s), "hidden");
    }
    QString path() const { return dir.path(); }
    QString file(const QString &rel) const { return dir.filePath(rel); }
};

} // namespace

TEST(FileBackupTest, ChecksComeInOrderBeforeAnySearch)
{
    QTemporaryDir a, b;
    EXPECT_EQ(FileBackup::check(u""_s, u""_s), u"请设置来源文件夹！");
    EXPECT_EQ(FileBackup::check(a.path(), u" "_s), u"请设置目的文件夹！");
    EXPECT_EQ(FileBackup::check(a.filePath(u"无"_s), b.path()), u"来源文件夹不存在！");
    EXPECT_EQ(FileBackup::check(a.path(), b.filePath(u"无"_s)), u"目的文件夹不存在！");
    EXPECT_EQ(FileBackup::check(a.path(), a.path() + u"/./"_s), u"来源文件夹和目的文件夹不能相同！");
    EXPECT_EQ(FileBackup::check(u"/"_s, b.path()), u"尚不支持来源文件夹从根目录开始！");
    EXPECT_EQ(FileBackup::check(a.path(), u"/"_s), u"尚不支持来目的件夹从根目录开始！");
    EXPECT_EQ(FileBackup::check(a.path(), b.path()), u"");
    // The root of a mounted file system is a root folder too.
    if (QFileInfo(u"/proc"_s).isDir() && QStorageInfo(u"/proc"_s).rootPath() == u"/proc") {
        EXPECT_TRUE(FileBackup::isRootFolder(u"/proc"_s));
    }
}

TEST(FileBackupTest, RememberedFoldersAreTwoLinesAndOnlyExistingOnesComeBack)
{
    QTemporaryDir dir, a;
    const QString set = dir.filePath(u"【FILEBAK】.ini"_s);
    ASSERT_TRUE(FileBackup::saveSet(set, {a.path(), dir.filePath(u"不存在"_s)}));
    EXPECT_EQ(bytesOf(set), tav::toGbk(a.path() + u"\r\n"_s + dir.filePath(u"不存在"_s) + u"\r\n"_s));
    const FileBackup::Folders back = FileBackup::openSet(set);
    EXPECT_EQ(back.source, a.path());
    EXPECT_TRUE(back.destination.isEmpty());
    EXPECT_TRUE(FileBackup::openSet(dir.filePath(u"无.ini"_s)).source.isEmpty());
}

TEST(FileBackupTest, BackupCopiesDataFilesWithTheirFoldersAndComparesByRelativePath)
{
    Station station;
    QTemporaryDir target;
    put(target.filePath(u"【song】.INI"_s), "[FileInfo1]\r\nName=早操\r\n"); // same file, other case
    put(target.filePath(u"旧.ini"_s), "old");
    const FileBackup::Comparison c = FileBackup::compare(station.path(), target.path());
    EXPECT_EQ(c.sourceFiles, (QStringList{u"【CONTROL】.ini"_s, u"【PLAYLOG】.txt"_s, u"【SONG】.ini"_s,
                                          u"字幕/欢迎.txt"_s, u"早操.INI"_s}));
    EXPECT_EQ(c.same, QStringList{u"【SONG】.ini"_s});
    EXPECT_EQ(c.onlyInDestination, QStringList{u"旧.ini"_s});

    QStringList progress;
    const FileBackup::CopyResult r = FileBackup::backup(station.path(), target.path(),
                                                        [&](const QString &text, int) { progress.append(text); });
    EXPECT_EQ(r.copied, 5);
    EXPECT_TRUE(r.failed.isEmpty());
    EXPECT_EQ(bytesOf(target.filePath(u"字幕/欢迎.txt"_s)), "欢迎光临");
    EXPECT_FALSE(QFile::exists(target.filePath(u"media/bell.mp3"_s)));
    EXPECT_FALSE(QFile::exists(target.filePath(u".cache/x.ini"_s)));
    EXPECT_TRUE(progress.contains(u"搜索来源文件夹..."_s));
    EXPECT_EQ(progress.last(), u"完成：100%...");
    EXPECT_TRUE(QDir(target.path()).entryList({u"*.tmp-*"_s}, QDir::Files | QDir::Hidden).isEmpty());

    // The next night's backup replaces what changed, whole.
    put(station.file(u"字幕/欢迎.txt"_s), "欢迎光临，新的一天");
    EXPECT_EQ(FileBackup::backup(station.path(), target.path()).copied, 5);
    EXPECT_EQ(bytesOf(target.filePath(u"字幕/欢迎.txt"_s)), "欢迎光临，新的一天");
    EXPECT_TRUE(QDir(target.filePath(u"字幕"_s)).entryList({u"*.tmp-*"_s}, QDir::Files | QDir::Hidden).isEmpty());
}

TEST(FileBackupTest, UnreadableFileIsReportedTheRestCopiedTheSourceUntouched)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every file";
    Station station;
    QTemporaryDir target;
    QFile::setPermissions(station.file(u"【CONTROL】.ini"_s), QFileDevice::Permissions());
    const FileBackup::CopyResult r = FileBackup::backup(station.path(), target.path());
    EXPECT_EQ(r.copied, 4);
    ASSERT_EQ(r.failed.size(), 1);
    EXPECT_TRUE(r.failed[0].startsWith(u"【CONTROL】.ini"_s));
    QFile::setPermissions(station.file(u"【CONTROL】.ini"_s), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    EXPECT_EQ(bytesOf(station.file(u"【SONG】.ini"_s)), "[FileInfo1]\r\nName=早操\r\n");
}

// A disk that fills up (a file-size limit stands in for it): the files that
// do not fit are reported, the others copied, an old target kept whole.
TEST(FileBackupTest, FilesThatDoNotFitAreReportedAndOldTargetsKept)
{
    Station station;
    QTemporaryDir target;
    put(target.filePath(u"【SONG】.ini"_s), "old bytes");
    struct rlimit old {};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = old;
    small.rlim_cur = 16;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const FileBackup::CopyResult r = FileBackup::backup(station.path(), target.path());
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldSignal);
    EXPECT_EQ(r.copied, 2); // the play log and the caption text are small enough
    EXPECT_EQ(r.failed.size(), 3);
    EXPECT_EQ(bytesOf(target.filePath(u"【SONG】.ini"_s)), "old bytes");
    EXPECT_TRUE(QDir(target.path()).entryList({u"*.tmp-*"_s}, QDir::Files | QDir::Hidden).isEmpty());
}

// Restore sets the station's own files aside first: a restore from an empty
// folder is undone by restoring from the set-aside folder.
TEST(FileBackupTest, RestoreFromAnEmptyFolderIsUndone)
{
    Station station;
    QTemporaryDir empty;
    const QByteArray song = bytesOf(station.file(u"【SONG】.ini"_s));
    const FileBackup::RestoreResult r = FileBackup::restore(empty.path(), station.path(), at("2026-11-24 23:15:00"));
    EXPECT_TRUE(r.notMoved.isEmpty());
    EXPECT_EQ(r.copy.copied, 0);
    EXPECT_EQ(QFileInfo(r.setAside).fileName(), u"还原前的文件_20261124_231500");
    EXPECT_FALSE(QFile::exists(station.file(u"【SONG】.ini"_s)));
    EXPECT_EQ(bytesOf(r.setAside + u"/【SONG】.ini"_s), song);
    // The set-aside folder is not data of the station: a backup skips it.
    EXPECT_FALSE(FileBackup::search(station.path()).join(u'|').contains(u"还原前的文件_"_s));

    const FileBackup::RestoreResult undo = FileBackup::restore(r.setAside, station.path(), at("2026-11-24 23:16:00"));
    EXPECT_EQ(undo.copy.copied, 4);
    EXPECT_EQ(bytesOf(station.file(u"【SONG】.ini"_s)), song);
    EXPECT_EQ(bytesOf(station.file(u"字幕/欢迎.txt"_s)), "欢迎光临"); // subfolders were never set aside
}

TEST(FileBackupTest, RestoreBringsBackupFilesWithTheirFolders)
{
    Station station, backup;
    put(backup.file(u"【SONG】.ini"_s), "[FileInfo1]\r\nName=备份的任务\r\n");
    put(backup.file(u"新/新的.ini"_s), "new");
    const FileBackup::RestoreResult r = FileBackup::restore(backup.path(), station.path(), at("2026-11-24 23:15:00"));
    EXPECT_EQ(bytesOf(station.file(u"【SONG】.ini"_s)), "[FileInfo1]\r\nName=备份的任务\r\n");
    EXPECT_EQ(bytesOf(station.file(u"新/新的.ini"_s)), "new");
    EXPECT_TRUE(r.copy.failed.isEmpty());
}
