#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QScreen;
class QTimer;
class QVBoxLayout;

namespace tav {

class Prompt;
class frmPlay;

// Full-screen video. There is one decoder, so this window does not play on
// its own: while full screen it holds the player window's video control
// (reparented from frmPlay), and gives it back when full screen ends. What
// plays, and a pause, are therefore always the same in both.
//
// The view counts as hidden when the operator hides the player window while
// full screen: the tip "视窗已经隐藏,2秒后自动返回主界面" shows for two
// seconds, then full screen ends and returnedToMain() is emitted.
class frmFullMV final : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kTipMilliseconds = 2000;

    frmFullMV(frmPlay &player, Prompt &prompt, QWidget *parent = nullptr);

    // Takes the video and covers the screen given, by default the one the
    // player window is on.
    void showFull(QScreen *screen = nullptr);
    bool isFull() const { return m_full; }

    // Asks "是否退出全屏"; on yes leaves full screen. Escape and a
    // double-click call it.
    void FullSwt();
    // Leaves full screen without asking: the video goes back to frmPlay.
    void leaveFull();
    // The view was hidden: tip, two seconds, back to the main window.
    void viewHidden();

signals:
    void fullScreenLeft();
    void returnedToMain();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    frmPlay &m_player;
    Prompt &m_prompt;
    QVBoxLayout *m_layout = nullptr;
    QLabel *m_tips = nullptr;
    QTimer *m_tipTimer = nullptr;
    bool m_full = false;
};

} // namespace tav
