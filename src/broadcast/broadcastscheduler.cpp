#include "broadcast/broadcastscheduler.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/zhtext.h"

#include <QHash>
#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// When a row is to be spoken next, or invalid: a postponed one in the first
// second of its minute.
QTime dueOf(const WaitRow &row)
{
    if (row.status == WaitRow::Status::Waiting)
        return row.time;
    if (row.status == WaitRow::Status::Delayed && !row.delayedStarted && row.postponedTo.isValid())
        return QTime(row.postponedTo.hour(), row.postponedTo.minute());
    return {};
}

} // namespace

QString WaitRow::statusText(Status status)
{
    switch (status) {
    case Status::Waiting: return u"待播"_s;
    case Status::Spoken: return u"已播"_s;
    case Status::Overdue: return u"超时"_s;
    case Status::Delayed: return u"延播"_s;
    }
    return {};
}

int WaitRow::colour() const
{
    if (status == Status::Overdue)
        return 0xFF0000;
    if (status == Status::Delayed && delayedStarted)
        return 0x0000FF;
    return -1;
}

BroadcastScheduler::BroadcastScheduler(const Clock &clock, BroadcastStore &store, Broadcaster &broadcaster,
                                       MessageLog &messages, QObject *parent)
    : QObject(parent), m_clock(clock), m_store(store), m_broadcaster(broadcaster), m_log(messages),
      m_steps(clock)
{
    // A firing held back by a broadcast goes right after it.
    connect(&m_broadcaster, &Broadcaster::finished, this, [this](const QString &name) {
        if (!name.isEmpty())
            log(u"已播：%1"_s.arg(name));
        QMetaObject::invokeMethod(this, [this] {
            if (!m_heldBack.isEmpty() && !m_broadcaster.isBusy() && m_mode == Mode::Running && !m_held)
                fire(m_heldBack.takeFirst(), true);
        }, Qt::QueuedConnection);
    });
}

void BroadcastScheduler::setEnabled(bool on)
{
    m_enabled = on;
    rebuild();
}

void BroadcastScheduler::rebuild()
{
    const QDateTime now = m_clock.now();
    // What was done today stays done: a rebuild never speaks a firing again.
    QHash<QString, WaitRow> before;
    if (now.date() == m_date)
        for (const WaitRow &row : std::as_const(m_rows))
            before.insert(row.time.toString(u"HH:mm:ss"_s) + row.name, row);
    m_date = now.date();
    m_rows.clear();
    m_heldBack.clear();
    m_lastMinute = now.time().hour() * 60 + now.time().minute();
    QString error;
    if (!m_store.load(&error))
        log(u"读取播音任务失败："_s + error);
    m_mode = !m_enabled ? Mode::SwitchedOff : (m_stopDay && m_stopDay(m_date)) ? Mode::StopDay : Mode::Running;
    if (m_mode == Mode::Running) {
        const QString weekday = zh::weekdayChar(m_date);
        const int nowSeconds = now.time().msecsSinceStartOfDay() / 1000;
        for (const BroadcastTask &task : m_store.tasks()) {
            if (!task.isOn() || !task.week.contains(weekday))
                continue;
            const QDate first = zh::parseShortDate(task.dateStart), last = zh::parseShortDate(task.dateEnd);
            if (!first.isValid() || !last.isValid() || m_date < first || m_date > last)
                continue;
            const int start = zh::secondsOfDay(task.timeStart);
            int end = zh::secondsOfDay(task.timeEnd);
            if (start < 0)
                continue;
            if (end < start)
                end = start;
            const int interval = qBound(0, task.interval.toInt(), 1200) * 60;
            const QString text = m_store.content(task.name);
            for (int at = start; at <= end && at < 24 * 3600; at += interval) {
                if (at > nowSeconds - 60) {
                    WaitRow row;
                    row.time = QTime(0, 0).addSecs(at);
                    row.name = task.name;
                    row.text = text;
                    row.delay = qBound(0, task.delay.toInt(), 1440);
                    m_rows.append(row);
                }
                if (interval == 0)
                    break;
            }
        }
        std::stable_sort(m_rows.begin(), m_rows.end(),
                         [](const WaitRow &a, const WaitRow &b) { return a.time < b.time; });
        for (WaitRow &row : m_rows) {
            const auto was = before.constFind(row.time.toString(u"HH:mm:ss"_s) + row.name);
            if (was != before.cend()) {
                row.status = was->status;
                row.delayedStarted = was->delayedStarted;
                row.postponedTo = was->postponedTo;
            }
        }
    }
    // A reading made ready for a firing that is gone never plays.
    const QDateTime prepared = m_broadcaster.preparedFiring();
    if (prepared.isValid() && !dueRow(m_broadcaster.preparedName(), prepared))
        m_broadcaster.dropPrepared();
    emit listChanged();
}

