#include "core/datadir.h"
#include "core/settings.h"
#include "widgets.h"
#include "playback/frmfullmv.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"

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
    prompt.answers = {false};
    full->FullSwt();
    EXPECT_EQ(prompt.shown, QStringList{u"切换视窗|是否退出全屏"_s});
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
}

} // namespace
