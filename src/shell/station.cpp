#include "shell/station.h"

#include "core/atomicfile.h"
#include "core/datafaults.h"
#include "core/ini.h"
#include "core/readahead.h"
#include "core/zhtext.h"
#include "scheduler/taskagenda.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSysInfo>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kImageFile = u"【IMAGE】.ini"_s;
const QString kScrollFile = u"【SCROLL】.ini"_s;
const QString kPresentationFile = u"【PRESENTATION】.ini"_s;
constexpr int kReloadLineSeconds = 60; // one "taken in" line a file a minute

namespace m {
const QString info = u"tavplayer_station_info"_s;
const QString starts = u"tavplayer_task_starts_total"_s;
const QString missed = u"tavplayer_task_starts_missed_total"_s;
const QString late = u"tavplayer_task_starts_late_total"_s;
const QString lateness = u"tavplayer_start_lateness_seconds"_s;
const QString broadcasts = u"tavplayer_broadcasts_total"_s;
const QString deadAir = u"tavplayer_dead_air_total"_s;
const QString faults = u"tavplayer_data_faults"_s;
const QString offset = u"tavplayer_clock_offset_seconds"_s;
const QString lastSync = u"tavplayer_clock_last_sync_timestamp_seconds"_s;
const QString clockKept = u"tavplayer_clock_synchronised"_s;
const QString reloads = u"tavplayer_reloads_total"_s;
const QString reloadFailures = u"tavplayer_reload_failures_total"_s;
const QString reloadSeconds = u"tavplayer_last_task_reload_seconds"_s;
const QString uptime = u"tavplayer_uptime_seconds"_s;
const QString memory = u"tavplayer_resident_memory_bytes"_s;
} // namespace m

double residentBytes()
{
    QFile statm(u"/proc/self/statm"_s);
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toDouble() * double(::sysconf(_SC_PAGESIZE)) : 0;
}

} // namespace

Station::Station(const QString &dataDir, MediaPlayer &player, Prompt &prompt, const Clock &clock,
                 Shutdown &shutdown, QObject *parent)
    : QObject(parent), m_clock(clock), m_dir(dataDir), m_prompt(prompt), m_shutdown(shutdown),
      m_player(player), m_settings(m_dir), m_log(m_dir.playLog(), m_clock),
      m_playback(m_player, m_settings, m_log, m_clock),
      m_store(m_dir, m_settings), m_stopDates(m_dir),
      m_scheduler(m_clock, m_settings, m_store, m_stopDates, m_playback, m_log, m_shutdown, m_prompt),
      m_ticker(m_clock), m_weekAhead(m_clock), m_timeKeeper(m_clock, m_dir, m_log),
      m_slideshow(m_clock, m_dir, m_playback, m_log), m_broadcasts(m_dir), m_scripts(m_dir),
      m_captions(m_dir, m_log, m_clock), m_captionScroller(m_clock, m_settings, m_captions),
      m_emergency(m_clock, m_dir, m_log, m_scheduler, m_playback, m_player, m_slideshow, m_captionScroller)
{
    m_emergency.setIdleContent([this] { startIdleContent(); });
    connect(&m_emergency, &Emergency::activeChanged, this, [this](bool active, const QString &text) {
        trace(active ? u"emergency-start"_s : u"emergency-clear"_s, QString());
        emit emergencyChanged(active, text);
    });
    connect(&m_settings, &Settings::switchChanged, this, [this](Switch s, bool on) {
        if (s == Switch::NetTime)
            m_timeKeeper.setAutomatic(on);
        if (s == Switch::Broadcast && m_broadcastScheduler)
            m_broadcastScheduler->setEnabled(on);
        if (s == Switch::Pictures) {
            if (on)
                startIdleContent();
            else
                m_slideshow.stopIdle();
        }
    });
    // The slideshow: between tasks, and beside a task that has pictures.
    m_slideshow.setStopDay([this](QDate date) { return m_stopDates.isStopDay(date, m_settings); });
    m_slideshow.setPlayerBusy([this] { return !m_scheduler.runningEnd().isEmpty(); });
    m_playback.setPictureCount([this] { return m_slideshow.pictureCount(); });
    connect(&m_scheduler, &Scheduler::idleContentRequested, this, [this](bool run) {
        if (run && m_emergency.isActive())
            return; // started again when the emergency is cleared
        if (!run)
            m_slideshow.stopIdle();
        else if (m_slideshow.startIdle())
            m_scheduler.idleContentStarted();
    });
    // Before the task's first item goes to the player, which asks how many pictures there are.
    connect(&m_scheduler, &Scheduler::taskStarted, this,
            [this](const QString &name) { m_slideshow.startTask(m_store.readPictureList(name)); });
    connect(&m_scheduler, &Scheduler::taskEnded, &m_slideshow, &Slideshow::stopTask);
    m_weekAhead.addStationLanes(m_settings, m_store, m_stopDates);
    connect(&m_weekAhead, &WeekAhead::changed, this, &Station::checkWeekAhead);
    m_weekCheck.setInterval(3600 * 1000); // missing files are files outside the data folder too
    connect(&m_weekCheck, &QTimer::timeout, this, &Station::checkWeekAhead);
    m_saveRetry.setInterval(60 * 1000);
    connect(&m_saveRetry, &QTimer::timeout, this, [] { DataFaults::instance().retry(); });
    connect(&m_ticker, &SecondTicker::second, &m_scheduler, &Scheduler::onSecond);
    connect(&m_ticker, &SecondTicker::second, &m_captionScroller, &CaptionScroller::onSecond);
    connect(&m_scheduler, &Scheduler::taskStarted, this,
            [this](const QString &name) { trace(u"start"_s, name); });
    connect(&m_scheduler, &Scheduler::taskEnded, this, [this] { trace(u"end"_s, QString()); });
    connect(&m_watcher, &DataWatcher::changed, this, &Station::takeChanges);
    connect(&m_scheduler, &Scheduler::tasksReloaded, this, [this](bool ok, const QString &why, qint64 readMs) {
        m_metrics.set(m::reloadSeconds, readMs / 1000.0);
        if (ok) {
            reloaded(m_dir.song());
        } else {
            m_metrics.add(m::reloadFailures);
            if (why != u"无法读取"_s) // told by the reader itself
                DataFaults::instance().rejected(m_dir.song(), why);
        }
        emit m_weekAhead.changed();
    });
    m_readers.setMaxThreadCount(1); // batches of changes are taken in in their order
    m_up.start();
    setUpMetrics();
}

