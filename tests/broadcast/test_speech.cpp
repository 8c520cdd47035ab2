#include "broadcast/voices.h"
#include "broadcast/waveformat.h"
#include "platform/speech.h"

#include <QTemporaryDir>

#include <sndfile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;
using tav::EspeakSynth;

// Every voice the station offers exists in the engine, and reads Chinese in
// Chinese: espeak-ng's plain Mandarin voice reads its dictionary's tone
// numbers as English words ("今 one 天 one"), so it must not be offered.
TEST(Espeak, EveryVoiceOfferedSpeaksAndReadsChineseWithoutEnglishNumbers)
{
    EspeakSynth synth;
    ASSERT_TRUE(synth.isAvailable());
    const tav::VoiceCatalog voices(&synth);
    for (const tav::VoiceChoice &c : voices.choices()) {
        SCOPED_TRACE(c.name.toStdString());
        tav::SpeechAudio audio;
        QString error;
        EXPECT_TRUE(synth.synthesize(u"你好"_s, c.synthId, 0, &audio, &error)) << error.toStdString();
        EXPECT_GT(audio.durationMs(), 200);
        if (!c.synthId.startsWith(u"en"_s)) {
            EXPECT_FALSE(EspeakSynth::phonemes(u"今天天气很好"_s, c.synthId).contains(u"(en)"_s));
        }
    }
}

TEST(WaveFormats, EveryFormatIsWrittenAsItsNameSays)
{
    const QStringList &names = tav::WaveFormat::names();
    ASSERT_EQ(names.size(), 36); // the speaking panel shows them and its default
    tav::WaveFormat f;
    EXPECT_FALSE(tav::WaveFormat::parse(u"SAFT96kHz16BitMono"_s, &f));
    EXPECT_FALSE(tav::WaveFormat::parse(u"saft22khz16bitmono"_s, &f));

    // One second of a 440 Hz tone at 22050 Hz.
    tav::SpeechAudio audio;
    audio.sampleRate = 22050;
    audio.samples.resize(22050 * 2);
    auto *s = reinterpret_cast<qint16 *>(audio.samples.data());
    for (int i = 0; i < 22050; ++i)
        s[i] = qint16(10000 * std::sin(2 * M_PI * 440 * i / 22050.0));
    QTemporaryDir dir;
    for (const QString &name : names) {
        SCOPED_TRACE(name.toStdString());
        ASSERT_TRUE(tav::WaveFormat::parse(name, &f));
        const QString path = dir.filePath(name + u".wav"_s);
        QString error;
        ASSERT_TRUE(tav::writeWave(audio, f, path, &error)) << error.toStdString();
        SF_INFO info{};
        SNDFILE *file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(info.samplerate, f.sampleRate);
        EXPECT_EQ(info.channels, f.channels);
        EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, f.bits == 8 ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_16);
        EXPECT_NEAR(double(info.frames) / info.samplerate, 1.0, 0.01);
        // The tone survives the resampling: zero crossings of 440 Hz.
        std::vector<float> frames(size_t(info.frames * info.channels));
        sf_readf_float(file, frames.data(), info.frames);
        sf_close(file);
        int crossings = 0;
        for (sf_count_t i = 1; i < info.frames; ++i)
            crossings += (frames[size_t((i - 1) * info.channels)] < 0) != (frames[size_t(i * info.channels)] < 0);
        EXPECT_NEAR(crossings, 880, 20);
    }
}
