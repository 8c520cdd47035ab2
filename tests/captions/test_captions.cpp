#include "captions/captionbook.h"
#include "captions/captionscroller.h"
#include "core/ini.h"
#include "fakes/rig.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::Caption;
using tav::CaptionBook;
using tav::CaptionScroller;
using tav::CaptionSettings;
using tav::test::at;

namespace {

Caption on(const char *start, const char *end, const QString &text)
{
    return {QString::fromLatin1(start), QString::fromLatin1(end), u"开"_s, text};
}

QStringList contents(const QList<Caption> &rows)
{
    QStringList list;
    for (const Caption &c : rows)
        list.append(c.content);
    return list;
}

class CaptionTest : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    CaptionTest() : PlaybackRig("2026-11-25 08:00:00") {}
    CaptionBook book{dir, log, clock};
    CaptionScroller scroller{clock, settings, book};

    void setManner(int manner, int changeMinutes = 1)
    {
        CaptionSettings s = book.settings();
        s.manner = manner;
        s.changeMinutes = changeMinutes;
        ASSERT_TRUE(book.saveSettings(s));
    }
    // Runs the second ticks up to the given time.
    void runTo(const char *when)
    {
        const QDateTime end = at(when);
        while (clock.now() < end) {
            clock.advance(1);
            scroller.onSecond();
        }
    }
};

// --- The list, its checks and its file ------------------------------------

// The editor's window refuses an empty and a far too long text; the limit
// itself is 255 GBK bytes, a Chinese character counting 2; a pasted line
// break is refused too.
TEST_F(CaptionTest, TextChecksCountGbkBytesAndRefuseLineBreaks)
{
    const QString longest = QString(127, u'字') + u'a';
    ASSERT_EQ(tav::gbkLength(longest), 255);
    EXPECT_EQ(CaptionBook::checkText(longest), QString());
    EXPECT_EQ(CaptionBook::checkText(longest + u'b'), u"字幕长度超出范围，请重新编辑内容！"_s);
    EXPECT_EQ(CaptionBook::checkText(u"上午\r\n下午"_s), u"不允许输入回车键"_s);
}

TEST_F(CaptionTest, AddingSortsByStartKeepingTheOrderOfEqualTimes)
{
    EXPECT_EQ(book.add(on("09:00:00", "09:10:00", u"甲"_s)), 0);
    EXPECT_EQ(book.add(on("10:00:00", "10:10:00", u"乙"_s)), 1);
    EXPECT_EQ(book.add(on("09:00:00", "09:20:00", u"丙"_s)), 1); // after 甲, same start
    EXPECT_EQ(book.add(on("09:00:00", "09:10:00", u"甲"_s)), 2); // the same caption again: after the first
    EXPECT_EQ(book.findSame(u"甲"_s), 0);
    // Editing the second of two equal rows finds that one, not the first.
    EXPECT_EQ(book.change(2, on("06:00:00", "06:10:00", u"甲改"_s)), 0);
    EXPECT_EQ(contents(book.rows()), (QStringList{u"甲改"_s, u"甲"_s, u"丙"_s, u"乙"_s}));
    EXPECT_EQ(book.change(9, on("09:00:00", "09:10:00", u"x"_s)), -1);
    book.remove(7);
    EXPECT_EQ(book.rows().size(), 4);
}