void Station::setUpMetrics()
{
    using T = Metrics::Type;
    Metrics &r = m_metrics;
    r.declare(m::info, T::Gauge, u"The station: its name and version (always 1)."_s);
    r.declare(m::starts, T::Counter, u"Task starts made, on their second or late."_s);
    r.declare(m::missed, T::Counter, u"Task starts whose second went by without being made."_s);
    r.declare(m::late, T::Counter, u"Task starts held back and made good late."_s);
    r.declare(m::lateness, T::Histogram, u"Time from a task's start second to its first sound."_s,
              {0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10});
    r.declare(m::broadcasts, T::Counter,
              u"Voice broadcasts by result: spoken (已播), delayed (延播), overdue (超时), failed."_s);
    for (const QString &result : {u"spoken"_s, u"delayed"_s, u"overdue"_s, u"failed"_s})
        r.add(m::broadcasts, 0, {{u"result"_s, result}});
    r.declare(m::deadAir, T::Counter, u"Items that made no progress while due to sound."_s);
    r.declare(m::faults, T::Gauge, u"Data files that cannot be read or saved now."_s);
    r.declare(m::offset, T::Gauge, u"The clock's offset from network time at its last check."_s);
    r.declare(m::lastSync, T::Gauge, u"When the clock was last checked against network time (0: never)."_s);
    r.declare(m::clockKept, T::Gauge,
              u"1 while the clock is kept in step (by the system or a check within the day), else 0."_s);
    r.declare(m::reloads, T::Counter, u"Data files changed by another program and taken in."_s);
    r.declare(m::reloadFailures, T::Counter, u"Changed data files not taken in (not whole or unreadable)."_s);
    r.declare(m::reloadSeconds, T::Gauge, u"Time the last reading of the task file took, off the clockwork."_s);
    r.declare(m::uptime, T::Gauge, u"Seconds since the station started."_s);
    r.declare(m::memory, T::Gauge, u"Resident memory of the station's process."_s);
    r.setSampler([this](Metrics &metrics) {
        metrics.set(m::uptime, m_up.elapsed() / 1000.0);
        metrics.set(m::memory, residentBytes());
    });

    connect(&m_scheduler, &Scheduler::startMissed, this, [this] { m_metrics.add(m::missed); });
    connect(&m_scheduler, &Scheduler::startMadeGood, this, [this](const QString &, int lateBy) {
        m_metrics.add(m::late);
        m_madeGoodBy = lateBy;
    });
    // The last start of a second is the one that plays; its lateness runs
    // from its own second, earlier for a start made good.
    connect(&m_scheduler, &Scheduler::taskStarted, this, [this] {
        m_metrics.add(m::starts);
        const QDateTime now = m_clock.now();
        m_startSecond = now.addMSecs(-now.time().msec()).addSecs(-std::exchange(m_madeGoodBy, 0));
    });
    connect(&m_scheduler, &Scheduler::taskEnded, this, [this] { m_startSecond = QDateTime(); });
    connect(&m_playback, &PlaybackController::itemPlaying, this, [this] {
        if (!m_startSecond.isValid())
            return;
        m_metrics.observe(m::lateness, std::max<qint64>(0, m_startSecond.msecsTo(m_clock.now())) / 1000.0);
        m_startSecond = QDateTime();
    });
    connect(&m_playback, &PlaybackController::deadAir, this, [this] { m_metrics.add(m::deadAir); });
    connect(&DataFaults::instance(), &DataFaults::changed, this,
            [this] { m_metrics.set(m::faults, DataFaults::instance().outstanding().size()); });
    connect(&m_timeKeeper, &TimeKeeper::statusChanged, this, [this] {
        const TimeHealth &health = m_timeKeeper.health();
        m_metrics.set(m::offset, health.residualOffsetMs() / 1000.0);
        m_metrics.set(m::lastSync, health.lastCheck().isValid() ? health.lastCheck().toSecsSinceEpoch() : 0);
        m_metrics.set(m::clockKept, m_timeKeeper.status().warning ? 0 : 1);
    });
}

