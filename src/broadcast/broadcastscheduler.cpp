#include "broadcast/broadcastscheduler.h"

#include "core/clock.h"
#include "core/datadir.h"
#include "core/ini.h"
#include "core/messagelog.h"
#include "core/zhtext.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QTimer>

#include <algorithm>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr int kDay = 24 * 3600;
const QString kSpokenSection = u"今日已播"_s;
const QString kSpokenDate = u"日期"_s;

int secondsOf(QTime t) { return t.msecsSinceStartOfDay() / 1000; }
qint64 wallKey(const QDateTime &t) { return t.date().toJulianDay() * kDay + secondsOf(t.time()); }
QString keyOf(const WaitRow &row) { return row.time.toString(u"HH:mm:ss"_s) + u' ' + row.name; }

// "甲、乙", or "甲等5次" for more than three.
QString groupText(const QStringList &items)
{
    return items.size() <= 3 ? items.join(u'、') : u"%1等%2次"_s.arg(items.first()).arg(items.size());
}

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

// A task's firings today: start, start + interval … up to its end.
struct Series
{
    int task = 0;
    int start = 0;
    int interval = 0; // 0: once
    int end = 0;
    // Firings within [from, to].
    qint64 count(int from, int to) const
    {
        if (to < from || to < start || from > end)
            return 0;
        if (interval == 0)
            return start >= from && start <= to ? 1 : 0;
        const int lo = from <= start ? 0 : (from - start + interval - 1) / interval;
        const int hi = (std::min(to, end) - start) / interval;
        return hi >= lo ? hi - lo + 1 : 0;
    }
};

qint64 countAll(const QList<Series> &all, int from, int to)
{
    qint64 n = 0;
    for (const Series &s : all)
        n += s.count(from, to);
    return n;
}

} // namespace

// What a build hands to the tick's thread.
struct BroadcastScheduler::Plan
{
    quint64 generation = 0;
    bool readFile = false;
    BroadcastStore::Reading reading; // when the file was read
    QList<WaitRow> rows;
    QSet<QString> spoken; // when the file was read
    int from = 0;     // the second of the day it was made for
    int horizon = kDay;
    qint64 total = 0;
    QString spokenError;
};

struct BroadcastScheduler::Told
{
    QStringList overdue;    // "名（HH:mm:ss）" whose minute passed unspoken
    QStringList passedOver; // … due while held
    QStringList stillHeld;  // … while a firing of its task still waits
    QStringList heldBack;   // names waiting for the voice
    QStringList late;       // names jumped over, spoken now
    QTime lateFrom;         // the first of them was due then ...
    int lateBySeconds = 0;  // ... this long ago
    QMap<QString, QStringList> failed; // names by why they could not be spoken
};

// Writes today's spoken firings off the tick's thread, the latest set last.
struct BroadcastScheduler::SpokenWriter
{
    QThreadPool pool;
    QMutex mutex;
    QString path;
    std::optional<IniDocument> pending;
    SpokenWriter() { pool.setMaxThreadCount(1); }
    ~SpokenWriter() { pool.waitForDone(); }
};

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
      m_steps(clock), m_writer(std::make_unique<SpokenWriter>())
{
    m_builder.setMaxThreadCount(1);
    m_writer->path = spokenFile(store.dir());
    // A firing held back by a broadcast goes right after it.
    connect(&m_broadcaster, &Broadcaster::finished, this, &BroadcastScheduler::broadcastEnded);
}

BroadcastScheduler::~BroadcastScheduler()
{
    ++m_generation;
    m_builder.waitForDone();
}

QString BroadcastScheduler::spokenFile(const DataDir &dir)
{
    // A name no task can have: names never start with a dot.
    return dir.file(u".【TTS】今日已播.ini"_s);
}

void BroadcastScheduler::setEnabled(bool on)
{
    m_enabled = on;
    rebuild();
}

void BroadcastScheduler::delayStart(int seconds)
{
    m_holdUntil = m_clock.now().addSecs(seconds);
}

void BroadcastScheduler::waitForFiles()
{
    m_builder.waitForDone();
    m_writer->pool.waitForDone();
}

void BroadcastScheduler::rebuild()
{
    startBuild(true);
}

