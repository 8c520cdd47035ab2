#include "mainwindowfixture.h"
#include "pictures/frmtimeshow.h"
#include "pictures/frmtopmost.h"
#include "pictures/logocontrols.h"
#include "pictures/overlaykeeper.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QScreen>

namespace {

const QRgb kGrey = 0xFF808080;
const QRgb kLighter = 0xFF818181;
const QRgb kRed = 0xFFFF0000;

// A 40 × 20 logo on the see-through grey: a red square and a square one step lighter than the key.
void saveLogo(const tav::test::DataFolder &d)
{
    QImage image(40, 20, QImage::Format_RGB32);
    image.fill(kGrey);
    QPainter(&image).fillRect(2, 2, 10, 10, QColor(kRed));
    QPainter(&image).fillRect(20, 5, 5, 5, QColor(kLighter));
    ASSERT_TRUE(image.save(d.file(u"LOGO.bmp"_s), "BMP"));
}
QRegion logoShape() { return QRegion(2, 2, 10, 10) + QRegion(20, 5, 5, 5); }

// Regions covering the same pixels, however they are cut into rectangles.
bool sameArea(const QRegion &a, const QRegion &b) { return a.xored(b).isEmpty(); }

} // namespace

// The overlay window on its own.
class TopMostTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    std::unique_ptr<tav::frmTopMost> overlay = std::make_unique<tav::frmTopMost>(dir);
    void showLogo(QPoint place = {})
    {
        saveLogo(d);
        overlay->loadPictures();
        if (!place.isNull())
            overlay->placeAt(place);
        overlay->setLogoShown(true);
    }
};

TEST_F(TopMostTest, OnlyTheKeyGreyIsSeeThroughAndMissingPicturesShowNothing)
{
    d.writeBytes(u"LOGO.bmp"_s, "not a bitmap"); // counts as missing
    overlay->loadPictures();
    overlay->setLogoShown(true);
    EXPECT_FALSE(overlay->hasLogo());
    EXPECT_FALSE(overlay->isVisible());

    showLogo({30, 40});
    ASSERT_TRUE(overlay->hasLogo());
    EXPECT_TRUE(overlay->isVisible());
    EXPECT_EQ(overlay->geometry(), QRect(30, 40, 40, 20));
    EXPECT_TRUE(sameArea(overlay->mask(), logoShape()));
    overlay->setLogoShown(false);
    EXPECT_FALSE(overlay->isVisible());

    // The background picture goes behind the logo: its grey shows blue, nothing is see-through.
    QImage background(80, 60, QImage::Format_RGB32);
    background.fill(0xFF2040C0);
    ASSERT_TRUE(background.save(d.file(u"PBG.JPG"_s), "JPG"));
    showLogo();
    ASSERT_TRUE(overlay->hasBackground());
    EXPECT_TRUE(sameArea(overlay->mask(), QRegion(0, 0, 40, 20)));
    EXPECT_GT(QColor(overlay->grab().toImage().pixel(0, 0)).blue(), 150); // not the key grey
}

TEST_F(TopMostTest, ClockBeneathTheLogoReshapedEachSecondAndNeverInTheKeyColour)
{
    showLogo();
    tav::ClockFont font;
    font.colorRef = tav::ColorRef::of(255, 255, 255);
    overlay->setClockFont(font);
    overlay->showTime(QTime(8, 5, 9));
    overlay->setClockShown(true);
    auto *clock = overlay->findChild<QLabel *>(u"lblTime"_s);
    ASSERT_NE(clock, nullptr);
    EXPECT_EQ(clock->text(), u"08:05:09");
    EXPECT_TRUE(clock->isVisible());
    EXPECT_EQ(clock->y(), 20);
    EXPECT_EQ(overlay->height(), 20 + clock->height());

    const QRect part = clock->geometry();
    const QRegion before = overlay->mask().intersected(part);
    EXPECT_FALSE(before.isEmpty()); // the digits are seen
    overlay->showTime(QTime(11, 11, 11));
    EXPECT_EQ(clock->text(), u"11:11:11");
    const QRegion after = overlay->mask().intersected(part);
    EXPECT_FALSE(after.isEmpty());
    EXPECT_FALSE(sameArea(before, after));
    EXPECT_TRUE(sameArea(overlay->mask().intersected(QRect(0, 0, 40, 20)), logoShape()));

    overlay->setLogoShown(false);
    overlay->setClockShown(false);
    EXPECT_FALSE(overlay->isVisible());
    // A clock in the key colour itself would vanish: it is drawn a step lighter.
    font.colorRef = tav::ColorRef::of(128, 128, 128);
    overlay->setClockFont(font);
    EXPECT_EQ(clock->palette().color(QPalette::WindowText).rgb(), kLighter);
}

