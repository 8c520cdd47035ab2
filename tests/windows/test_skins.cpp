#include "fakes/fakes.h"
#include "shell/helpwindow.h"
#include "shell/messageboxprompt.h"
#include "shell/skins.h"

#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QTextBrowser>
#include <QTimer>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using namespace Qt::StringLiterals;
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

double contrast(const QColor &a, const QColor &b)
{
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

class SkinsTest : public ::testing::Test
{
protected:
    void TearDown() override { Skins::apply(*qApp, Skin::Plain, 0); }
};

} // namespace

TEST(SkinsSetting, StoredValuesAndMenuItemsMapBothWays)
{
    for (Skin skin : {Skin::Plain, Skin::Skin1, Skin::Skin2, Skin::Skin3}) {
        EXPECT_EQ(Skins::fromSetting(Skins::toSetting(skin)), skin);
        EXPECT_EQ(Skins::fromMenuItem(Skins::menuItem(skin)), skin);
    }
    EXPECT_EQ(Skins::toSetting(Skin::Plain), u"0"_s);
    EXPECT_EQ(Skins::toSetting(Skin::Skin3), u"3"_s);
    EXPECT_EQ(Skins::fromMenuItem(u"mnuQQ08"_s), Skin::Skin1);
    EXPECT_EQ(Skins::fromMenuItem(u"mnuQQ09"_s), Skin::Skin2);
    EXPECT_EQ(Skins::fromMenuItem(u"mnuVista"_s), Skin::Skin3);
    EXPECT_EQ(Skins::fromMenuItem(u"mnuWindow"_s), Skin::Plain);
    for (const QString &odd : {u""_s, u"4"_s, u"-1"_s, u"skin1"_s, u"/skin1.she"_s, u"1.5"_s})
        EXPECT_EQ(Skins::fromSetting(odd), Skin::Plain) << odd.toStdString();
}

TEST_F(SkinsTest, EachSkinAppliesItsOwnSheetAndPlainClearsIt)
{
    QStringList sheets;
    for (Skin skin : kSkins) {
        Skins::apply(*qApp, skin, 0);
        const QString sheet = qApp->styleSheet();
        EXPECT_FALSE(sheet.isEmpty()) << Skins::resourcePath(skin).toStdString();
        EXPECT_FALSE(sheets.contains(sheet));
        sheets.append(sheet);

        // Every picture a sheet names is shipped with it.
        static const QRegularExpression url(uR"(url\(([^)]+)\))"_s);
        for (auto it = url.globalMatch(sheet); it.hasNext();) {
            const QString path = it.next().captured(1);
            EXPECT_TRUE(QFile::exists(path)) << path.toStdString();
        }
    }
    Skins::apply(*qApp, Skin::Plain, 45);
    EXPECT_TRUE(qApp->styleSheet().isEmpty());
}

TEST_F(SkinsTest, TextStaysReadableOnEverySkinAndHue)
{
    for (Skin skin : kSkins) {
        for (int hue : {0, 120, -150}) {
            Skins::apply(*qApp, skin, hue);
            QLineEdit edit;
            QTableWidget table(2, 2);
            edit.ensurePolished();
            table.ensurePolished();
            const std::string where = Skins::toSetting(skin).toStdString() + " hue " + std::to_string(hue);
            const QPalette e = edit.palette();
            EXPECT_GE(contrast(e.color(QPalette::Text), e.color(QPalette::Base)), 4.5) << where;
            const QPalette t = table.palette();
            EXPECT_GE(contrast(t.color(QPalette::Text), t.color(QPalette::Base)), 4.5) << where;
            EXPECT_GE(contrast(t.color(QPalette::HighlightedText), t.color(QPalette::Highlight)), 3.0) << where;
        }
    }
}

TEST_F(SkinsTest, NightSkinIsDark)
{
    Skins::apply(*qApp, Skin::Skin2, 0);
    QLineEdit edit;
    edit.ensurePolished();
    EXPECT_LT(edit.palette().color(QPalette::Base).lightness(), 60);
    EXPECT_GT(edit.palette().color(QPalette::Text).lightness(), 180);
}

