// Data files changed by other programs: told once each is complete.
#include "core/datawatcher.h"
#include "core/ini.h"
#include "fakes/fakes.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

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
    renameInto(d, u"【SONG】.ini"_s, "[FileInfo1]\r\nName=b\r\n");
    EXPECT_EQ(toldUntil(spy, u"【SONG】.ini"_s), QStringList{u"【SONG】.ini"_s});

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
