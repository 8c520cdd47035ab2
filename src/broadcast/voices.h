#pragma once

#include <QList>
#include <QString>

namespace tav {

class SpeechSynth;

// A voice the operator can choose, by the name kept in "【TTS】.ini".
struct VoiceChoice
{
    QString name;          // as stored: "VW Hui" …
    QString synthId;       // the speech engine's voice
    bool traditional = false; // the text is converted to traditional characters first
};

// The voices offered: first the four names existing broadcast files use,
// each played by a local voice ("VW Hui" and "iFlyCathy_InterPhonic_CN10"
// Mandarin female, "VW Liang" Mandarin male, "ScanSoft Sin-Ji_Full_22kHz"
// Cantonese female reading traditional characters), then the engine's other
// Chinese and English voices by their own names.
class VoiceCatalog
{
public:
    static constexpr const char *kDefault = "VW Hui";

    explicit VoiceCatalog(const SpeechSynth *synth = nullptr);
    const QList<VoiceChoice> &choices() const { return m_choices; }
    QStringList names() const;

    // The Chinese label shown beside the list: "女声普通话Hui" … or "语音库：".
    static QString labelOf(const QString &name);
    // The choice for a stored name (compared trimmed); an unknown name gives
    // the default voice and `known` false.
    VoiceChoice resolve(const QString &name, bool *known = nullptr) const;

private:
    QList<VoiceChoice> m_choices;
};

} // namespace tav