void BroadcastScheduler::startBuild(bool readFile)
{
    if (m_building && !readFile)
        return;
    const QDateTime now = m_clock.now();
    if (now.date() != m_date) {
        m_spoken.clear(); // a new day: nothing spoken yet
        m_rows.clear();
        m_heldBack.clear();
        m_heldNames.clear();
        m_postponed.clear();
        m_cursor = 0;
        m_jumpedFrom = m_jumpedTo = -1;
        m_toldTruncated = false;
    }
    m_date = now.date();
    m_mode = !m_enabled ? Mode::SwitchedOff : (m_stopDay && m_stopDay(m_date)) ? Mode::StopDay : Mode::Running;
    if (!m_building)
        m_buildFrom = m_lastKey >= 0 ? m_lastKey : wallKey(now);
    m_building = true;
    const quint64 generation = ++m_generation;
    const DataDir dir = m_store.dir();
    QList<BroadcastTask> tasks = readFile ? QList<BroadcastTask>() : m_store.tasks();
    const QDate date = m_date;
    const int from = secondsOf(now.time());
    m_builder.start([this, dir, tasks = std::move(tasks), readFile, date, from, generation]() mutable {
        Plan plan = makePlan(dir, std::move(tasks), readFile, date, from);
        plan.generation = generation;
        QMetaObject::invokeMethod(this, [this, plan = std::move(plan)]() mutable { applyPlan(std::move(plan)); },
                                  Qt::QueuedConnection);
    });
}

BroadcastScheduler::Plan BroadcastScheduler::makePlan(const DataDir &dir, QList<BroadcastTask> tasks,
                                                      bool readFile, QDate date, int now)
{
    Plan plan;
    plan.readFile = readFile;
    plan.from = now;
    if (readFile) {
        plan.reading = BroadcastStore::read(dir);
        tasks = plan.reading.tasks;
        // What was spoken today, by a run before this one too.
        const IniFile file(spokenFile(dir));
        bool readable = true;
        const auto doc = file.read(&readable);
        if (!readable)
            plan.spokenError = u"无法读取 %1"_s.arg(file.path());
        if (doc->value(kSpokenSection, kSpokenDate) == zh::shortDate(date))
            for (const QString &key : doc->keys(kSpokenSection))
                if (key != kSpokenDate)
                    plan.spoken.insert(doc->value(kSpokenSection, key));
    }
    const QString weekday = zh::weekdayChar(date);
    QList<Series> series;
    for (int i = 0; i < tasks.size(); ++i) {
        const BroadcastTask &task = tasks[i];
        if (!task.isOn() || !task.week.contains(weekday))
            continue;
        const QDate first = zh::parseShortDate(task.dateStart), last = zh::parseShortDate(task.dateEnd);
        if (!first.isValid() || !last.isValid()) {
            if (readFile)
                plan.reading.dropped.append(u"[TTS%1]“%2”的日期“%3”至“%4”无效，今天不播"_s.arg(task.section)
                                                .arg(task.name, task.dateStart, task.dateEnd));
            continue;
        }
        if (date < first || date > last)
            continue;
        Series s;
        s.task = i;
        s.start = zh::secondsOfDay(task.timeStart);
        if (s.start < 0) {
            if (readFile)
                plan.reading.dropped.append(u"[TTS%1]“%2”的开始时间“%3”无效，今天不播"_s.arg(task.section)
                                                .arg(task.name, task.timeStart));
            continue;
        }
        s.interval = qBound(0, task.interval.toInt(), 1200) * 60;
        s.end = s.interval == 0 ? s.start : std::min(std::max(zh::secondsOfDay(task.timeEnd), s.start), kDay - 1);
        series.append(s);
    }
    // The whole day when it fits; else from now up to a horizon, and the
    // past nearest to now as far as room is left.
    plan.total = countAll(series, 0, kDay - 1);
    int lo = 0, hi = kDay - 1;
    if (plan.total > kMaxRows) {
        const qint64 past = countAll(series, 0, now - 1);
        const qint64 ahead = kMaxRows - std::min<qint64>(past, kMaxRows / 4);
        int a = now, b = kDay - 1; // the last second whose firings from now fit
        if (countAll(series, now, now) > ahead) {
            hi = now;
        } else {
            while (a < b) {
                const int mid = a + (b - a + 1) / 2;
                if (countAll(series, now, mid) <= ahead)
                    a = mid;
                else
                    b = mid - 1;
            }
            hi = a;
        }
        const qint64 room = kMaxRows - std::min<qint64>(countAll(series, now, hi), kMaxRows);
        a = 0, b = now; // the first second whose firings up to now fit the room
        while (a < b) {
            const int mid = a + (b - a) / 2;
            if (countAll(series, mid, now - 1) <= room)
                b = mid;
            else
                a = mid + 1;
        }
        lo = a;
        plan.horizon = hi;
    }
    for (const Series &s : std::as_const(series)) {
        const BroadcastTask &task = tasks[s.task];
        const int delay = qBound(0, task.delay.toInt(), 1440);
        for (int at = s.start; at <= s.end && at <= hi; at += s.interval) {
            if (at >= lo) {
                WaitRow row;
                row.time = QTime(0, 0).addSecs(at);
                row.name = task.name;
                row.delay = delay;
                plan.rows.append(row);
            }
            if (s.interval == 0)
                break;
        }
    }
    std::stable_sort(plan.rows.begin(), plan.rows.end(),
                     [](const WaitRow &a, const WaitRow &b) { return a.time < b.time; });
    if (plan.rows.size() > kMaxRows)
        plan.rows.resize(kMaxRows); // more in one second than the list holds
    return plan;
}

