#pragma once

#include <QDateTime>
#include <QList>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class QLabel;
class QPushButton;

namespace tav {

// The emergency's red screen: one frameless window over each screen, above
// every window (full-screen video included; an OverlayKeeper raises it
// again), with the alarm's text in large white letters. Its own button
// clears the emergency with a second click within kConfirmMs, as no
// question box can show above it.
class EmergencyCover : public QObject
{
    Q_OBJECT
public:
    static constexpr int kConfirmMs = 5000;

    explicit EmergencyCover(QObject *parent = nullptr);
    ~EmergencyCover() override;

    void showText(const QString &text, const QDateTime &since);
    void hideAll();
    bool isShown() const { return !m_windows.isEmpty(); }
    // The windows shown, one per screen (for the keeper and tests).
    QList<QWidget *> windows() const;

signals:
    void windowShown(QWidget *window);
    void clearConfirmed();

private:
    QWidget *makeWindow(const QRect &geometry, const QString &text, const QDateTime &since);

    QList<QPointer<QWidget>> m_windows;
    QTimer m_confirm; // the first click of the clear button waits this long for the second
};

} // namespace tav
