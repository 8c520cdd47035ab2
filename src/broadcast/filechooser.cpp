#include "broadcast/filechooser.h"

#include <QFileDialog>

using namespace Qt::StringLiterals;

namespace tav {

QString qtFilter(const QString &barFilter)
{
    const QStringList parts = barFilter.split(u'|');
    QStringList entries;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString description = parts[i].trimmed();
        const QString patterns = parts[i + 1].trimmed().replace(u';', u' ');
        if (description.isEmpty())
            continue;
        if (!description.contains(u'('))
            description += u" ("_s + patterns + u')';
        entries.append(description);
    }
    return entries.join(u";;"_s);
}

FileChooser qtFileChooser(QWidget *parent)
{
    return [parent](const QString &title, const QString &filter, bool save) {
        const QString qt = qtFilter(filter);
        QString selected;
        for (const QString &entry : qt.split(u";;"_s))
            if (selected.isEmpty() && entry.contains(u"*.wav"_s, Qt::CaseInsensitive) && !entry.contains(u"*.*"_s))
                selected = entry;
        return save ? QFileDialog::getSaveFileName(parent, title, QString(), qt, &selected)
                    : QFileDialog::getOpenFileName(parent, title, QString(), qt, selected.isEmpty() ? nullptr : &selected);
    };
}

} // namespace tav
