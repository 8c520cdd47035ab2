#pragma once

#include <QString>
#include <QStringList>

namespace tav {

struct SpeechAudio;

// The wave formats a broadcast can be saved in, by their names
// "SAFT<rate>kHz<bits>Bit<Mono|Stereo>" (11, 22 and 44 kHz are 11025,
// 22050 and 44100 Hz).
struct WaveFormat
{
    int sampleRate = 22050;
    int bits = 16; // 8 or 16
    int channels = 2;

    static const QStringList &names(); // the 36 names, in the order offered
    static constexpr const char *kDefault = "SAFT22kHz16BitStereo";
    // False for a name that is not one of them.
    static bool parse(const QString &name, WaveFormat *out);
};

// Writes speech as a WAV file in the format: resampled, widened to the
// channels, 8-bit unsigned or 16-bit signed PCM. Written beside the target
// and renamed over it.
bool writeWave(const SpeechAudio &audio, const WaveFormat &format, const QString &path, QString *error);

} // namespace tav
