#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QWidget>

namespace tav {

// Keeps always-on-top overlays (the logo and clock, a caption strip) above
// the player window and full-screen video. A window manager may put a
// full-screen or newly raised window above every "stay on top" window, so
// whenever a watched window is shown, raised, activated or changes state,
// each visible overlay is raised again once the event loop is back.
class OverlayKeeper final : public QObject
{
    Q_OBJECT
public:
    explicit OverlayKeeper(QObject *parent = nullptr);

    void addOverlay(QWidget *overlay);
    // A window that may cover the overlays (null is ignored).
    void watch(QWidget *window);
    // Raises every visible overlay now.
    void raiseOverlays();
    int raises() const { return m_raises; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QList<QPointer<QWidget>> m_overlays;
    bool m_pending = false;
    int m_raises = 0;
};

} // namespace tav
