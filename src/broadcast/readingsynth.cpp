#include "broadcast/readingsynth.h"

#include "broadcast/zhreading.h"

namespace tav {

bool ReadingSynth::synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                              QString *error)
{
    const zhreading::Reading reading = zhreading::forSynth(text, voiceId);
    if (!m_engine.synthesize(reading.text, voiceId, rate, out, error))
        return false;
    const int end = int(text.size());
    for (SpeechMark &m : out->marks) {
        const int from = reading.source.value(m.textPos, end);
        const int to = reading.source.value(m.textPos + qMax(1, m.length) - 1, end - 1) + 1;
        m.textPos = from;
        m.length = qMax(1, to - from);
    }
    return true;
}

} // namespace tav
