#include "scheduler/scheduler.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "playback/playbackcontroller.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskstore.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {
const QString kIdleTitle = u"Tavrel多媒体定时播放系统"_s;
const QString kStopDayText = u"今天停播节目"_s;
const QString kDayOverText = u"提示：今天停播节目或播放时间已结束"_s;
const QString kCountdownText = u"正关机倒计时"_s;
} // namespace

bool Scheduler::withinWorkingHours(const Settings &settings, int timeOfDay)
{
    return !settings.isOn(Switch::WorkingHours)
           || (timeOfDay >= settings.workStart() && timeOfDay <= settings.workEnd());
}

int Scheduler::workDayEndsAt(const Settings &settings)
{
    return settings.isOn(Switch::WorkingHours) ? settings.workEnd() - kWorkEndLead : -1;
}

int Scheduler::shutdownAt(const Settings &settings)
{
    return settings.isOn(Switch::ShutdownAtTime) ? settings.shutdownTime() : -1;
}

Scheduler::Scheduler(const Clock &clock, Settings &settings, TaskStore &store, StopDates &stopDates,
                     PlaybackController &playback, MessageLog &log, Shutdown &shutdown,
                     Prompt &prompt, QObject *parent)
    : QObject(parent), m_clock(clock), m_settings(settings), m_store(store), m_stopDates(stopDates),
      m_playback(playback), m_log(log), m_shutdown(shutdown), m_prompt(prompt), m_steps(clock)
{
    connect(&m_settings, &Settings::switchChanged, this, [this](Switch s) {
        switch (s) {
        case Switch::StopMonday: case Switch::StopTuesday: case Switch::StopWednesday:
        case Switch::StopThursday: case Switch::StopFriday: case Switch::StopSaturday:
        case Switch::StopSunday: case Switch::WorkingHours:
            reviewDay();
            break;
        default:
            break;
        }
    });
    connect(&m_settings, &Settings::textChanged, this, [this](Setting s) {
        if (s == Setting::WorkStart || s == Setting::WorkEnd)
            reviewDay();
    });
    // A task started by hand is over when its list is (a timed task's end
    // may still come): the status says so.
    connect(&m_playback, &PlaybackController::idle, this, [this] {
        if (m_byHand) {
            m_byHand = false;
            setStatus(kIdleTitle);
        }
    });
}

void Scheduler::startDay()
{
    ++m_dayGeneration;
    m_dayLoadingSince = -1;
    m_reloadFrom = -1;
    m_day = m_clock.now().date();
    m_store.load(m_day);
    dayLoaded();
}

void Scheduler::dayLoaded()
{
    m_stopDay = false;
    m_shutdownPending = false;
    m_enabled = !stopDayCheck();
}

void Scheduler::newDay(qint64 key)
{
    if (QFileInfo(m_store.dataDir().song()).size() <= kListReadInTick) {
        startDay();
        return;
    }
    // A big task file is read on a thread of its own; the ticks go on and
    // start nothing until it is in, then the starts they held back happen,
    // late, as after a forward step.
    m_day = m_clock.now().date();
    const quint64 generation = ++m_dayGeneration;
    m_dayLoadingSince = key - 1;
    m_reloadFrom = -1; // yesterday's list is of no use now
    const DataDir dir = m_store.dataDir();
    m_listReaders.start([this, generation, dir] {
        TaskStore::TaskFile file = TaskStore::readTaskFile(dir);
        QMetaObject::invokeMethod(this, [this, generation, file = std::move(file)]() mutable {
            if (generation != m_dayGeneration)
                return; // the day was started afresh meanwhile
            const qint64 from = std::exchange(m_dayLoadingSince, -1);
            m_store.apply(std::move(file), m_day);
            dayLoaded();
            catchUpFrom(from);
        }, Qt::QueuedConnection);
    });
}

void Scheduler::catchUpFrom(qint64 from)
{
    const QDateTime now = m_clock.now();
    if (!m_enabled || (m_holdUntil.isValid() && now < m_holdUntil))
        return;
    m_jumpedFrom = from;
    m_catchUp = true;
    tick();
    m_jumpedFrom = -1;
    m_catchUp = false;
}