void BroadcastScheduler::applyPlan(Plan plan)
{
    if (plan.generation != m_generation)
        return; // a newer build is under way
    m_building = false;
    const QDateTime now = m_clock.now();
    if (now.date() != m_date) {
        rebuild(); // the day changed while it was built
        return;
    }
    if (plan.readFile) {
        if (!plan.reading.error.isEmpty())
            log(u"读取播音任务失败："_s + plan.reading.error);
        const qsizetype shown = std::min<qsizetype>(plan.reading.dropped.size(), 10);
        for (qsizetype i = 0; i < shown; ++i)
            log(u"【TTS】.ini："_s + plan.reading.dropped[i]);
        if (plan.reading.dropped.size() > shown)
            log(u"【TTS】.ini：另有%1节被跳过"_s.arg(plan.reading.dropped.size() - shown));
        if (!plan.spokenError.isEmpty())
            log(plan.spokenError);
        m_spoken.unite(plan.spoken);
        m_store.apply(std::move(plan.reading));
    }
    // What was done today stays done: a rebuild never speaks a firing again.
    // (Keyed by second and name: the list may hold twenty thousand rows.)
    using Key = std::pair<int, QString>;
    QHash<Key, WaitRow> before;
    for (const WaitRow &row : std::as_const(m_rows))
        if (row.status != WaitRow::Status::Waiting)
            before.insert({secondsOf(row.time), row.name}, row);
    QSet<Key> spoken;
    for (const QString &key : std::as_const(m_spoken))
        if (const int at = zh::secondsOfDay(key.left(8)); at >= 0)
            spoken.insert({at, key.mid(9)});
    m_rows.clear();
    m_heldBack.clear();
    m_heldNames.clear();
    m_postponed.clear();
    m_cursor = 0;
    m_lastMinute = now.time().hour() * 60 + now.time().minute();
    m_horizon = plan.horizon;
    m_builtAt = plan.from;
    if (m_mode == Mode::Running) {
        m_rows = std::move(plan.rows);
        if (plan.total > kMaxRows && !m_toldTruncated) {
            m_toldTruncated = true;
            log(u"今日播音共%1次，超过列表所能容纳的%2条：先列出至%3，其余到时再列"_s.arg(plan.total)
                    .arg(kMaxRows)
                    .arg(zh::timeText(m_horizon)));
        }
        // Firings that fell due while it was built are made good by the tick.
        const int madeAt = plan.from;
        int missed = 0;
        for (int i = 0; i < m_rows.size(); ++i) {
            WaitRow &row = m_rows[i];
            const Key key{secondsOf(row.time), row.name};
            if (const auto was = before.constFind(key); was != before.cend()) {
                row.status = was->status;
                row.delayedStarted = was->delayedStarted;
                row.postponedTo = was->postponedTo;
            } else if (spoken.contains(key)) {
                row.status = WaitRow::Status::Spoken;
            } else if (secondsOf(row.time) <= madeAt - 60) {
                row.status = WaitRow::Status::Overdue; // before this list was made
                ++missed;
            }
            if (row.isHeldBack() && !m_heldNames.contains(row.name)) {
                m_heldBack.append(i);
                m_heldNames.insert(row.name);
            } else if (row.isHeldBack()) {
                row.status = WaitRow::Status::Overdue;
            }
            if (row.status == WaitRow::Status::Delayed && !row.delayedStarted && row.postponedTo.isValid())
                m_postponed.append(i);
        }
        if (missed > 0 && before.isEmpty())
            log(u"今天已过的播音有%1次未能播出（超时）"_s.arg(missed));
    }
    // A reading made ready for a firing that is gone never plays.
    const QDateTime prepared = m_broadcaster.preparedFiring();
    if (prepared.isValid() && !dueRow(m_broadcaster.preparedName(), prepared))
        m_broadcaster.dropPrepared();
    emit listChanged();
    releaseHeldBack();
}

