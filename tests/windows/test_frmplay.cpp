#include "core/datadir.h"
#include "core/settings.h"
#include "widgets.h"
#include "playback/frmfullmv.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSignalSpy>

namespace {

class PlayerWindowTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::test::ScriptedPrompt prompt;
    std::unique_ptr<tav::Settings> settings;
    std::unique_ptr<tav::frmPlay> play;
    std::unique_ptr<tav::frmFullMV> full;

    // (Re)starts both windows, without a player, on the stored "height,width,top,left" when given.
    void start(const QString &size = {})
    {
        if (const QStringList f = size.split(u','); f.size() == 4)
            d.write(u"【CONTROL】.ini"_s, u"[播放窗口尺寸]\nPlayHeight=%1\nPlayWidth=%2\nPlayTop=%3\nPlayLeft=%4\n"_s
                                             .arg(f[0], f[1], f[2], f[3]));
        full.reset();
        play.reset();
        settings = std::make_unique<tav::Settings>(tav::DataDir(d.path()));
        settings->load();
        play = std::make_unique<tav::frmPlay>(*settings, tav::DataDir(d.path()), nullptr);
        full = std::make_unique<tav::frmFullMV>(*play, prompt);
    }
    QWidget *videoParent() const { return play->video()->parentWidget(); }
};

TEST_F(PlayerWindowTest, StoredSizeIsAppliedAsLogicalPixels)
{
    start(); // no 【CONTROL】.ini at all
    EXPECT_EQ(play->geometry(), QRect(0, 0, 0, 0));
    const struct { const char *stored; QRect placed; } cases[] = {
        {"600,800,0,0", {0, 0, 800, 600}}, {"360,640,20,30", {30, 20, 640, 360}}, {"360,640,abc,12x", {0, 0, 640, 360}}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.stored);
        start(QString::fromLatin1(c.stored));
        QSignalSpy applied(play.get(), &tav::frmPlay::sizeApplied);
        play->windowSize();
        EXPECT_EQ(play->geometry(), c.placed);
        ASSERT_EQ(applied.size(), 1);
        EXPECT_EQ(applied.at(0), (QVariantList{c.placed.height(), c.placed.width(), c.placed.y(), c.placed.x()}));
    }

    QSignalSpy applied(play.get(), &tav::frmPlay::sizeApplied); // saved sizes are placed again, once for the four keys
    settings->setText(tav::Setting::PlayHeight, u"300"_s);
    settings->setText(tav::Setting::PlayWidth, u"400"_s);
    settings->setText(tav::Setting::PlayTop, u"50"_s);
    settings->setText(tav::Setting::PlayLeft, u"60"_s);
    QCoreApplication::processEvents();
    EXPECT_EQ(play->geometry(), QRect(60, 50, 400, 300));
    EXPECT_EQ(applied.size(), 1);
}

TEST_F(PlayerWindowTest, SecondScreenFallsBackToTheOnlyScreen)
{
    ASSERT_EQ(QGuiApplication::screens().size(), 1);
    const QRect first = QGuiApplication::screens().first()->geometry();
    d.write(u"【IMAGE】.ini"_s, u"[设置]\n输出到第二显示器=1\n"_s);
    start(u"600,800,0,0"_s); // the switch is on: the screen, not the stored size
    EXPECT_TRUE(play->secondMonitorWanted());
    EXPECT_EQ(play->geometry(), first);

    d.write(u"【IMAGE】.ini"_s, u"[设置]\n输出到第二显示器=0\n"_s);
    start();
    EXPECT_FALSE(play->secondMonitorWanted());
    EXPECT_EQ(play->geometry(), QRect(0, 0, 800, 600));
    play->windowSizeTwo();
    EXPECT_EQ(play->geometry(), first);
}

TEST_F(PlayerWindowTest, BetweenItemsTheBackgroundPictureIsStretchedElseBlack)
{
    start(u"48,64,0,0"_s);
    play->show();
    const QImage black = play->grab().toImage();
    EXPECT_EQ(black.pixelColor(black.width() / 2, black.height() / 2), QColor(Qt::black));

    QImage picture(8, 4, QImage::Format_RGB32);
    picture.fill(QColor(200, 30, 30));
    picture.setPixelColor(7, 3, QColor(30, 30, 200)); // bottom right: stretched, it reaches the corner
    ASSERT_TRUE(picture.save(d.file(u"VBG.JPG"_s), "PNG")); // any case, as a Windows folder may have it
    start();
    play->show();
    for (QWidget *shown : {static_cast<QWidget *>(play->video()), static_cast<QWidget *>(play.get())}) {
        const QImage image = shown->grab().toImage();
        ASSERT_EQ(image.size(), QSize(64, 48));
        EXPECT_EQ(image.pixelColor(10, 10), QColor(200, 30, 30));
        EXPECT_EQ(image.pixelColor(63, 47), QColor(30, 30, 200));
        play->setVideoVisible(false); // then the window's own background shows
    }
}