void Scheduler::reloadTasks()
{
    if (!m_day.isValid())
        return; // start-up loads them
    // A new day's read still under way is overtaken: its starts stay held.
    const bool newDay = m_dayLoadingSince >= 0;
    const quint64 day = newDay ? ++m_dayGeneration : m_dayGeneration;
    const quint64 reload = ++m_reloadGeneration;
    // Otherwise the ticks go on starting from the list in hand; the starts
    // they make meanwhile are noted, so that the new list does not make them
    // again.
    if (!newDay && m_reloadFrom < 0) {
        m_reloadFrom = m_startsDoneAt;
        m_startedInReload.clear();
    }
    const DataDir dir = m_store.dataDir();
    const quint64 loads = m_store.loads();
    m_listReaders.start([this, day, reload, dir, loads] {
        QElapsedTimer took;
        took.start();
        QString why = TaskStore::incompleteReason(dir);
        TaskStore::TaskFile file;
        if (why.isEmpty()) {
            file = TaskStore::readTaskFile(dir);
            if (!file.readable)
                why = u"无法读取"_s;
        }
        const qint64 readMs = took.elapsed();
        QMetaObject::invokeMethod(this, [this, day, reload, loads, file = std::move(file), why, readMs]() mutable {
            // A new day took over, or a later read is in already.
            if (day != m_dayGeneration || reload <= m_reloadApplied)
                return;
            m_reloadApplied = reload;
            // An edit here wrote the file and loaded it again while it was
            // being read: what was read may be from before the edit, and the
            // rows in hand are the file as it is now.
            if (m_store.loads() != loads)
                file = TaskStore::TaskFile{m_store.rows(), false, m_store.fileReadable()};
            if (m_dayLoadingSince >= 0) {
                // The new day's list is made from this file, or from the
                // tasks in hand when it was not whole.
                if (reload != m_reloadGeneration)
                    return; // the latest read makes it
                const qint64 from = std::exchange(m_dayLoadingSince, -1);
                if (!why.isEmpty())
                    file = TaskStore::TaskFile{m_store.rows()};
                m_store.apply(std::move(file), m_day);
                dayLoaded();
                emit tasksReloaded(why.isEmpty(), why, readMs);
                catchUpFrom(from);
                return;
            }
            // Taken in even while a later read is under way, so that a file
            // rewritten faster than it is read still comes in; the seconds
            // after this one are then watched against the next read.
            const qint64 from = m_reloadFrom;
            const QSet<std::pair<qint64, QString>> started = std::exchange(m_startedInReload, {});
            m_reloadFrom = reload == m_reloadGeneration ? -1 : m_startsDoneAt;
            if (why.isEmpty())
                m_store.apply(std::move(file), m_day);
            emit tasksReloaded(why.isEmpty(), why, readMs);
            if (why.isEmpty())
                makeGoodAfterReload(from, started);
        }, Qt::QueuedConnection);
    });
}

void Scheduler::makeGoodAfterReload(qint64 from, const QSet<std::pair<qint64, QString>> &started)
{
    const QDateTime now = m_clock.now();
    if (from < 0 || m_startsDoneAt <= from || !m_enabled || (m_holdUntil.isValid() && now < m_holdUntil))
        return;
    // The seconds ticked while the file was read started the old list's
    // tasks; a start of the new list in those seconds that was not made
    // then is made now, late.
    const QDate today = m_day;
    const QString weekday = zh::weekdayChar(today), date = zh::shortDate(today);
    qint64 latestMade = -1;
    for (const auto &[key, name] : started)
        latestMade = std::max(latestMade, key);
    QList<const TodayTask *> late;
    for (const TodayTask &task : m_store.today()) {
        if (task.start < 0 || !TaskStore::playsOn(task.days(), weekday, date))
            continue;
        const qint64 key = wallKey(today, task.start);
        if (key > from && key <= m_startsDoneAt && key > m_noRepeatUntil && !started.contains({key, task.name()}))
            late.append(&task);
    }
    if (late.isEmpty())
        return;
    std::stable_sort(late.begin(), late.end(),
                     [](const TodayTask *a, const TodayTask *b) { return a->start < b->start; });
    // A later start already made from the old list goes on playing.
    const bool lastPlays = wallKey(today, late.last()->start) >= latestMade;
    makeStarts(today, zh::secondsOfDay(now.time()), late, {}, lastPlays);
}

