#pragma once

#include "platform/mediaplayer.h"
#include "platform/speech.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QTemporaryDir>
#include <QTimer>

#include <functional>

namespace tav {

struct SpeakFlags
{
    bool isFilename = false; // the text is the path of a sound file
    bool purge = false;      // drop what is queued and speaking first
};

// The speaking voice: text is synthesised off the caller's thread, written
// to a wave file and played on the voice's own player. Rules:
// - speak() returns at once; while a text is being spoken or synthesised a
//   new one waits its turn, unless `purge` is set, which drops what is
//   queued and what is speaking first;
// - `isFilename`: the text is the path of a sound file, played as it is;
// - states: Idle → Speaking (from speak() until the end of the last queued
//   text) ⇄ Paused; stop() purges and ends in Idle;
// - skipSentence() goes on at the next sentence of the current text;
// - prepare(): a text to be spoken within seconds is synthesised ahead and
//   held on the player at its first sample (MediaPlayer::prepare); the
//   speak() of the same text with the same voice, rate and volume only lets
//   the pause go, its words reported as for any text. Any other text, a file,
//   stop() or dropPrepared() lets it go and removes its file;
// - every event is also a line for the event log ("  Event: StartStream
//   StreamNumber=1 StreamPosition=0" …), and each word is reported with its
//   position in the text as given (before any rewriting for the voice, when
//   a source map is given).
class Voice : public QObject
{
    Q_OBJECT
public:
    enum class State { Idle, Speaking, Paused };
    Q_ENUM(State)

    using Flags = SpeakFlags;

    Voice(SpeechSynth &synth, MediaPlayer &out, QObject *parent = nullptr);
    ~Voice() override;

    void setVoiceId(const QString &id) { m_voiceId = id; }
    void setRate(int rate) { m_rate = qBound(-10, rate, 10); }
    void setVolume(int percent);
    int volume() const { return m_volume; }

    // `source`: for each character of `text`, its index in the shown text.
    void speak(const QString &text, Flags flags = {}, const QList<int> &source = {});
    void pause();
    void resume();
    void skipSentence();
    void stop();
    // A text will be spoken within seconds: the player gets ready.
    void warmUp() { m_out.warmUp(); }
    // `text` will be spoken within seconds with this voice, rate and volume:
    // it is synthesised now, off this thread, and made ready on the player.
    // Only an idle voice on a stopped player prepares; the same text again
    // keeps what is prepared or being prepared.
    void prepare(const QString &text, const QList<int> &source, const QString &voiceId, int rate, int volume);
    void dropPrepared();

    State state() const { return m_state; }
    bool isSpeaking() const { return m_state != State::Idle; }
    int streamNumber() const { return m_stream; }

signals:
    void eventLine(const QString &line);
    void word(int position, int length);
    void sentence(int position, int length);
    void endStream();     // one text ended (or was purged)
    void stateChanged(tav::Voice::State state);
    void failed(const QString &error); // "Speak Error: …"
    // The speech engine could not be started (at the first text that
    // needed it): said once, with why; every text then fails.
    void unavailable(const QString &why);

private:
    struct Item
    {
        QString text;
        Flags flags;
        QList<int> source;
    };
    // What a prepared text is spoken with.
    struct Reading
    {
        QString text;
        QList<int> source;
        QString voiceId;
        int rate = 0;
        int volume = 100;
        bool operator==(const Reading &) const = default;
    };
    struct Prepared
    {
        Reading reading;
        QString path;
        QList<SpeechMark> marks;
        quint64 ticket = 0;  // 0: nothing prepared
        bool held = false;   // synthesised and waiting on the player
    };
    using Synthesised = std::function<void(const QList<SpeechMark> &marks, const QString &error)>;
    void synthesise(const QString &text, const QString &voiceId, int rate, const QString &path, Synthesised done);
    void preparedSynthesised(quint64 ticket, const QList<SpeechMark> &marks, const QString &path,
                             const QString &error);
    bool takePrepared();
    bool holdsPrepared() const;
    void startNext();
    void play(const QList<SpeechMark> &marks, const QString &path);
    void synthesised(quint64 generation, const QList<SpeechMark> &marks, const QString &path, const QString &error);
    void onPlayerState(MediaPlayer::State state);
    void onPlayerError(const QString &url);
    void armMarks();
    void fireMarks();
    void endCurrent(bool purged);
    void setState(State state);
    qint64 playedMs() const;
    int mapped(int position) const;

public:
    // The speech files live in "tavplayer-voice-<pid>-…" under the system's
    // temporary folder. Removes those of this user whose process is gone
    // (a station killed without its clean-up), and empty ones of the older
    // unnamed kind; never follows a link. Returns how many went. Run once
    // per process by the first voice.
    static int removeStaleFolders(const QString &tempDir);

private:
    SpeechSynth &m_synth;
    MediaPlayer &m_out;
    QString m_voiceId = QStringLiteral("cmn-latn-pinyin");
    int m_rate = 0;
    int m_volume = 100;
    State m_state = State::Idle;
    QList<Item> m_queue;
    Item m_current;
    bool m_active = false;     // m_current is being synthesised or played
    bool m_unavailableSaid = false;
    bool m_playing = false;    // its sound is on the player
    quint64 m_generation = 0;  // synthesis results of purged texts are dropped
    QList<QPointer<QThread>> m_workers; // syntheses under way, awaited at the end
    Prepared m_prepared;
    quint64 m_tickets = 0;
    quint64 m_adoptedTicket = 0;     // a preparation still under way whose text is being spoken ...
    quint64 m_adoptedGeneration = 0; // ... as this generation
    int m_stream = 0;
    QList<SpeechMark> m_marks;
    qsizetype m_nextMark = 0;
    QElapsedTimer m_clock;     // since the sound began, pauses excluded
    qint64 m_pausedMs = 0;
    qint64 m_pausedAt = -1;
    QTimer m_markTimer;
    QTemporaryDir m_tmp;
};

} // namespace tav
