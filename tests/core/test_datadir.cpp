// Where the station's data folder is.
#include "core/datadir.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;
using tav::DataDir;

TEST(DataDir, ExplicitFolderFirstThenTheProgramsFolderThenThePerUserOneOrAClearError)
{
    QTemporaryDir tmp;
    const QString exeDir = tmp.filePath(u"bin"_s), userDir = tmp.filePath(u"home/.local/share/tavplayer"_s);
    QDir().mkpath(exeDir);
    QString error;
    const QString given = tmp.filePath(u"站点/数据"_s);
    EXPECT_EQ(DataDir::resolve(given, exeDir, userDir, &error), given);
    EXPECT_TRUE(QFileInfo(given).isDir()); // made when missing
    EXPECT_EQ(DataDir::resolve(QString(), exeDir, userDir, &error), exeDir);
    EXPECT_FALSE(QFileInfo::exists(userDir));

    // Installed in a shared program folder: never there, even for root.
    EXPECT_EQ(DataDir::resolve(QString(), u"/usr/bin"_s, userDir, &error), userDir);
    EXPECT_TRUE(QFileInfo(userDir).isDir());
    EXPECT_TRUE(error.isEmpty());
    for (const QString &dir : {u"/usr/bin/"_s, u"/usr/local/bin"_s, u"/usr/lib/../bin"_s, u"/bin"_s})
        EXPECT_TRUE(DataDir::isSharedProgramFolder(dir)) << dir.toStdString();
    for (const QString &dir : {u"/opt/tavplayer"_s, u"/home/station/tavplayer"_s, u"/usr"_s, u"/usr/bin/tav"_s})
        EXPECT_FALSE(DataDir::isSharedProgramFolder(dir)) << dir.toStdString();

    // A folder that cannot be made is reported.
    QFile(tmp.filePath(u"plain-file"_s)).open(QIODevice::WriteOnly);
    const QString wanted = tmp.filePath(u"plain-file/data"_s);
    EXPECT_TRUE(DataDir::resolve(wanted, tmp.path(), tmp.path(), &error).isEmpty());
    EXPECT_EQ(error, u"无法创建数据文件夹："_s + wanted);
}

TEST(DataDir, ProgramsFolderThatCannotBeWritten)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes everywhere";
    QTemporaryDir tmp;
    const QString exeDir = tmp.filePath(u"bin"_s);
    QDir().mkpath(exeDir);
    QFile::setPermissions(exeDir, QFile::ReadOwner | QFile::ExeOwner);
    QString error;
    EXPECT_EQ(DataDir::resolve(QString(), exeDir, tmp.filePath(u"user"_s), &error), tmp.filePath(u"user"_s));
    QFile::setPermissions(exeDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// A folder carried over from Windows may spell the fixed files any way; a
// link that leads out of the folder is not taken.
TEST(DataDir, FixedFilesAreFoundWhateverTheirCase)
{
    QTemporaryDir tmp, outside;
    const DataDir dir(tmp.path());
    const auto put = [&](const QString &name) { ASSERT_TRUE(QFile(tmp.filePath(name)).open(QIODevice::WriteOnly)); };
    // Missing: the path under the given name, which does not exist.
    EXPECT_EQ(dir.tone(), tmp.filePath(u"TONE.wav"_s));
    put(u"tone.WAV"_s);
    put(u"Logo.BMP"_s);
    EXPECT_EQ(dir.tone(), tmp.filePath(u"tone.WAV"_s)); // the folder changed since the last look
    EXPECT_EQ(dir.fixedFile(DataDir::kLogo), tmp.filePath(u"Logo.BMP"_s));
    put(u"LOGO.bmp"_s); // the exact spelling wins over another one
    EXPECT_EQ(dir.fixedFile(DataDir::kLogo), tmp.filePath(u"LOGO.bmp"_s));

    ASSERT_TRUE(QFile(outside.filePath(u"x.jpg"_s)).open(QIODevice::WriteOnly));
    ASSERT_TRUE(QFile::link(outside.filePath(u"x.jpg"_s), tmp.filePath(u"pbg.jpg"_s)));
    EXPECT_FALSE(QFileInfo::exists(dir.fixedFile(DataDir::kBackground)));
    ASSERT_TRUE(QFile::link(outside.filePath(u"x.jpg"_s), tmp.filePath(u"Vbg.jpg"_s)));
    EXPECT_TRUE(dir.fixedFile(DataDir::kPlayerBackground).isEmpty());
}
