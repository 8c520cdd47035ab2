#include "captions/captionbook.h"
#include "captions/captionscroller.h"
#include "captions/captionstrip.h"
#include "captions/frmmovefont.h"
#include "fakes/rig.h"
#include "widgets.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>

namespace {

// The editor and the strip on a data folder, the clock at 08:00.
class CaptionWindows : public ::testing::Test, protected tav::test::PlaybackRig, public tav::test::WindowDriver
{
protected:
    CaptionWindows() : PlaybackRig("2026-11-25 08:00:00") {}
    tav::CaptionBook book{dir, log, clock};
    tav::CaptionScroller scroller{clock, settings, book};
    std::unique_ptr<tav::CaptionStrip> strip;
    std::unique_ptr<tav::frmMoveFont> editor;

    void open()
    {
        settings.load();
        strip = std::make_unique<tav::CaptionStrip>(scroller, book, settings, log, clock);
        editor = std::make_unique<tav::frmMoveFont>(book, scroller, strip.get(), prompt, clock);
        editor->setFontChooser([](const QFont &) { return std::optional<QFont>(); });
        editor->setColourChooser([](const QColor &) { return std::optional<QColor>(); });
    }
    const QObject *root() const override { return editor.get(); }
    void type(const QString &text) { get<QLineEdit>("txtFont")->setText(text); }
    void times(const char *start, const char *end)
    {
        get<QTimeEdit>("DTPStart")->setTime(QTime::fromString(QString::fromLatin1(start), u"HH:mm"_s));
        get<QTimeEdit>("DTPend")->setTime(QTime::fromString(QString::fromLatin1(end), u"HH:mm"_s));
    }
    QStringList column(int col) const { return tav::test::texts(get<QTableWidget>("MSHFGfont"), col); }
    QString lastShown() const { return prompt.shown.isEmpty() ? QString() : prompt.shown.last(); }
};

// The other text checks and the sort are CaptionTest's.
TEST_F(CaptionWindows, AddingRefusesEnterAsksAboutDuplicatesAndShowsTheSortedList)
{
    open();
    auto *text = get<QLineEdit>("txtFont");
    text->setText(u"一行"_s);
    QTest::keyClick(text, Qt::Key_Return);
    QTest::keyClick(text, Qt::Key_Enter);
    EXPECT_EQ(prompt.shown, QStringList(2, u"提示|不允许输入回车键"_s));
    EXPECT_EQ(text->text(), u"一行"_s);
    type(QString());
    click("cmdScrollAdd");
    EXPECT_EQ(lastShown(), u"提示|字幕内容不能为空"_s);
    EXPECT_TRUE(book.rows().isEmpty());

    for (const auto &[caption, start, end] : {std::tuple{u"下午好"_s, "14:00", "15:00"}, {u"早上好"_s, "07:30", "08:00"}}) {
        type(caption);
        times(start, end);
        click("cmdScrollAdd");
        EXPECT_EQ(lastShown(), u"提示|已新增字幕，并且已自动按时间排序在列表中"_s);
    }
    EXPECT_EQ(column(0), (QStringList{u"1"_s, u"2"_s, QString()})); // one empty row after the list
    EXPECT_EQ(column(4), (QStringList{u"早上好"_s, u"下午好"_s, QString()}));
    EXPECT_TRUE(d.text(u"【SCROLL】.ini"_s).startsWith(u"[Scroll1]\r\ncontent=早上好\r\n"_s));

    prompt.answers = {false, true}; // the same text again: asked; no keeps the list, yes adds it
    click("cmdScrollAdd");
    EXPECT_EQ(lastShown(), u"提示|该字幕已存在,是否真的添加相同的字幕！"_s);
    EXPECT_EQ(book.rows().size(), 2);
    click("cmdScrollAdd");
    EXPECT_EQ(book.rows().size(), 3);
}

TEST_F(CaptionWindows, ClickShowsDoubleClickEditsAndTheListWaitsMeanwhile)
{
    d.write(u"【SCROLL】.ini"_s, u"[Scroll1]\ncontent=甲\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"
                                 "[Scroll2]\ncontent=乙\nstartTime=10:00:00\nendTime=11:00:00\nswicth=关\n"_s);
    open();
    editor->gridClicked(2);
    EXPECT_EQ(lastShown(), u"提示|本行为空"_s);
    editor->gridClicked(1);
    EXPECT_EQ(get<QLabel>("Label11")->text(), u"乙"_s);

    editor->gridDoubleClicked(1);
    EXPECT_EQ(get<QLineEdit>("txtFont")->text(), u"乙"_s);
    EXPECT_EQ(get<QTimeEdit>("DTPStart")->time(), QTime(10, 0));
    editor->gridClicked(0);
    EXPECT_EQ(lastShown(), u"提示|编辑字幕状态，列表禁止操作"_s);
    EXPECT_EQ(get<QLabel>("Label11")->text(), u"乙"_s);

    type(u"乙改"_s); // moved before 甲: the list is sorted, the row keeps its switch
    times("06:00", "07:00");
    click("cmdChange");
    EXPECT_EQ(lastShown(), u"提示|已编辑第2条字幕，并且已自动按时间排序在列表中"_s);
    EXPECT_EQ(column(4), (QStringList{u"乙改"_s, u"甲"_s, QString()}));
    EXPECT_EQ(column(3), (QStringList{u"关"_s, u"开"_s, QString()}));
    editor->gridClicked(1);
    EXPECT_EQ(get<QLabel>("Label11")->text(), u"甲"_s); // editing is over

    get<QTableWidget>("MSHFGfont")->setCurrentCell(0, 0);
    prompt.answers = {false, true}; // delete asks first
    click("cmdScrollDel");
    EXPECT_EQ(book.rows().size(), 2);
    click("cmdScrollDel");
    EXPECT_EQ(column(4), (QStringList{u"甲"_s, QString()}));
    EXPECT_FALSE(d.text(u"【SCROLL】.ini"_s).contains(u"乙改"_s));
}

TEST_F(CaptionWindows, BadHeightIsResetTo50TheSettingsAreSavedAndAMissingFontFallsBack)
{
    open();
    auto *top = get<QComboBox>("cboTop");
    for (const QString &bad : {u"99999"_s, u"abc"_s}) {
        prompt.shown.clear();
        top->setEditText(bad);
        editor->cboTop_Change();
        EXPECT_EQ(prompt.shown, QStringList{u"提示|数值超出"_s}) << bad.toStdString();
        EXPECT_EQ(top->currentText(), u"50"_s);
    }
    top->setEditText(u"300"_s);
    editor->cboTop_Change();
    get<QScrollBar>("HScrollLeftMove")->setValue(7);
    get<QComboBox>("cboTurner")->setEditText(u"5"_s);
    get<QRadioButton>("OptScrollMode1")->setChecked(true);
    get<QComboBox>("cboSC_ChangeTime")->setCurrentIndex(2);
    click("cmdScrollSave");
    const QString control = d.text(u"【CONTROL】.ini"_s);
    for (const char *line : {"[速度]\r\nMOVE=7\r\n", "[跳跃速度]\r\nJUMP=5\r\n", "[高度位置]\r\nY=300\r\n",
                             "[字幕播放方式]\r\nManner=1\r\n", "[字幕切换时间]\r\ntitleChangeTime=3\r\n"})
        EXPECT_TRUE(control.contains(QString::fromUtf8(line))) << line;

    const QString family = QGuiApplication::font().family();
    editor->setFontChooser([&](const QFont &) {
        QFont f(family, 36);
        f.setItalic(true);
        return std::optional<QFont>(f);
    });
    editor->setColourChooser([](const QColor &) { return std::optional<QColor>(QColor(0, 128, 255)); });
    click("cmdCabelColor"); // the byte order is CaptionTest.SettingsRoundTripAndBadValuesAreReportedAndReplaced
    EXPECT_TRUE(d.text(u"【CONTROL】.ini"_s).contains(u"Size=36\r\n"_s));
    EXPECT_TRUE(d.text(u"【CONTROL】.ini"_s).contains(u"ForeColor=%1\r\n"_s.arg(0 + 128 * 256 + 255 * 65536)));
    EXPECT_TRUE(get<QLabel>("lblDemo")->font().italic());
    EXPECT_EQ(get<QLabel>("lblDemo")->palette().color(QPalette::WindowText), QColor(0, 128, 255));
    EXPECT_EQ(strip->colour(), QColor(0, 128, 255));
    EXPECT_EQ(strip->captionFontInUse().pointSize(), 36);

    d.write(u"【CONTROL】.ini"_s, u"[字体]\nName=并不存在的字体XYZ\nSize=20\n"_s);
    book.load(); // said once, and the default family is drawn
    EXPECT_TRUE(log.text().contains(u"字幕字体“并不存在的字体XYZ”在本机不存在"_s));
    book.load();
    EXPECT_EQ(log.text().count(u"并不存在的字体XYZ"_s), 1);
    EXPECT_EQ(strip->captionFontInUse().family(), family);
    EXPECT_EQ(strip->captionFontInUse().pointSize(), 20);
}

TEST_F(CaptionWindows, StripRunsRightToLeftAtItsSpeedTheNextCaptionTakesItsPlaceAndItComesBackFromTheRight)
{
    d.write(u"【SCROLL】.ini"_s, u"[Scroll1]\ncontent=欢迎光临\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"
                                u"[Scroll2]\ncontent=乙\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"_s);
    d.write(u"【CONTROL】.ini"_s, u"[速度]\nMOVE=4\n[跳跃速度]\nJUMP=2\n[高度位置]\nY=99999\n"_s);
    open(); // the editor's preview starts the first caption
    ASSERT_TRUE(strip->isVisible());
    EXPECT_EQ(strip->caption(), u"欢迎光临"_s);
    EXPECT_EQ(get<QLabel>("lblPreview")->text(), u"预览第1条"_s);
    const QRect screen = strip->screen()->geometry();
    EXPECT_EQ(strip->width(), screen.width());
    EXPECT_EQ(strip->geometry().bottom(), screen.bottom()); // a huge Y keeps the band on the screen

    // 4 pixels per 2 ms: 2 pixels a millisecond, against the real time read on both sides of each position.
    QElapsedTimer t;
    t.start();
    const double x0 = strip->position();
    const qint64 x0Late = t.elapsed();
    EXPECT_NEAR(x0, screen.width(), 40);
    QTest::qWait(150);
    const qint64 early = t.elapsed();
    const double moved = x0 - strip->position();
    const qint64 late = t.elapsed();
    EXPECT_GE(moved, 2.0 * double(early - x0Late) - 2.0);
    EXPECT_LE(moved, 2.0 * double(late) + 2.0);

    const double before = strip->position(); // the next caption replaces the text where it stands, moving on
    clock.advance(60);
    scroller.onSecond();
    ASSERT_EQ(strip->caption(), u"乙"_s);
    EXPECT_LE(strip->position(), before);
    EXPECT_GT(strip->position(), before - 60);

    QTest::qWait(int((screen.width() + 400) / 2)); // once it has left on the left it comes in again on the right
    EXPECT_GT(strip->position(), -400);
    EXPECT_TRUE(strip->isMoving());

    click("cmdSRstop");
    EXPECT_FALSE(strip->isVisible());
    EXPECT_FALSE(strip->isMoving());
    const double stood = strip->position();
    QTest::qWait(30);
    EXPECT_EQ(strip->position(), stood);

    editor->gridClicked(0); // the preview runs the chosen caption again
    click("cmdPreview");
    EXPECT_TRUE(strip->isVisible());
    EXPECT_EQ(strip->caption(), u"欢迎光临"_s);
}

} // namespace
