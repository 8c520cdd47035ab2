#include "pictures/logosettings.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::LogoPlace;

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
    for (const auto &p : places) {
        const auto place = LogoPlace::parse(QString::number(p.top), QString::number(p.left), screens);
        EXPECT_EQ(bool(place), p.ok) << p.what;
    }
    EXPECT_FALSE(LogoPlace::parse(u"1.5"_s, u"0"_s, screens));
    EXPECT_FALSE(LogoPlace::parse(u"0"_s, u"0"_s, {}));
}
