#pragma once

#include <QObject>
#include <QTimer>

namespace tav {

class Clock;

// Emits second() just after every wall-clock second boundary, so that no
// second is skipped while the machine keeps up. A late wake-up emits once
// for the second it lands in; missed seconds are not replayed.
class SecondTicker : public QObject
{
    Q_OBJECT
public:
    static constexpr int kAfterBoundaryMs = 2;

    explicit SecondTicker(const Clock &clock, QObject *parent = nullptr);
    void start();
    void stop() { m_timer.stop(); }
    bool isActive() const { return m_timer.isActive(); }

signals:
    void second();

private:
    void fire();
    void scheduleNext();

    const Clock &m_clock;
    QTimer m_timer;
};

} // namespace tav