const WaitRow *BroadcastScheduler::dueRow(const QString &name, const QDateTime &firing) const
{
    if (firing.date() != m_date || m_mode != Mode::Running)
        return nullptr;
    const QTime t = firing.time();
    // Waiting rows are found by their time; postponed ones are few.
    auto it = std::lower_bound(m_rows.cbegin(), m_rows.cend(), t,
                               [](const WaitRow &row, QTime time) { return row.time < time; });
    for (; it != m_rows.cend() && it->time == t; ++it)
        if (it->name == name && dueOf(*it) == t)
            return &*it;
    for (const int i : m_postponed)
        if (m_rows[i].name == name && dueOf(m_rows[i]) == t)
            return &m_rows[i];
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
    m_tickWork = 0;
    const QDateTime now = m_clock.now();
    const qint64 key = wallKey(now);
    const ClockStep step = m_steps.observe(now);
    // The second after which firings were jumped over: a forward step below
    // three hours, or a tick that came late (the station stood still).
    qint64 jumpedFrom = -1;
    const qint64 since = m_lastKey >= 0 ? m_lastKey : key;
    if (!(step.isStep() && !step.isForward()) && key - since > 1
        && (key - since) * 1000 < ClockStep::kCorrectionMs)
        jumpedFrom = since;
    m_lastKey = key;
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
    if (m_building) {
        // What falls due while the list is built is made good when it is in.
        return;
    }
    if (m_buildFrom >= 0) {
        if (m_buildFrom < since && (key - m_buildFrom) * 1000 < ClockStep::kCorrectionMs)
            jumpedFrom = m_buildFrom;
        m_buildFrom = -1;
    }
    if (!runnable(now))
        return;
    const int seconds = secondsOf(now.time());
    const int minute = seconds / 60;
    if (jumpedFrom >= 0) {
        const int from = int(std::max<qint64>(jumpedFrom - m_date.toJulianDay() * kDay, -1));
        m_jumpedFrom = m_jumpedTo >= 0 ? std::min(m_jumpedFrom, from) : from;
        m_jumpedTo = seconds;
    }
    if (m_held) {
        // Nothing is spoken: what falls due meanwhile is passed over.
        Told told;
        for (const int i : std::exchange(m_postponed, {}))
            if (m_rows[i].status == WaitRow::Status::Delayed && !m_rows[i].delayedStarted)
                passOver(i, told);
        tell(told);
        m_lastMinute = minute;
        runDue(seconds);
        return;
    }
    warmUpBefore(seconds);
    // The next firings of a day too full to list at once, half way to the horizon.
    if (m_horizon < kDay - 1 && seconds >= m_horizon - (m_horizon - m_builtAt) / 2)
        startBuild(false);

    // Postponed firings, in the first second seen of their minute.
    if (minute != m_lastMinute) {
        m_lastMinute = minute;
        Told told;
        const QList<int> postponed = m_postponed;
        for (const int i : postponed) {
            const WaitRow &row = m_rows[i];
            if (row.status != WaitRow::Status::Delayed || row.delayedStarted || !row.postponedTo.isValid())
                continue;
            ++m_tickWork;
            const int at = secondsOf(QTime(row.postponedTo.hour(), row.postponedTo.minute()));
            if (at / 60 == minute || jumpedOver(at)) {
                if (m_broadcaster.isBusy())
                    postpone(i, told);
                else
                    fire(i, true, told);
            } else if (at / 60 < minute) {
                m_postponed.removeOne(i);
                setStatus(i, WaitRow::Status::Overdue);
                told.overdue.append(row.name);
            }
        }
        tell(told);
    }
    runDue(seconds);
}

