#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

namespace tav {

class Clock;
class DataDir;
class MediaPlayer;
class MessageLog;
class SpeechSynth;
class VoiceCatalog;

// What the alarm says: a text read by a voice, or a sound file.
struct AlarmContent
{
    QString text = {};
    QString speaker = {};   // a voice's name; empty: the first Mandarin voice
    QString soundFile = {}; // played instead of the text when set
    bool operator==(const AlarmContent &) const = default;
};

// The emergency's sound: "TONE.wav" of the data folder, then the reading,
// again and again at full volume until stopped. Rules:
// - the reading of a text is synthesised ahead (prepare()), off this thread,
//   into a wave file that stays ready, so that start() only opens files: the
//   first sound is the tone (or, without one, the reading) at once;
// - start() of content not made ready plays the tone and makes the reading
//   meanwhile; until it is there the tone repeats;
// - an item that cannot be played is logged once and skipped; with nothing
//   playable the loop waits kRetryMs and tries again (a sound device may
//   come back);
// - the text's placeholders are filled in when it is made ready;
// - kept ready (keepReady()), the player's engine stays up between
//   emergencies and the first item (the tone, else the file or the reading)
//   waits on it loaded and paused at its first sample, so that start() only
//   lets the pause go. The player is shared: whatever else is opened on it
//   drops what waits, and once it has stood stopped the first item is held
//   again, just after a second (off the second itself); a new reading (the
//   settings changed) takes the place of the old one. An item the engine
//   itself lets go soon after (decoded whole into a deeper buffer) is not
//   held again until the player has been used.
class AlarmLoop : public QObject
{
    Q_OBJECT
public:
    static constexpr int kRetryMs = 1000;

    // Without a speech engine (synth null) only a sound file and the tone play.
    AlarmLoop(const Clock &clock, const DataDir &dir, MediaPlayer &player, SpeechSynth *synth,
              const VoiceCatalog *voices, MessageLog &log, QObject *parent = nullptr);
    ~AlarmLoop() override;

    void prepare(const AlarmContent &content);
    // The reading of the content last made ready (or asked for) is there.
    bool isReady() const { return !m_readingPath.isEmpty() || !m_content.soundFile.isEmpty(); }
    void start(const AlarmContent &content);
    void stop();
    bool isRunning() const { return m_step != Step::Idle; }
    void keepReady(bool on);
    // What waits paused on the player for the next start() ("" nothing).
    QString held() const;
    // How long after a second the first item is held again (ms).
    static constexpr int kRearmAfterSecondMs = 150;
    // A held item that stops this soon without being opened was let go by
    // the engine itself: it is not held again until the player is used.
    static constexpr int kDroppedWithinMs = 2000;

signals:
    // An item was handed to the player: "tone", "reading" or "file".
    void itemOpened(const QString &kind);
    void readingReady();

private:
    enum class Step { Idle, Tone, Reading, Waiting };
    void next();
    void playTone();
    void playReading();
    void onStopped();
    void onError(const QString &url);
    void log(const QString &text);
    void synthesise();
    QString firstItem() const;
    void rearm();
    void holdFirst();

    const Clock &m_clock;
    const DataDir &m_dir;
    MediaPlayer &m_player;
    SpeechSynth *m_synth;
    const VoiceCatalog *m_voices;
    MessageLog &m_log;
    AlarmContent m_content;
    QString m_readingPath;  // the ready reading of m_content
    quint64 m_ticket = 0;   // the synthesis wanted
    QList<QPointer<QThread>> m_workers;
    Step m_step = Step::Idle;
    bool m_opening = false;
    bool m_failedSaid = false; // an item that cannot be played was logged
    bool m_silentSaid = false; // nothing to play was logged
    int m_failures = 0;     // items in a row that could not play
    QTimer m_retry;
    bool m_keepReady = false;
    QString m_held;   // loaded and paused on the player by holdFirst()
    QElapsedTimer m_heldSince;
    bool m_dropped = false; // the engine let the held item go: not again until the player is used
    QTimer m_rearm;
    QTemporaryDir m_tmp;
};

} // namespace tav
