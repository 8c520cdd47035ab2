#include "core/secondticker.h"

#include "core/clock.h"

#include <QSocketNotifier>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>

namespace tav {

SecondTicker::SecondTicker(const Clock &clock, QObject *parent) : QObject(parent), m_clock(clock)
{
    if (dynamic_cast<const SystemClock *>(&clock))
        m_fd = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (m_fd >= 0) {
        m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
        m_notifier->setEnabled(false);
        connect(m_notifier, &QSocketNotifier::activated, this, &SecondTicker::onTimerFd);
    }
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SecondTicker::fire);
}

SecondTicker::~SecondTicker()
{
    if (m_fd >= 0) {
        delete m_notifier;
        ::close(m_fd);
    }
}

void SecondTicker::start()
{
    m_active = true;
    if (m_notifier)
        m_notifier->setEnabled(true);
    scheduleNext();
}

void SecondTicker::stop()
{
    m_active = false;
    m_timer.stop();
    if (m_fd >= 0) {
        m_notifier->setEnabled(false);
        const itimerspec off{};
        ::timerfd_settime(m_fd, 0, &off, nullptr);
    }
}

void SecondTicker::onTimerFd()
{
    std::uint64_t expirations = 0;
    const ssize_t n = ::read(m_fd, &expirations, sizeof expirations);
    if (n < 0 && errno == ECANCELED) {
        // The clock was set: the boundary it waited for means nothing now.
        scheduleNext();
        emit clockSet();
        return;
    }
    if (n != sizeof expirations || !m_active)
        return;
    // Armed before the work of this second runs, so that slow work never
    // costs the following seconds their tick.
    scheduleNext();
    emit second();
}

void SecondTicker::fire()
{
    // Woken just before the boundary: wait for it rather than tick the old second twice.
    if (m_clock.now().time().msec() > 900) {
        scheduleNext();
        return;
    }
    scheduleNext();
    emit second();
}

void SecondTicker::scheduleNext()
{
    if (!m_active)
        return;
    if (m_fd >= 0) {
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        itimerspec at{};
        at.it_value.tv_sec = now.tv_sec + 1;
        at.it_value.tv_nsec = 0;
        if (::timerfd_settime(m_fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &at, nullptr) == 0)
            return;
        // Never expected; the Qt timer still keeps the seconds coming.
        m_notifier->setEnabled(false);
        ::close(m_fd);
        m_fd = -1;
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    const int msec = m_clock.now().time().msec();
    m_timer.start(1000 - msec + kAfterBoundaryMs);
}

} // namespace tav
