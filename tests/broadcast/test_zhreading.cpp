#include "broadcast/zhreading.h"
#include "fakes/fakes.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::test::at;
namespace zr = tav::zhreading;

TEST(Placeholders, TwelveHourTimeWeekAndDate)
{
    const auto time = [](const char *when) { return zr::expandPlaceholders(u"%Time"_s, at(when)); };
    EXPECT_EQ(time("2026-11-22 12:05:00"), u"上午12:05"); // noon is morning
    EXPECT_EQ(time("2026-11-22 00:07:00"), u"上午0:07");
    EXPECT_EQ(time("2026-11-22 09:05:59"), u"上午9:05");
    EXPECT_EQ(time("2026-11-22 13:00:00"), u"下午1:00");
    EXPECT_EQ(time("2026-11-22 18:59:00"), u"下午6:59");
    EXPECT_EQ(time("2026-11-22 19:00:00"), u"晚上7:00");
    EXPECT_EQ(time("2026-11-22 23:59:00"), u"晚上11:59");
    // Every occurrence; the lower-case time is not a placeholder; week and
    // date in both spellings.
    EXPECT_EQ(zr::expandPlaceholders(u"%Time|%time|%Week|%week|%Date|%date|%Time"_s, at("2026-11-22 08:30:00")),
              u"上午8:30|%time|星期日|星期日|2026/11/22|2026/11/22|上午8:30");
    EXPECT_EQ(zr::expandPlaceholders(u"%TIME %DATE"_s, at("2026-11-22 08:30:00")), u"%TIME %DATE");
}

TEST(VoiceReading, TimesDatesAndNumbersTheChineseWay)
{
    const auto spoken = [](const QString &t) { return zr::forVoice(t).text; };
    EXPECT_EQ(spoken(u"上午9:05"_s), u"上午九点零五分");
    EXPECT_EQ(spoken(u"10:30开会"_s), u"十点三十分开会");
    EXPECT_EQ(spoken(u"下午2:00"_s), u"下午两点整");
    EXPECT_EQ(spoken(u"8:30:15"_s), u"八点三十分十五秒");
    EXPECT_EQ(spoken(u"0:07"_s), u"零点零七分");
    EXPECT_EQ(spoken(u"今天是2026/11/22"_s), u"今天是二〇二六年十一月二十二日");
    EXPECT_EQ(spoken(u"2026-1-5"_s), u"二〇二六年一月五日");
    EXPECT_EQ(spoken(u"2026年11月22日"_s), u"二〇二六年十一月二十二日");
    // Not times or dates: left to the voice.
    EXPECT_EQ(spoken(u"比分3:2，电话12345678，25:61，2026/13/40"_s), u"比分3:2，电话12345678，25:61，2026/13/40");
    EXPECT_EQ(spoken(u"1:2:3:4"_s), u"1:2:3:4");
    EXPECT_EQ(zr::number(0), u"零");
    EXPECT_EQ(zr::number(10), u"十");
    EXPECT_EQ(zr::number(15), u"十五");
    EXPECT_EQ(zr::number(105), u"一百零五");
    EXPECT_EQ(zr::number(1200), u"一千二百");
    EXPECT_EQ(zr::number(2026), u"二千零二十六");
}

// The spoken words point back into the text shown, so the word being
// spoken can be highlighted where the operator wrote it.
TEST(VoiceReading, EachSpokenCharacterKnowsWhereItCameFrom)
{
    const QString shown = u"现在是上午9:05，请集合"_s;
    const zr::Reading r = zr::forVoice(shown);
    ASSERT_EQ(r.source.size(), r.text.size());
    EXPECT_EQ(r.source.first(), 0);
    EXPECT_EQ(r.text.mid(r.text.indexOf(u'请')), u"请集合");
    EXPECT_EQ(r.source[r.text.indexOf(u'请')], shown.indexOf(u'请'));
    const int clockStart = int(shown.indexOf(u'9'));
    for (qsizetype i = r.text.indexOf(u'九'); i < r.text.indexOf(u'，'); ++i) {
        EXPECT_GE(r.source[i], clockStart);
        EXPECT_LT(r.source[i], clockStart + 4);
    }
    for (qsizetype i = 1; i < r.source.size(); ++i)
        EXPECT_LE(r.source[i - 1], r.source[i]);
}
