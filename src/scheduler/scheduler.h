#pragma once

#include "core/clocksteps.h"

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QThreadPool>

namespace tav {

class Clock;
class MessageLog;
class PlaybackController;
class Prompt;
class Settings;
class Shutdown;
class StopDates;
class TaskStore;
struct TodayTask;

// What the status bar says about the next task and the working hours.
struct NextTaskStatus
{
    QString next;       // "将播:…", "今天的定时节目已经全部播送" or "不在工作时段范围内"
    QString remaining;  // "还剩hh:mm:ss", empty when no task is ahead
    bool lastTen = false;
    QString workHours;  // "工作时段从…至…" or "当前全天播放,未启用工作时段"
};

// The station's clockwork, run once a second by onSecond():
// - a task starts on the tick whose time of day equals its start time to
//   the second; a later task of today's list starting in the same second
//   replaces an earlier one; a missed second is a missed start;
// - a running task ends on the first tick that is after its end time and
//   less than 50 seconds past it;
// - outside working hours (when they are on) the tick does nothing;
// - a stop day or the end of the working day stops playback and the
//   schedule, and powers the PC off when a shutdown switch is on;
// - at midnight today's list is rebuilt and the stop-day check runs again;
//   a task file too big to read within a tick is read on a thread of its
//   own: nothing starts until it is in, then what fell due meanwhile starts
//   at once, late; a task's big list file is read likewise, its first item
//   playing when it is in (the task has started and is logged at once);
// - when the clock is stepped (a time service or an operator sets it, or
//   daylight saving begins or ends), one rule holds, the one cron keeps.
//   Tasks are kept in local wall time, so a daylight saving change is a
//   step of local time by its hour although UTC runs on:
//   * a forward step of less than three hours: the starts it jumped over
//     happen at once, in the order of their times (so the last one plays on),
//     each logged as late by the wall-clock time it missed; one whose end
//     was jumped over as well plays its full length from now. In spring that
//     is every task due in the skipped hour, started at 3:00 (late by its
//     distance from 3:00 on the wall clock, though no real time was lost);
//   * a backward step of less than three hours: nothing starts again until
//     the clock is past the latest second it had already shown, so no task
//     of the repeated hour of autumn starts twice;
//   * a step of three hours or more is a correction: the new time is used
//     as it is, nothing is made good or held back;
//   * whatever its size, a forward step ends the running task when it
//     jumped over its end time, and ends the working day or starts the
//     daily shutdown when it jumped over their times;
//   * every step is logged with its size; ticks without a step keep the
//     rules above (equality to the second, the 50-second end window).
// - the shutdown question never waits in the tick: it stays open while the
//   seconds go on, and a "no" puts the schedule back to work at once;
// - a change to the stop dates, weekday stops or working hours takes effect
//   at once (reviewDay): today's list (from the tasks in hand, no file is
//   read) and the stop-day state are recomputed.
class Scheduler : public QObject
{
    Q_OBJECT
public:
    static constexpr int kEndGrace = 50;
    static constexpr int kWorkEndLead = 5;
    static constexpr int kEndOfDay = 23 * 3600 + 59 * 60 + 59;

    // The day's rules, shared by the tick and the week ahead:
    // the tick works only within the working hours when they are on;
    static bool withinWorkingHours(const Settings &settings, int timeOfDay);
    // the working day ends kWorkEndLead seconds before the working hours end
    // (-1 when they are off) and the daily shutdown ends it at its time (-1
    // when it is off): from then on nothing starts that day.
    static int workDayEndsAt(const Settings &settings);
    static int shutdownAt(const Settings &settings);

    // A task's list file up to this size is read within the tick (a few
    // milliseconds); a bigger one on a thread of its own, and its first item
    // plays when it has been read.
    static constexpr qint64 kListReadInTick = 256 * 1024;

    Scheduler(const Clock &clock, Settings &settings, TaskStore &store, StopDates &stopDates,
              PlaybackController &playback, MessageLog &log, Shutdown &shutdown, Prompt &prompt,
              QObject *parent = nullptr);
    ~Scheduler() override;

    // Loads today's list and runs the stop-day check; the schedule runs
    // (setEnabled) unless today is a stop day.
    void startDay();
    // The first ticks wait this long after start-up; midnight and the
    // shutdown time are still watched meanwhile.
    void delayStart(int seconds);
    void onSecond();

