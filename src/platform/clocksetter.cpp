#include "platform/clocksetter.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>

#include <cerrno>
#include <cstring>
#include <ctime>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kService = u"org.freedesktop.timedate1"_s;
const QString kPath = u"/org/freedesktop/timedate1"_s;

bool hasTimeService()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected() || !bus.interface())
        return false;
    const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(kService);
    if (registered.isValid() && registered.value())
        return true;
    // Activated on demand: listed as activatable rather than running.
    const QDBusReply<QStringList> activatable = bus.interface()->activatableServiceNames();
    return activatable.isValid() && activatable.value().contains(kService);
}

} // namespace

bool SystemClockSetter::setTime(const QDateTime &when, QString *error)
{
    const qint64 ms = when.toMSecsSinceEpoch();
    if (hasTimeService()) {
        QDBusInterface timedate(kService, kPath, kService, QDBusConnection::systemBus());
        timedate.setTimeout(120 * 1000); // the administrator's consent may be asked for
        // SetTime(usec_utc, relative, interactive)
        const QDBusMessage reply = timedate.call(u"SetTime"_s, qint64(ms * 1000), false, true);
        if (reply.type() != QDBusMessage::ErrorMessage)
            return true;
        if (error)
            *error = reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
        return false;
    }
    timespec ts{};
    ts.tv_sec = time_t(ms / 1000);
    ts.tv_nsec = long(ms % 1000) * 1000000L;
    if (::clock_settime(CLOCK_REALTIME, &ts) == 0)
        return true;
    if (error)
        *error = QString::fromLocal8Bit(std::strerror(errno));
    return false;
}

ClockSetter::SyncState SystemClockSetter::syncState() const
{
    SyncState state;
    if (!hasTimeService())
        return state;
    QDBusInterface timedate(kService, kPath, kService, QDBusConnection::systemBus());
    timedate.setTimeout(3000); // a status question: never worth a long wait
    const QVariant ntp = timedate.property("NTP");
    const QVariant synced = timedate.property("NTPSynchronized");
    if (!ntp.isValid())
        return state;
    state.known = true;
    state.automatic = ntp.toBool();
    state.synchronised = synced.toBool();
    return state;
}

} // namespace tav
