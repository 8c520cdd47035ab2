#pragma once

#include <QObject>
#include <QTimer>

class QSocketNotifier;

namespace tav {

class Clock;

// Emits second() just after every wall-clock second boundary, so that no
// second is skipped while the machine keeps up. A late wake-up emits once
// for the second it lands in; missed seconds are not replayed.
//
// On the system clock it wakes at the boundary itself: an absolute timer on
// the wall clock (a Linux timerfd) that the kernel also wakes when the clock
// is set, so a set clock is ticked at once and the next boundary of the new
// time is kept. Other clocks (tests' fake ones) are followed by a relative
// timer that aims at the boundary.
class SecondTicker : public QObject
{
    Q_OBJECT
public:
    static constexpr int kAfterBoundaryMs = 2;

    explicit SecondTicker(const Clock &clock, QObject *parent = nullptr);
    ~SecondTicker() override;
    void start();
    void stop();
    bool isActive() const;
    // The wall-clock timer is in use (not the relative one).
    bool wakesAtTheBoundary() const { return m_fd >= 0; }

signals:
    void second();

private:
    void fire();
    void scheduleNext();
    bool armWallTimer();
    void wallTimerFired();

    const Clock &m_clock;
    QTimer m_timer;
    int m_fd = -1;
    QSocketNotifier *m_notifier = nullptr;
    bool m_active = false;
};

} // namespace tav
