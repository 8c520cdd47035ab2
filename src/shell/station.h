#pragma once

#include "core/clock.h"
#include "core/datadir.h"
#include "core/datawatcher.h"
#include "core/metrics.h"
#include "core/messagelog.h"
#include "core/secondticker.h"
#include "core/settings.h"
#include "broadcast/alarmloop.h"
#include "broadcast/announcequeue.h"
#include "broadcast/broadcaster.h"
#include "broadcast/broadcastscheduler.h"
#include "broadcast/broadcaststore.h"
#include "broadcast/broadcastparts.h"
#include "broadcast/scriptstore.h"
#include "broadcast/voice.h"
#include "broadcast/voices.h"
#include "captions/captionbook.h"
#include "captions/captionscroller.h"
#include "pictures/slideshow.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "playback/playbackcontroller.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskstore.h"
#include "shell/emergency.h"
#include "shell/weekahead.h"
#include "timesync/timekeeper.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QObject>
#include <QThreadPool>
#include <QTimer>

#include <memory>
#include <optional>

namespace tav {

// The whole station: settings, logs, stop dates, tasks, the clockwork and
// the media player. The main window shows and drives it; without windows it
// runs alone, its messages printed to stdout.
class Station : public QObject
{
    Q_OBJECT
public:
    Station(const QString &dataDir, MediaPlayer &player, Prompt &prompt, const Clock &clock,
            Shutdown &shutdown, QObject *parent = nullptr);
    ~Station() override;

    // Writes "time event detail" lines with millisecond times, to measure
    // how soon after its second a task sounds.
    bool setTraceFile(const QString &path);
    void trace(const QString &event, const QString &detail);

    // Start-up: the temporary files of saves killed mid-way go, then the
    // play log, the options, the stop dates, today's tasks and the stop-day
    // check, then the start delay and the ticks. From here on every failure
    // to read or write a data file goes into the message log.
    void start();
    void shutDown();
    // Where a fresh station's player window goes (the console knows the screens).
    void setFreshPlayWindow(const Settings::PlayWindowPlace &place) { m_freshPlace = place; }
    // Log lines, status changes and the next task go to stdout.
    void printToConsole();

    const Clock &clock() const { return m_clock; }
    const DataDir &dataDir() const { return m_dir; }
    Prompt &prompt() { return m_prompt; }
    Settings &settings() { return m_settings; }
    MessageLog &log() { return m_log; }
    MediaPlayer &player() { return m_player; }
    PlaybackController &playback() { return m_playback; }
    TaskStore &tasks() { return m_store; }
    StopDates &stopDates() { return m_stopDates; }
    Scheduler &scheduler() { return m_scheduler; }
    SecondTicker &ticker() { return m_ticker; }
    WeekAhead &weekAhead() { return m_weekAhead; }
    TimeKeeper &timeKeeper() { return m_timeKeeper; }
    // The advertising slideshow; its pictures need a screen (setDisplay).
    Slideshow &slideshow() { return m_slideshow; }
    // The real clock setter (none in tests: nothing is synchronised).
    void setClockSetter(ClockSetter *setter) { m_timeKeeper.setClockSetter(setter); }

    // Voice broadcasts need their own player (prompt tone and background
    // music), the voice's player and the speech engine; a station without
    // them has no broadcasts. Call before start().
    void setBroadcastDevices(MediaPlayer &broadcastPlayer, MediaPlayer &voicePlayer, SpeechSynth &synth);
    BroadcastStore &broadcasts() { return m_broadcasts; }
    // Null without broadcast devices.
    Broadcaster *broadcaster() { return m_broadcaster.get(); }
    BroadcastScheduler *broadcastScheduler() { return m_broadcastScheduler.get(); }
    Voice *voice() { return m_voice.get(); }
    const VoiceCatalog *voices() const { return m_voices.get(); }
    ScriptStore &scripts() { return m_scripts; }
    // The scrolling captions: the list and settings, and which one runs.
    CaptionBook &captions() { return m_captions; }
    CaptionScroller &captionScroller() { return m_captionScroller; }
    // What the broadcast windows work on; none without broadcast devices.
    std::optional<BroadcastParts> broadcastParts();