QString Station::stationName() const
{
    const QString name = IniFile(m_dir.control()).value(QString::fromLatin1(kMetricsSection), u"Name"_s).trimmed();
    return name.isEmpty() ? QSysInfo::machineHostName() : name;
}

QString Station::metricsListen() const
{
    return IniFile(m_dir.control()).value(QString::fromLatin1(kMetricsSection), u"Listen"_s).trimmed();
}

void Station::reloaded(const QString &path)
{
    m_metrics.add(m::reloads);
    DataFaults::instance().takenIn(path);
    const QDateTime now = m_clock.now();
    const auto told = m_reloadTold.constFind(path);
    if (told != m_reloadTold.cend() && told->secsTo(now) >= 0 && told->secsTo(now) < kReloadLineSeconds)
        return;
    m_reloadTold.insert(path, now);
    m_log.append(zh::stampedLine(now, u"已载入其他程序修改的数据文件：“%1”"_s.arg(QFileInfo(path).fileName())));
}

namespace changes {

enum class Changed { Tasks, Settings, Pictures, StopDates, Captions, Scripts, Other };

Changed kindOf(const DataDir &dir, const QString &name)
{
    const QString path = dir.file(name);
    if (path == dir.song())
        return Changed::Tasks;
    if (path == dir.control() || path == dir.timerSet())
        return Changed::Settings;
    if (name == kImageFile)
        return Changed::Pictures;
    if (path == dir.stopDates())
        return Changed::StopDates;
    if (name == kScrollFile)
        return Changed::Captions;
    if (name == kPresentationFile)
        return Changed::Scripts;
    // The broadcasts, or a list or text file of a task or broadcast (a
    // task's list is read when it starts).
    return Changed::Other;
}

} // namespace changes

using changes::Changed;

// What a reader thread found of a batch of changed files.
struct Station::ChangeReading
{
    struct File
    {
        QString path;
        Changed kind;
        QString notWhole; // not taken in, and why
    };
    QList<File> files;
    // Parsed documents of the files the loads below read.
    ReadAheadScope::Docs docs;
    std::optional<BroadcastStore::Reading> broadcasts; // read here when no broadcast scheduler does
};

