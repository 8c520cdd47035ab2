#include "core/ini.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "pictures/logosettings.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::ClockFont;
using tav::LogoPlace;

// The window writes and reads back the name, size, bold, underline and colour
// (LogoConsoleTest); here the rest, and what older files hold.
TEST(ClockFont, RoundTripAndOlderValues)
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

    // Visual Basic's True is -1; a size in points may have a fraction; a
    // colour beyond 24 bits is the default.
    d.write(u"【CONTROL】.ini"_s, u"[时间字体]\nSize=26.25\nBold=-1\nItalic=0\nForeColor=16777216\n"_s);
    settings.load();
    font = ClockFont::read(settings);
    EXPECT_EQ(font.size, 26);
    EXPECT_TRUE(font.bold);
    EXPECT_FALSE(font.italic);
    EXPECT_EQ(font.colorRef, ClockFont().colorRef);
}

// Letters, blanks, negatives and places past the one screen are refused
// through the console (LogoConsoleTest). Places are in twips, 15 a pixel.
TEST(LogoPlace, FieldsMustBeWholeNumbersOnOneOfTheScreens)
{
    const QList<QRect> screens{QRect(0, 0, 1280, 800), QRect(1280, 0, 1920, 1080)};
    const auto ok = LogoPlace::parse(u" 150 "_s, u"300"_s, screens);
    ASSERT_TRUE(ok);
    EXPECT_EQ(*ok, (LogoPlace{150, 300}));
    const struct { const char *what; int top, left; bool ok; } places[] = {
        {"the first screen's last row", 799 * 15 + 14, 0, true},
        {"below the first screen", 800 * 15, 0, false},
        {"low on the taller second screen", 1000 * 15, 1500 * 15, true},
        {"as low on the first", 1000 * 15, 100 * 15, false},
        {"right of both", 0, 3200 * 15, false},
    };
    for (const auto &p : places)
        EXPECT_EQ(bool(LogoPlace::parse(QString::number(p.top), QString::number(p.left), screens)), p.ok) << p.what;
    EXPECT_FALSE(LogoPlace::parse(u"1.5"_s, u"0"_s, screens));
    EXPECT_FALSE(LogoPlace::parse(u"0"_s, u"0"_s, {}));
}
