#pragma once

#include "platform/speech.h"

namespace tav {

// The speech engine as the station speaks through it: each text is given to
// the engine as its voice reads it (zhreading::forSynth(): every Chinese
// word in pinyin with tone numbers for a Mandarin voice, number words in
// traditional characters for a Cantonese one), and the marks the engine
// returns point back into the text as it was given. The word dictionary is
// read at the first Mandarin text, on the synthesising thread.
class ReadingSynth final : public SpeechSynth
{
public:
    explicit ReadingSynth(SpeechSynth &engine) : m_engine(engine) {}
    QList<SynthVoice> voices() const override { return m_engine.voices(); }
    bool load(QString *why) override { return m_engine.load(why); }
    bool synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                    QString *error) override;

private:
    SpeechSynth &m_engine;
};

} // namespace tav