    // Says a text (or plays a sound file) now, the timed broadcasts' way,
    // after the broadcast in progress. `origin` says who asked, for the log
    // ("主窗口", "本机命令行", "网页控制台" …). False, with why, when refused
    // (no broadcast devices, an empty text, an emergency …).
    bool announce(const AnnounceRequest &request, const QString &origin, QString *error = nullptr);
    // The emergency: see Emergency. Both answer at once; the alarm's first
    // sound is on its way when they return.
    bool startEmergency(const EmergencyRequest &request, const QString &origin, QString *error = nullptr);
    bool clearEmergency(const QString &origin, QString *error = nullptr);
    bool emergencyActive() const { return m_emergency.isActive(); }
    // An alarm panel's bearer token: true when it matches the one set with
    // --emergency-token (none set: every token is refused).
    bool emergencyTokenMatches(const QString &token) { return m_emergency.tokenMatches(token); }
    Emergency &emergency() { return m_emergency; }
    // Null without broadcast devices.
    AnnounceQueue *announcements() { return m_announcements.get(); }
    AlarmLoop *alarm() { return m_alarm.get(); }
    // The station's figures for a monitoring system; metrics().text() is
    // what a /metrics page serves, from any thread.
    Metrics &metrics() { return m_metrics; }
    // The station's own "[METRICS]" settings in "【CONTROL】.ini": Name (the
    // station's name in the figures, the host's name when empty) and Listen
    // (ADDR:PORT of a /metrics page of its own; empty: none).
    static constexpr const char *kMetricsSection = "METRICS";
    QString stationName() const;
    QString metricsListen() const;

    // Data files changed by another program are taken in from start() on:
    // a file that is not whole keeps what was loaded and is reported. The
    // settling time is the watcher's (tests shorten it).
    void setSettleMs(int ms) { m_settleMs = ms; }
    // The names of changed data files, as the watcher tells them: they are
    // read and parsed off this thread, then taken in here.
    void takeChanges(const QStringList &names);

signals:
    // "[date]启动延时为N秒，请稍等...", shown while the first ticks wait.
    void startDelayed(const QString &text);
    // A check of the week ahead is done (its warnings are in the message log).
    void weekChecked();
    // The emergency started (with the text the screen shows) or was cleared.
    void emergencyChanged(bool active, const QString &text);

private:
    // The idle content between tasks, when 显示图片 is on and the schedule
    // is at work with no task running.
    void startIdleContent();
    void printNextTask();
    // Logs what must be fixed before it is due (missing files, voices): once
    // a day each, when a check off this thread is done.
    void checkWeekAhead();
    static void print(const QString &line);
    void setUpMetrics();
    struct ChangeReading;
    // Changed files read and parsed: the ones not whole are reported and
    // counted, the others taken in.
    void takeReading(const ChangeReading &reading);
    void reloaded(const QString &path);

    const Clock &m_clock;
    DataDir m_dir;
    Prompt &m_prompt;
    Shutdown &m_shutdown;
    MediaPlayer &m_player;
    Settings m_settings;
    MessageLog m_log;
    PlaybackController m_playback;
    TaskStore m_store;
    StopDates m_stopDates;
    Scheduler m_scheduler;
    SecondTicker m_ticker;
    WeekAhead m_weekAhead;
    TimeKeeper m_timeKeeper;
    Slideshow m_slideshow;
    BroadcastStore m_broadcasts;
    ScriptStore m_scripts;
    CaptionBook m_captions;
    CaptionScroller m_captionScroller;
    MediaPlayer *m_broadcastPlayer = nullptr;
    MediaPlayer *m_voicePlayer = nullptr;
    SpeechSynth *m_synth = nullptr;
    std::unique_ptr<VoiceCatalog> m_voices;
    std::unique_ptr<Voice> m_voice;
    std::unique_ptr<Broadcaster> m_broadcaster;
    std::unique_ptr<BroadcastScheduler> m_broadcastScheduler;
    std::unique_ptr<AnnounceQueue> m_announcements;
    std::unique_ptr<AlarmLoop> m_alarm;
    Emergency m_emergency;
    QString m_timeWarning; // last clock warning printed
    QTimer m_weekCheck;
    QTimer m_saveRetry; // writes what failed saves kept, once a minute
    QFile m_trace;
    QString m_nextTask; // last "将播:" line printed
    Settings::PlayWindowPlace m_freshPlace;
    Metrics m_metrics;
    DataWatcher m_watcher;
    int m_settleMs = DataWatcher::kSettleMs;
    QElapsedTimer m_up;
    QDateTime m_startSecond; // of the start whose first sound is awaited
    int m_madeGoodBy = 0;    // the start just made good was this late
    QHash<QString, QDateTime> m_reloadTold; // file → last "reloaded" line
    bool m_weekChecking = false, m_weekCheckAgain = false;
    QThreadPool m_weekWorker; // the week ahead's check
    QThreadPool m_readers; // reads changed files; last, so that it is done before the rest goes
};

} // namespace tav
