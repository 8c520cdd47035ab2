#include "broadcast/broadcastdraft.h"
#include "broadcast/broadcaststore.h"
#include "broadcast/scriptstore.h"
#include "core/datadir.h"
#include "core/ini.h"
#include "fakes/fakes.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::BroadcastStore;
using tav::BroadcastTask;

namespace {

BroadcastTask task(const QString &name, const QString &start, int priority = 0)
{
    BroadcastTask t;
    t.name = name;
    t.timeStart = BroadcastStore::withPriority(start, priority);
    t.timeEnd = start;
    t.dateStart = u"2026/1/1"_s;
    t.dateEnd = u"2026/12/31"_s;
    t.week = BroadcastStore::weekToStr({true, true, true, true, true, false, false});
    t.interval = u"0"_s;
    return t;
}

class StoreTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    BroadcastStore store{dir};
    QString error;
};

} // namespace

TEST_F(StoreTest, FirstTaskMakesTheFileWithItsKeysInOrderAndTheTextInGbk)
{
    ASSERT_TRUE(store.add(task(u" 早安 "_s, u"08:30:00"_s, 3), u"各位同学早上好"_s, &error)) << error.toStdString();
    const QString ini = tav::fromGbk(d.bytes(u"【TTS】.ini"_s));
    EXPECT_TRUE(ini.startsWith(u"[TTS1]\r\nTTS_Name=早安\r\nTTS_TimeStart=08:30:03\r\nTTS_TimeEnd=08:30:00\r\n"
                               u"TTS_DateStart=2026/1/1\r\nTTS_DateEnd=2026/12/31\r\nTTS_Week=一二三四五\r\n"
                               u"TTS_Interval=0\r\nTTS_Switch=开\r\nTTS_BGVolume=30\r\nTTS_Tone=1\r\n"
                               u"TTS_Speaker=VW Hui\r\nTTS_Rate=0\r\nTTS_txtVolume=100\r\nTTS_BG_Music=\r\n"
                               u"TTS_Index=1\r\nTTS_Delay=0\r\nTTS_Frequency=1\r\n"_s))
        << ini.toStdString();
    EXPECT_EQ(d.bytes(u"早安.ini"_s), tav::toGbk(u"各位同学早上好\r\n"_s));
    EXPECT_EQ(store.content(u"早安"_s), u"各位同学早上好");

    // Sorted by start, one second's tasks by priority; a deletion renumbers.
    ASSERT_TRUE(store.add(task(u"午餐"_s, u"11:50:00"_s), u"x"_s, &error));
    ASSERT_TRUE(store.add(task(u"早操"_s, u"08:30:00"_s), u"x"_s, &error));
    ASSERT_TRUE(store.saveList(BroadcastStore::sortedByStart(store.tasks()), &error));
    ASSERT_TRUE(store.remove(2, &error));
    QStringList rows;
    for (const BroadcastTask &t : store.tasks())
        rows.append(u"%1:%2:%3"_s.arg(t.section).arg(t.index, t.name));
    EXPECT_EQ(rows, (QStringList{u"1:1:早操"_s, u"2:2:午餐"_s}));
}

TEST_F(StoreTest, BadFilesAreReadAsFarAsTheyGoAndRepairedNotRejected)
{
    // Garbage lines, a gap, a duplicate section, empty frequency and delay.
    d.writeBytes(u"【TTS】.ini"_s, tav::toGbk(u"\x01\x02 垃圾\r\n[TTS3]\r\nTTS_Name=三\r\nTTS_Frequency=\r\n"
                                              u"[TTS1]\r\nTTS_Name=一\r\nTTS_Delay=5\r\nTTS_Frequency=2\r\n"
                                              u"[TTS1]\r\nTTS_Name=重复\r\n[Other]\r\nk=v\r\n"_s));
    ASSERT_TRUE(store.load(&error)) << error.toStdString();
    ASSERT_EQ(store.tasks().size(), 2);
    EXPECT_EQ(store.tasks()[0].name, u"一");
    EXPECT_EQ(store.tasks()[1].name, u"三");
    const tav::IniFile file(dir.tts());
    EXPECT_EQ(file.value(u"TTS3"_s, u"TTS_Frequency"_s), u"1");
    EXPECT_EQ(file.value(u"TTS3"_s, u"TTS_Delay"_s), u"0");
    EXPECT_EQ(file.value(u"TTS1"_s, u"TTS_Delay"_s), u"5");
    EXPECT_EQ(file.value(u"Other"_s, u"k"_s), u"v");

    // A text file in UTF-8 is read as such and said so; a missing one is empty.
    d.writeBytes(u"三.ini"_s, u"欢迎光临\n"_s.toUtf8());
    QString note;
    EXPECT_EQ(store.content(u"三"_s, &note), u"欢迎光临");
    EXPECT_FALSE(note.isEmpty());
    EXPECT_TRUE(store.content(u"一"_s).isEmpty());
}

