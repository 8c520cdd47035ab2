#pragma once

#include "broadcast/voice.h"
#include "broadcast/voices.h"
#include "broadcast/zhreading.h"

#include <QDateTime>

#include <QObject>
#include <QString>
#include <QTimer>

namespace tav {

class Clock;
class DataDir;
class MediaPlayer;
class MessageLog;
class PlaybackController;

// What one broadcast says and how.
struct BroadcastRequest
{
    QString name = {};   // the task's name, for the log ("" for a test reading)
    QString text = {};
    QString speaker = QStringLiteral("VW Hui");
    int rate = 0;        // -10 … 10
    int voiceVolume = 100; // percent
    int musicVolume = 30;  // percent: the media player's volume while it speaks
    bool tone = true;
    QString music = {};  // background music under the speech, or empty
    int frequency = 1;   // readings, 1 … 10
    bool textIsFile = false; // the text names a sound file to play
    bool operator==(const BroadcastRequest &) const = default;
};

// A broadcast from its first tone to the music's return. Each reading:
// 1. a Cantonese voice gets the text in traditional characters; the
//    placeholders are expanded (the text shown keeps "上午9:05");
// 2. the first reading saves the media player's volume (unless a previous
//    broadcast is still bringing it back: then that broadcast's saved
//    volume stands) and turns it to the music volume; the slider follows;
// 3. "TONE.wav" of the data folder, when asked for and present, plays on the
//    broadcast player at the voice volume; the rest waits until its end has
//    been heard (the player's end of an item) without holding anything up (a tone that cannot play is logged and
//    skipped; one that never ends is given up after kToneLimitMs);
// 4. the background music plays at the music volume on the broadcast
//    player ("路径错误：" + path when the file is missing);
// 5. a text naming a ".wav" file (in its last 20 characters) plays that
//    file; any other text is read by the voice, times, dates and numbers
//    the Chinese way.
// A reading the voice cannot finish (its synthesis fails, its player fails
// or loses the sound device) ends the broadcast there: `failure()` says why.
// After the last of `frequency` readings the broadcast player stops and the
// media player's volume comes back one point every kRampStepMs, ending at
// exactly the saved volume. A volume set by someone else meanwhile (a media
// task starting) becomes the volume to come back to, and is turned down
// at once while the voice speaks.
class Broadcaster : public QObject
{
    Q_OBJECT
public:
    static constexpr int kRampStepMs = 40;
    static constexpr int kToneLimitMs = 60 * 1000;
    // About three quarters of an hour of speech; a longer text is cut there
    // and the cut logged.
    static constexpr int kMaxSpokenChars = 10000;
    // A reading made ready for a firing and not spoken this long after its
    // second is let go.
    static constexpr int kPreparedGraceSeconds = 3;

    Broadcaster(const Clock &clock, const DataDir &dir, Voice &voice, MediaPlayer &broadcastPlayer,
                PlaybackController &media, MessageLog &log, const VoiceCatalog &voices,
                QObject *parent = nullptr);

    // False with "朗读内容不能为空" for an empty text; nothing starts then.
    bool speak(const BroadcastRequest &request, QString *error = nullptr);
    // The text as shown while it is spoken: traditional characters for a
    // voice that reads them, placeholders expanded.
    static QString textToSpeak(const QString &text, const VoiceChoice &voice, const QDateTime &now);
    // From the tone to the end of the last reading; the volume's return is
    // not part of it.
    bool isBusy() const { return m_phase != Phase::Idle; }
    bool isRestoring() const { return m_ramp.isActive(); }
    void stop();
    void setToneLimit(int ms) { m_toneLimit.setInterval(ms); }
    // `next` is due at `firing`, within seconds: the tone's and the voice's
    // players get ready and its first sounds wait at their first samples, so
    // that the tone sounds on its second and the speech the moment the tone
    // has been heard to its end (or on the second, without a tone): its
    // first reading is synthesised now (off this thread) with the
    // placeholders of `firing`. The prepared reading is spoken only by
    // a speak() of the same request in the second of `firing`; any other
    // speak() or stop() lets it go. Again for the same firing: kept.
    // The tone waiting lets its pause go the output's latency before the
    // firing's second (when the latency is known), so that it is heard on
    // the second; the firing's speak() finds it going. A firing that does
    // not come stops it a second after its second.
    void warmUp(const BroadcastRequest &next, const QDateTime &firing);
    // The tone's pending early release, in ms from now; -1 none.
    int toneReleaseInMs() const { return m_toneRelease.isActive() ? m_toneRelease.remainingTime() : -1; }
    void dropPrepared();
    // The firing the voice's first reading is made ready for (invalid: none).
    const QDateTime &preparedFiring() const { return m_prepared.firing; }
    const QString &preparedName() const { return m_prepared.request.name; }
    int readings() const { return m_readings; }
    const BroadcastRequest &current() const { return m_request; }
    // The text of the reading as spoken (placeholders expanded).
    const QString &spokenText() const { return m_spoken; }
    // Why the voice of the broadcast under way or last ended failed; empty
    // when it was heard to its end (or stopped).
    const QString &failure() const { return m_failure; }

signals:
    void started(const QString &name);
    void readingStarted(const QString &text); // shown text, for highlighting
    void finished(const QString &name);
    void notice(const QString &text);         // for the operator: "路径错误：…"
    void restored();                          // the media volume is back

private:
    enum class Phase { Idle, Tone, Speaking };
    void startReading();
    void afterTone();
    void onVoiceEnd();
    void finish();
    void duck();
    void rampStep();
    void setMediaVolume(int volume);
    void log(const QString &text);
    static bool namesSoundFile(const BroadcastRequest &request, const QString &spoken);
    static zhreading::Reading voiceReading(const QString &spoken);

    bool holdsTone() const; // the tone waits paused on the player
    struct Prepared
    {
        BroadcastRequest request;
        QDateTime firing;
    };

    const Clock &m_clock;
    const DataDir &m_dir;
    Voice &m_voice;
    MediaPlayer &m_player;
    PlaybackController &m_media;
    MessageLog &m_log;
    const VoiceCatalog &m_voices;
    BroadcastRequest m_request;
    VoiceChoice m_choice;
    QString m_spoken;
    QString m_failure;
    Prepared m_prepared;
    Phase m_phase = Phase::Idle;
    int m_readings = 0;
    int m_saved = 0;          // the media volume to come back to
    bool m_settingVolume = false;
    QTimer m_ramp;
    QTimer m_toneLimit;
    QTimer m_toneRelease;   // lets the waiting tone go ahead of its firing
    QTimer m_toneUnclaimed; // stops a tone let go whose firing did not come
};

} // namespace tav