TEST(PlayerWindowSizeCheck, WholeNumbersInRange)
{
    // Height, width, top, left: sizes 1 … 10000, places ±10000, whole numbers only.
    const struct { const char *text; bool valid; } cases[] = {
        {"600,800,0,0", true},       {" 1,10000,-10000,10000", true}, {"1,1,-5,+5", true},
        {"0,800,0,0", false},        {"600,10001,0,0", false},        {"-600,800,0,0", false},
        {"600,800,-10001,0", false}, {"600,800,0,10001", false},      {"600.5,800,0,0", false},
        {"600,8OO,0,0", false},      {"600,800,,0", false},           {"600,800,0,1e3", false},
    };
    for (const auto &c : cases) {
        const QStringList f = QString::fromLatin1(c.text).split(u',');
        EXPECT_EQ(tav::frmPlay::validSize(f[0], f[1], f[2], f[3]), c.valid) << c.text;
    }
}

TEST_F(PlayerWindowTest, TheOneVideoGoesFullScreenAndLeavesItOnlyWhenTheAnswerIsYes)
{
    start(u"360,640,0,0"_s);
    play->show();
    EXPECT_EQ(videoParent(), play.get());
    EXPECT_TRUE(play->hasVideo());
    full->showFull();
    EXPECT_TRUE(full->isFull());
    EXPECT_TRUE(full->isVisible());
    EXPECT_EQ(videoParent(), full.get());
    EXPECT_FALSE(play->hasVideo());
    play->setVideoVisible(false); // an audio item hides the picture wherever it is

    QSignalSpy left(full.get(), &tav::frmFullMV::fullScreenLeft);
    prompt.answers = {false, false, false}; // the button, Escape and a double-click ask the same
    full->FullSwt();
    QTest::keyClick(full.get(), Qt::Key_Escape);
    QTest::mouseDClick(full.get(), Qt::LeftButton);
    EXPECT_EQ(prompt.shown, QStringList(3, u"切换视窗|是否退出全屏"_s));
    EXPECT_TRUE(full->isFull());
    EXPECT_EQ(videoParent(), full.get());
    EXPECT_EQ(left.size(), 0);

    prompt.answers = {true};
    full->FullSwt();
    EXPECT_FALSE(full->isFull());
    EXPECT_FALSE(full->isVisible());
    EXPECT_EQ(videoParent(), play.get());
    EXPECT_EQ(left.size(), 1);
    EXPECT_TRUE(play->video()->isHidden()); // hidden in full screen, it stays hidden on the way back
    full->FullSwt(); // not full screen: nothing to ask
    EXPECT_EQ(prompt.shown.size(), 4);
    play->setVideoVisible(true);
    full->showFull();
    EXPECT_FALSE(play->video()->isHidden());
}

TEST_F(PlayerWindowTest, HidingThePlayerWindowWhileFullReturnsAfterTheTip)
{
    start();
    play->show();
    full->showFull();
    QSignalSpy returned(full.get(), &tav::frmFullMV::returnedToMain);
    auto *tips = tav::test::child<QLabel>(full.get(), "lblTips");
    ASSERT_NE(tips, nullptr);
    EXPECT_TRUE(tips->isHidden());

    play->hide();
    EXPECT_FALSE(tips->isHidden());
    EXPECT_EQ(tips->text(), u"视窗已经隐藏,2秒后自动返回主界面");
    QTest::qWait(tav::frmFullMV::kTipMilliseconds / 2);
    EXPECT_TRUE(full->isFull()); // still waiting
    ASSERT_TRUE(returned.wait(tav::frmFullMV::kTipMilliseconds * 2));
    EXPECT_FALSE(full->isFull());
    EXPECT_TRUE(tips->isHidden());
    EXPECT_EQ(videoParent(), play.get());
    EXPECT_TRUE(prompt.shown.isEmpty()); // no question on this way out

    play->show(); // hiding it while not full screen is only hiding it
    play->hide();
    EXPECT_TRUE(tips->isHidden());
}

} // namespace