TEST_F(CaptionTest, SavedFileHoldsOneRenumberedSectionPerRowAndNothingElse)
{
    d.write(CaptionBook::kFileName, u"[Scroll1]\ncontent=旧的\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"
                     "[Scroll7]\ncontent=作废\n[Scroll8]\ncontent=   \n[其他]\nx=1\n"_s);
    book.load();
    ASSERT_EQ(book.rows().size(), 2); // a blank caption is not loaded
    book.add(on("07:00:00", "07:30:00", u"早上好"_s));
    book.add({u"12:00:00"_s, u"12:30:00"_s, u"关"_s, u"午休"_s});
    ASSERT_TRUE(book.save());
    EXPECT_EQ(d.text(CaptionBook::kFileName),
              u"[Scroll1]\r\ncontent=早上好\r\nstartTime=07:00:00\r\nendTime=07:30:00\r\nswicth=开\r\n"
              "[Scroll2]\r\ncontent=旧的\r\nstartTime=08:00:00\r\nendTime=09:00:00\r\nswicth=开\r\n"
              "[Scroll3]\r\ncontent=午休\r\nstartTime=12:00:00\r\nendTime=12:30:00\r\nswicth=关\r\n"
              "[Scroll4]\r\ncontent=作废\r\nstartTime=\r\nendTime=\r\nswicth=\r\n"_s);

    // Read back: the same rows; the one that is off is listed but does not run.
    CaptionBook again(dir, log, clock);
    again.load();
    EXPECT_EQ(again.rows(), book.rows());
    EXPECT_EQ(again.activeArray(),
              (QStringList{u"1<分>早上好<分>07:00:00<分>07:30:00<分>开"_s,
                           u"2<分>旧的<分>08:00:00<分>09:00:00<分>开"_s, QString()}));
    // No rows: an empty file.
    while (!book.rows().isEmpty())
        book.remove(0);
    ASSERT_TRUE(book.save());
    EXPECT_EQ(QFile(book.path()).size(), 0);
}

// The editor's window writes each setting; here they are read back, numbers
// as numbers, and what is no number reported and replaced by its default.
TEST_F(CaptionTest, SettingsRoundTripAndBadValuesAreReportedAndReplaced)
{
    CaptionSettings s;
    s.move = 5;
    s.jump = 3;
    s.y = 700;
    s.manner = CaptionSettings::OnceInOrder;
    s.changeMinutes = 15;
    s.fontName = u"Noto Sans CJK SC"_s;
    s.fontSize = 40;
    s.bold = false;
    s.italic = true;
    s.foreColor = 0x00FF00;
    ASSERT_TRUE(book.saveSettings(s));
    book.load();
    EXPECT_EQ(book.settings(), s);

    d.write(u"【CONTROL】.ini"_s, u"[速度]\nMOVE=快\n[跳跃速度]\nJUMP=0\n[高度位置]\nY=abc\n[字幕播放方式]\nManner=7\n"
                       "[字幕切换时间]\ntitleChangeTime=5\n[字体]\nBold=也许\n"_s);
    log.clear();
    book.load();
    CaptionSettings expected;
    expected.changeMinutes = 5;
    EXPECT_EQ(book.settings(), expected);
    for (const char *bad : {"MOVE=快", "JUMP=0", "Y=abc", "Manner=7", "Bold=也许"})
        EXPECT_TRUE(log.text().contains(QString::fromUtf8(bad))) << bad << log.text().toStdString();
}

