#include "playback/frmfullmv.h"

#include "platform/prompt.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"

#include <QEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

frmFullMV::frmFullMV(frmPlay &player, Prompt &prompt, QWidget *parent)
    : QWidget(parent, Qt::FramelessWindowHint | Qt::Tool)
    , m_player(player)
    , m_prompt(prompt)
{
    setObjectName(u"frmFullMV"_s);
    setWindowTitle(u"Tavrel多媒体定时播放系统"_s);
    setFocusPolicy(Qt::StrongFocus);
    setContextMenuPolicy(Qt::NoContextMenu);
    m_layout = new QVBoxLayout(this);
    m_layout->setContentsMargins(0, 0, 0, 0);

    // Over the video, centred, seen only while it has text.
    m_tips = new QLabel(this);
    m_tips->setObjectName(u"lblTips"_s);
    m_tips->setAlignment(Qt::AlignCenter);
    m_tips->setStyleSheet(u"QLabel { color: white; background: rgba(0, 0, 0, 160); font-size: 28px;"
                          " padding: 16px; }"_s);
    m_tips->hide();

    m_tipTimer = new QTimer(this);
    m_tipTimer->setSingleShot(true);
    m_tipTimer->setInterval(kTipMilliseconds);
    connect(m_tipTimer, &QTimer::timeout, this, [this] {
        m_tips->hide();
        leaveFull();
        emit returnedToMain();
    });

    m_player.installEventFilter(this);
}

void frmFullMV::showFull(QScreen *screen)
{
    if (!screen)
        screen = m_player.screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    MpvVideoWidget *video = m_player.video();
    if (video->parentWidget() != this) {
        m_layout->addWidget(video); // reparents it here
        video->setVisible(m_player.isVideoVisible());
    }
    m_full = true;
    if (screen)
        setGeometry(screen->geometry());
    showFullScreen();
    raise();
    activateWindow();
    setFocus();
}

void frmFullMV::FullSwt()
{
    if (!m_full)
        return;
    if (!m_prompt.ask(u"切换视窗"_s, u"是否退出全屏"_s, true))
        return;
    leaveFull();
}

void frmFullMV::leaveFull()
{
    m_tipTimer->stop();
    m_tips->hide();
    const bool wasFull = m_full;
    m_full = false;
    m_player.takeVideoBack();
    hide();
    if (wasFull)
        emit fullScreenLeft();
}

void frmFullMV::viewHidden()
{
    if (!m_full || m_tipTimer->isActive())
        return;
    m_tips->setText(u"视窗已经隐藏,2秒后自动返回主界面"_s);
    m_tips->adjustSize();
    m_tips->move((width() - m_tips->width()) / 2, (height() - m_tips->height()) / 2);
    m_tips->show();
    m_tips->raise();
    m_tipTimer->start();
}

bool frmFullMV::eventFilter(QObject *watched, QEvent *event)
{
    // The operator hid the player window ("隐藏视窗") while full screen.
    if (watched == &m_player && event->type() == QEvent::Hide && !event->spontaneous())
        viewHidden();
    return QWidget::eventFilter(watched, event);
}

void frmFullMV::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        FullSwt();
        return;
    }
    QWidget::keyPressEvent(event);
}

void frmFullMV::mouseDoubleClickEvent(QMouseEvent *)
{
    FullSwt();
}

void frmFullMV::paintEvent(QPaintEvent *)
{
    // Behind the video; seen while it is hidden for an audio-only item.
    QPainter painter(this);
    const QImage &background = m_player.video()->background();
    if (background.isNull())
        painter.fillRect(rect(), Qt::black);
    else
        painter.drawImage(rect(), background);
}

} // namespace tav
