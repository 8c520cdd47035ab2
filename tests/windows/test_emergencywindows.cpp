#include "mainwindowfixture.h"
#include "shell/emergencycover.h"

#include <QApplication>
#include <QScreen>

namespace {

class EmergencyWindowTest : public MainWindowTest
{
protected:
    void SetUp() override
    {
        withBroadcasts = true;
        start();
    }
    QList<QWidget *> covers() const
    {
        QList<QWidget *> out;
        for (QWidget *w : QApplication::topLevelWidgets())
            if (w->objectName() == u"frmEmergency" && w->isVisible())
                out.append(w);
        return out;
    }
};

} // namespace

// The announcement field speaks at once; a setting that cannot work is
// refused with its message, the fields kept.
TEST_F(EmergencyWindowTest, TheFieldsAnnounceAndSaveAndKeepWhatIsRefused)
{
    get<QLineEdit>("txtAnnounce")->setText(u"请王老师到校门口"_s);
    click("cmdAnnounce");
    EXPECT_TRUE(station->broadcaster()->isBusy());
    EXPECT_EQ(station->broadcaster()->current().text, u"请王老师到校门口");

    get<QLineEdit>("txtEmergencyText")->setText(u"请就地避险"_s);
    get<QLineEdit>("txtEmergencyFile")->setText(d.file(u"没有.wav"_s));
    click("cmdEmergencySave");
    EXPECT_EQ(prompt.shown.last(), u"Tavrel多媒体定时播放系统|找不到声音文件："_s + d.file(u"没有.wav"_s));
    EXPECT_EQ(get<QLineEdit>("txtEmergencyText")->text(), u"请就地避险");
    get<QLineEdit>("txtEmergencyFile")->clear();
    click("cmdEmergencySave");
    EXPECT_EQ(station->emergency().settings().text, u"请就地避险");
}

// One question from the button or the tray; the red screen covers each
// screen and clears with a second click of its own button.
TEST_F(EmergencyWindowTest, StartedAfterOneQuestionItCoversTheScreenUntilCleared)
{
    prompt.answers = {false};
    click("cmdEmergency");
    EXPECT_FALSE(station->emergencyActive());
    EXPECT_TRUE(prompt.shown.value(0).contains(u"确定开始紧急广播吗？"_s));

    prompt.answers = {true};
    window->findChild<QAction *>(u"mnuPopEmergency"_s)->trigger();
    ASSERT_TRUE(station->emergencyActive());
    EXPECT_TRUE(station->log().text().contains(u"紧急广播开始（托盘）"_s));
    EXPECT_EQ(get<QPushButton>("cmdEmergency")->text(), u"解除紧急广播");
    const QList<QWidget *> shown = covers();
    ASSERT_EQ(shown.size(), QGuiApplication::screens().size());
    QWidget *cover = shown.first();
    EXPECT_EQ(cover->geometry(), QGuiApplication::primaryScreen()->geometry());
    EXPECT_TRUE(cover->windowFlags().testFlag(Qt::WindowStaysOnTopHint));

    auto *clear = tav::test::child<QPushButton>(cover, "cmdEmergencyCoverClear");
    clear->click();
    EXPECT_TRUE(station->emergencyActive()); // the first click only asks for a second
    EXPECT_EQ(clear->text(), u"再点一次，确认解除");
    clear->click();
    EXPECT_FALSE(station->emergencyActive());
    EXPECT_TRUE(covers().isEmpty());
    EXPECT_TRUE(station->log().text().contains(u"紧急广播解除（紧急画面）"_s));
    EXPECT_EQ(get<QPushButton>("cmdEmergency")->text(), u"紧急广播");
}
