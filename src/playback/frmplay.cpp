#include "playback/frmplay.h"

#include "core/datadir.h"
#include "core/settings.h"
#include "playback/mpvvideowidget.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr int kMaxExtent = 10000;

bool wholeNumber(const QString &text, int low, int high)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    return ok && value >= low && value <= high;
}

} // namespace

frmPlay::frmPlay(Settings &settings, const DataDir &dir, MpvPlayer *player, QWidget *parent)
    : QWidget(parent, Qt::FramelessWindowHint | Qt::Tool)
    , m_settings(settings)
{
    setObjectName(u"frmPlay"_s);
    setWindowTitle(u"Tavrel多媒体定时播放系统"_s);
    m_layout = new QVBoxLayout(this);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_video = new MpvVideoWidget(player, dir.fixedFile(DataDir::kPlayerBackground), this);
    m_video->setObjectName(u"wmp1"_s);
    m_layout->addWidget(m_video);

    connect(&m_settings, &Settings::textChanged, this, [this](Setting s, const QString &) {
        if (s == Setting::PlayHeight || s == Setting::PlayWidth || s == Setting::PlayTop
            || s == Setting::PlayLeft)
            placementSettingChanged();
    });
    applyPlacement();
}

frmPlay::PlaySize frmPlay::storedSize() const
{
    return {m_settings.number(Setting::PlayHeight), m_settings.number(Setting::PlayWidth),
            m_settings.number(Setting::PlayTop), m_settings.number(Setting::PlayLeft)};
}

void frmPlay::windowSize()
{
    const PlaySize size = storedSize();
    setGeometry(size.left, size.top, qMax(0, size.width), qMax(0, size.height));
    emit sizeApplied(size.height, size.width, size.top, size.left);
}

void frmPlay::windowSizeTwo()
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return;
    const QScreen *screen = screens.size() > 1 ? screens.at(1) : screens.first();
    setGeometry(screen->geometry());
}

Settings::PlayWindowPlace frmPlay::freshPlace()
{
    Settings::PlayWindowPlace place;
    const QList<QScreen *> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return place;
    if (screens.size() > 1) {
        const QRect second = screens.at(1)->geometry();
        return {second.height(), second.width(), second.top(), second.left(), true};
    }
    const QRect free = screens.first()->availableGeometry();
    place.width = free.width() / 2;
    place.height = place.width * 9 / 16;
    place.left = free.right() + 1 - place.width;
    place.top = free.top();
    return place;
}

bool frmPlay::secondMonitorWanted() const
{
    return m_settings.isOn(Switch::SecondMonitor);
}

void frmPlay::applyPlacement()
{
    if (secondMonitorWanted())
        windowSizeTwo();
    else
        windowSize();
}

void frmPlay::placementSettingChanged()
{
    // The four keys are saved one after another: apply them once, together.
    if (m_placementPending)
        return;
    m_placementPending = true;
    QTimer::singleShot(0, this, [this] {
        m_placementPending = false;
        applyPlacement();
    });
}

void frmPlay::setVideoVisible(bool visible)
{
    m_videoVisible = visible;
    m_video->setVisible(visible);
}

bool frmPlay::hasVideo() const
{
    return m_video->parentWidget() == this;
}

void frmPlay::takeVideoBack()
{
    if (hasVideo())
        return;
    m_layout->addWidget(m_video); // reparents it here
    m_video->setVisible(m_videoVisible);
}

bool frmPlay::validSize(const QString &height, const QString &width, const QString &top,
                        const QString &left)
{
    return wholeNumber(height, 1, kMaxExtent) && wholeNumber(width, 1, kMaxExtent)
           && wholeNumber(top, -kMaxExtent, kMaxExtent) && wholeNumber(left, -kMaxExtent, kMaxExtent);
}

void frmPlay::paintEvent(QPaintEvent *)
{
    // Seen only while the control is hidden or in the full-screen window.
    QPainter painter(this);
    const QImage &background = m_video->background();
    if (background.isNull())
        painter.fillRect(rect(), Qt::black);
    else
        painter.drawImage(rect(), background);
}

} // namespace tav