    void tick();
    NextTaskStatus nextTaskStatus() const;
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool on) { m_enabled = on; }
    // Returns true when today is a stop day (the end-of-day handler has run).
    bool stopDayCheck();
    void endOfDay();
    bool isStopDay() const { return m_stopDay; }
    // The system shutdown has been started and not cancelled.
    bool isShutdownPending() const { return m_shutdownPending; }
    // The stop dates, a weekday stop or the working hours changed.
    void reviewDay();
    // The task file changed on disk. It is read on a thread of its own while
    // the ticks go on starting from the list in hand; once it is in, it takes
    // over: a start made meanwhile that the new list also has is not made
    // again, one the new list has in those seconds and the old one had not
    // is made at once, late. A file that cannot be read or is not whole
    // leaves the tasks as they were. tasksReloaded() tells the outcome.
    void reloadTasks();
    // The idle content (the advertising slideshow) really started.
    void idleContentStarted();
    // The operator started a task by hand (立即播放): said on the status bar
    // and in the message log as a timed start is.
    void startedByHand(const QString &name);
    const QString &runningEnd() const { return m_runningEnd; }
    // The operator took the list over: the running task's end no longer stops it.
    void cancelRunningEnd()
    {
        m_runningEnd.clear();
        ++m_listGeneration; // a list still being read stays out of the operator's way
    }
    const QString &status() const { return m_status; }
    // An emergency holds the schedule: the seconds go on and ends still end,
    // but a start only becomes the running task, its list unread and
    // nothing played. Released, a task that started meanwhile and has not
    // ended plays from its first item (true); otherwise the caller lets the
    // interrupted item go on.
    void hold();
    bool release();
    bool isHeld() const { return m_held; }

signals:
    void statusChanged(const QString &text);
    void taskStarted(const QString &name);
    void taskEnded();
    void playerWindowRequested();
    void idleContentRequested(bool run); // the advertising slideshow
    void stopDay();                      // the voice broadcast stays quiet today
    // A start whose second went by with no tick to make it (the station
    // stalled, or the clock was corrected forward by hours).
    void startMissed(const QString &name);
    // A start held back (a clock step, a task file being read) made late.
    void startMadeGood(const QString &name, int lateBySeconds);
    // ok: the new tasks are in force; else `why` the old ones were kept.
    void tasksReloaded(bool ok, const QString &why, qint64 readMs);

private:
    // After the day's tasks were read: the starts due since `from` (a wall
    // second) happen now, unless the schedule is off or held.
    void catchUpFrom(qint64 from);
    // plays: false for a start replaced by a later one of the same second.
    void startTask(const TodayTask &task, QDate today, const QString &end, bool plays);
    void startDueTasks(QDate today, int t);
    // Makes the starts held back (`late`, in the order of their times) and
    // those of this second; the last of them plays (the last late one only
    // when `lastLatePlays`), the others are logged as started and replaced.
    void makeStarts(QDate today, int t, const QList<const TodayTask *> &late,
                    const QList<const TodayTask *> &onTime, bool lastLatePlays);
    // A reloaded task file is in: its starts in the seconds ticked since
    // `from` that were not made from the old list are made now, late.
    void makeGoodAfterReload(qint64 from, const QSet<std::pair<qint64, QString>> &started);
    // Today's tasks are in: the stop-day check, and the schedule runs unless it is one.
    void dayLoaded();
    // A few seconds before a start the task's first item is made ready
    // (PlaybackController::prepare: on the player when it stands idle, on
    // its second engine over an item playing), a moment away from the
    // tick, so that at its second only its pause goes.
    static constexpr int kPrepareSeconds = 3;
    static constexpr int kPrepareDelayMs = 300;
    void prepareNext(QDate today, int t);
    void newDay(qint64 key);
    void playList(quint64 generation, const QString &name, const QString &mode, const QStringList &media,
                  int dropped);
    // Local wall time as whole seconds on one line (days and time of day).
    static qint64 wallKey(QDate date, int secondsOfDay) { return date.toJulianDay() * 86400 + secondsOfDay; }
    // The time of day `tod` of today was jumped over by this tick's forward step.
    bool jumpedOver(QDate today, int tod) const;
    void followStep(const ClockStep &step, qint64 key);
    void endTask();
    // Reads the task's list (a big one off this thread) and plays it.
    void loadList(const QString &name, const QString &mode);
    void shutdownStep();
    void shutdownDeclined();
    void resume();
    void setStatus(const QString &text);

    const Clock &m_clock;
    Settings &m_settings;
    TaskStore &m_store;
    StopDates &m_stopDates;
    PlaybackController &m_playback;
    MessageLog &m_log;
    Shutdown &m_shutdown;
    Prompt &m_prompt;
    bool m_enabled = false;
    QString m_runningEnd;
    QString m_status;
    bool m_byHand = false; // the status tells of a task started by hand
    QDate m_day;
    QDateTime m_holdUntil;
    QDate m_shutdownDone; // the daily shutdown time fires once a day
    bool m_stopDay = false;
    bool m_shutdownPending = false;
    ClockStepWatch m_steps;
    QThreadPool m_listReaders;
    quint64 m_dayGeneration = 0;
    qint64 m_dayLoadingSince = -1; // a new day's task file is being read since this second
    qint64 m_reloadFrom = -1;      // a changed task file is being read; ticked up to this second before
    quint64 m_reloadGeneration = 0, m_reloadApplied = 0; // reads of a changed task file asked for, taken in
    QSet<std::pair<qint64, QString>> m_startedInReload; // starts (second, task) made while it is read
    qint64 m_startsDoneAt = -1;    // the second whose starts have been made
    qint64 m_preparedFor = -1;     // the start whose first item was made ready
    quint64 m_listGeneration = 0; // the task whose list is wanted
    qint64 m_lastKey = -1;       // the wall second of the previous tick
    qint64 m_highWater = -1;     // the latest wall second shown so far
    qint64 m_jumpedFrom = -1;    // this tick followed a forward step from that second
    bool m_catchUp = false;      // … small enough that the starts it jumped over happen
    qint64 m_noRepeatUntil = -1; // after a backward step nothing starts up to this second
    bool m_held = false;
    QString m_heldName, m_heldMode; // the task that started while held
};

} // namespace tav
