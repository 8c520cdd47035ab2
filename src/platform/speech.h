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

// One voice of the speech engine.
struct SynthVoice
{
    QString id;       // what synthesize() takes: the engine's voice name, "+variant" allowed
    QString name;     // its own name, as listed
    QString language; // "cmn", "yue", "en" …
};

// Text to speech. synthesize() is called on worker threads and may take a
// while for long texts; implementations serialise themselves.
class SpeechSynth
{
public:
    virtual ~SpeechSynth() = default;
    virtual QList<SynthVoice> voices() const = 0;
    // rate: -10 (slowest) … 0 (normal) … 10 (fastest).
    virtual bool synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                            QString *error) = 0;
};

// The espeak-ng library. Mandarin is "cmn-latn-pinyin" (the plain "cmn"
// voice of espeak-ng 1.51 reads the tone numbers of its own dictionary as
// English words), Cantonese "yue".
class EspeakSynth final : public SpeechSynth
{
public:
    EspeakSynth();
    QList<SynthVoice> voices() const override;
    bool synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                    QString *error) override;
    bool isAvailable() const { return m_sampleRate > 0; }

    // The phonemes (IPA) espeak-ng makes of the text's first clause with a voice;
    // "(en)" in them means it switched to English words.
    static QString phonemes(const QString &text, const QString &voiceId);

private:
    int m_sampleRate = 0;
};

} // namespace tav
