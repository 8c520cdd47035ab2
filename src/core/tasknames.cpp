#include "core/tasknames.h"

#include "core/datadir.h"
#include "core/ini.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tav {

QStringList TaskNames::numberedSections(const IniDocument &doc, const QString &prefix)
{
    const QRegularExpression pattern(u"^"_s + QRegularExpression::escape(prefix) + u"\\d+$"_s,
                                     QRegularExpression::CaseInsensitiveOption);
    QStringList sections;
    for (const QString &name : doc.sectionNames())
        if (pattern.match(name).hasMatch())
            sections.append(name);
    return sections;
}

bool TaskNames::isTaken(const DataDir &dir, const QString &name, const QString &ownTask,
                        const QString &ownBroadcast)
{
    const QString typed = name.trimmed().toLower();
    const auto taken = [&typed](const QString &path, const QString &prefix, const QString &key,
                                const QString &own) {
        const QString mine = own.trimmed().toLower();
        const auto doc = IniFile(path).read();
        for (const QString &section : numberedSections(*doc, prefix)) {
            const QString existing = doc->value(section, key).trimmed().toLower();
            if (existing == typed && (mine.isEmpty() || existing != mine))
                return true;
        }
        return false;
    };
    return taken(dir.song(), u"FileInfo"_s, u"Name"_s, ownTask)
           || taken(dir.tts(), u"TTS"_s, u"TTS_Name"_s, ownBroadcast);
}

} // namespace tav
