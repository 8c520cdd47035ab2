#include "core/secondticker.h"

#include "core/clock.h"

namespace tav {

SecondTicker::SecondTicker(const Clock &clock, QObject *parent) : QObject(parent), m_clock(clock)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SecondTicker::fire);
}

void SecondTicker::start()
{
    scheduleNext();
}

void SecondTicker::fire()
{
    // Woken just before the boundary: wait for it rather than tick the old second twice.
    if (m_clock.now().time().msec() > 900) {
        scheduleNext();
        return;
    }
    // Armed before the work of this second runs, so that slow work never
    // costs the following seconds their tick.
    scheduleNext();
    emit second();
}

void SecondTicker::scheduleNext()
{
    const int msec = m_clock.now().time().msec();
    m_timer.start(1000 - msec + kAfterBoundaryMs);
}

} // namespace tav
