#pragma once

#include <QObject>
#include <QTimer>

class QSocketNotifier;

namespace tav {

class Clock;

// Emits second() at every wall-clock second boundary, so that no second is
// skipped while the machine keeps up. A late wake-up emits once for the
// second it lands in; missed seconds are not replayed.
//
// On the system clock it wakes at the boundary itself: a timer file
// descriptor armed at the next whole second of CLOCK_REALTIME (absolute, so
// no rounding to milliseconds and no drift), cancelled by the kernel when the
// clock is set, after which it is armed again for the new time's next
// second and clockSet() is emitted. On any other clock (tests) a precise Qt
// timer aims just after the boundary that clock will show.
class SecondTicker : public QObject
{
    Q_OBJECT
public:
    static constexpr int kAfterBoundaryMs = 2;

    explicit SecondTicker(const Clock &clock, QObject *parent = nullptr);
    ~SecondTicker() override;
    void start();
    void stop();
    bool isActive() const { return m_active; }
    // Wakes at the boundary through the kernel's timer (false: a Qt timer).
    bool isExact() const { return m_fd >= 0; }

signals:
    void second();
    // The system clock was set while waiting (by a time service, an
    // operator, the network time window).
    void clockSet();

private:
    void fire();
    void onTimerFd();
    void scheduleNext();

    const Clock &m_clock;
    QTimer m_timer;
    int m_fd = -1;
    QSocketNotifier *m_notifier = nullptr;
    bool m_active = false;
};

} // namespace tav
