// Data files that are never lost and never escape: GBK that survives any
// byte, names that stay inside the folder, failures that are heard and saves
// that are kept until they can be written.
#include "core/atomicfile.h"
#include "core/datadir.h"
#include "core/datafaults.h"
#include "core/ini.h"
#include "fakes/fakes.h"
#include "fakes/filesizelimit.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using tav::DataDir;
using tav::DataFaults;
using tav::IniDocument;
using tav::IniFile;
using tav::test::DataFolder;

namespace {

class DataFilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        DataFaults::instance().reset();
        DataFaults::instance().setClock(&clock);
    }
    void TearDown() override { DataFaults::instance().reset(); }

    tav::test::FakeClock clock{tav::test::at("2026-11-23 09:00:00")};
    QSignalSpy faults{&DataFaults::instance(), &DataFaults::fault};
    DataFolder d;

    QStringList told() const
    {
        QStringList texts;
        for (const QList<QVariant> &args : faults)
            texts.append(args.at(0).toString());
        return texts;
    }
};

} // namespace

TEST(GbkText, EveryByteSurvivesDecodingAndEncoding)
{
    // Cut characters, a lone lead byte at the end, a lead byte before ASCII.
    const QList<QByteArray> odd = {"\xb2\xe2\x81\x20\xca\xd4", "abc\x81", "\x81", "\xfe\x7f=", "\xa1\xa1\xff\x80",
                                   "[\x81]\x81=\x81"};
    for (const QByteArray &bytes : odd)
        EXPECT_EQ(tav::toGbk(tav::fromGbk(bytes)).toHex(), bytes.toHex());
    // Valid text decodes as before: no escapes in it.
    EXPECT_EQ(tav::fromGbk(tav::toGbk(u"服务厅大屏"_s)), u"服务厅大屏");
}

TEST_F(DataFilesTest, NamesNeverMakeAPathOutsideTheFolder)
{
    const DataDir dir(d.path());
    const QStringList hostile = {u"../outside/外部"_s, u"sub/子"_s, u"/etc/passwd"_s, u"C:\\Windows\\win"_s, u".."_s,
                                 u"."_s, u".hidden"_s, u"a\\b"_s, u"a"_s + QChar(0) + u"b"_s, u"  ../x  "_s,
                                 // the program's own files
                                 u"【PLAYLOG】"_s, u" 【song】.INI"_s, u"【TTS】"_s, u"【FILEBAK】"_s};
    for (const QString &name : hostile) {
        EXPECT_FALSE(DataDir::isSafeName(name)) << name.toStdString();
        EXPECT_EQ(dir.taskListFile(name), QString()) << name.toStdString();
    }
    EXPECT_EQ(faults.size(), hostile.size()); // each told once
    EXPECT_TRUE(told().first().contains(u"../outside/外部"));
    const QStringList fine = {u"早操 8:00"_s, u"服务厅..演示"_s, u"a|b"_s, u"  周一广播  "_s, u"x.y"_s};
    for (const QString &name : fine) {
        const QString path = dir.taskListFile(name);
        EXPECT_EQ(QFileInfo(path).absolutePath(), QFileInfo(d.path()).absoluteFilePath()) << name.toStdString();
        EXPECT_TRUE(path.endsWith(name.trimmed() + u".ini"_s));
    }
    // An empty name is no file, and nothing to tell.
    faults.clear();
    EXPECT_EQ(dir.taskListFile(u"  "_s), QString());
    EXPECT_TRUE(faults.isEmpty());
    // Nothing is written, read or removed through an empty path.
    EXPECT_FALSE(tav::writeFileAtomically(QString(), "x"));
    QByteArray bytes;
    EXPECT_FALSE(tav::readWholeFile(QString(), &bytes));
    EXPECT_FALSE(tav::removeDataFile(QString()));
    EXPECT_TRUE(QDir().entryList({u"*.tmp-*"_s}).isEmpty());
}

TEST_F(DataFilesTest, AFileThatCannotBeReadIsToldAndLeftAsItIs)
{
    // Root reads any file whatever its mode: a folder and a fifo stand in its place.
    QDir(d.path()).mkdir(u"【SONG】.ini"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(d.file(u"【DATE】.ini"_s)).constData(), 0600), 0);
    bool readable = true;
    EXPECT_TRUE(IniFile(d.file(u"【SONG】.ini"_s)).read(&readable)->sectionNames().isEmpty());
    EXPECT_FALSE(readable);
    readable = true;
    IniFile(d.file(u"【DATE】.ini"_s)).read(&readable); // returns at once
    EXPECT_FALSE(readable);
    ASSERT_EQ(faults.size(), 2);
    EXPECT_TRUE(told().at(0).contains(u"无法读取数据文件“"_s + d.file(u"【SONG】.ini"_s)));
    EXPECT_TRUE(told().at(0).contains(u"文件夹"));
    EXPECT_EQ(DataFaults::instance().outstanding().size(), 2);
    // An edit never replaces it.
    EXPECT_FALSE(IniFile(d.file(u"【SONG】.ini"_s)).setValue(u"s"_s, u"k"_s, u"v"_s));
    EXPECT_FALSE(IniFile(d.file(u"【DATE】.ini"_s)).setValue(u"s"_s, u"k"_s, u"v"_s));
    EXPECT_TRUE(QFileInfo(d.file(u"【SONG】.ini"_s)).isDir());
    EXPECT_FALSE(QFileInfo(d.file(u"【DATE】.ini"_s)).isFile());
    // Mended, it is no longer at fault; a missing file never is.
    QDir(d.path()).rmdir(u"【SONG】.ini"_s);
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=a\n"_s);
    EXPECT_EQ(IniFile(d.file(u"【SONG】.ini"_s)).value(u"FileInfo1"_s, u"Name"_s), u"a");
    EXPECT_EQ(DataFaults::instance().outstanding(), QStringList{u"无法读取“%1”"_s.arg(d.file(u"【DATE】.ini"_s))});
    IniFile(d.file(u"nothing.ini"_s)).read();
    EXPECT_EQ(faults.size(), 2);
}