namespace {

// The colours of a rule body, in order, whatever their notation.
QList<QColor> coloursIn(const QString &qss)
{
    static const QRegularExpression pattern(
        uR"(#[0-9A-Fa-f]{8}\b|#[0-9A-Fa-f]{6}\b|#[0-9A-Fa-f]{3}\b|rgba?\((\d+),\s*(\d+),\s*(\d+))"_s);
    QList<QColor> colours;
    for (auto it = pattern.globalMatch(qss.mid(qss.indexOf(u'{'))); it.hasNext();) {
        const auto m = it.next();
        colours.append(m.captured(1).isEmpty() ? QColor::fromString(m.captured())
                                               : QColor(m.captured(1).toInt(), m.captured(2).toInt(),
                                                        m.captured(3).toInt()));
    }
    return colours;
}

int hueDistance(int a, int b)
{
    const int d = std::abs(a - b) % 360;
    return std::min(d, 360 - d);
}

} // namespace

TEST(SkinsHue, TurnsEveryNotationKeepingLuminance)
{
    struct Case
    {
        QString rule;
        int degrees;
        QString kept; // the notation that must survive
    };
    const Case cases[] = {
        {u"QWidget { color: #ff0000; }"_s, 120, u"color: #"_s},
        {u"QWidget { color: #F00 }"_s, -120, u"color: #"_s},
        {u"QWidget{background:rgb(255, 0, 0)}"_s, 240, u"background:rgb("_s},
        {u"QWidget { background: rgba(0,255,0, 128) }"_s, 120, u", 128) }"_s},
        {u"QWidget { color: #3a78c3; }"_s, 90, u"color: #"_s},
        {u"QWidget { color: #dce8f6; }"_s, -60, u"color: #"_s},
    };
    for (const Case &c : cases) {
        const QString out = Skins::rotateHue(c.rule, c.degrees);
        const QColor before = coloursIn(c.rule).value(0);
        const QColor after = coloursIn(out).value(0);
        ASSERT_TRUE(after.isValid()) << out.toStdString();
        EXPECT_TRUE(out.contains(c.kept)) << out.toStdString();
        EXPECT_LE(hueDistance(after.hslHue(), before.hslHue() + c.degrees), 3) << out.toStdString();
        EXPECT_NEAR(luminance(after), luminance(before), 0.01) << out.toStdString();
    }
    // A colour with alpha keeps it.
    const QString argb = Skins::rotateHue(u"QWidget { color: #80ff0000 }"_s, 120);
    EXPECT_TRUE(QRegularExpression(u"color: #80[0-9a-f]{6} }"_s).match(argb).hasMatch()) << argb.toStdString();

    // Every stop of a gradient turns.
    const QString gradient =
        u"QFrame { background: qlineargradient(x1:0, y1:0, x2:0, y2:1, stop:0 #ff0000, stop:1 #0000ff); }"_s;
    const QList<QColor> stops = coloursIn(Skins::rotateHue(gradient, 120));
    ASSERT_EQ(stops.size(), 2);
    EXPECT_LE(hueDistance(stops[0].hslHue(), 120), 3);
    EXPECT_LE(hueDistance(stops[1].hslHue(), 0), 3);
}

TEST(SkinsHue, LeavesGreysSelectorsAndCommentsAlone)
{
    const QString text = u"/* #ff0000 */ QPushButton#add, QLabel#bad { color: #808080; border: 1px solid #fff; }"_s;
    EXPECT_EQ(Skins::rotateHue(text, 90), text);
    const QString sheet = Skins::styleSheet(Skin::Skin1, 0);
    EXPECT_EQ(Skins::rotateHue(sheet, 0), sheet);
    EXPECT_EQ(Skins::rotateHue(sheet, 360), sheet);
}

TEST(SkinsHue, SliderValueTurnsTheShippedSheet)
{
    for (Skin skin : kSkins) {
        const QString plain = Skins::styleSheet(skin, 0);
        const QString turned = Skins::styleSheet(skin, 90);
        EXPECT_NE(plain, turned);
        // Only colours change: the rules and their number stay.
        EXPECT_EQ(plain.count(u'{'), turned.count(u'{'));
        EXPECT_EQ(plain.count(u'#'), turned.count(u'#'));
        EXPECT_EQ(Skins::styleSheet(skin, -90), Skins::styleSheet(skin, 270));
    }
    EXPECT_TRUE(Skins::styleSheet(Skin::Plain, 90).isEmpty());
}