TEST_F(CaptionTest, FailedSaveIsReportedAndKeepsTheList)
{
    // A folder where the file should be: it cannot be replaced.
    ASSERT_TRUE(QDir(d.path()).mkdir(CaptionBook::kFileName));
    book.add(on("08:00:00", "09:00:00", u"在"_s));
    QString error;
    EXPECT_FALSE(book.save(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_TRUE(log.text().contains(u"保存字幕失败"_s));
    EXPECT_EQ(book.rows().size(), 1);
}

// --- The scroller -----------------------------------------------------------

TEST_F(CaptionTest, LoopReturnsToTheFirstCaptionAndSkipsThoseThatAreOff)
{
    book.add(on("08:00:00", "09:00:00", u"一"_s));
    book.add({u"08:30:00"_s, u"09:00:00"_s, u"关"_s, u"不放"_s});
    book.add(on("09:00:00", "10:00:00", u"三"_s));
    setManner(CaptionSettings::Loop, 2);
    QSignalSpy started(&scroller, &CaptionScroller::captionStarted);
    scroller.cmdStartNow_Click();
    EXPECT_TRUE(scroller.isVisible());
    EXPECT_TRUE(scroller.isMoving());
    EXPECT_EQ(scroller.text(), u"一"_s);
    EXPECT_EQ(scroller.status(), u"预览第1条"_s);
    runTo("2026-11-25 08:01:59");
    EXPECT_EQ(scroller.text(), u"一"_s); // two minutes each
    runTo("2026-11-25 08:02:00");
    EXPECT_EQ(scroller.text(), u"三"_s);
    EXPECT_EQ(scroller.status(), u"预览第3条"_s);
    runTo("2026-11-25 08:04:00");
    EXPECT_EQ(scroller.text(), u"一"_s);
    EXPECT_TRUE(scroller.isSwitching());
    EXPECT_EQ(started.size(), 3);
}

// Once through, the last caption stays on the strip where it stands.
TEST_F(CaptionTest, OnceInOrderStopsOnTheLastCaption)
{
    setManner(CaptionSettings::OnceInOrder);
    book.add(on("08:00:00", "09:00:00", u"一"_s));
    book.add(on("09:00:00", "10:00:00", u"二"_s));
    scroller.playMode();
    runTo("2026-11-25 08:04:00");
    EXPECT_EQ(scroller.text(), u"二"_s);
    runTo("2026-11-25 08:08:00");
    EXPECT_FALSE(scroller.isRunning());
    EXPECT_FALSE(scroller.isMoving());
    EXPECT_TRUE(scroller.isVisible());
    EXPECT_EQ(scroller.text(), u"二"_s);
}

// Its minute and end through the station's second: MainWindowTest.
// CaptionSwitchRunsTheStripAndTheStationsSecondTimesIt; here the end to the second, a single
// start, a stop that leaves the check running, and a caption too long to show.
TEST_F(CaptionTest, TimedCaptionRunsFromItsMinuteToItsEnd)
{
    settings.setSwitch(tav::Switch::Captions, true);
    book.add(on("08:02:00", "08:05:00", u"课间操"_s));
    book.add(on("08:10:00", "08:11:00", QString(128, u'长'))); // too long: only a hand-edited file holds it
    setManner(CaptionSettings::ByTime);
    QSignalSpy started(&scroller, &CaptionScroller::captionStarted);
    scroller.cmdStartNow_Click();
    runTo("2026-11-25 08:02:00");
    EXPECT_TRUE(scroller.isVisible());
    EXPECT_EQ(scroller.text(), u"课间操"_s);
    EXPECT_EQ(scroller.timedEnd(), u"08:05:00"_s);
    runTo("2026-11-25 08:02:30");
    EXPECT_EQ(started.size(), 1); // started once, not once a second
    runTo("2026-11-25 08:04:59");
    EXPECT_TRUE(scroller.isVisible());
    runTo("2026-11-25 08:05:00");
    EXPECT_FALSE(scroller.isVisible());
    EXPECT_FALSE(scroller.isMoving());
    // 停止滚动 stops what runs, not the check: the next one still comes.
    scroller.cmdSRstop_Click();
    EXPECT_TRUE(scroller.isChecking());
    runTo("2026-11-25 08:10:05");
    EXPECT_TRUE(scroller.isVisible());
    EXPECT_EQ(scroller.text(), u"字幕长度超出范围!"_s); // the strip's message instead
}

TEST_F(CaptionTest, TimedCaptionsNeedTheSwitch)
{
    book.add(on("08:01:00", "08:05:00", u"开着"_s));
    book.add({u"08:01:00"_s, u"08:05:00"_s, u"关"_s, u"关着"_s});
    setManner(CaptionSettings::ByTime);
    scroller.playMode();
    // Switched off: the timed manner is not checked; the list is previewed once.
    EXPECT_FALSE(scroller.isChecking());
    EXPECT_EQ(scroller.text(), u"开着"_s);
}

} // namespace
