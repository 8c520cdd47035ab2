#include "core/secondticker.h"

#include "core/clock.h"

#include <QSocketNotifier>

#ifdef Q_OS_LINUX
#include <sys/timerfd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <unistd.h>
#endif

namespace tav {

SecondTicker::SecondTicker(const Clock &clock, QObject *parent) : QObject(parent), m_clock(clock)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &SecondTicker::fire);
#ifdef Q_OS_LINUX
    if (dynamic_cast<const SystemClock *>(&m_clock)) {
        m_fd = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
        if (m_fd >= 0) {
            m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
            m_notifier->setEnabled(false);
            connect(m_notifier, &QSocketNotifier::activated, this, &SecondTicker::wallTimerFired);
        }
    }
#endif
}

SecondTicker::~SecondTicker()
{
#ifdef Q_OS_LINUX
    if (m_fd >= 0) {
        delete m_notifier;
        ::close(m_fd);
    }
#endif
}

void SecondTicker::start()
{
    m_active = true;
    if (m_fd >= 0 && armWallTimer())
        return;
    scheduleNext();
}

void SecondTicker::stop()
{
    m_active = false;
    m_timer.stop();
#ifdef Q_OS_LINUX
    if (m_fd >= 0) {
        m_notifier->setEnabled(false);
        const itimerspec off{};
        timerfd_settime(m_fd, 0, &off, nullptr);
    }
#endif
}

bool SecondTicker::isActive() const
{
    return m_active;
}

// Armed for the next boundary of the wall clock as it reads now, and to be
// woken early should the clock be set meanwhile.
bool SecondTicker::armWallTimer()
{
#ifdef Q_OS_LINUX
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return false;
    itimerspec at{};
    at.it_value.tv_sec = now.tv_sec + 1;
    at.it_value.tv_nsec = long(kAfterBoundaryMs) * 1'000'000L;
    if (timerfd_settime(m_fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &at, nullptr) != 0)
        return false;
    m_notifier->setEnabled(true);
    return true;
#else
    return false;
#endif
}

void SecondTicker::wallTimerFired()
{
#ifdef Q_OS_LINUX
    std::uint64_t expirations = 0;
    const ssize_t n = ::read(m_fd, &expirations, sizeof expirations);
    // ECANCELED: the clock was set. The new time is ticked at once.
    if (n < 0 && errno != ECANCELED)
        return; // nothing to read after all
    if (!m_active)
        return;
    // Armed before the work of this second runs, so that slow work never
    // costs the following seconds their tick.
    if (!armWallTimer()) {
        m_notifier->setEnabled(false);
        scheduleNext();
    }
    emit second();
#endif
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
    const int msec = m_clock.now().time().msec();
    m_timer.start(1000 - msec + kAfterBoundaryMs);
}

} // namespace tav
