// Targets: a 200-character Chinese text synthesised at least 20 times faster
// than it takes to say; the speech engine adds less than 10 MB of resident
// memory at rest (after its first synthesis); the reading of 200 characters
// (words in pinyin, numbers in words) under 1 ms, its word dictionary under
// 16 MB resident.
#include "broadcast/pinyin.h"
#include "broadcast/voices.h"
#include "broadcast/zhreading.h"
#include "fakes/fakes.h"
#include "platform/speech.h"

#include <QElapsedTimer>
#include <QString>

#include <cstdio>
#include <ctime>

using namespace Qt::StringLiterals;

int main()
{
    QString text;
    while (text.size() < 200)
        text += u"各位同学早上好，现在是上午8:30，请大家带好学习用品，到操场集合参加升旗仪式。"_s;
    text.truncate(200);
    QString mixed;
    while (mixed.size() < 200)
        mixed += u"中国银行重庆分行提醒您：本月还款日为15号，年利率3.5%，请拨打热线95566；"
                 u"2026年12月31日8:00-9:00暂停服务，气温-3℃。"_s;
    mixed.truncate(200);

    // The reading: the first one reads the word dictionary.
    const qint64 noDictionary = tav::test::residentKb();
    QElapsedTimer clock;
    clock.start();
    const QString spoken = tav::zhreading::forEngine(text, u"cmn-latn-pinyin"_s).text;
    const double firstMs = clock.nsecsElapsed() / 1e6;
    const double dictionaryMb = (tav::test::residentKb() - noDictionary) / 1024.0;
    // Processor time, so that other work on the machine does not count.
    const auto cpuNs = [] {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
    };
    constexpr int kReadings = 2000;
    const qint64 cpuStart = cpuNs();
    qsizetype sink = 0;
    for (int i = 0; i < kReadings; ++i)
        sink += tav::zhreading::forEngine(i % 2 ? text : mixed, u"cmn-latn-pinyin"_s).text.size();
    const double readingUs = (cpuNs() - cpuStart) / 1e3 / kReadings;
    const tav::pinyin::Dictionary &dictionary = tav::pinyin::Dictionary::instance();
    std::printf("reading               %.0f us of processor per 200 characters (the first, reading the dictionary: %.0f ms)\n",
                readingUs, firstMs);
    if (sink == 0)
        return 1;
    std::printf("word dictionary       %lld words, %.1f MB held, +%.1f MB resident\n", qlonglong(dictionary.size()),
                dictionary.bytes() / 1048576.0, dictionaryMb);

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
    return speed >= 20 && addedMb < 10 && readingUs < 1000 && dictionaryMb < 16 ? 0 : 2;
}