void Scheduler::delayStart(int seconds)
{
    m_holdUntil = m_clock.now().addSecs(seconds);
}

void Scheduler::onSecond()
{
    const QDateTime now = m_clock.now();
    const qint64 key = wallKey(now.date(), zh::secondsOfDay(now.time()));
    followStep(m_steps.observe(now), key);
    if (m_day.isValid() && now.date() != m_day)
        newDay(key);
    const int shutdown = shutdownAt(m_settings);
    if (m_shutdownDone != now.date() && shutdown >= 0
        && (zh::secondsOfDay(now.time()) == shutdown || jumpedOver(now.date(), shutdown))) {
        m_shutdownDone = now.date();
        endOfDay();
    }
    if (m_enabled && !(m_holdUntil.isValid() && now < m_holdUntil))
        tick();
    m_lastKey = key;
    m_highWater = std::max(m_highWater, key);
    m_jumpedFrom = -1;
    m_catchUp = false;
}

void Scheduler::followStep(const ClockStep &step, qint64 key)
{
    if (!step.isStep())
        return;
    m_log.append(zh::stampedLine(m_clock.now(), step.text()));
    if (step.isForward()) {
        m_jumpedFrom = m_lastKey;
        m_catchUp = !step.isCorrection();
    } else if (step.isCorrection()) {
        m_highWater = key; // the new time is simply used
    } else {
        m_noRepeatUntil = m_highWater;
    }
    if (step.isCorrection())
        m_noRepeatUntil = -1;
}

bool Scheduler::jumpedOver(QDate today, int tod) const
{
    if (m_jumpedFrom < 0 || tod < 0)
        return false;
    const qint64 at = wallKey(today, tod);
    const QDateTime now = m_clock.now();
    return at > m_jumpedFrom && at < wallKey(now.date(), zh::secondsOfDay(now.time()));
}

void Scheduler::tick()
{
    const QDateTime now = m_clock.now();
    const QDate today = now.date();
    const int t = zh::secondsOfDay(now.time());
    // The working day's end jumped over ends it, even outside the hours now.
    if (jumpedOver(today, workDayEndsAt(m_settings))) {
        emit idleContentRequested(false);
        endOfDay();
        return;
    }
    if (!withinWorkingHours(m_settings, t))
        return;
    const bool workingHours = m_settings.isOn(Switch::WorkingHours);

    startDueTasks(today, t);
    if (!m_held)
        prepareNext(today, t);

    if (!m_runningEnd.isEmpty()) {
        const int end = zh::secondsOfDay(m_runningEnd);
        if (end >= 0 && ((t > end && t - end < kEndGrace) || jumpedOver(today, end)))
            endTask();
    }

    if (workingHours && m_settings.isOn(Switch::Pictures) && t == m_settings.workStart())
        emit idleContentRequested(true);
    if (t == workDayEndsAt(m_settings)) {
        emit idleContentRequested(false);
        endOfDay();
    }
}