void Station::takeChanges(const QStringList &names)
{
    // Read and parsed on a thread of its own, one batch after the other;
    // taken in on this thread when they are in.
    const DataDir dir = m_dir;
    const bool readBroadcasts = !m_broadcastScheduler;
    m_readers.start([this, dir, names, readBroadcasts] {
        auto reading = std::make_shared<ChangeReading>();
        bool settings = false, captions = false, broadcasts = false;
        for (const QString &name : names) {
            ChangeReading::File file{dir.file(name), changes::kindOf(dir, name), QString()};
            if (file.kind != Changed::Tasks) { // checked and read off the clockwork by the scheduler
                const ReadAhead ahead = ReadAhead::of(file.path);
                file.notWhole = ahead.notWhole;
                if (ahead.notWhole.isEmpty() && file.kind != Changed::Other) // lists and texts are read when used
                    reading->docs.insert(file.path, ahead.doc);
                settings |= file.notWhole.isEmpty() && (file.kind == Changed::Settings || file.kind == Changed::Pictures);
                captions |= file.notWhole.isEmpty() && file.kind == Changed::Captions;
                broadcasts |= file.notWhole.isEmpty() && file.kind == Changed::Other;
            }
            reading->files.append(file);
        }
        // The other files the settings and the captions are made of.
        QStringList alsoRead;
        if (settings)
            alsoRead << dir.control() << dir.timerSet() << dir.file(kImageFile);
        if (captions)
            alsoRead << dir.control();
        for (const QString &path : std::as_const(alsoRead)) {
            if (reading->docs.contains(path))
                continue;
            if (ReadAhead ahead = ReadAhead::of(path); ahead.notWhole.isEmpty())
                reading->docs.insert(path, ahead.doc);
        }
        if (broadcasts && readBroadcasts)
            reading->broadcasts = BroadcastStore::read(dir);
        QMetaObject::invokeMethod(this, [this, reading] { takeReading(*reading); }, Qt::QueuedConnection);
    });
}

void Station::takeReading(const ChangeReading &reading)
{
    bool tasks = false, settings = false, stopDates = false, broadcasts = false, scripts = false,
         captions = false, pictures = false;
    for (const ChangeReading::File &file : reading.files) {
        if (file.kind == Changed::Tasks) {
            tasks = true;
            continue;
        }
        if (!file.notWhole.isEmpty()) {
            m_metrics.add(m::reloadFailures);
            if (file.notWhole != u"无法读取"_s) // told by the reader itself
                DataFaults::instance().rejected(file.path, file.notWhole);
            continue;
        }
        switch (file.kind) {
        case Changed::Pictures: pictures = true; [[fallthrough]];
        case Changed::Settings: settings = true; break;
        case Changed::StopDates: stopDates = true; break;
        case Changed::Captions: captions = true; break;
        case Changed::Scripts: scripts = true; break;
        case Changed::Other: broadcasts = true; break;
        case Changed::Tasks: break;
        }
        reloaded(file.path);
    }
    {
        // The loads take in what was read, without a look at the disk.
        const ReadAheadScope ahead(reading.docs);
        if (settings) {
            m_settings.reload(); // an option changed is followed as if clicked
            m_emergency.loadSettings(); // a new text is read and made ready again
        }
        if (stopDates) {
            m_stopDates.load();
            m_scheduler.reviewDay();
        }
        if (scripts)
            m_scripts.load();
        if (captions)
            m_captions.load();
    }
    // The broadcast scheduler reads its file again off this thread when the
    // week ahead changes (below); without one it was read with the rest.
    if (broadcasts && reading.broadcasts)
        m_broadcasts.apply(*reading.broadcasts);
    if (pictures && m_slideshow.source() == Slideshow::Source::Idle) {
        m_slideshow.stopIdle();
        startIdleContent();
    }
    if (tasks)
        m_scheduler.reloadTasks(); // the week ahead follows when it is in
    else if (settings || stopDates || scripts || captions || broadcasts)
        emit m_weekAhead.changed();
}

Station::~Station()
{
    DataFaults::instance().setClock(nullptr); // the clock goes with the station
}

