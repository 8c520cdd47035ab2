#include "core/zhtext.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
namespace zh = tav::zh;

TEST(ZhText, TimesOfDayParseStrictly)
{
    EXPECT_EQ(zh::secondsOfDay(u"9:00:00"_s), 9 * 3600);
    EXPECT_EQ(zh::secondsOfDay(u" 09:30:05 "_s), 9 * 3600 + 30 * 60 + 5);
    EXPECT_EQ(zh::secondsOfDay(u"23:59"_s), 23 * 3600 + 59 * 60);
    for (const QString &bad : {u"24:00:00"_s, u"9:60:00"_s, u"9:00:0x"_s, u""_s, u"9"_s, u"1:2:3:4"_s, u"-1:00:00"_s})
        EXPECT_EQ(zh::secondsOfDay(bad), -1) << bad.toStdString();
    EXPECT_EQ(zh::timeText(9 * 3600 + 5), u"9:00:05");
    EXPECT_EQ(zh::parseShortDate(u"2026/12/22"_s), QDate(2026, 12, 22));
    EXPECT_FALSE(zh::parseShortDate(u"2026/13/1"_s).isValid());
    EXPECT_EQ(zh::durationText(3725), u"01:02:05");
}

TEST(ZhText, SettingsAreReadAsTheNumberTheyBeginWith)
{
    const std::pair<QString, std::optional<double>> cases[] = {
        {u"10.5"_s, 10.5}, {u" 12px"_s, 12.0}, {u"-3"_s, -3.0}, {u"+.5"_s, 0.5}, {u"2e2x"_s, 200.0},
        {u"7."_s, 7.0},    {u"abc"_s, std::nullopt}, {u""_s, std::nullopt}, {u"."_s, std::nullopt},
        {u"１２"_s, std::nullopt}, {u"- 3"_s, std::nullopt}};
    for (const auto &[text, number] : cases)
        EXPECT_EQ(zh::leadingNumber(text), number) << text.toStdString();
}
