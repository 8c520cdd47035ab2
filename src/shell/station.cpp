#include "shell/station.h"

#include "core/atomicfile.h"
#include "core/datafaults.h"
#include "core/zhtext.h"

#include <cstdio>

using namespace Qt::StringLiterals;

namespace tav {

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
    connect(m_alarm.get(), &AlarmLoop::itemOpened, this, [this](const QString &kind) { trace(u"alarm-open"_s, kind); });
    m_emergency.setBroadcast(m_broadcaster.get(), m_broadcastScheduler.get(), m_announcements.get(), m_alarm.get());
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
    m_weekAhead.watch(m_dir);
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
    for (const QString &line : m_weekAhead.newWarnings(m_weekAhead.compute()))
        m_log.append(zh::stampedLine(m_clock.now(), u"注意："_s + line));
}

void Station::shutDown()
{
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
