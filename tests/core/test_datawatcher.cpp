// Data files changed by other programs: told once each is complete.
#include "core/datawatcher.h"
#include "core/ini.h"
#include "core/readahead.h"
#include "fakes/fakes.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kSettleMs = 200;

// Every name told until `name` is, or three seconds are up.
QStringList toldUntil(QSignalSpy &spy, const QString &name)
{
    QStringList told;
    QElapsedTimer t;
    for (t.start(); t.elapsed() < 3000 && !told.contains(name); spy.wait(50))
        while (!spy.isEmpty())
            told += spy.takeFirst().at(0).toStringList();
    return told;
}

void renameInto(const tav::test::DataFolder &d, const QString &name, const QByteArray &bytes)
{
    const QString temp = d.file(u".syncthing."_s + name + u".tmp"_s);
    d.writeBytes(QFileInfo(temp).fileName(), bytes);
    QFile::remove(d.file(name));
    ASSERT_TRUE(QFile::rename(temp, d.file(name)));
}

} // namespace

TEST(DataWatcher, TellsReplacedWrittenAndRemovedFilesButNotTheStationsOwnOrOthers)
{
    tav::test::DataFolder d;
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=a"_s);
    d.write(u"【DATE】.ini"_s, u"[x]"_s);
    d.write(u"【PLAYLOG】.txt"_s, u"log"_s);
    tav::DataWatcher watcher;
    QSignalSpy spy(&watcher, &tav::DataWatcher::changed);
    watcher.watch(d.path(), {u"【PLAYLOG】.txt"_s}, kSettleMs);
    QElapsedTimer took;
    took.start();
    renameInto(d, u"【SONG】.ini"_s, "[FileInfo1]\r\nName=b\r\n");
    EXPECT_EQ(toldUntil(spy, u"【SONG】.ini"_s), QStringList{u"【SONG】.ini"_s});
    EXPECT_LT(took.elapsed(), kSettleMs) << "a file renamed into place is whole at once";

    // Written in place, in two parts: told once, after its writer stopped.
    QFile inPlace(d.file(u"【DATE】.ini"_s));
    ASSERT_TRUE(inPlace.open(QIODevice::WriteOnly | QIODevice::Truncate));
    inPlace.write("[停播日期]\r\n");
    inPlace.flush();
    QTest::qWait(kSettleMs / 2);
    inPlace.write("1=2026-12-25\r\n");
    inPlace.close();
    took.restart();
    EXPECT_EQ(toldUntil(spy, u"【DATE】.ini"_s), QStringList{u"【DATE】.ini"_s});
    EXPECT_GE(took.elapsed(), kSettleMs / 2);

    d.write(u"【PLAYLOG】.txt"_s, u"more log"_s);
    d.write(u"notes.doc"_s, u"x"_s);
    d.write(u".hidden.ini"_s, u"[x]"_s);
    d.write(u"早操.ini"_s, u"[歌曲]"_s);
    EXPECT_EQ(toldUntil(spy, u"早操.ini"_s), QStringList{u"早操.ini"_s});

    QFile::remove(d.file(u"早操.ini"_s));
    EXPECT_EQ(toldUntil(spy, u"早操.ini"_s), QStringList{u"早操.ini"_s});
    watcher.stop();
}

TEST(IniFile, AFileThatCannotHaveBeenWrittenWholeSaysWhy)
{
    using namespace std::string_view_literals;
    const std::pair<std::string_view, bool> cases[] = {
        {"", false},
        {"[FileInfo1]\r\nName=a\0\0\0"sv, false},
        {"Name=a\r\nTime=9:00:00\r\n", false},
        {"garbage", false},
        {"  [FileInfo1]\r\nName=a", true},
        {"\xFF\xFE[\0a\0]\0"sv, true}, // UTF-16 holds NUL bytes of its own
        {"; comment\n[SONG]\nx=1", true},
    };
    for (const auto &[bytes, whole] : cases)
        EXPECT_EQ(tav::IniFile::notWholeReason(QByteArray(bytes.data(), bytes.size())).isEmpty(), whole) << bytes;
    EXPECT_TRUE(tav::IniFile(u"/nonexistent/x.ini"_s).notWholeReason().isEmpty()) << "a missing file is no data";
}

// Read and parsed on a worker, taken in on the thread that made the scope:
// the loads see what was read, not the disk, until they write the file.
TEST(ReadAhead, ParsedFilesStandInForTheDiskWhileTheScopeLasts)
{
    tav::test::DataFolder d;
    d.write(u"a.ini"_s, u"[s]\nk=read\n"_s);
    d.write(u"broken.ini"_s, u"k=no section"_s);
    const tav::ReadAhead a = tav::ReadAhead::of(d.file(u"a.ini"_s)), missing = tav::ReadAhead::of(d.file(u"none.ini"_s));
    ASSERT_TRUE(a.notWhole.isEmpty() && a.doc);
    EXPECT_FALSE(tav::ReadAhead::of(d.file(u"broken.ini"_s)).notWhole.isEmpty());
    EXPECT_TRUE(missing.notWhole.isEmpty() && missing.doc && missing.doc->sectionNames().isEmpty());

    d.write(u"a.ini"_s, u"[s]\nk=on disk\n"_s);
    const tav::IniFile file(d.file(u"a.ini"_s));
    {
        const tav::ReadAheadScope scope({{file.path(), a.doc}});
        EXPECT_EQ(file.value(u"s"_s, u"k"_s), u"read");
        ASSERT_TRUE(file.setValue(u"s"_s, u"j"_s, u"1"_s)); // edits what was read, then the disk rules
        EXPECT_TRUE(d.text(u"a.ini"_s).contains(u"k=read"_s));
        d.write(u"a.ini"_s, u"[s]\nk=on disk\n"_s);
        EXPECT_EQ(file.value(u"s"_s, u"k"_s), u"on disk");
    }
    EXPECT_EQ(file.value(u"s"_s, u"k"_s), u"on disk");
}