void Scheduler::startDueTasks(QDate today, int t)
{
    // A list built before midnight must not be used for the wrong day.
    const QString weekday = zh::weekdayChar(today), date = zh::shortDate(today);
    const qint64 key = wallKey(today, t);
    if (m_dayLoadingSince >= 0 || key == m_startsDoneAt)
        return; // today's tasks are not in yet, or this second's starts are done
    m_startsDoneAt = key;
    QList<const TodayTask *> late, onTime;
    // Seconds that went by without a tick: after a step, or a stall.
    const qint64 gapFrom = m_jumpedFrom >= 0 ? m_jumpedFrom : m_lastKey;
    for (const TodayTask &task : m_store.today()) {
        if (task.start < 0 || !TaskStore::playsOn(task.days(), weekday, date))
            continue;
        if (task.start == t)
            onTime.append(&task);
        else if (m_catchUp && jumpedOver(today, task.start))
            late.append(&task);
        else if (!m_catchUp && gapFrom >= 0 && wallKey(today, task.start) > gapFrom
                 && wallKey(today, task.start) < key)
            emit startMissed(task.name());
    }
    if (key <= m_noRepeatUntil) {
        for (const TodayTask *task : std::as_const(onTime))
            m_log.append(zh::stampedLine(m_clock.now(), u"时钟回拨，不重复开播："_s + task->name()));
        return;
    }
    // Jumped-over starts first, in the order their times came; the later
    // replaces the earlier as within one second.
    std::stable_sort(late.begin(), late.end(),
                     [](const TodayTask *a, const TodayTask *b) { return a->start < b->start; });
    makeStarts(today, t, late, onTime, true);
}

void Scheduler::makeStarts(QDate today, int t, const QList<const TodayTask *> &late,
                           const QList<const TodayTask *> &onTime, bool lastLatePlays)
{
    // Of the starts this second the last one plays; the earlier ones are
    // logged as started and replaced at once, so their lists are not opened
    // (an opening would also drop the item made ready for the last one).
    const TodayTask *plays = !onTime.isEmpty()                   ? onTime.last()
                             : !late.isEmpty() && lastLatePlays ? late.last()
                                                                 : nullptr;
    for (const TodayTask *task : late) {
        const int lateBy = t - task->start;
        m_log.append(zh::stampedLine(m_clock.now(), u"补播："_s + task->name() + u"，应于"_s
                                                        + zh::timeText(task->start) + u"开播，晚了"_s
                                                        + stepSizeText(lateBy * 1000LL)));
        emit startMadeGood(task->name(), lateBy);
        // A task whose whole time was jumped over plays its length from now.
        QString end = task->fields.at(3);
        if (task->end > task->start && task->end < t)
            end = zh::timeText(std::min(task->end + lateBy, kEndOfDay));
        startTask(*task, today, end, task == plays);
    }
    for (const TodayTask *task : onTime)
        startTask(*task, today, task->fields.at(3), task == plays);
    if (m_reloadFrom >= 0) {
        for (const TodayTask *task : late)
            m_startedInReload.insert({wallKey(today, task->start), task->name()});
        for (const TodayTask *task : onTime)
            m_startedInReload.insert({wallKey(today, task->start), task->name()});
    }
}

void Scheduler::prepareNext(QDate today, int t)
{
    if (m_dayLoadingSince >= 0 || m_playback.holdsPrepared())
        return;
    // The start that comes next; of equal starts the last one, as it is the
    // one that plays.
    const QString weekday = zh::weekdayChar(today), date = zh::shortDate(today);
    const TodayTask *next = nullptr;
    for (const TodayTask &task : m_store.today()) {
        if (task.start <= t || task.start - t > kPrepareSeconds || !TaskStore::playsOn(task.days(), weekday, date))
            continue;
        if (!next || task.start <= next->start)
            next = &task;
    }
    if (!next || m_preparedFor == wallKey(today, next->start))
        return;
    m_preparedFor = wallKey(today, next->start);
    const QString name = next->name();
    const auto mode = playModeFromName(next->fields.at(6));
    if (!mode || *mode == PlayMode::Random) // its first item is drawn at the start
        return;
    const QDateTime startsAt(today, QTime::fromMSecsSinceStartOfDay(next->start * 1000));
    QTimer::singleShot(kPrepareDelayMs, this, [this, name, startsAt] {
        if (QFileInfo(m_store.listFileOf(name)).size() > kListReadInTick)
            return;
        const QStringList media = TaskStore::readMediaList(m_store.dataDir(), name);
        if (!media.isEmpty())
            m_playback.prepare(media.first(), startsAt);
    });
}