bool BroadcastScheduler::runnable(const QDateTime &now) const
{
    return !m_building && now.date() == m_date && m_mode == Mode::Running
           && !(m_holdUntil.isValid() && now < m_holdUntil);
}

void BroadcastScheduler::runDue(int seconds)
{
    QElapsedTimer spent;
    spent.start();
    Told told;
    int work = 0;
    for (; m_cursor < m_rows.size(); ++m_cursor) {
        const int i = m_cursor;
        const WaitRow &row = m_rows[i];
        const int due = secondsOf(row.time);
        if (due > seconds)
            break; // the list is in time order
        if (work >= kSliceRows || (work % 16 == 0 && spent.nsecsElapsed() > kSliceNs))
            break; // the rest right after this
        ++work;
        if (row.status != WaitRow::Status::Waiting)
            continue;
        if (m_held) {
            passOver(i, told);
            continue;
        }
        if (jumpedOver(due)) {
            if (told.late.isEmpty()) {
                told.lateFrom = row.time;
                told.lateBySeconds = seconds - due;
            }
            told.late.append(row.name);
        } else if (seconds - due >= 60) {
            setStatus(i, WaitRow::Status::Overdue);
            told.overdue.append(row.name + u'（' + row.time.toString(u"HH:mm:ss"_s) + u'）');
            continue;
        }
        if (m_broadcaster.isBusy())
            postpone(i, told);
        else
            fire(i, false, told);
    }
    m_tickWork += work;
    tell(told);
    const bool more = m_cursor < m_rows.size() && secondsOf(m_rows[m_cursor].time) <= seconds;
    if (!more && m_jumpedTo >= 0)
        m_jumpedFrom = m_jumpedTo = -1; // all that was jumped over has had its turn
    if (more && !std::exchange(m_runDueQueued, true))
        QTimer::singleShot(0, this, &BroadcastScheduler::runDueLater);
}

void BroadcastScheduler::tell(const Told &told)
{
    if (told.late.size() == 1)
        log(u"补播：%1，应于%2播出，晚了%3"_s.arg(told.late.first(), told.lateFrom.toString(u"H:mm:ss"_s),
                                             stepSizeText(told.lateBySeconds * 1000LL)));
    else if (!told.late.isEmpty())
        log(u"补播：%1，应于%2起播出，最多晚了%3"_s.arg(groupText(told.late), told.lateFrom.toString(u"H:mm:ss"_s),
                                                   stepSizeText(told.lateBySeconds * 1000LL)));
    for (auto it = told.failed.cbegin(); it != told.failed.cend(); ++it) {
        if (it->size() == 1)
            log(u"播音“%1”未能播出：%2"_s.arg(it->first(), it.key()));
        else
            log(u"播音未能播出（"_s + it.key() + u"）："_s + groupText(*it));
        emit counted(Outcome::Failed, int(it->size()));
    }
    logGroup(u"超时：%1未能播出"_s, told.overdue);
    logGroup(u"超时：%1紧急广播期间未播出"_s, told.passedOver);
    logGroup(u"超时：%1上一次仍在等待播出"_s, told.stillHeld);
    logGroup(u"延播：%1，等当前播音结束后播出"_s, told.heldBack);
    if (const auto n = told.overdue.size() + told.passedOver.size() + told.stillHeld.size(); n > 0)
        emit counted(Outcome::Overdue, int(n));
    if (!told.heldBack.isEmpty())
        emit counted(Outcome::Delayed, int(told.heldBack.size()));
}

void BroadcastScheduler::runDueLater()
{
    m_runDueQueued = false;
    const QDateTime now = m_clock.now();
    if (runnable(now))
        runDue(secondsOf(now.time()));
}

void BroadcastScheduler::logGroup(const QString &what, const QStringList &items)
{
    if (!items.isEmpty())
        log(what.arg(groupText(items)));
}

