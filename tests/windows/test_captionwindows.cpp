#include "captions/captionbook.h"
#include "captions/captionscroller.h"
#include "captions/captionstrip.h"
#include "captions/frmmovefont.h"
#include "fakes/rig.h"
#include "widgets.h"

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
    EXPECT_EQ(prompt.shown, QStringList{u"提示|不允许输入回车键"_s});
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

    get<QTableWidget>("MSHFGfont")->setCurrentCell(0, 0);
    prompt.answers = {false, true}; // delete asks first
    click("cmdScrollDel");
    EXPECT_EQ(book.rows().size(), 2);
    click("cmdScrollDel");
    EXPECT_EQ(column(4), (QStringList{u"甲"_s, QString()}));
    EXPECT_FALSE(d.text(u"【SCROLL】.ini"_s).contains(u"乙改"_s));
}

TEST_F(CaptionWindows, BadHeightIsResetTo50AndTheSettingsFontAndColourAreSaved)
{
    open();
    auto *top = get<QComboBox>("cboTop");
    top->setEditText(u"99999"_s);
    editor->cboTop_Change();
    EXPECT_EQ(prompt.shown, QStringList{u"提示|数值超出"_s});
    EXPECT_EQ(top->currentText(), u"50"_s);
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
    editor->setFontChooser([&](const QFont &) { return std::optional<QFont>(QFont(family, 36)); });
    editor->setColourChooser([](const QColor &) { return std::optional<QColor>(QColor(0, 128, 255)); });
    click("cmdCabelColor"); // the byte order is CaptionTest.SettingsRoundTripAndBadValuesAreReportedAndReplaced
    EXPECT_TRUE(d.text(u"【CONTROL】.ini"_s).contains(u"Size=36\r\n"_s));
    EXPECT_TRUE(d.text(u"【CONTROL】.ini"_s).contains(u"ForeColor=%1\r\n"_s.arg(0 + 128 * 256 + 255 * 65536)));
}

TEST_F(CaptionWindows, StripShowsTheCaptionOnTheScreenTheNextTakesItsPlaceAndStopEndsIt)
{
    d.write(u"【SCROLL】.ini"_s, u"[Scroll1]\ncontent=欢迎光临\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"
                                u"[Scroll2]\ncontent=乙\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"_s);
    d.write(u"【CONTROL】.ini"_s, u"[高度位置]\nY=99999\n"_s);
    open(); // the editor's preview starts the first caption
    ASSERT_TRUE(strip->isVisible());
    EXPECT_EQ(strip->caption(), u"欢迎光临"_s);
    EXPECT_TRUE(strip->isMoving());
    EXPECT_EQ(strip->geometry().bottom(), strip->screen()->geometry().bottom()); // a huge Y keeps it on the screen

    clock.advance(60); // the next caption takes its place
    scroller.onSecond();
    ASSERT_EQ(strip->caption(), u"乙"_s);

    click("cmdSRstop");
    EXPECT_FALSE(strip->isVisible());
    EXPECT_FALSE(strip->isMoving());

    editor->gridClicked(0); // the preview runs the chosen caption again
    click("cmdPreview");
    EXPECT_TRUE(strip->isVisible());
    EXPECT_EQ(strip->caption(), u"欢迎光临"_s);
}

} // namespace