TEST(OverlayKeeper, RaisesVisibleOverlaysWhenAWatchedWindowComesUp)
{
    QWidget overlay(nullptr, Qt::Tool | Qt::FramelessWindowHint), player;
    tav::OverlayKeeper keeper;
    const auto settle = [] { for (int i = 0; i < 5; ++i) QCoreApplication::processEvents(); };
    keeper.addOverlay(&overlay);
    keeper.addOverlay(&overlay); // once only
    keeper.watch(&player);
    overlay.show();
    player.show();
    player.raise();
    player.showFullScreen();
    EXPECT_EQ(keeper.raises(), 0); // not before the window system has had its turn
    settle();
    const int before = keeper.raises(); // one raise per change of the player, not one per event
    EXPECT_GE(before, 1);
    EXPECT_LE(before, 2);
    overlay.hide(); // hidden overlays are left alone
    player.hide();
    player.show();
    settle();
    EXPECT_EQ(keeper.raises(), before);
}

// The console with its overlay on a temporary data folder.
class LogoConsoleTest : public MainWindowTest
{
protected:
    tav::frmTopMost *overlay() const { return window->findChild<tav::LogoControls *>()->overlay(); }
    QLabel *clockLabel() const { return overlay()->findChild<QLabel *>(u"lblTime"_s); }
    void placeLogo(const QString &top, const QString &left)
    {
        get<QLineEdit>("txtLogoTop")->setText(top);
        get<QLineEdit>("txtLogoLeft")->setText(left);
        click("cmdSaveLogoMove");
    }
};

// What is refused is LogoPlace.FieldsMustBeWholeNumbersOnOneOfTheScreens.
TEST_F(LogoConsoleTest, PlaceIsCheckedWrittenAndApplied)
{
    d.write(u"【CONTROL】.ini"_s, u"[LOGO顶边]\nLOGOTop=300\n[LOGO左边]\nLOGOLeft=600\n"_s);
    start();
    EXPECT_EQ(get<QLineEdit>("txtLogoTop")->text(), u"300");
    EXPECT_EQ(get<QLineEdit>("txtLogoLeft")->text(), u"600");
    EXPECT_EQ(overlay()->place(), QPoint(40, 20));

    const QByteArray before = d.bytes(u"【CONTROL】.ini"_s);
    placeLogo(u"0"_s, u"12a"_s); // a bad top is LogoPlace's own table
    EXPECT_EQ(prompt.shown, QStringList{u"提示|超出范围或不是数字，请重新输入"_s});
    EXPECT_EQ(get<QLineEdit>("txtLogoLeft")->text(), u"12a"); // the input stays for correction
    EXPECT_EQ(d.bytes(u"【CONTROL】.ini"_s), before);
    EXPECT_EQ(overlay()->place(), QPoint(40, 20));

    prompt.shown.clear();
    placeLogo(u"1500"_s, u"3000"_s);
    EXPECT_TRUE(prompt.shown.isEmpty());
    EXPECT_EQ(control(u"LOGO顶边"_s, u"LOGOTop"_s), u"1500");
    EXPECT_EQ(control(u"LOGO左边"_s, u"LOGOLeft"_s), u"3000");
    EXPECT_EQ(overlay()->place(), QPoint(200, 100));
}

TEST_F(LogoConsoleTest, SwitchesShowTheLogoAndTheClock)
{
    start();
    EXPECT_FALSE(overlay()->isVisible()); // a fresh station shows neither
    get<QCheckBox>("chkLogo")->click();
    EXPECT_EQ(control(u"复选控制"_s, u"台标LOGO"_s), u"1");
    ASSERT_EQ(prompt.shown.size(), 1); // no logo to show: said, not silent
    EXPECT_TRUE(prompt.shown[0].contains(u"LOGO.bmp"_s)) << prompt.shown[0].toStdString();
    saveLogo(d); // copied in while the station runs: it shows when it comes
    EXPECT_TRUE(QTest::qWaitFor([&] { return overlay()->hasLogo(); }, 5000));
    EXPECT_TRUE(overlay()->isVisible());

    get<QCheckBox>("chkTimeShow")->click();
    EXPECT_EQ(control(u"复选控制"_s, u"时间显示"_s), u"1");
    EXPECT_TRUE(clockLabel()->isVisible());
    EXPECT_EQ(clockLabel()->text(), u"10:00:00");
    tickAt("2026-11-23 10:00:01");
    EXPECT_EQ(clockLabel()->text(), u"10:00:01");

    get<QCheckBox>("chkLogo")->click();
    EXPECT_TRUE(overlay()->isVisible()); // the clock stays
    start(); // both come back at the next start as they were left
    EXPECT_TRUE(overlay()->isClockShown());
    EXPECT_FALSE(overlay()->isLogoShown());
    get<QCheckBox>("chkTimeShow")->click();
    EXPECT_FALSE(overlay()->isVisible());
}

