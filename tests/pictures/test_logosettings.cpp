#include "core/ini.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "pictures/logosettings.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::ClockFont;
using tav::LogoPlace;

// The window writes and reads back the name, size, bold, underline and colour
// (LogoConsoleTest); here the rest, and what older or damaged files hold.
TEST(ClockFont, RoundTripAndOlderAndDamagedValues)
{
    tav::test::DataFolder d;
    const tav::DataDir dir(d.path());
    tav::Settings settings(dir);
    settings.load();
    ClockFont font;
    font.name = u"微软雅黑"_s;
    font.italic = font.underline = font.strikethru = true;
    font.colorRef = tav::ColorRef::of(0x12, 0x34, 0x56);
    font.write(settings);
    EXPECT_EQ(tav::IniFile(dir.control()).value(u"时间字体"_s, u"FontStrikethru"_s), u"True");
    tav::Settings again(dir);
    again.load();
    EXPECT_EQ(ClockFont::read(again), font);

    // Visual Basic's True is -1; a size in points may have a fraction.
    d.write(u"【CONTROL】.ini"_s, u"[时间字体]\nName=黑体\nSize=26.25\nBold=-1\nItalic=0\nUnderline=true\n"
                                  "FontStrikethru=perhaps\nForeColor=255\n"_s);
    settings.load();
    font = ClockFont::read(settings);
    EXPECT_EQ(font.name, u"黑体");
    EXPECT_EQ(font.size, 26);
    EXPECT_TRUE(font.bold);
    EXPECT_FALSE(font.italic);
    EXPECT_TRUE(font.underline);
    EXPECT_EQ(font.strikethru, ClockFont().strikethru); // unreadable: the default
    EXPECT_EQ(font.red(), 255);
    EXPECT_EQ(font.blue(), 0);

    for (const QString &bad : {u"Size=0\nForeColor=-5\n"_s, u"Size=big\nForeColor=16777216\n"_s, u"Size=999\n"_s}) {
        d.write(u"【CONTROL】.ini"_s, u"[时间字体]\n"_s + bad);
        settings.load();
        font = ClockFont::read(settings);
        EXPECT_EQ(font.size, ClockFont().size) << bad.toStdString();
        EXPECT_EQ(font.colorRef, ClockFont().colorRef) << bad.toStdString();
        EXPECT_EQ(font.name, ClockFont().name);
    }
}

// Letters, blanks, negatives and places past the one screen are refused
// through the console (LogoConsoleTest).
TEST(LogoPlace, FieldsMustBeWholeNumbersOnOneOfTheScreens)
{
    const QList<QRect> screens{QRect(0, 0, 1280, 800), QRect(1280, 0, 1920, 1080)};
    EXPECT_FALSE(LogoPlace::parse(u"1.5"_s, u"0"_s, screens));
    const auto ok = LogoPlace::parse(u" 150 "_s, u"300"_s, screens);
    ASSERT_TRUE(ok);
    EXPECT_EQ(*ok, (LogoPlace{150, 300}));
    // The last pixel row of the first screen, and past it.
    EXPECT_TRUE(LogoPlace::parse(QString::number(799 * 15 + 14), u"0"_s, screens));
    EXPECT_FALSE(LogoPlace::parse(QString::number(800 * 15), u"0"_s, screens));
    // The second screen is taller and lies to the right.
    EXPECT_TRUE(LogoPlace::parse(QString::number(1000 * 15), QString::number(1500 * 15), screens));
    EXPECT_FALSE(LogoPlace::parse(QString::number(1000 * 15), QString::number(100 * 15), screens));
    EXPECT_FALSE(LogoPlace::parse(u"0"_s, QString::number(3200 * 15), screens));
    EXPECT_FALSE(LogoPlace::parse(u"0"_s, u"0"_s, {}));
}