void BroadcastScheduler::setHeld(bool held)
{
    m_held = held;
    if (!held)
        return;
    m_broadcaster.dropPrepared();
    m_heldNames.clear();
    Told told;
    for (const int row : std::exchange(m_heldBack, {}))
        passOver(row, told);
    tell(told);
}

void BroadcastScheduler::passOver(int row, Told &told)
{
    setStatus(row, WaitRow::Status::Overdue);
    told.passedOver.append(m_rows[row].name + u'（' + m_rows[row].time.toString(u"HH:mm:ss"_s) + u'）');
}

void BroadcastScheduler::warmUpBefore(int seconds)
{
    // The next row to be spoken: the first waiting one ahead, or a postponed one.
    QTime next;
    QString name;
    const QTime after = QTime(0, 0).addSecs(seconds);
    const auto first = std::upper_bound(m_rows.cbegin() + m_cursor, m_rows.cend(), after,
                                        [](QTime time, const WaitRow &row) { return time < row.time; });
    for (qsizetype i = first - m_rows.cbegin(); i < m_rows.size(); ++i) {
        ++m_tickWork;
        const WaitRow &row = m_rows[i];
        const int ahead = secondsOf(row.time) - seconds;
        if (ahead > kWarmUpSeconds)
            break;
        if (ahead > 0 && row.status == WaitRow::Status::Waiting) {
            next = row.time;
            name = row.name;
            break;
        }
    }
    for (const int i : std::as_const(m_postponed)) {
        const QTime due = dueOf(m_rows[i]);
        if (due.isValid() && (!next.isValid() || due < next) && secondsOf(due) > seconds) {
            next = due;
            name = m_rows[i].name;
        }
    }
    if (!next.isValid())
        return;
    const int ahead = secondsOf(next) - seconds;
    if (ahead <= 0 || ahead > kWarmUpSeconds)
        return;
    // What it will say is read then: the broadcast may change meanwhile.
    QTimer::singleShot(kWarmUpDelayMs, this, [this, name, firing = QDateTime(m_date, next)] {
        if (const WaitRow *r = dueRow(name, firing); r && !m_held)
            m_broadcaster.warmUp(requestFor(*r), firing);
    });
}

void BroadcastScheduler::fire(int row, bool delayed, Told &told)
{
    WaitRow &r = m_rows[row];
    if (delayed) {
        m_postponed.removeOne(row);
        if (m_heldBack.removeOne(row))
            m_heldNames.remove(r.name);
    }
    QString error;
    const BroadcastRequest request = requestFor(r, &error);
    if (error.isEmpty()) {
        log(u"播音：%1"_s.arg(r.name));
        m_speaking = keyOf(r);
        if (m_broadcaster.speak(request, &error)) {
            if (delayed)
                r.delayedStarted = true;
            setStatus(row, delayed ? WaitRow::Status::Delayed : WaitRow::Status::Spoken);
            markSpoken(r);
            return;
        }
        m_speaking.clear();
    }
    setStatus(row, WaitRow::Status::Overdue);
    told.failed[error].append(r.name);
}

void BroadcastScheduler::broadcastEnded(const QString &name)
{
    const QString speaking = std::exchange(m_speaking, {});
    const QString failure = m_broadcaster.failure();
    if (!name.isEmpty() && failure.isEmpty()) {
        log(u"已播：%1"_s.arg(name));
        emit counted(Outcome::Spoken, 1);
    } else if (!name.isEmpty()) {
        log(u"播音“%1”未能播完：%2"_s.arg(name, failure));
        emit counted(Outcome::Failed, 1);
        // Its firing was not heard: red in the list, not "已播".
        const QTime time = QTime::fromString(speaking.left(8), u"HH:mm:ss"_s);
        auto it = std::lower_bound(m_rows.begin(), m_rows.end(), time,
                                   [](const WaitRow &row, QTime t) { return row.time < t; });
        for (; time.isValid() && it != m_rows.end() && it->time == time; ++it)
            if (it->name == name && keyOf(*it) == speaking) {
                setStatus(int(it - m_rows.begin()), WaitRow::Status::Overdue);
                break;
            }
    }
    QMetaObject::invokeMethod(this, &BroadcastScheduler::releaseHeldBack, Qt::QueuedConnection);
}