void Scheduler::startTask(const TodayTask &task, QDate today, const QString &end, bool plays)
{
    if (!plays) {
        m_log.append(zh::datedLine(today, u"开播："_s + task.name()));
        emit taskStarted(task.name());
        return;
    }
    emit playerWindowRequested();
    m_byHand = false;
    m_runningEnd = end;
    m_playback.stop();
    setStatus(u"正在播放："_s + task.name());
    m_log.append(zh::datedLine(today, u"开播："_s + task.name()));
    emit taskStarted(task.name());
    const int units = task.fields.at(4).toInt();
    if (m_settings.isOn(Switch::UseTaskVolume))
        m_playback.setSlider(units);
    else
        m_playback.setPlayerVolume(PlaybackController::playerVolumeFor(units));

    if (m_held) {
        ++m_listGeneration;
        m_heldName = task.name();
        m_heldMode = task.fields.at(6);
        return;
    }
    loadList(task.name(), task.fields.at(6));
}

void Scheduler::loadList(const QString &name, const QString &mode)
{
    const quint64 generation = ++m_listGeneration;
    const QString listFile = m_store.listFileOf(name);
    if (QFileInfo(listFile).size() <= kListReadInTick) {
        int dropped = 0;
        playList(generation, name, mode, TaskStore::readMediaList(m_store.dataDir(), name, &dropped), dropped);
        return;
    }
    // A big list is read off the clockwork's thread: the seconds go on meanwhile.
    const DataDir dir = m_store.dataDir();
    m_listReaders.start([this, generation, dir, name, mode] {
        int dropped = 0;
        QStringList media = TaskStore::readMediaList(dir, name, &dropped);
        QMetaObject::invokeMethod(this, [this, generation, name, mode, media = std::move(media), dropped] {
            playList(generation, name, mode, media, dropped);
        }, Qt::QueuedConnection);
    });
}

void Scheduler::playList(quint64 generation, const QString &name, const QString &mode, const QStringList &media,
                         int dropped)
{
    if (generation != m_listGeneration)
        return; // another task started, or this one ended, while the list was read
    if (dropped > 0)
        m_log.append(zh::stampedLine(m_clock.now(), u"“%1”的列表超过%2项，多出的%3项未载入"_s.arg(name).arg(
                                                        TaskStore::kMaxListItems).arg(dropped)));
    m_playback.startTask(mode, media);
    if (media.isEmpty()) // says why nothing plays, without a look at the disk
        m_playback.checkPaths(name, m_prompt, m_store.listFileOf(name));
}

Scheduler::~Scheduler()
{
    m_listReaders.waitForDone();
}

void Scheduler::hold()
{
    m_held = true;
}

bool Scheduler::release()
{
    m_held = false;
    const QString name = std::exchange(m_heldName, QString()), mode = std::exchange(m_heldMode, QString());
    if (name.isEmpty() || m_runningEnd.isEmpty())
        return false;
    m_log.append(zh::stampedLine(m_clock.now(), u"补播："_s + name + u"（紧急广播期间开播）"_s));
    loadList(name, mode);
    return true;
}

void Scheduler::endTask()
{
    m_heldName.clear();
    ++m_listGeneration;
    m_playback.stopAndClear();
    m_runningEnd.clear();
    emit taskEnded();
    setStatus(kIdleTitle);
    if (m_settings.isOn(Switch::Pictures))
        emit idleContentRequested(true); // the slideshow answers with idleContentStarted()
}

void Scheduler::idleContentStarted()
{
    setStatus(u"正在播放广告内容"_s);
    m_log.append(zh::datedLine(m_clock.now().date(), u"开播：广告内容"_s));
}

void Scheduler::startedByHand(const QString &name)
{
    m_byHand = true;
    setStatus(u"正在播放："_s + name);
    m_log.append(zh::datedLine(m_clock.now().date(), u"立即播放："_s + name));
}