void Station::setBroadcastDevices(MediaPlayer &broadcastPlayer, MediaPlayer &voicePlayer, SpeechSynth &synth)
{
    m_broadcastPlayer = &broadcastPlayer;
    m_voicePlayer = &voicePlayer;
    m_synth = &synth;
    m_voices = std::make_unique<VoiceCatalog>(&synth);
    m_voice = std::make_unique<Voice>(synth, voicePlayer);
    m_broadcaster = std::make_unique<Broadcaster>(m_clock, m_dir, *m_voice, broadcastPlayer, m_playback, m_log,
                                                  *m_voices);
    m_broadcastScheduler = std::make_unique<BroadcastScheduler>(m_clock, m_broadcasts, *m_broadcaster, m_log);
    m_broadcastScheduler->setStopDay(
        [this](QDate date) { return m_stopDates.stopReason(date, m_settings) != StopDates::Stop::No; });
    // After the media tasks' work of the same second, never waiting for it.
    connect(&m_ticker, &SecondTicker::second, m_broadcastScheduler.get(), &BroadcastScheduler::tick);
    // Any change of the data files (broadcasts, stop dates) rebuilds the day.
    connect(&m_weekAhead, &WeekAhead::changed, m_broadcastScheduler.get(), &BroadcastScheduler::rebuild);
    connect(m_broadcaster.get(), &Broadcaster::started, this, [this](const QString &name) {
        trace(u"broadcast"_s, name);
    });
    m_announcements = std::make_unique<AnnounceQueue>(m_clock, *m_broadcaster, m_log);
    m_alarm = std::make_unique<AlarmLoop>(m_clock, m_dir, broadcastPlayer, &synth, m_voices.get(), m_log);
    m_alarm->keepReady(true); // an emergency's first sound only lets a pause go
    connect(m_alarm.get(), &AlarmLoop::itemOpened, this, [this](const QString &kind) { trace(u"alarm-open"_s, kind); });
    m_emergency.setBroadcast(m_broadcaster.get(), m_broadcastScheduler.get(), m_announcements.get(), m_alarm.get());
    connect(m_broadcastScheduler.get(), &BroadcastScheduler::counted, this,
            [this](BroadcastScheduler::Outcome outcome, int firings) {
                // In the order of BroadcastScheduler::Outcome.
                static const QString kResults[] = {u"spoken"_s, u"delayed"_s, u"overdue"_s, u"failed"_s};
                m_metrics.add(m::broadcasts, firings, {{u"result"_s, kResults[int(outcome)]}});
            });
}

bool Station::announce(const AnnounceRequest &request, const QString &origin, QString *error)
{
    trace(u"announce-request"_s, origin);
    if (!m_announcements) {
        if (error)
            *error = u"语音播报不可用：语音引擎 espeak-ng 无法初始化"_s;
        return false;
    }
    return m_announcements->submit(request, origin, error);
}

bool Station::startEmergency(const EmergencyRequest &request, const QString &origin, QString *error)
{
    trace(u"emergency-request"_s, origin);
    return m_emergency.start(request, origin, error);
}

bool Station::clearEmergency(const QString &origin, QString *error)
{
    return m_emergency.clear(origin, error);
}

std::optional<BroadcastParts> Station::broadcastParts()
{
    if (!m_broadcastScheduler)
        return std::nullopt;
    return BroadcastParts{m_broadcasts, m_scripts,       *m_broadcastScheduler, *m_broadcaster, *m_voice,
                          *m_voices,    *m_synth,        *m_voicePlayer,        *m_broadcastPlayer,
                          m_dir,        m_clock,         m_log,                 m_prompt};
}

void Station::printToConsole()
{
    connect(&m_log, &MessageLog::messageAdded, this, &Station::print);
    connect(&m_scheduler, &Scheduler::statusChanged, this, &Station::print);
    connect(&m_ticker, &SecondTicker::second, this, &Station::printNextTask);
    connect(this, &Station::startDelayed, this, &Station::print);
    connect(&m_timeKeeper, &TimeKeeper::statusChanged, this, [this] {
        const TimeHealth::Status status = m_timeKeeper.status();
        const QString warning = status.warning ? status.text : QString();
        if (warning != m_timeWarning && !warning.isEmpty())
            print(warning);
        m_timeWarning = warning;
    });
}

bool Station::setTraceFile(const QString &path)
{
    m_trace.setFileName(path);
    return m_trace.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text);
}

