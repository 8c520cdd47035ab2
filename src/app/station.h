#pragma once

#include "core/clock.h"
#include "core/datadir.h"
#include "core/messagelog.h"
#include "core/secondticker.h"
#include "core/settings.h"
#include "platform/mpvplayer.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "playback/playbackcontroller.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskstore.h"

#include <QFile>
#include <QObject>

namespace tav {

// The whole station without windows: settings, logs, stop dates, tasks,
// the clockwork and the media player, wired as the main window wires them.
class Station : public QObject
{
    Q_OBJECT
public:
    Station(const QString &dataDir, const QStringList &playerOptions, QObject *parent = nullptr);

    bool isValid() const { return m_player.isValid(); }
    QString errorString() const { return m_player.errorString(); }
    // Writes "time event detail" lines with millisecond times, to measure
    // how soon after its second a task sounds.
    bool setTraceFile(const QString &path);

    void start();
    void shutDown();

private:
    void trace(const QString &event, const QString &detail);
    void printNextTask();
    static void print(const QString &line);

    SystemClock m_clock;
    DataDir m_dir;
    HeadlessPrompt m_prompt;
    SystemShutdown m_shutdown;
    Settings m_settings;
    MessageLog m_log;
    MpvPlayer m_player;
    PlaybackController m_playback;
    TaskStore m_store;
    StopDates m_stopDates;
    Scheduler m_scheduler;
    SecondTicker m_ticker;
    QFile m_trace;
    QString m_nextTask; // last "将播:" line printed
};

} // namespace tav
