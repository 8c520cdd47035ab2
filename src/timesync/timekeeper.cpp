#include "timesync/timekeeper.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/zhtext.h"
#include "timesync/daytime.h"

#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

namespace tav {

TimeKeeper::TimeKeeper(const Clock &clock, const DataDir &dir, MessageLog &log, QObject *parent)
    : QObject(parent), m_clock(clock), m_log(log), m_health(dir)
{
    m_hourly.setInterval(kRecheckMs);
    connect(&m_hourly, &QTimer::timeout, this, &TimeKeeper::recheck);
}

TimeKeeper::~TimeKeeper()
{
    if (m_stateWorker)
        m_stateWorker->wait();
}

void TimeKeeper::setClockSetter(ClockSetter *setter)
{
    if (m_stateWorker)
        m_stateWorker->wait(); // it may be asking the old one
    m_setter = setter;
}

void TimeKeeper::start(bool automatic)
{
    m_automatic = automatic;
    m_health.load();
    m_hourly.start();
    refreshSystemState();
    if (m_automatic)
        syncNow();
    emit statusChanged();
}

DaytimeSync *TimeKeeper::syncNow()
{
    if (m_run)
        return m_run;
    if (!m_setter)
        return nullptr;
    m_run = new DaytimeSync(m_clock, *m_setter, this);
    if (!m_servers.isEmpty())
        m_run->setServers(m_servers);
    connect(m_run, &DaytimeSync::message, this, [this](const QString &text) {
        m_log.append(zh::stampedLine(m_clock.now(), text.trimmed()));
    });
    connect(m_run, &DaytimeSync::finished, this, [this](bool ok, bool set, const DaytimeAnswer &answer) {
        // A clock that could not be set is no check done: the run has said
        // why ("无法设置系统时间：…"), the status shows it until one sets it.
        if (ok && set) {
            if (QString error; !m_health.record(answer, &error))
                m_log.append(zh::stampedLine(m_clock.now(), u"写入设置文件失败："_s + error));
        } else if (ok) {
            m_health.refused(answer, m_run->setError());
        }
        DaytimeSync *run = m_run;
        m_run = nullptr;
        // After a success the run still tells its window when to close.
        if (ok)
            connect(run, &DaytimeSync::closeRequested, run, &QObject::deleteLater);
        else
            run->deleteLater();
        emit statusChanged();
    });
    m_run->start();
    if (!m_run->isRunning()) { // ended before it began
        m_run->deleteLater();
        m_run = nullptr;
    }
    return m_run;
}

TimeHealth::Status TimeKeeper::status() const
{
    return m_health.status(m_clock.now(), m_systemState.known && m_systemState.automatic
                                              && m_systemState.synchronised);
}

void TimeKeeper::recheck()
{
    refreshSystemState();
    const QDateTime last = m_health.lastCheck();
    if (m_automatic && (!last.isValid() || last.secsTo(m_clock.now()) > TimeHealth::kMaxAgeSeconds))
        syncNow();
    emit statusChanged();
}

// The system's time service is asked on a worker: the bus may be slow.
void TimeKeeper::refreshSystemState()
{
    if (!m_setter || m_stateWorker)
        return;
    auto state = std::make_shared<ClockSetter::SyncState>();
    ClockSetter *setter = m_setter;
    m_stateWorker = QThread::create([setter, state] { *state = setter->syncState(); });
    connect(m_stateWorker, &QThread::finished, this, [this, state] {
        m_stateWorker->deleteLater();
        m_stateWorker = nullptr;
        m_systemState = *state;
        emit statusChanged();
    });
    m_stateWorker->start();
}

} // namespace tav