TEST_F(LogoConsoleTest, ClockFontChosenInItsWindowIsKeptAndApplied)
{
    start();
    get<QAction>("mnuTimeShow")->trigger();
    auto *dialog = get<tav::frmTimeShow>("frmTimeShow");
    ASSERT_NE(dialog, nullptr);
    QFont chosen(QApplication::font().family(), 40);
    chosen.setBold(false);
    chosen.setUnderline(true);
    const QColor colour(0x10, 0x80, 0xF0);
    dialog->setFontChooser([&](const QFont &) { return std::optional<QFont>(chosen); });
    dialog->setColourChooser([&](const QColor &) { return std::optional<QColor>(colour); });
    dialog->findChild<QPushButton *>(u"cmdFont"_s)->click();
    dialog->findChild<QPushButton *>(u"cmdColor"_s)->click();
    EXPECT_EQ(control(u"时间字体"_s, u"Bold"_s), u"False");
    EXPECT_EQ(control(u"时间字体"_s, u"Size"_s), u"40");
    EXPECT_EQ(control(u"时间字体"_s, u"ForeColor"_s), QString::number(0xF08010));
    start();
    EXPECT_EQ(clockLabel()->font().pointSize(), 40);
    EXPECT_TRUE(clockLabel()->font().underline());
    EXPECT_EQ(clockLabel()->palette().color(QPalette::WindowText), colour);
}

TEST_F(LogoConsoleTest, ScreenSaverAfterAQuietSpellUntilSomethingPlays)
{
    saveLogo(d);
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n台标LOGO=1\n[LOGO顶边]\nLOGOTop=750\n[LOGO左边]\nLOGOLeft=1500\n"_s);
    start();
    get<QCheckBox>("chkPingBao")->click();
    EXPECT_EQ(control(u"复选控制"_s, u"屏保"_s), u"1");
    tickRun("2026-11-23 10:00:01", tav::LogoControls::kSaverDelaySeconds - 1);
    EXPECT_FALSE(overlay()->isScreenSaver());
    tickAt("2026-11-23 10:00:05");
    EXPECT_TRUE(overlay()->isScreenSaver());
    EXPECT_EQ(overlay()->geometry(), QGuiApplication::primaryScreen()->geometry());
    EXPECT_TRUE(sameArea(overlay()->mask(), QRegion(overlay()->rect()))); // all of it, and it takes clicks
    EXPECT_FALSE(overlay()->testAttribute(Qt::WA_TransparentForMouseEvents)
                 || overlay()->windowFlags().testFlag(Qt::WindowTransparentForInput));
    EXPECT_EQ(overlay()->grab().toImage().pixel(105, 55), kRed); // the logo in its place on it

    player.open(u"/tmp/a.mp3"_s);
    player.play();
    EXPECT_FALSE(overlay()->isScreenSaver()); // at once, not at the next second
    tickRun("2026-11-23 10:00:10", 10);
    EXPECT_FALSE(overlay()->isScreenSaver());
    player.finish();
    tickRun("2026-11-23 10:00:20", 5);
    EXPECT_TRUE(overlay()->isScreenSaver());

    QTest::mouseClick(overlay(), Qt::LeftButton, {}, QPoint(10, 10)); // ends it until the next spell after playing
    EXPECT_FALSE(overlay()->isScreenSaver());
    EXPECT_EQ(overlay()->geometry(), QRect(100, 50, 40, 20));
    EXPECT_TRUE(overlay()->windowFlags().testFlag(Qt::WindowTransparentForInput));
    tickRun("2026-11-23 10:00:30", 20);
    EXPECT_FALSE(overlay()->isScreenSaver());

    get<QCheckBox>("chkPingBao")->click();
    player.play();
    player.finish();
    tickRun("2026-11-23 10:00:50", 10);
    EXPECT_FALSE(overlay()->isScreenSaver()); // switched off
}

TEST_F(LogoConsoleTest, UnwritableSettingsAreReported)
{
    start();
    const QString control = tav::DataDir(d.path()).control();
    QFile::remove(control);
    ASSERT_TRUE(QDir().mkdir(control)); // nothing can replace a folder
    const QString failure = u"提示|写文件时出错："_s + control;

    placeLogo(u"150"_s, u"150"_s);
    EXPECT_EQ(prompt.shown, QStringList{failure});
    EXPECT_EQ(overlay()->place(), QPoint(10, 10)); // in force all the same
}
