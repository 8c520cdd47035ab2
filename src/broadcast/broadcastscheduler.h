#pragma once

#include "broadcast/broadcaster.h"
#include "broadcast/broadcaststore.h"
#include "core/clocksteps.h"

#include <QDate>
#include <QList>
#include <QObject>
#include <QTime>

#include <functional>

namespace tav {

class Clock;
class MessageLog;

// One firing of a broadcast today.
struct WaitRow
{
    enum class Status { Waiting, Spoken, Overdue, Delayed };
    QTime time;        // the firing time (its seconds carry the priority)
    QString name;
    QString text;      // the content, as listed
    int delay = 0;     // the task's TTS_Delay minutes
    Status status = Status::Waiting;
    bool delayedStarted = false; // a postponed firing that has been spoken (blue)
    QTime postponedTo; // when Delayed

    static QString statusText(Status status); // "待播" "已播" "超时" "延播"
    // The row's colour as 0xRRGGBB: red when overdue, blue when a postponed
    // firing has been spoken, else none (-1).
    int colour() const;
};

// Today's broadcasts. Rules:
// - the list is built at start, after every change of the broadcasts, when
//   the "播音" switch changes and when the date changes: every firing of
//   each task that is on, runs on today's weekday, has today within its
//   dates; a task's firings are its start and then every interval minutes
//   up to its end time; ordered by time, so that firings of one minute come
//   in priority order (the units digit of the seconds), 0 first;
// - firings more than a minute past when the list is built are not listed
//   (a task whose times are all past is not listed at all);
// - each second: a waiting firing whose time has come (within the last
//   minute) is spoken and becomes "已播"; one whose minute has passed
//   unspoken becomes "超时";
// - a firing that comes while a broadcast is speaking is postponed: by its
//   task's delay minutes ("延播", started in the first second seen of that
//   minute; still busy then: postponed again), or, with delay 0, spoken
//   right after the broadcast that held it up;
// - ten seconds before a firing the broadcaster's players are made ready,
//   away from the second's boundary (see warmUpBefore), and the first
//   sound of the firing due next waits at its first sample (see
//   Broadcaster::warmUp); what was made ready for a firing that is changed,
//   gone or not spoken within seconds of its time is let go;
// - a clock step follows the media tasks' rule (see Scheduler): firings a
//   forward step of less than three hours jumped over are spoken at once,
//   one after the other; after a backward step nothing spoken is spoken
//   again (a firing keeps its status for the day); a larger step forward
//   leaves what it jumped over "超时";
// - the list is not run with the switch off ("播音已停止，如果要开启请到主控面板
//   操作！") or on a stop day ("现在是停播时间").
class BroadcastScheduler : public QObject
{
    Q_OBJECT
public:
    enum class Mode { Running, SwitchedOff, StopDay };
    using StopDay = std::function<bool(QDate)>;

    BroadcastScheduler(const Clock &clock, BroadcastStore &store, Broadcaster &broadcaster, MessageLog &log,
                       QObject *parent = nullptr);

    void setEnabled(bool on);            // the "播音" switch
    void setStopDay(StopDay stopDay) { m_stopDay = std::move(stopDay); }

    // Reloads the store and builds today's list.
    void rebuild();
    // The once-a-second work.
    void tick();
    // An emergency holds the list: nothing is spoken or made ready, and each
    // firing that falls due meanwhile (or was waiting for the voice) is
    // "超时", as at a minute past its time.
    void setHeld(bool held);
    bool isHeld() const { return m_held; }

    const QList<WaitRow> &rows() const { return m_rows; }
    Mode mode() const { return m_mode; }
    // "今日待执行的任务，共:N条", or the reason the list does not run.
    QString header() const;

signals:
    void listChanged();
    void rowChanged(int row);
    void line(const QString &text); // what was done, for standard output

private:
    // Engines are made in the middle of a second, off the tick that may
    // start a task; a ready engine only has its idle time renewed.
    static constexpr int kWarmUpSeconds = 10;
    static constexpr int kWarmUpDelayMs = 300;
    void warmUpBefore(int seconds);
    void fire(int row, bool delayed);
    void postpone(int row);
    void passOver(int row); // "超时" while held
    void setStatus(int row, WaitRow::Status status);
    void log(const QString &text);
    BroadcastRequest requestFor(const WaitRow &row) const;
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
    QList<int> m_heldBack;  // rows with delay 0 waiting for the voice
    int m_lastMinute = -1;  // minute of the day last seen
    ClockStepWatch m_steps;
    bool m_held = false;
};

} // namespace tav
