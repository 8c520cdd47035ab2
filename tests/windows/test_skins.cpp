#include "widgets.h"
#include "shell/helpwindow.h"
#include "shell/skins.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QStatusBar>
#include <QRegularExpression>
#include <QTextBrowser>

#include <algorithm>
#include <cmath>
#include <ranges>

using tav::HelpWindow;
using tav::Skins;
using Skin = tav::Skins::Skin;

namespace {

constexpr Skin kSkins[] = {Skin::Skin1, Skin::Skin2, Skin::Skin3};

double luminance(const QColor &c)
{
    const auto linear = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
}

int hueDistance(int a, int b) { return std::abs(((a - b) % 360 + 540) % 360 - 180); }

// The #rrggbb colours of the rule bodies, in order.
QList<QColor> coloursIn(const QString &qss)
{
    static const QRegularExpression hex(u"#[0-9A-Fa-f]{6}\\b"_s);
    QList<QColor> colours;
    for (const QRegularExpressionMatch &m : hex.globalMatch(qss, qss.indexOf(u'{')))
        colours.append(QColor::fromString(m.captured()));
    return colours;
}

} // namespace

TEST(SkinsSetting, StoredValuesMapBothWaysAndUnknownIsPlain)
{
    for (Skin skin : {Skin::Plain, Skin::Skin1, Skin::Skin2, Skin::Skin3}) {
        EXPECT_EQ(Skins::fromSetting(Skins::toSetting(skin)), skin);
        EXPECT_EQ(Skins::fromMenuItem(Skins::menuItem(skin)), skin);
    }
    for (const QString &odd : {u""_s, u"4"_s, u"-1"_s, u"skin1"_s, u"1.5"_s})
        EXPECT_EQ(Skins::fromSetting(odd), Skin::Plain) << odd.toStdString();
}

TEST(SkinsApply, EachSkinAppliesItsOwnSheetTurnedByTheHueAndPlainClearsIt)
{
    QStringList sheets;
    for (Skin skin : kSkins) {
        const QString shipped = Skins::styleSheet(skin, 0);
        EXPECT_EQ(Skins::rotateHue(shipped, 0), shipped); // no turn: exactly as shipped
        for (int hue : {0, 150}) {
            Skins::apply(*qApp, skin, hue);
            const QString sheet = qApp->styleSheet();
            EXPECT_FALSE(sheet.isEmpty() || sheets.contains(sheet)) << Skins::toSetting(skin).toStdString() << hue;
            sheets.append(sheet);
        }
    }
    Skins::apply(*qApp, Skin::Plain, 45);
    EXPECT_EQ(qApp->styleSheet(), Skins::warningRule(Skin::Plain)); // the warnings' red only
}

// A warning on the status bar ("时钟：从未校时") reads on every look: the
// contrast of its text with the ground around it, as drawn.
TEST(SkinsApply, WarningsKeepTheirContrastInEveryLook)
{
    for (Skin skin : {Skin::Plain, Skin::Skin1, Skin::Skin2, Skin::Skin3}) {
        Skins::apply(*qApp, skin, skin == Skin::Plain ? 0 : 150);
        QMainWindow window;
        auto *label = new QLabel(u"时钟：从未校时"_s);
        window.statusBar()->addPermanentWidget(label);
        Skins::markWarning(*label, true);
        window.resize(400, 200);
        window.show();
        QCoreApplication::processEvents();
        const QImage image = window.statusBar()->grab(label->geometry()).toImage();
        // The ground is the commonest colour, the text the darkest or lightest one.
        QHash<QRgb, int> count;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                ++count[image.pixel(x, y)];
        const double ground = luminance(QColor(count.key(std::ranges::max(count))));
        const auto ratio = [ground](QRgb c) {
            const double text = luminance(QColor(c));
            return (std::max(text, ground) + 0.05) / (std::min(text, ground) + 0.05);
        };
        EXPECT_GE(std::ranges::max(count.keys() | std::views::transform(ratio)), 4.5)
            << "look " << Skins::toSetting(skin).toStdString();
    }
    Skins::apply(*qApp, Skin::Plain, 0);
}

TEST(SkinsHue, TurnsEveryColourOfTheRulesKeepingLuminance)
{
    const std::pair<QString, int> cases[] = {{u"#3a78c3"_s, 90}, {u"#F00"_s, -120}, {u"#dce8f6"_s, 150}};
    for (const auto &[colour, degrees] : cases) {
        const QString out = Skins::rotateHue(u"QWidget { color: "_s + colour + u"; }"_s, degrees);
        const QColor before = QColor::fromString(colour), after = coloursIn(out).value(0);
        EXPECT_LE(hueDistance(after.hslHue(), before.hslHue() + degrees), 3) << out.toStdString();
        EXPECT_NEAR(luminance(after), luminance(before), 0.01) << out.toStdString();
    }
    const QList<QColor> stops = coloursIn(Skins::rotateHue(u"QFrame { background: qlineargradient(stop:0 #ff0000, stop:1 #0000ff); }"_s, 120));
    ASSERT_EQ(stops.size(), 2);
    EXPECT_LE(hueDistance(stops[0].hslHue(), 120), 3);
    EXPECT_LE(hueDistance(stops[1].hslHue(), 0), 3);
    // Greys, selectors and comments stay.
    const QString untouched = u"/* QLabel { color: #ff0000 } */ QPushButton#add, QLabel#bad { color: #808080; border: 1px solid #fff; }"_s;
    EXPECT_EQ(Skins::rotateHue(untouched, 90), untouched);
}

TEST(HelpWindowTest, ShowsTheShippedGuideUnlessTheDataFolderHasItsOwnPage)
{
    tav::test::DataFolder data;
    {
        HelpWindow help(data.path());
        EXPECT_EQ(help.sourcePath(), HelpWindow::kShippedHelp);
        EXPECT_TRUE(help.browser()->toPlainText().contains(u"Tavrel多媒体定时播放系统"_s));
    }
    // The operator's own page, in GBK without a charset.
    data.write(HelpWindow::kFileName, u"<html><body>停播日期请在周五前设好</body></html>"_s);
    HelpWindow help(data.path());
    EXPECT_EQ(help.sourcePath(), data.file(HelpWindow::kFileName));
    EXPECT_EQ(help.browser()->toPlainText().trimmed(), u"停播日期请在周五前设好"_s);
}