TEST(SkinsAero, TranslucentWindowWhenOn)
{
    QWidget window;
    auto *child = new QPushButton(&window);
    Skins::setAero(*child, true); // acts on the child's window
    EXPECT_NEAR(window.windowOpacity(), Skins::kAeroOpacity, 0.01);
    Skins::setAero(window, false);
    EXPECT_DOUBLE_EQ(window.windowOpacity(), 1.0);
}

TEST(HelpWindowTest, ShowsTheShippedGuide)
{
    tav::test::DataFolder data;
    HelpWindow help(data.path());
    EXPECT_EQ(help.objectName(), u"helpWindow"_s);
    EXPECT_EQ(help.windowTitle(), u"帮助说明"_s);
    EXPECT_EQ(help.sourcePath(), HelpWindow::kShippedHelp);
    auto *browser = help.findChild<QTextBrowser *>(u"helpBrowser"_s);
    ASSERT_NE(browser, nullptr);
    const QString text = browser->toPlainText();
    EXPECT_TRUE(text.contains(u"Tavrel多媒体定时播放系统"_s));
    EXPECT_TRUE(text.contains(u"【PLAYLOG】.txt"_s));
    EXPECT_TRUE(text.contains(u"tavplayer --headless"_s));
}

TEST(HelpWindowTest, PrefersTheDataFoldersOwnPage)
{
    tav::test::DataFolder data;
    QFile page(data.file(HelpWindow::kFileName));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write(u"<html><body><p>本站自编的值班说明</p></body></html>"_s.toUtf8());
    page.close();

    HelpWindow help(data.path());
    EXPECT_EQ(help.sourcePath(), data.file(HelpWindow::kFileName));
    EXPECT_EQ(help.browser()->toPlainText(), u"本站自编的值班说明"_s);
}

TEST(HelpWindowTest, ReadsAGbkPageWrittenWithoutACharset)
{
    tav::test::DataFolder data;
    data.write(HelpWindow::kFileName, u"<html><body>停播日期请在周五前设好</body></html>"_s);
    HelpWindow help(data.path());
    EXPECT_TRUE(help.browser()->toPlainText().contains(u"停播日期请在周五前设好"_s));
}

namespace {

// Acts on the next message box once it is on screen.
void onMessageBox(const std::function<void(QMessageBox &)> &act)
{
    auto *poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, act] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            poll->stop();
            poll->deleteLater();
            act(*box);
        }
    });
    poll->start(10);
}

} // namespace

TEST(MessageBoxPromptTest, QuestionsDefaultAsAskedAndReportTheAnswer)
{
    QWidget owner;
    tav::MessageBoxPrompt prompt(&owner);
    for (const bool defaultAnswer : {true, false}) {
        QString seen;
        onMessageBox([&](QMessageBox &box) {
            seen = box.windowTitle() + u'|' + box.text();
            if (QPushButton *button = box.defaultButton())
                button->click(); // Enter
            else
                box.reject();
        });
        EXPECT_EQ(prompt.ask(u"提示"_s, u"确定退出软件吗?"_s, defaultAnswer), defaultAnswer);
        EXPECT_EQ(seen, u"提示|确定退出软件吗?"_s);
    }

    onMessageBox([](QMessageBox &box) { box.button(QMessageBox::No)->click(); });
    EXPECT_FALSE(prompt.ask(u"提示"_s, u"是否继续？"_s, true));

    QString informed;
    onMessageBox([&](QMessageBox &box) {
        informed = box.windowTitle() + u'|' + box.text();
        box.button(QMessageBox::Ok)->click();
    });
    prompt.inform(u"Tavrel多媒体定时播放系统"_s, u"程序已经运行！"_s);
    EXPECT_EQ(informed, u"Tavrel多媒体定时播放系统|程序已经运行！"_s);
}
