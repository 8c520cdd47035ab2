#include "broadcast/voices.h"

#include "platform/speech.h"

using namespace Qt::StringLiterals;

namespace tav {

VoiceCatalog::VoiceCatalog(const SpeechSynth *synth)
{
    m_choices = {
        {u"VW Hui"_s, u"cmn-latn-pinyin+f2"_s, false},
        {u"ScanSoft Sin-Ji_Full_22kHz"_s, u"yue+f2"_s, true},
        {u"VW Liang"_s, u"cmn-latn-pinyin"_s, false},
        {u"iFlyCathy_InterPhonic_CN10"_s, u"cmn-latn-pinyin+f4"_s, false},
    };
    if (!synth)
        return;
    for (const SynthVoice &v : synth->voices()) {
        // espeak-ng's plain Mandarin reads tone numbers as English words.
        if (v.id.compare(u"cmn"_s, Qt::CaseInsensitive) == 0)
            continue;
        bool listed = false;
        for (const VoiceChoice &c : std::as_const(m_choices))
            listed = listed || c.name == v.name;
        if (!listed)
            m_choices.append({v.name, v.id, false});
    }
}

QStringList VoiceCatalog::names() const
{
    QStringList list;
    for (const VoiceChoice &c : m_choices)
        list.append(c.name);
    return list;
}

QString VoiceCatalog::labelOf(const QString &name)
{
    if (name == u"VW Hui")
        return u"女声普通话Hui"_s;
    if (name == u"ScanSoft Sin-Ji_Full_22kHz")
        return u"女声白话"_s;
    if (name == u"VW Liang")
        return u"男声普通话Liang"_s;
    if (name == u"iFlyCathy_InterPhonic_CN10")
        return u"女声普通话xiaoyan"_s;
    return u"语音库："_s;
}

VoiceChoice VoiceCatalog::resolve(const QString &name, bool *known) const
{
    for (const VoiceChoice &c : m_choices)
        if (c.name == name.trimmed()) {
            if (known)
                *known = true;
            return c;
        }
    if (known)
        *known = false;
    return m_choices.first();
}

} // namespace tav
