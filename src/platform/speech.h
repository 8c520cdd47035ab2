#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace tav {

// Where a word or a sentence of the text lies in the synthesised audio.
struct SpeechMark
{
    enum class Kind { Word, Sentence };
    Kind kind = Kind::Word;
    int textPos = 0;  // index into the text spoken (QString units)
    int length = 0;   // in QString units
    int audioMs = 0;  // from the start of the audio
};

// Synthesised speech: 16-bit mono samples.
struct SpeechAudio
{
    QByteArray samples; // int16, native byte order
    int sampleRate = 22050;
    QList<SpeechMark> marks;

    qint64 frames() const { return samples.size() / 2; }
    qint64 durationMs() const { return sampleRate > 0 ? frames() * 1000 / sampleRate : 0; }
};

// Drops the digital silence (samples within ±kSilenceLevel) before the first
// and after the last sound, which the engine pads its speech with, so that
// speech played on a second is heard on it and its end is the end of the
// words. Marks move with the audio and stay within it. Audio that is all
// silence is left as it is.
constexpr int kSilenceLevel = 2;
void trimSilence(SpeechAudio &audio);

// One voice of the speech engine.
struct SynthVoice
{
    QString id;       // what synthesize() takes: the engine's voice name, "+variant" allowed
    QString name;     // its own name, as listed
    QString language; // "cmn", "yue", "en" …
};

// Text to speech. load() and synthesize() are called on worker threads and
// may take a while; implementations serialise themselves.
class SpeechSynth
{
public:
    virtual ~SpeechSynth() = default;
    virtual QList<SynthVoice> voices() const = 0;
    // Gets the engine ready if it is not yet: false, with why, when it cannot
    // be. The same answer every time; synthesize() needs it to be true.
    virtual bool load(QString *why)
    {
        Q_UNUSED(why)
        return true;
    }
    // rate: -10 (slowest) … 0 (normal) … 10 (fastest).
    virtual bool synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                            QString *error) = 0;
};

// The espeak-ng library. Mandarin is "cmn-latn-pinyin" (the plain "cmn"
// voice of espeak-ng 1.51 reads the tone numbers of its own dictionary as
// English words), Cantonese "yue".
//
// Made, it only finds the engine's data folder: the engine proper (its
// phoneme tables, a thread of its own, about 2 MB) is started by the first
// load() or synthesis, so a station that never speaks never carries it.
class EspeakSynth final : public SpeechSynth
{
public:
    EspeakSynth();
    QList<SynthVoice> voices() const override;
    bool load(QString *why) override;
    bool synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                    QString *error) override;
    // The engine's data is there; whether the engine starts on it is known
    // at the first load().
    bool isAvailable() const { return m_hasData; }

    // The phonemes (IPA) espeak-ng makes of the text's first clause with a voice;
    // "(en)" in them means it switched to English words.
    static QString phonemes(const QString &text, const QString &voiceId);

private:
    bool m_hasData = false;
};

} // namespace tav
