#include "backup/filebackup.h"
#include "fakes/fakes.h"
#include "fakes/filesizelimit.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
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

// The folders are checked in order, each failure with its own message.
TEST(FileBackupTest, FoldersAreCheckedBeforeAnythingIsSearched)
{
    QTemporaryDir a, b;
    const QString gone = a.filePath(u"gone"_s);
    const struct { QString source, destination; const char16_t *message; } cases[] = {
        {u" "_s, b.path(), u"请设置来源文件夹！"},
        {a.path(), QString(), u"请设置目的文件夹！"},
        {gone, b.path(), u"来源文件夹不存在！"},
        {a.path(), gone, u"目的文件夹不存在！"},
        {a.path(), a.path() + u"/"_s, u"来源文件夹和目的文件夹不能相同！"},
        {u"/"_s, b.path(), u"尚不支持来源文件夹从根目录开始！"},
        {a.path(), u"/"_s, u"尚不支持来目的件夹从根目录开始！"},
        {a.path(), b.path(), u""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(FileBackup::check(c.source, c.destination), QString::fromUtf16(c.message))
            << qPrintable(c.source) << " -> " << qPrintable(c.destination);
}

// The window's tests read the comparison and the copied folders. Here: no
// hidden folder is taken; the next night's backup replaces what changed,
// whole; on a disk that fills up (a file-size limit stands in for it; an
// unreadable file fails the same way) the files that do not fit are
// reported, the others copied, the old target kept; no temporary file stays.
TEST(FileBackupTest, BackupsReplaceWhatChangedWholeAndReportWhatDoesNotFit)
{
    Station station;
    QTemporaryDir target;
    EXPECT_EQ(FileBackup::backup(station.path(), target.path()).copied, 5);
    EXPECT_FALSE(QFile::exists(target.filePath(u".cache/x.ini"_s)));
    put(station.file(u"字幕/欢迎.txt"_s), "欢迎光临，新的一天");
    EXPECT_EQ(FileBackup::backup(station.path(), target.path()).copied, 5);
    EXPECT_EQ(bytesOf(target.filePath(u"字幕/欢迎.txt"_s)), "欢迎光临，新的一天");

    put(station.file(u"【SONG】.ini"_s), "[FileInfo1]\r\nName=午间\r\n");
    const FileBackup::CopyResult r = withFileSizeLimit(16, [&] { return FileBackup::backup(station.path(), target.path()); });
    EXPECT_EQ(r.copied, 1); // only the play log is small enough
    EXPECT_EQ(r.failed.size(), 4);
    EXPECT_EQ(bytesOf(target.filePath(u"【SONG】.ini"_s)), "[FileInfo1]\r\nName=早操\r\n");
    for (const QString &folder : {target.path(), target.filePath(u"字幕"_s)})
        EXPECT_TRUE(QDir(folder).entryList({u"*.tmp-*"_s}, QDir::Files | QDir::Hidden).isEmpty());
}

// What the station's folder may hold that a backup must not follow, lose or
// swallow: each case one probe.
TEST(FileBackupTest, LinksOddNamesAndATargetInsideTheFolder)
{
    Station station;
    QTemporaryDir outside;
    put(outside.filePath(u"secret.ini"_s), "outside the data folder");
    put(outside.filePath(u"sub/more.ini"_s), "outside too");
    ASSERT_TRUE(QFile::link(outside.filePath(u"secret.ini"_s), station.file(u"link.ini"_s)));
    ASSERT_TRUE(QFile::link(outside.filePath(u"sub"_s), station.file(u"linked"_s)));
    // A name that is not valid UTF-8 (a GBK name from a Windows disk).
    const QByteArray odd = QFile::encodeName(station.path()) + "/\xd4\xe7\xb2\xd9.ini";
    {
        FILE *raw = std::fopen(odd.constData(), "wb");
        ASSERT_NE(raw, nullptr);
        std::fputs("gbk name", raw);
        std::fclose(raw);
    }
    QTemporaryDir target;
    const FileBackup::CopyResult r = FileBackup::backup(station.path(), target.path());
    EXPECT_EQ(r.copied, 6) << r.failed.join(u'|').toStdString();
    EXPECT_TRUE(r.failed.isEmpty()) << r.failed.join(u'|').toStdString();
    EXPECT_EQ(r.skipped.size(), 2) << r.skipped.join(u'|').toStdString();
    EXPECT_FALSE(QFileInfo::exists(target.filePath(u"link.ini"_s)));
    EXPECT_FALSE(QFileInfo::exists(target.filePath(u"linked"_s)));
    const QByteArray copiedOdd = QFile::encodeName(target.path()) + "/\xd4\xe7\xb2\xd9.ini";
    struct stat st {};
    EXPECT_EQ(::stat(copiedOdd.constData(), &st), 0); // the same bytes, not a look-alike
    EXPECT_EQ(st.st_size, 8);

    // A nightly target inside the data folder, six nights running.
    const QString nightly = station.file(u"备份"_s);
    QDir().mkpath(nightly);
    int copied = 0;
    for (int night = 0; night < 6; ++night)
        copied = FileBackup::backup(station.path(), nightly).copied;
    EXPECT_EQ(copied, 6);
    EXPECT_EQ(FileBackup::search(nightly).size(), 6);
    for (const QByteArray &path : {odd, copiedOdd, QByteArray(QFile::encodeName(nightly) + "/\xd4\xe7\xb2\xd9.ini")})
        ::unlink(path.constData()); // a name Qt cannot spell: removed here
}

namespace {

// A station and a backup of it, the backup newer in every file.
struct RestoreCase
{
    Station station;
    QTemporaryDir backup;
    RestoreCase(int extraFiles = 0)
    {
        put(backup.filePath(u"【SONG】.ini"_s), "[FileInfo1]\r\nName=备份的任务\r\n");
        put(backup.filePath(u"字幕/欢迎.txt"_s), "新的欢迎");
        put(backup.filePath(u"新/新的.ini"_s), "new");
        for (int i = 0; i < extraFiles; ++i) {
            put(station.file(u"列表/%1.ini"_s.arg(i)), "old " + QByteArray::number(i));
            put(backup.filePath(u"列表/%1.ini"_s.arg(i)), "new " + QByteArray::number(i));
        }
    }
    // Every file holds its old or its new version; returns how many are new.
    int checkEachOldOrNew(int extraFiles) const
    {
        int fresh = 0;
        const auto one = [&](const QString &rel, const QByteArray &old, const QByteArray &now) {
            const QByteArray got = bytesOf(station.file(rel));
            EXPECT_TRUE(got == old || got == now) << rel.toStdString() << " holds " << got.toStdString();
            fresh += got == now;
        };
        one(u"【SONG】.ini"_s, "[FileInfo1]\r\nName=早操\r\n", "[FileInfo1]\r\nName=备份的任务\r\n");
        one(u"字幕/欢迎.txt"_s, "欢迎光临", "新的欢迎");
        for (int i = 0; i < extraFiles; ++i)
            one(u"列表/%1.ini"_s.arg(i), "old " + QByteArray::number(i), "new " + QByteArray::number(i));
        return fresh;
    }
};

} // namespace

// Everything a restore replaces, in subfolders too, is set aside (the top
// level and the folder's name: the backup window's test; restoring from
// there undoes it: the --restore verb's test); nothing of its own work is
// left behind.
TEST(FileBackupTest, RestoreSetsAsideWhatItReplacesInSubfoldersToo)
{
    RestoreCase c;
    const FileBackup::RestoreResult r = FileBackup::restore(c.backup.path(), c.station.path(), at("2026-11-24 23:15:00"));
    ASSERT_TRUE(r.error.isEmpty()) << r.error.toStdString();
    EXPECT_EQ(r.copy.copied, 3);
    EXPECT_EQ(bytesOf(c.station.file(u"字幕/欢迎.txt"_s)), "新的欢迎");
    EXPECT_EQ(bytesOf(c.station.file(u"新/新的.ini"_s)), "new");
    EXPECT_EQ(bytesOf(r.setAside + u"/字幕/欢迎.txt"_s), "欢迎光临");
    EXPECT_FALSE(QFileInfo::exists(c.station.file(FileBackup::kJournalName)));
    EXPECT_FALSE(QFileInfo::exists(c.station.file(FileBackup::kStagingName)));
    // The set-aside folder is not data of the station: a backup skips it.
    EXPECT_FALSE(FileBackup::search(c.station.path()).join(u'|').contains(u"还原前的文件_"_s));
}

// A subfolder of the data folder that is a link to elsewhere: nothing is
// written through it and nothing else changes.
TEST(FileBackupTest, RestoreNeverWritesThroughALink)
{
    RestoreCase c;
    QTemporaryDir outside;
    ASSERT_TRUE(QDir(c.station.path()).rename(u"字幕"_s, u"字幕-原"_s));
    ASSERT_TRUE(QFile::link(outside.path(), c.station.file(u"字幕"_s)));
    const FileBackup::RestoreResult r = FileBackup::restore(c.backup.path(), c.station.path(), at("2026-11-24 23:15:00"));
    EXPECT_TRUE(r.error.contains(u"字幕/欢迎.txt"_s)) << r.error.toStdString();
    EXPECT_TRUE(QDir(outside.path()).isEmpty());
    EXPECT_EQ(bytesOf(c.station.file(u"【SONG】.ini"_s)), "[FileInfo1]\r\nName=早操\r\n");
    EXPECT_FALSE(QFileInfo::exists(c.station.file(FileBackup::kJournalName)));
}

// A disk that fills up while the backup is copied in (a file-size limit
// stands in for it): the restore does not happen, "big.txt" keeps its old
// bytes and the reason is the system's.
TEST(FileBackupTest, AFullDiskLeavesTheFolderAsItWasAndSaysWhy)
{
    QTemporaryDir data, backup;
    put(data.filePath(u"big.txt"_s), QByteArray(100 * 1024, 'o'));
    put(data.filePath(u"【SONG】.ini"_s), "old");
    put(backup.filePath(u"big.txt"_s), QByteArray(200 * 1024, 'n'));
    put(backup.filePath(u"【SONG】.ini"_s), "new");
    const FileBackup::RestoreResult r = withFileSizeLimit(150 * 1024, [&] {
        return FileBackup::restore(backup.path(), data.path(), at("2026-11-24 23:15:00"));
    });
    EXPECT_TRUE(r.error.contains(u"File too large"_s)) << r.error.toStdString();
    EXPECT_EQ(bytesOf(data.filePath(u"big.txt"_s)), QByteArray(100 * 1024, 'o'));
    EXPECT_EQ(bytesOf(data.filePath(u"【SONG】.ini"_s)), "old");
    EXPECT_EQ(QDir(data.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              (QStringList{u"big.txt"_s, u"【SONG】.ini"_s}));
}

// A restore killed while it copies the backup in is undone whole at the next
// start; killed while it puts the files in place, completed. Either way every
// file holds its old or its new version meanwhile.
TEST(FileBackupTest, AKilledRestoreIsCompletedOrUndoneAtTheNextStart)
{
    constexpr int kExtra = 6;
    for (const bool inCommit : {false, true}) {
        SCOPED_TRACE(inCommit ? "killed putting files in place" : "killed copying in");
        RestoreCase c(kExtra);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            int copiedIn = 0;
            FileBackup::setCommitHook([&](int done) {
                if (inCommit && done == kExtra / 2)
                    ::raise(SIGKILL);
            });
            FileBackup::restore(c.backup.path(), c.station.path(), at("2026-11-24 23:15:00"),
                                [&](const QString &text, int) {
                                    if (!inCommit && text.startsWith(u"完成"_s) && ++copiedIn == kExtra / 2)
                                        ::raise(SIGKILL);
                                });
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the restore ended before the kill";
        c.checkEachOldOrNew(kExtra);
        EXPECT_TRUE(QFileInfo::exists(c.station.file(FileBackup::kJournalName)));

        const QStringList said = FileBackup::recover(c.station.path());
        ASSERT_EQ(said.size(), 1);
        EXPECT_EQ(said[0].contains(u"已完成"_s), inCommit) << said[0].toStdString();
        EXPECT_EQ(c.checkEachOldOrNew(kExtra), inCommit ? kExtra + 2 : 0);
        EXPECT_EQ(QFileInfo::exists(c.station.file(u"新/新的.ini"_s)), inCommit);
        EXPECT_TRUE(inCommit || QFile::exists(c.station.file(u"【CONTROL】.ini"_s))) << "undone whole";
        EXPECT_FALSE(QFileInfo::exists(c.station.file(FileBackup::kJournalName)));
        EXPECT_FALSE(QFileInfo::exists(c.station.file(FileBackup::kStagingName)));
        EXPECT_TRUE(FileBackup::recover(c.station.path()).isEmpty());
    }
}