NextTaskStatus Scheduler::nextTaskStatus() const
{
    NextTaskStatus status;
    const int t = zh::secondsOfDay(m_clock.now().time());
    const bool workingHours = m_settings.isOn(Switch::WorkingHours);
    const int workStart = m_settings.workStart(), workEnd = m_settings.workEnd();
    status.workHours = workingHours ? u"工作时段从"_s + zh::timeText(workStart) + u"至"_s
                                          + zh::timeText(workEnd)
                                    : u"当前全天播放,未启用工作时段"_s;
    if (workingHours && (t < workStart || t > workEnd)) {
        status.next = u"不在工作时段范围内"_s;
        return status;
    }
    int best = kEndOfDay;
    const TodayTask *next = nullptr;
    for (const TodayTask &task : m_store.today()) {
        if (task.start > t && task.start < best) {
            best = task.start;
            next = &task;
        }
    }
    if (!next) {
        status.next = u"今天的定时节目已经全部播送"_s;
        return status;
    }
    status.next = u"将播:"_s + next->name() + u"  "_s + next->fields.at(2);
    status.remaining = u"还剩"_s + zh::durationText(best - t);
    status.lastTen = best - t < 10;
    return status;
}

bool Scheduler::stopDayCheck()
{
    if (!m_stopDates.isStopDay(m_clock.now().date(), m_settings))
        return false;
    m_stopDay = true;
    endOfDay();
    if (!m_shutdownPending)
        setStatus(kStopDayText);
    emit stopDay();
    return true;
}

void Scheduler::reviewDay()
{
    if (!m_day.isValid())
        return; // not started yet: start-up makes the same check
    m_day = m_clock.now().date();
    // Today's list again from the tasks in hand (the file is read when it changes).
    m_store.apply(TaskStore::TaskFile{m_store.rows(), false, m_store.fileReadable()}, m_day);
    const bool stop = m_stopDates.isStopDay(m_day, m_settings);
    if (stop == m_stopDay && (stop || m_enabled || m_shutdownPending))
        return;
    if (stop) {
        stopDayCheck();
        return;
    }
    m_stopDay = false;
    if (!m_shutdownPending)
        resume();
}

// The schedule goes on for the rest of the day, unless the day is a stop day
// or its working hours are over.
void Scheduler::resume()
{
    if (m_stopDay) {
        setStatus(kStopDayText);
        return;
    }
    const int t = zh::secondsOfDay(m_clock.now().time());
    if (m_settings.isOn(Switch::WorkingHours) && t + kWorkEndLead >= m_settings.workEnd()) {
        setStatus(kDayOverText);
        return;
    }
    m_enabled = true;
    if (m_status == kStopDayText || m_status == kDayOverText || m_status == kCountdownText)
        setStatus(kIdleTitle);
}

void Scheduler::endOfDay()
{
    ++m_listGeneration;
    m_playback.stop();
    if (!m_runningEnd.isEmpty()) {
        m_runningEnd.clear();
        emit taskEnded(); // the console unmarks it
    }
    m_enabled = false;
    setStatus(kDayOverText);
    if (!m_shutdownPending
        && (m_settings.isOn(Switch::ShutdownAtTime) || m_settings.isOn(Switch::ShutdownOnStopDay))) {
        setStatus(kCountdownText);
        shutdownStep();
    }
}

void Scheduler::shutdownStep()
{
    QString error;
    if (!m_shutdown.schedule(&error)) {
        m_log.append(zh::stampedLine(m_clock.now(), u"关机失败："_s + error));
        resume();
        return;
    }
    m_shutdownPending = true;
    // The seconds go on while the question is open; unanswered, the PC goes down.
    m_prompt.askLater(u"提示"_s, u"“是”表示要关机，“否”表示不要关机"_s, true, this, [this](bool yes) {
        if (!yes)
            shutdownDeclined();
    });
}

void Scheduler::shutdownDeclined()
{
    QString error;
    if (!m_shutdown.cancel(&error)) {
        m_log.append(zh::stampedLine(m_clock.now(), u"取消关机失败："_s + error));
        return;
    }
    m_shutdownPending = false;
    resume();
}

void Scheduler::setStatus(const QString &text)
{
    if (text == m_status)
        return;
    m_status = text;
    emit statusChanged(text);
}

} // namespace tav
