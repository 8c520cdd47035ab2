// Targets: a 200-character Chinese text synthesised at least 20 times faster
// than it takes to say; the speech engine adds less than 10 MB of resident
// memory at rest (after its first synthesis).
#include "broadcast/voices.h"
#include "broadcast/zhreading.h"
#include "fakes/fakes.h"
#include "platform/speech.h"

#include <QElapsedTimer>
#include <QString>

#include <cstdio>

using namespace Qt::StringLiterals;

int main()
{
    QString text;
    while (text.size() < 200)
        text += u"各位同学早上好，现在是上午8:30，请大家带好学习用品，到操场集合参加升旗仪式。"_s;
    text.truncate(200);
    const QString spoken = tav::zhreading::forVoice(text).text;

    const qint64 before = tav::test::residentKb();
    tav::EspeakSynth synth;
    const tav::VoiceCatalog voices(&synth);
    const QString voice = voices.resolve(u"VW Hui"_s).synthId;
    tav::SpeechAudio audio;
    QString error;
    if (!synth.synthesize(spoken, voice, 0, &audio, &error)) {
        std::fprintf(stderr, "%s\n", error.toUtf8().constData());
        return 1;
    }
    audio = tav::SpeechAudio(); // at rest: nothing kept
    const qint64 atRest = tav::test::residentKb();

    constexpr int kRuns = 10;
    qint64 audioMs = 0;
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < kRuns; ++i) {
        synth.synthesize(spoken, voice, 0, &audio, &error);
        audioMs += audio.durationMs();
    }
    const double wallMs = t.nsecsElapsed() / 1e6;
    const double speed = audioMs / wallMs;
    const double addedMb = (atRest - before) / 1024.0;
    std::printf("text                  %lld characters, %.1f s of speech\n", qlonglong(text.size()),
                audioMs / 1000.0 / kRuns);
    std::printf("synthesis             %.1f ms each, %.0fx real time (target >= 20x)\n", wallMs / kRuns, speed);
    std::printf("memory at rest        +%.1f MB resident (target < 10 MB)\n", addedMb);
    return speed >= 20 && addedMb < 10 ? 0 : 2;
}
