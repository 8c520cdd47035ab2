#include "platform/speech.h"

#include <espeak-ng/espeak_ng.h>
#include <espeak-ng/speak_lib.h>

#include <QFileInfo>
#include <QtMath>

#include <cmath>
#include <cstring>
#include <mutex>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// espeak-ng is one engine per process with global state.
std::mutex &engineLock()
{
    static std::mutex lock;
    return lock;
}

// The engine's data folder as espeak-ng finds it (ESPEAK_DATA_PATH or its
// own); finding it loads nothing. Under engineLock().
QString dataFolder()
{
    static const QString folder = [] {
        espeak_ng_InitializePath(nullptr);
        const char *path = nullptr;
        espeak_Info(&path);
        return path ? QString::fromLocal8Bit(path) : QString();
    }();
    return folder;
}

// Starts the engine once; its sample rate, or 0 or less when it failed.
// Under engineLock().
int initialise()
{
    static const int rate = espeak_Initialize(AUDIO_OUTPUT_SYNCHRONOUS, 0, nullptr, espeakINITIALIZE_DONT_EXIT);
    return rate;
}

const QString kCannotStart = u"语音引擎 espeak-ng 无法初始化"_s;

struct Collect
{
    SpeechAudio *audio = nullptr;
    QList<int> codePointToIndex; // espeak's 1-based character positions → QString index
};

thread_local Collect *t_collect = nullptr;

int index(const Collect &c, int position)
{
    const int i = position - 1;
    if (i < 0)
        return 0;
    return i < c.codePointToIndex.size() ? c.codePointToIndex[i] : c.codePointToIndex.value(c.codePointToIndex.size() - 1);
}

int onSynth(short *wav, int count, espeak_EVENT *events)
{
    Collect *c = t_collect;
    if (!c)
        return 1;
    if (wav && count > 0)
        c->audio->samples.append(reinterpret_cast<const char *>(wav), qsizetype(count) * 2);
    for (espeak_EVENT *e = events; e && e->type != espeakEVENT_LIST_TERMINATED; ++e) {
        if (e->type != espeakEVENT_WORD && e->type != espeakEVENT_SENTENCE)
            continue;
        SpeechMark m;
        m.kind = e->type == espeakEVENT_WORD ? SpeechMark::Kind::Word : SpeechMark::Kind::Sentence;
        m.textPos = index(*c, e->text_position);
        const int end = index(*c, e->text_position + qMax(1, e->length));
        m.length = qMax(1, end - m.textPos);
        m.audioMs = e->audio_position;
        c->audio->marks.append(m);
    }
    return 0;
}

// The engine's words per minute for a rate of -10 … 10: three times slower
// or faster at the ends, 175 in the middle.
int wordsPerMinute(int rate)
{
    return qBound(80, int(std::lround(175.0 * std::pow(3.0, qBound(-10, rate, 10) / 10.0))), 450);
}

} // namespace

void trimSilence(SpeechAudio &audio)
{
    const auto *samples = reinterpret_cast<const qint16 *>(audio.samples.constData());
    const qint64 frames = audio.frames();
    const auto sound = [&](qint64 i) { return std::abs(int(samples[i])) > kSilenceLevel; };
    qint64 first = 0;
    while (first < frames && !sound(first))
        ++first;
    if (first == frames)
        return; // nothing but silence: kept as it is, a pause the text asked for
    qint64 end = frames;
    while (end > first && !sound(end - 1))
        --end;
    const int rate = qMax(1, audio.sampleRate);
    const int leadMs = int(first * 1000 / rate);
    const int lengthMs = int((end - first) * 1000 / rate);
    audio.samples = audio.samples.mid(first * 2, (end - first) * 2);
    for (SpeechMark &m : audio.marks)
        m.audioMs = qBound(0, m.audioMs - leadMs, lengthMs);
}

EspeakSynth::EspeakSynth()
{
    std::lock_guard guard(engineLock());
    const QString folder = dataFolder();
    // What espeak_Initialize() reads before anything else.
    m_hasData = !folder.isEmpty();
    for (const char *table : {"phontab", "phonindex", "phondata", "intonations"})
        m_hasData = m_hasData && QFileInfo::exists(folder + u'/' + QLatin1StringView(table));
}

// Listing the voices reads their files in the data folder; the engine need
// not run for it.
QList<SynthVoice> EspeakSynth::voices() const
{
    QList<SynthVoice> list;
    if (!m_hasData)
        return list;
    std::lock_guard guard(engineLock());
    const espeak_VOICE **all = espeak_ListVoices(nullptr);
    for (int i = 0; all && all[i]; ++i) {
        const espeak_VOICE *v = all[i];
        // languages: priority byte, then a name, repeated; the first is enough
        const QString language = QString::fromLatin1(v->languages + 1);
        if (!language.startsWith(u"cmn"_s) && !language.startsWith(u"yue"_s) && !language.startsWith(u"en"_s))
            continue;
        list.append({QString::fromLatin1(v->identifier).section(u'/', -1), QString::fromUtf8(v->name), language});
    }
    return list;
}

bool EspeakSynth::load(QString *why)
{
    std::lock_guard guard(engineLock());
    if (m_hasData && initialise() > 0)
        return true;
    if (why)
        *why = kCannotStart;
    return false;
}

bool EspeakSynth::synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                             QString *error)
{
    const auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    if (!load(error))
        return false;
    std::lock_guard guard(engineLock());
    if (espeak_SetVoiceByName(voiceId.toUtf8().constData()) != EE_OK)
        return fail(u"找不到语音：%1"_s.arg(voiceId));
    espeak_SetParameter(espeakRATE, wordsPerMinute(rate), 0);
    espeak_SetParameter(espeakVOLUME, 100, 0);
    espeak_SetSynthCallback(onSynth);

    *out = SpeechAudio();
    out->sampleRate = initialise();
    Collect c;
    c.audio = out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        c.codePointToIndex.append(int(i));
        if (text[i].isHighSurrogate() && i + 1 < text.size())
            ++i;
    }
    c.codePointToIndex.append(int(text.size()));
    t_collect = &c;
    const QByteArray utf8 = text.toUtf8();
    const espeak_ERROR result = espeak_Synth(utf8.constData(), size_t(utf8.size()) + 1, 0, POS_CHARACTER, 0,
                                             espeakCHARS_UTF8, nullptr, nullptr);
    espeak_Synchronize();
    t_collect = nullptr;
    if (result != EE_OK)
        return fail(u"语音合成失败（espeak-ng 错误 %1）"_s.arg(int(result)));
    trimSilence(*out);
    return true;
}

QString EspeakSynth::phonemes(const QString &text, const QString &voiceId)
{
    std::lock_guard guard(engineLock());
    if (initialise() <= 0 || espeak_SetVoiceByName(voiceId.toUtf8().constData()) != EE_OK)
        return {};
    const QByteArray utf8 = text.toUtf8();
    const void *cursor = utf8.constData();
    const char *ipa = espeak_TextToPhonemes(&cursor, espeakCHARS_UTF8, espeakPHONEMES_IPA);
    return ipa ? QString::fromUtf8(ipa) : QString();
}

} // namespace tav
