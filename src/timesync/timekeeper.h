#pragma once

#include "platform/clocksetter.h"
#include "timesync/daytime.h"
#include "timesync/timehealth.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

class QThread;

namespace tav {

class Clock;
class DataDir;

class MessageLog;

// The station's clock keeping: a network synchronisation at start-up and
// again once a day while the "网络校时" switch is on, the window's "sync
// now", and the clock's health for the status bar. Every run is logged.
// Nothing here waits on the network or the system's time service on the
// clockwork's thread.
class TimeKeeper : public QObject
{
    Q_OBJECT
public:
    static constexpr int kRecheckMs = 3600 * 1000;

    TimeKeeper(const Clock &clock, const DataDir &dir, MessageLog &log, QObject *parent = nullptr);
    // Waits for a question to the system's time service that is still out
    // (it is bounded by the setter's own time-out).
    ~TimeKeeper() override;

    // Without a setter nothing is synchronised (tests, tools).
    void setClockSetter(ClockSetter *setter);
    void setServers(const QStringList &servers) { m_servers = servers; }

    // Loads the last check; synchronises now when `automatic` (the switch).
    void start(bool automatic);
    void setAutomatic(bool on) { m_automatic = on; }
    // Starts a run unless one is going; the window follows its signals.
    DaytimeSync *syncNow();
    DaytimeSync *current() const { return m_run; }

    TimeHealth::Status status() const;
    const TimeHealth &health() const { return m_health; }
    ClockSetter::SyncState systemState() const { return m_systemState; }

    // What the hourly timer does: asks the system again, and synchronises
    // when automatic and the last check is more than a day old.
    void recheck();

signals:
    void statusChanged();

private:
    void refreshSystemState();

    const Clock &m_clock;
    MessageLog &m_log;
    TimeHealth m_health;
    ClockSetter *m_setter = nullptr;
    ClockSetter::SyncState m_systemState;
    QStringList m_servers;
    QPointer<DaytimeSync> m_run;
    QThread *m_stateWorker = nullptr; // asking the system's time service
    QTimer m_hourly;
    bool m_automatic = false;
};

} // namespace tav
