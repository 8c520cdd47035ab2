#pragma once

#include "broadcast/broadcaster.h"
#include "broadcast/broadcaststore.h"
#include "core/clocksteps.h"

#include <QDate>
#include <QList>
#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QTime>

#include <memory>

#include <functional>

namespace tav {

class Clock;
class DataDir;
class MessageLog;

// One firing of a broadcast today. Its text is not kept here: it is read
// from the broadcast's file when the firing is near.
struct WaitRow
{
    enum class Status { Waiting, Spoken, Overdue, Delayed };
    QTime time;        // the firing time (its seconds carry the priority)
    QString name;
    int delay = 0;     // the task's TTS_Delay minutes
    Status status = Status::Waiting;
    bool delayedStarted = false; // a postponed firing that has been spoken (blue)
    QTime postponedTo; // when Delayed by the task's delay minutes

    static QString statusText(Status status); // "待播" "已播" "超时" "延播"
    // The row's colour as 0xRRGGBB: red when overdue, blue when a postponed
    // firing has been spoken, else none (-1).
    int colour() const;
    // Postponed with delay 0: waits for the voice to be free.
    bool isHeldBack() const { return status == Status::Delayed && !delayedStarted && !postponedTo.isValid(); }
};

// Today's broadcasts. Rules:
// - the list is built at start, after every change of the broadcasts, when
//   the "播音" switch changes and when the date changes, always on a worker
//   thread (rebuild() returns at once; the ticks go on meanwhile): every
//   firing of each task that is on, runs on today's weekday, has today
//   within its dates; a task's firings are its start and then every
//   interval minutes up to its end time; ordered by time, so that firings
//   of one minute come in priority order (the units digit of the seconds),
//   0 first. The whole day is listed, the past included: a firing spoken
//   today is "已播" (a small file beside the broadcasts remembers them over
//   a restart, so a firing is never read twice on one day), one more than a
//   minute past and not spoken is "超时";
// - at most kMaxRows firings are listed: a day with more lists those from
//   now on up to a horizon (and as much of the past as fits), says so, and
//   lists the next ones before the horizon comes;
// - each second: a waiting firing whose time has come (within the last
//   minute) is spoken and becomes "已播"; one whose minute has passed
//   unspoken becomes "超时";
// - a firing that comes while a broadcast is speaking is postponed
//   ("延播"):
//   * a task's delay above 0: to the minute that many minutes after its
//     time, spoken in the first second seen of that minute; still busy
//     then: postponed again by the delay; postponed past midnight: "超时";
//   * a delay of 0: held back and spoken right after the broadcast that
//     holds it up, in the order the firings came; one firing of a task is
//     held back at a time (a later firing of the same task while one waits
//     is "超时"); a held firing survives a rebuild of the list;
// - ten seconds before a firing the broadcaster's players are made ready,
//   away from the second's boundary (see warmUpBefore), and the first
//   sound of the firing due next waits at its first sample (see
//   Broadcaster::warmUp); what was made ready for a firing that is changed,
//   gone or not spoken within seconds of its time is let go;
// - a tick that comes late, whether the clock was stepped forward or the
//   station stood still (a stall, a suspended machine), follows the media
//   tasks' rule (see Scheduler): firings jumped over by less than three
//   hours are spoken at once, one after the other, logged as late ("补播");
//   after a backward step nothing spoken is spoken again (a firing keeps
//   its status for the day); three hours or more leaves what was jumped
//   over "超时";
// - a tick does a bounded amount of work however many firings share its
//   second (a late tick, a list that comes in late, thousands of firings in
//   one second): the rest goes on in slices right after it, never holding
//   the clockwork; a text is read only for a firing about to be spoken, and
//   firings held back behind one broadcast are logged as one line;
// - a broadcast whose voice fails while speaking is logged with why and its
//   firing is "超时", not "已播";
// - the start delay holds broadcasts back like tasks: nothing is spoken
//   before it ends; then what fell due within the last minute is spoken;
// - a text file that is not GBK (nor UTF-8) is not spoken: "超时" and said;
// - the list is not run with the switch off ("播音已停止，如果要开启请到主控面板
//   操作！") or on a stop day ("现在是停播时间").
class BroadcastScheduler : public QObject
{
    Q_OBJECT
public:
    enum class Mode { Running, SwitchedOff, StopDay };
    using StopDay = std::function<bool(QDate)>;
    static constexpr int kMaxRows = 20000;
    // A slice of the rows due: at most this many, or this long.
    static constexpr int kSliceRows = 500;
    static constexpr qint64 kSliceNs = 2'000'000;
    enum class Outcome { Spoken, Delayed, Overdue, Failed };

    BroadcastScheduler(const Clock &clock, BroadcastStore &store, Broadcaster &broadcaster, MessageLog &log,
                       QObject *parent = nullptr);
    ~BroadcastScheduler() override;

