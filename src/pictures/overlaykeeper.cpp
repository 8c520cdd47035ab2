#include "pictures/overlaykeeper.h"

#include <QEvent>
#include <QTimer>

namespace tav {

OverlayKeeper::OverlayKeeper(QObject *parent) : QObject(parent) {}

void OverlayKeeper::addOverlay(QWidget *overlay)
{
    if (overlay && !m_overlays.contains(overlay))
        m_overlays.append(overlay);
}

void OverlayKeeper::watch(QWidget *window)
{
    if (window)
        window->installEventFilter(this);
}

void OverlayKeeper::raiseOverlays()
{
    m_pending = false;
    for (const QPointer<QWidget> &overlay : std::as_const(m_overlays)) {
        if (overlay && overlay->isVisible()) {
            overlay->raise();
            ++m_raises;
        }
    }
}

bool OverlayKeeper::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
    case QEvent::WindowActivate:
    case QEvent::WindowStateChange:
    case QEvent::ZOrderChange:
        // After the window manager has done its own stacking for this change.
        if (!m_pending) {
            m_pending = true;
            QTimer::singleShot(0, this, &OverlayKeeper::raiseOverlays);
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace tav