void Station::start()
{
    DataFaults &faults = DataFaults::instance();
    faults.setClock(&m_clock);
    connect(&faults, &DataFaults::fault, this,
            [this](const QString &text) { m_log.append(zh::stampedLine(m_clock.now(), text)); });
    const QStringList stale = removeStaleTemporaries(m_dir.root());
    m_log.startUp();
    if (!stale.isEmpty())
        m_log.append(zh::stampedLine(m_clock.now(),
                                     u"已删除上次未完成保存留下的%1个临时文件"_s.arg(stale.size())));
    m_settings.load();
    if (QString error; m_settings.isFresh() && !m_settings.writeFreshDefaults(m_freshPlace, &error))
        m_log.append(zh::stampedLine(m_clock.now(), u"写入设置文件失败："_s + error));
    m_playback.restoreChannel();
    m_emergency.loadSettings(); // the alarm's reading is made ready now
    m_stopDates.load();
    m_captions.load();
    m_scheduler.startDay();
    // A stop day has no ticks to hold back.
    if (const int delay = m_settings.startDelaySeconds(); delay > 0 && m_scheduler.isEnabled()) {
        emit startDelayed(zh::datedLine(m_clock.now().date(), u"启动延时为%1秒，请稍等..."_s.arg(delay)));
        m_scheduler.delayStart(delay);
    }
    if (m_broadcastScheduler) {
        // The start delay holds the broadcasts back like the tasks.
        if (const int delay = m_settings.startDelaySeconds(); delay > 0 && m_scheduler.isEnabled())
            m_broadcastScheduler->delayStart(delay);
        m_broadcastScheduler->setEnabled(m_settings.isOn(Switch::Broadcast));
    }
    m_ticker.start();
    // Between tasks from the start, once the start delay is over.
    QTimer::singleShot(m_settings.startDelaySeconds() * 1000, this, &Station::startIdleContent);
    m_timeKeeper.start(m_settings.isOn(Switch::NetTime));
    m_metrics.set(m::info, 1, {{u"station"_s, stationName()}, {u"version"_s, QCoreApplication::applicationVersion()}});
    m_metrics.set(m::faults, faults.outstanding().size());
    m_weekAhead.keepNoticesIn(m_dir);
    QStringList ownFiles{QFileInfo(m_dir.playLog()).fileName(), WeekAhead::kNoticeFile};
    if (m_trace.isOpen())
        ownFiles.append(QFileInfo(m_trace.fileName()).fileName());
    m_watcher.watch(m_dir.root(), ownFiles, m_settleMs);
    m_weekCheck.start();
    m_saveRetry.start();
    emit m_weekAhead.changed(); // the data is loaded now
}

void Station::startIdleContent()
{
    if (m_emergency.isActive())
        return;
    const int t = zh::secondsOfDay(m_clock.now().time());
    if (!m_settings.isOn(Switch::Pictures) || !m_scheduler.isEnabled() || !m_scheduler.runningEnd().isEmpty()
        || !Scheduler::withinWorkingHours(m_settings, t) || m_slideshow.isRunning())
        return;
    if (m_slideshow.startIdle())
        m_scheduler.idleContentStarted();
}

void Station::checkWeekAhead()
{
    // Every task's list is read and its files looked for: on a thread of its
    // own, over the tasks and stop dates in hand and the settings as saved.
    // Changes that come meanwhile make one more check when it is done.
    if (m_weekChecking) {
        m_weekCheckAgain = true;
        return;
    }
    m_weekChecking = true;
    m_weekWorker.start([this, dir = m_dir, now = m_clock.now(), rows = m_store.rows(), stopDates = m_stopDates] {
        Settings settings(dir);
        settings.load();
        TaskStore store(dir, settings);
        store.setReadOnly(true);
        store.apply(TaskStore::TaskFile{rows}, now.date());
        TaskAgendaLane lane(store, settings, stopDates);
        QList<AgendaItem> items = agenda::compute({&lane}, now, WeekAhead::kDays);
        QMetaObject::invokeMethod(this, [this, items = std::move(items)] {
            m_weekChecking = false;
            for (const QString &line : m_weekAhead.newWarnings(items))
                m_log.append(zh::stampedLine(m_clock.now(), u"注意："_s + line));
            emit weekChecked();
            if (std::exchange(m_weekCheckAgain, false))
                checkWeekAhead();
        }, Qt::QueuedConnection);
    });
}

void Station::shutDown()
{
    m_watcher.stop();
    m_readers.clear();
    m_readers.waitForDone();
    m_weekWorker.waitForDone();
    m_ticker.stop();
    if (m_alarm)
        m_alarm->stop();
    m_weekCheck.stop();
    m_captionScroller.cmdSRstop_Click();
    m_slideshow.stop();
    m_saveRetry.stop();
    m_playback.stop();
    if (m_broadcastScheduler)
        m_broadcastScheduler->waitForFiles();
    m_log.flush();
    DataFaults::instance().retry();
}

// The status bar's next-task line, printed when it changes (not the countdown).
void Station::printNextTask()
{
    if (!m_scheduler.isEnabled())
        return;
    const NextTaskStatus status = m_scheduler.nextTaskStatus();
    if (status.next != m_nextTask) {
        m_nextTask = status.next;
        print(status.next);
    }
}

void Station::trace(const QString &event, const QString &detail)
{
    if (!m_trace.isOpen())
        return;
    const QByteArray line = (QDateTime::currentDateTime().toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s)
                             + u' ' + event + u' ' + detail + u'\n')
                                .toUtf8();
    m_trace.write(line);
    m_trace.flush();
}

void Station::print(const QString &line)
{
    std::fprintf(stdout, "%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

} // namespace tav