const WaitRow *BroadcastScheduler::dueRow(const QString &name, const QDateTime &firing) const
{
    if (firing.date() != m_date || m_mode != Mode::Running)
        return nullptr;
    for (const WaitRow &row : m_rows)
        if (row.name == name && dueOf(row) == firing.time())
            return &row;
    return nullptr;
}

QString BroadcastScheduler::header() const
{
    switch (m_mode) {
    case Mode::SwitchedOff: return u"播音已停止，如果要开启请到主控面板操作！"_s;
    case Mode::StopDay: return u"现在是停播时间"_s;
    case Mode::Running: break;
    }
    return u"今日待执行的任务，共:%1条"_s.arg(m_rows.size());
}

void BroadcastScheduler::tick()
{
    const QDateTime now = m_clock.now();
    // Firings after this second were jumped over by a small forward step.
    const ClockStep step = m_steps.observe(now);
    const QDateTime jumpedFrom = step.isForward() && !step.isCorrection() ? step.from : QDateTime();
    if (now.date() != m_date) {
        rebuild();
        return;
    }
    // A reading made ready and not spoken on its second is let go, off this tick.
    if (const QDateTime prepared = m_broadcaster.preparedFiring(); prepared.isValid()) {
        const qint64 ahead = now.secsTo(prepared);
        if (ahead < -Broadcaster::kPreparedGraceSeconds || ahead > kWarmUpSeconds + 1)
            QTimer::singleShot(0, &m_broadcaster, [this, prepared] {
                if (m_broadcaster.preparedFiring() == prepared)
                    m_broadcaster.dropPrepared();
            });
    }
    if (m_mode != Mode::Running)
        return;
    const int seconds = now.time().msecsSinceStartOfDay() / 1000;
    const int minute = seconds / 60;
    if (m_held) {
        for (int i = 0; i < m_rows.size(); ++i) {
            const QTime due = dueOf(m_rows[i]);
            if (due.isValid() && due.msecsSinceStartOfDay() / 1000 <= seconds)
                passOver(i);
        }
        m_lastMinute = minute;
        return;
    }
    warmUpBefore(seconds);

    // Postponed firings, in the first second seen of their minute.
    if (minute != m_lastMinute) {
        m_lastMinute = minute;
        for (int i = 0; i < m_rows.size(); ++i) {
            const WaitRow &row = m_rows[i];
            if (row.status == WaitRow::Status::Delayed && !row.delayedStarted && row.postponedTo.isValid()
                && row.postponedTo.hour() * 60 + row.postponedTo.minute() == minute) {
                if (m_broadcaster.isBusy())
                    postpone(i);
                else
                    fire(i, true);
            }
        }
    }

    for (int i = 0; i < m_rows.size(); ++i) {
        const WaitRow &row = m_rows[i];
        if (row.status != WaitRow::Status::Waiting)
            continue;
        const int due = row.time.msecsSinceStartOfDay() / 1000;
        if (due > seconds)
            break; // the list is in time order
        const bool jumpedOver = jumpedFrom.isValid() && jumpedFrom.date() <= m_date
                                && (jumpedFrom.date() < m_date || due > zh::secondsOfDay(jumpedFrom.time()));
        if (jumpedOver && seconds > due) {
            log(u"补播：%1，应于%2播出，晚了%3"_s.arg(row.name, row.time.toString(u"H:mm:ss"_s),
                                                 stepSizeText((seconds - due) * 1000LL)));
        } else if (seconds - due >= 60) {
            setStatus(i, WaitRow::Status::Overdue);
            log(u"超时：%1（%2）未能播出"_s.arg(row.name, row.time.toString(u"HH:mm:ss"_s)));
            continue;
        }
        if (m_broadcaster.isBusy())
            postpone(i);
        else
            fire(i, false);
    }
}

