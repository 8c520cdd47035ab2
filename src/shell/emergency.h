#pragma once

#include "broadcast/alarmloop.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <functional>

namespace tav {

class AnnounceQueue;
class BroadcastScheduler;
class Broadcaster;
class CaptionScroller;
class Clock;
class DataDir;
class MediaPlayer;
class MessageLog;
class PlaybackController;
class Scheduler;
class Slideshow;

// The emergency's settings: section "EMERGENCY" of "【CONTROL】.ini" (the
// original program reads none of it). The alarm panels' token is kept only
// as a salted hash.
struct EmergencySettings
{
    static inline const QString kSection = QStringLiteral("EMERGENCY");
    static const QString kDefaultText;
    QString text = kDefaultText;
    QString speaker = {};
    QString soundFile = {};

    // Missing keys keep the defaults; false, with why, when the file exists
    // and cannot be read.
    static bool load(const DataDir &dir, EmergencySettings *out, QString *error);
    bool save(const DataDir &dir, QString *error) const;
    // An empty token is refused: the alarm panels' door stays shut.
    static bool setToken(const DataDir &dir, const QString &token, QString *error);
    static bool hasToken(const DataDir &dir);
    AlarmContent content() const { return {text, speaker, soundFile}; }
};

// What an emergency says: both empty, the settings' text or sound file.
struct EmergencyRequest
{
    QString text = {};
    QString soundFile = {};
};

// The station's emergency. Started, it
// - holds the schedule (Scheduler::hold) and pauses what plays, remembering
//   the task, its item and the place in it; stops the idle slideshow;
// - stops the broadcast in progress and holds the broadcasts (each firing
//   due meanwhile is "超时") and the announcements, and stops the captions;
// - plays the alarm (AlarmLoop) at full volume until cleared.
// Cleared, the schedule goes on as if the time had passed: a task that
// started meanwhile plays from its start, else the interrupted item goes on
// where it was if its task has not ended, else the idle content; the
// captions start again if they ran. Start and end are logged with their
// origin ("主窗口", "托盘", "本机命令行", "网页控制台", "报警系统" …).
class Emergency : public QObject
{
    Q_OBJECT
public:
    Emergency(const Clock &clock, const DataDir &dir, MessageLog &log, Scheduler &scheduler,
              PlaybackController &playback, MediaPlayer &mediaPlayer, Slideshow &slideshow,
              CaptionScroller &captions, QObject *parent = nullptr);

    // The broadcast side, when the station has broadcast devices.
    void setBroadcast(Broadcaster *broadcaster, BroadcastScheduler *scheduler, AnnounceQueue *announcements,
                      AlarmLoop *alarm);
    // The idle content, started again after an emergency with no task to go on.
    void setIdleContent(std::function<void()> start) { m_idleContent = std::move(start); }

    // Reads the settings and makes the alarm's reading ready; a read failure is logged.
    void loadSettings();
    const EmergencySettings &settings() const { return m_settings; }
    // Saves and makes the new reading ready; false, with why, when not saved.
    bool saveSettings(const EmergencySettings &settings, QString *error);

    // Started again while active: true, logged, nothing else changes.
    bool start(const EmergencyRequest &request, const QString &origin, QString *error);
    // False with "当前没有紧急广播" when none is active.
    bool clear(const QString &origin, QString *error);
    bool isActive() const { return m_active; }
    // What the red screen shows.
    const QString &text() const { return m_text; }
    // A presented alarm panel token matches the one set; false when none is set.
    bool tokenMatches(const QString &token);
    // The same check in two halves, so that the slow hash can run off this
    // thread: knownToken() answers at once for the token that matched last
    // (a digest of it, with the hash it matched, is kept), tokenMatched()
    // remembers one that was found to match `stored` (tokenHash() then).
    bool knownToken(const QString &token) const;
    void tokenMatched(const QString &token, const QString &stored);
    // The stored hash of that token ("" when none is set), for a check made
    // off this thread.
    QString tokenHash() const;

signals:
    void activeChanged(bool active, const QString &text);

private:
    void log(const QString &text);

    const Clock &m_clock;
    const DataDir &m_dir;
    MessageLog &m_log;
    Scheduler &m_scheduler;
    PlaybackController &m_playback;
    MediaPlayer &m_mediaPlayer;
    Slideshow &m_slideshow;
    CaptionScroller &m_captions;
    Broadcaster *m_broadcaster = nullptr;
    BroadcastScheduler *m_broadcastScheduler = nullptr;
    AnnounceQueue *m_announcements = nullptr;
    AlarmLoop *m_alarm = nullptr;
    std::function<void()> m_idleContent;
    EmergencySettings m_settings;
    bool m_active = false;
    QString m_text;
    QDateTime m_since;
    QString m_task;          // the task running, as last started
    bool m_paused = false;   // the media player was paused by the emergency
    bool m_captionsRan = false;
    QByteArray m_tokenSeen;  // a digest of the last token that matched, with the hash it matched
};

} // namespace tav