TEST_F(DataFilesTest, AFailedSaveIsKeptToldOncePerHourAndWrittenWhenItCan)
{
    const IniFile file(d.file(u"【CONTROL】.ini"_s));
    ASSERT_TRUE(file.setValue(u"复选控制"_s, u"播音"_s, u"0"_s));
    const QByteArray before = d.bytes(u"【CONTROL】.ini"_s);
    const QString big(3000, u'x');
    {
        const FileSizeLimit full(1024);
        EXPECT_FALSE(file.setValue(u"复选控制"_s, u"台标LOGO"_s, big));
        // What was saved is what the station sees, though not on disk yet.
        EXPECT_EQ(file.value(u"复选控制"_s, u"台标LOGO"_s), big);
        EXPECT_EQ(d.bytes(u"【CONTROL】.ini"_s), before);
        ASSERT_EQ(faults.size(), 1);
        EXPECT_TRUE(told().at(0).startsWith(u"保存数据文件“"_s + file.path()));
        EXPECT_TRUE(told().at(0).contains(u"稍后自动重试"));
        // A later edit builds on the kept one; still one word per hour.
        EXPECT_FALSE(file.setValue(u"复选控制"_s, u"播音"_s, u"1"_s));
        EXPECT_EQ(DataFaults::instance().retry(), 1);
        EXPECT_EQ(faults.size(), 1);
        clock.advance(3600);
        EXPECT_EQ(DataFaults::instance().retry(), 1);
        EXPECT_EQ(faults.size(), 2);
        EXPECT_EQ(DataFaults::instance().outstanding(), QStringList{u"未能保存“%1”"_s.arg(file.path())});
    }
    EXPECT_EQ(DataFaults::instance().retry(), 0);
    EXPECT_TRUE(told().last().contains(u"已补写保存"));
    const IniDocument onDisk = IniDocument::fromBytes(d.bytes(u"【CONTROL】.ini"_s));
    EXPECT_EQ(onDisk.value(u"复选控制"_s, u"台标LOGO"_s), big);
    EXPECT_EQ(onDisk.value(u"复选控制"_s, u"播音"_s), u"1");
    EXPECT_TRUE(DataFaults::instance().outstanding().isEmpty());
    // No temporary file is left behind by the failed attempts.
    EXPECT_EQ(QDir(d.path()).entryList(QDir::Files), QStringList{u"【CONTROL】.ini"_s});
}

TEST(StaleTemporaries, OnlyOldFilesOfTheSavePatternGo)
{
    DataFolder d;
    const auto lay = [&](const QString &name, int ageSeconds) {
        d.writeBytes(name, "partial");
        QFile f(d.file(name));
        f.open(QIODevice::ReadWrite);
        f.setFileTime(QDateTime::currentDateTime().addSecs(-ageSeconds), QFileDevice::FileModificationTime);
    };
    lay(u"【SONG】.ini.tmp-Ab3dE9"_s, 3600);   // a save killed an hour ago
    lay(u"早操.ini.tmp-zzzzzz"_s, 700);        // and one twelve minutes ago
    lay(u"【TTS】.ini.tmp-Q1w2E3"_s, 5);       // a save in progress
    lay(u"notes.tmp-abc"_s, 3600);             // not the pattern: too short
    lay(u"notes.ini.tmp-abcdefg"_s, 3600);     // too long
    lay(u"report.tmp-ab_de!"_s, 3600);         // not letters and digits
    lay(u"【SONG】.ini"_s, 3600);
    QDir(d.path()).mkdir(u"dir.tmp-ABCDEF"_s); // a folder is not ours
    const QStringList removed = tav::removeStaleTemporaries(d.path());
    EXPECT_EQ(QSet<QString>(removed.begin(), removed.end()),
              (QSet<QString>{u"【SONG】.ini.tmp-Ab3dE9"_s, u"早操.ini.tmp-zzzzzz"_s}));
    const QStringList left = QDir(d.path()).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot);
    EXPECT_EQ(left.size(), 6);
    EXPECT_TRUE(left.contains(u"【TTS】.ini.tmp-Q1w2E3"_s));
}