void BroadcastScheduler::setHeld(bool held)
{
    m_held = held;
    if (!held)
        return;
    m_broadcaster.dropPrepared();
    for (const int row : std::exchange(m_heldBack, {}))
        passOver(row);
}

void BroadcastScheduler::passOver(int row)
{
    setStatus(row, WaitRow::Status::Overdue);
    log(u"超时：%1（%2）紧急广播期间未播出"_s.arg(m_rows[row].name, m_rows[row].time.toString(u"HH:mm:ss"_s)));
}

void BroadcastScheduler::warmUpBefore(int seconds)
{
    for (const WaitRow &row : std::as_const(m_rows)) {
        const QTime due = dueOf(row);
        if (!due.isValid())
            continue;
        const int ahead = due.msecsSinceStartOfDay() / 1000 - seconds;
        if (ahead > 0 && ahead <= kWarmUpSeconds) {
            // What it will say is read then: the broadcast may change meanwhile.
            QTimer::singleShot(kWarmUpDelayMs, this, [this, name = row.name, firing = QDateTime(m_date, due)] {
                if (const WaitRow *r = dueRow(name, firing); r && !m_held)
                    m_broadcaster.warmUp(requestFor(*r), firing);
            });
            return;
        }
    }
}

void BroadcastScheduler::fire(int row, bool delayed)
{
    WaitRow &r = m_rows[row];
    QString error;
    log(u"播音：%1"_s.arg(r.name));
    if (!m_broadcaster.speak(requestFor(r), &error)) {
        log(u"播音“%1”未能播出：%2"_s.arg(r.name, error));
        setStatus(row, delayed ? WaitRow::Status::Delayed : WaitRow::Status::Overdue);
        return;
    }
    if (delayed) {
        r.delayedStarted = true;
        setStatus(row, WaitRow::Status::Delayed);
    } else {
        setStatus(row, WaitRow::Status::Spoken);
    }
}

void BroadcastScheduler::postpone(int row)
{
    WaitRow &r = m_rows[row];
    if (r.delay == 0) {
        if (!m_heldBack.contains(row)) {
            m_heldBack.append(row);
            log(u"延播：%1，等当前播音结束后播出"_s.arg(r.name));
        }
        setStatus(row, WaitRow::Status::Delayed);
        return;
    }
    const QTime base = r.postponedTo.isValid() ? r.postponedTo : r.time;
    const int to = base.msecsSinceStartOfDay() / 1000 - base.second() + r.delay * 60;
    if (to >= 24 * 3600) {
        setStatus(row, WaitRow::Status::Overdue);
        log(u"超时：%1（%2）推迟后已过今天"_s.arg(r.name, r.time.toString(u"HH:mm:ss"_s)));
        return;
    }
    r.postponedTo = QTime(0, 0).addSecs(to);
    setStatus(row, WaitRow::Status::Delayed);
    log(u"延播：%1 推迟到 %2"_s.arg(r.name, r.postponedTo.toString(u"HH:mm"_s)));
}

void BroadcastScheduler::setStatus(int row, WaitRow::Status status)
{
    m_rows[row].status = status;
    emit rowChanged(row);
}

BroadcastRequest BroadcastScheduler::requestFor(const WaitRow &row) const
{
    BroadcastRequest r;
    r.name = row.name;
    r.text = row.text;
    if (const BroadcastTask *t = m_store.find(row.name)) {
        r.text = m_store.content(t->name);
        r.speaker = t->speaker;
        r.rate = t->rate.toInt();
        r.voiceVolume = t->voiceVolume.isEmpty() ? 100 : t->voiceVolume.toInt();
        r.musicVolume = t->musicVolume.isEmpty() ? 30 : t->musicVolume.toInt();
        r.tone = t->tone.trimmed() == u"1";
        r.music = t->music;
        r.frequency = t->frequency.toInt();
    }
    return r;
}

void BroadcastScheduler::log(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
    emit line(text);
}

} // namespace tav