// A new broadcast starts at a minute still to come and runs far ahead, so
// that one saved with the defaults neither misses its first firing nor
// stops the next day.
TEST(BroadcastDraftDefaults, StartAtTheNextWholeMinuteAndEndAtTheEndOfTheYear)
{
    const struct
    {
        const char *now;
        QTime start, end;
        QDate first, last;
    } cases[] = {
        {"2026-11-23 08:30:20", QTime(8, 31), QTime(8, 33), QDate(2026, 11, 23), QDate(2026, 12, 31)},
        {"2026-11-23 08:30:00", QTime(8, 31), QTime(8, 33), QDate(2026, 11, 23), QDate(2026, 12, 31)},
        {"2026-12-15 23:58:10", QTime(23, 59), QTime(23, 59, 59), QDate(2026, 12, 15), QDate(2027, 12, 31)},
        {"2026-12-31 23:59:30", QTime(0, 0), QTime(0, 2), QDate(2027, 1, 1), QDate(2027, 12, 31)},
    };
    for (const auto &c : cases) {
        const tav::BroadcastDraft d = tav::BroadcastDraft::fresh(tav::test::at(c.now));
        EXPECT_EQ(d.timeStart, c.start) << c.now;
        EXPECT_EQ(d.timeEnd, c.end) << c.now;
        EXPECT_EQ(d.dateStart, c.first) << c.now;
        EXPECT_EQ(d.dateEnd, c.last) << c.now;
        EXPECT_EQ(d.week, QList<bool>(7, true)) << c.now;
    }
}

// Names never reach the program's own files nor leave the folder through a
// broadcast or a script: refused when typed, and when found in a file
// neither read, renamed nor deleted. (Every spelling of such names: the
// data folder's own tests.)
TEST_F(StoreTest, TheProgramsOwnFileNamesAreNoTaskOrScriptNames)
{
    d.write(u"【PLAYLOG】.txt"_s, u"[2026-11-24 08:00:00]开播：早操\n"_s);
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\n"_s);
    const QByteArray log = d.bytes(u"【PLAYLOG】.txt"_s), song = d.bytes(u"【SONG】.ini"_s);
    EXPECT_FALSE(store.add(task(u" 【playlog】.ini"_s, u"08:30:00"_s), u"x"_s, &error));
    EXPECT_EQ(error, u"“【playlog】.ini”是程序自用的文件名，任务名称请换一个");
    EXPECT_FALSE(store.add(task(u"../外面"_s, u"08:30:00"_s), u"x"_s, &error));
    EXPECT_FALSE(QFile::exists(QDir(d.path()).filePath(u"../外面.ini"_s)));
    EXPECT_TRUE(store.tasks().isEmpty());
    tav::ScriptStore scripts(dir);
    EXPECT_FALSE(scripts.add(u"【PLAYLOG】"_s, u"文稿"_s, &error));
    EXPECT_EQ(error, u"“【PLAYLOG】”是程序自用的文件名，标题请换一个");

    // Written by hand into the files: a name of the program's own files or
    // one leading out of the folder is neither read, renamed nor deleted.
    d.write(u"外部.ini"_s, u"机密内容"_s);
    const QByteArray outside = d.bytes(u"外部.ini"_s);
    const tav::DataDir inner(d.file(u"data"_s));
    ASSERT_TRUE(QDir(d.path()).mkpath(u"data"_s));
    const std::pair<const tav::DataDir *, QString> hostileNames[] = {{&dir, u"【SONG】"_s}, {&inner, u"../外部"_s}};
    for (const auto &[folder, name] : hostileNames) {
        SCOPED_TRACE(name.toStdString());
        tav::test::put(folder->tts(), tav::toGbk(u"[TTS1]\r\nTTS_Name=%1\r\nTTS_TimeStart=08:30:00\r\n"
                                                 u"[TTS2]\r\nTTS_Name=午间\r\nTTS_TimeStart=12:00:00\r\n"_s.arg(name)));
        BroadcastStore hostile(*folder);
        ASSERT_TRUE(hostile.load());
        ASSERT_EQ(hostile.tasks().size(), 2);
        QString note;
        EXPECT_EQ(hostile.content(name, &note), QString());
        EXPECT_FALSE(note.isEmpty());
        BroadcastTask renamed = hostile.tasks()[0];
        renamed.name = u"早安"_s;
        ASSERT_TRUE(hostile.modify(1, name, renamed, u"早上好"_s, &error)) << error.toStdString();
        EXPECT_EQ(hostile.content(u"早安"_s), u"早上好");
        ASSERT_TRUE(hostile.remove(1, &error)) << error.toStdString();
    }
    EXPECT_EQ(d.bytes(u"外部.ini"_s), outside);
    d.write(u"【PRESENTATION】.ini"_s, u"[Presentation1]\nPresentationName=【PLAYLOG】\n"
                                       u"[Presentation2]\nPresentationName=通知\n"_s);
    ASSERT_TRUE(scripts.load(&error));
    ASSERT_EQ(scripts.scripts().size(), 2);
    EXPECT_EQ(scripts.text(u"【PLAYLOG】"_s), QString());
    ASSERT_TRUE(scripts.remove(scripts.scripts()[0].section, &error)) << error.toStdString();
    EXPECT_EQ(d.bytes(u"【PLAYLOG】.txt"_s), log);
    EXPECT_EQ(d.bytes(u"【SONG】.ini"_s), song);
}