void BroadcastScheduler::postpone(int row, Told &told)
{
    WaitRow &r = m_rows[row];
    if (r.delay == 0) {
        if (r.isHeldBack())
            return;
        if (m_heldNames.contains(r.name)) {
            setStatus(row, WaitRow::Status::Overdue);
            told.stillHeld.append(r.name + u'（' + r.time.toString(u"HH:mm:ss"_s) + u'）');
            return;
        }
        m_heldBack.append(row);
        m_heldNames.insert(r.name);
        setStatus(row, WaitRow::Status::Delayed);
        told.heldBack.append(r.name);
        return;
    }
    const QTime base = r.postponedTo.isValid() ? r.postponedTo : r.time;
    const int to = secondsOf(base) - base.second() + r.delay * 60;
    if (to >= kDay) {
        m_postponed.removeOne(row);
        setStatus(row, WaitRow::Status::Overdue);
        log(u"超时：%1（%2）推迟后已过今天"_s.arg(r.name, r.time.toString(u"HH:mm:ss"_s)));
        emit counted(Outcome::Overdue, 1);
        return;
    }
    const bool again = r.postponedTo.isValid();
    r.postponedTo = QTime(0, 0).addSecs(to);
    if (!again)
        m_postponed.append(row);
    setStatus(row, WaitRow::Status::Delayed);
    log(u"延播：%1 推迟到 %2"_s.arg(r.name, r.postponedTo.toString(u"HH:mm"_s)));
    emit counted(Outcome::Delayed, 1);
}

void BroadcastScheduler::releaseHeldBack()
{
    if (m_heldBack.isEmpty() || m_broadcaster.isBusy() || m_mode != Mode::Running || m_building || m_held)
        return;
    if (m_holdUntil.isValid() && m_clock.now() < m_holdUntil)
        return;
    Told told;
    fire(m_heldBack.first(), true, told);
    tell(told);
}

void BroadcastScheduler::setStatus(int row, WaitRow::Status status)
{
    m_rows[row].status = status;
    emit rowChanged(row);
}

void BroadcastScheduler::markSpoken(const WaitRow &row)
{
    m_spoken.insert(keyOf(row));
    IniDocument doc;
    doc.setValue(kSpokenSection, kSpokenDate, zh::shortDate(m_date));
    int n = 0;
    for (const QString &key : std::as_const(m_spoken))
        doc.setValue(kSpokenSection, QString::number(++n), key);
    SpokenWriter &w = *m_writer;
    QMutexLocker lock(&w.mutex);
    const bool queued = w.pending.has_value();
    w.pending = std::move(doc);
    if (queued)
        return; // the job under way writes the latest set
    w.pool.start([this, &w] {
        QMutexLocker held(&w.mutex);
        const IniDocument latest = std::move(*w.pending);
        w.pending.reset();
        held.unlock();
        QString why;
        if (!IniFile(w.path).write(latest, &why))
            QMetaObject::invokeMethod(this, [this, why] { log(u"写入 %1 失败：%2"_s.arg(m_writer->path, why)); },
                                      Qt::QueuedConnection);
    });
}

BroadcastRequest BroadcastScheduler::requestFor(const WaitRow &row, QString *problem) const
{
    BroadcastRequest r;
    r.name = row.name;
    if (const BroadcastTask *t = m_store.find(row.name)) {
        QString note;
        bool unreadable = false;
        r.text = m_store.content(t->name, &note, &unreadable);
        if (problem && unreadable)
            *problem = note;
        else if (problem && r.text.isEmpty())
            *problem = u"朗读内容不能为空"_s;
        r.speaker = t->speaker;
        r.rate = t->rate.toInt();
        r.voiceVolume = t->voiceVolume.isEmpty() ? 100 : t->voiceVolume.toInt();
        r.musicVolume = t->musicVolume.isEmpty() ? 30 : t->musicVolume.toInt();
        r.tone = t->tone.trimmed() == u"1";
        r.music = t->music;
        r.frequency = t->frequency.toInt();
    } else if (problem) {
        *problem = u"找不到该播音任务"_s;
    }
    return r;
}

void BroadcastScheduler::log(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
    emit line(text);
}

} // namespace tav