    void setEnabled(bool on);            // the "播音" switch
    void setStopDay(StopDay stopDay) { m_stopDay = std::move(stopDay); }
    // Nothing is spoken for `seconds` from now (the station's start delay).
    void delayStart(int seconds);

    // Reads the broadcasts from their files again and builds today's list:
    // safe to call at any moment, from any change; returns at once.
    void rebuild();
    bool isBuilding() const { return m_building; }
    // Waits for the list being built and the record of what was spoken.
    void waitForFiles();
    // The once-a-second work.
    void tick();
    // Rows the last tick looked at (its work, whatever the list's length).
    int lastTickWork() const { return m_tickWork; }
    // An emergency holds the list: nothing is spoken or made ready, and each
    // firing that falls due meanwhile (or was waiting for the voice) is
    // "超时", as at a minute past its time.
    void setHeld(bool held);
    bool isHeld() const { return m_held; }

    const QList<WaitRow> &rows() const { return m_rows; }
    Mode mode() const { return m_mode; }
    // "今日待执行的任务，共:N条", or the reason the list does not run.
    QString header() const;
    // The file that remembers today's spoken firings.
    static QString spokenFile(const DataDir &dir);

signals:
    void listChanged();
    void rowChanged(int row);
    void line(const QString &text); // what was done, for standard output
    void counted(tav::BroadcastScheduler::Outcome outcome, int firings); // for the station's counters

private:
    // Engines are made in the middle of a second, off the tick that may
    // start a task; a ready engine only has its idle time renewed.
    static constexpr int kWarmUpSeconds = 10;
    static constexpr int kWarmUpDelayMs = 300;
    struct Plan;
    static Plan makePlan(const DataDir &dir, QList<BroadcastTask> tasks, bool readFile, QDate date, int now);
    void startBuild(bool readFile);
    void applyPlan(Plan plan);
    void warmUpBefore(int seconds);
    bool runnable(const QDateTime &now) const;
    // The rows whose second has come, a slice of them; the rest after the tick.
    void runDue(int seconds);
    void runDueLater();
    bool jumpedOver(int due) const { return m_jumpedTo >= 0 && due > m_jumpedFrom && due < m_jumpedTo; }
    // What one pass over the rows did, told as one line of each kind.
    struct Told;
    void tell(const Told &told);
    void fire(int row, bool delayed, Told &told);
    void broadcastEnded(const QString &name);
    void postpone(int row, Told &told);
    void releaseHeldBack();
    void passOver(int row, Told &told); // "超时" while held
    void setStatus(int row, WaitRow::Status status);
    void markSpoken(const WaitRow &row);
    void log(const QString &text);
    void logGroup(const QString &what, const QStringList &items);
    BroadcastRequest requestFor(const WaitRow &row, QString *problem = nullptr) const;
    // The row of `name` still to be spoken at `firing` today.
    const WaitRow *dueRow(const QString &name, const QDateTime &firing) const;

    const Clock &m_clock;
    BroadcastStore &m_store;
    Broadcaster &m_broadcaster;
    MessageLog &m_log;
    StopDay m_stopDay;
    bool m_enabled = false;
    Mode m_mode = Mode::SwitchedOff;
    QDate m_date;
    QList<WaitRow> m_rows;
    int m_cursor = 0;          // rows before it have had their second
    int m_horizon = 24 * 3600; // seconds of the day up to which rows are listed
    int m_builtAt = 0;         // the second of the day the list was made for
    QList<int> m_heldBack;     // rows with delay 0 waiting for the voice, in order
    QSet<QString> m_heldNames;
    QList<int> m_postponed;    // rows postponed by their delay minutes
    QSet<QString> m_spoken;    // "HH:mm:ss name" of today's spoken firings
    QDateTime m_holdUntil;
    qint64 m_lastKey = -1;     // the wall second of the last tick
    qint64 m_buildFrom = -1;   // the wall second a build began, for its catch-up
    int m_lastMinute = -1;     // minute of the day last seen
    int m_tickWork = 0;
    int m_jumpedFrom = -1;     // firings after this second of the day ...
    int m_jumpedTo = -1;       // ... and before this one were jumped over (-1: none)
    bool m_runDueQueued = false;
    QString m_speaking;        // "HH:mm:ss name" of the firing being spoken
    quint64 m_generation = 0;
    bool m_building = false;
    bool m_rebuildAgain = false;
    bool m_toldTruncated = false;
    ClockStepWatch m_steps;
    bool m_held = false;
    struct SpokenWriter;
    std::unique_ptr<SpokenWriter> m_writer;
    QThreadPool m_builder; // last: its jobs end before the rest goes
};

} // namespace tav
