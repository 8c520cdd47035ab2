#include "scheduler/taskfilter.h"

#include "core/datadir.h"
#include "core/ini.h"
#include "core/zhtext.h"

using namespace Qt::StringLiterals;

namespace tav {

QList<TaskRecord> TaskFilter::filter(const DataDir &dir, QDate today, int daySpan, bool todayOnly)
{
    // The same walk as the task store's load: sections 1 to one past the count.
    QList<TaskRecord> all;
    const auto doc = IniFile(dir.song()).read();
    const int n = int(profileSectionNames(*doc).size());
    for (int i = 1; i <= n + 1; ++i) {
        const QString section = u"FileInfo"_s + QString::number(i);
        TaskRecord r;
        r.name = profileString(*doc, section, u"Name"_s, 100);
        if (r.name.isEmpty())
            continue; // nothing to show for a gap
        r.section = i;
        r.start = profileString(*doc, section, u"Time"_s, 100);
        r.end = profileString(*doc, section, u"Duration"_s, 100);
        r.volume = profileString(*doc, section, u"Type"_s, 100);
        r.days = profileString(*doc, section, u"Device"_s, 100);
        r.mode = profileString(*doc, section, u"Recurrence"_s, 100);
        r.remind = profileString(*doc, section, u"Remind"_s, 100);
        all.append(r);
    }

    const QString weekday = zh::weekdayChar(today), date = zh::shortDate(today);
    QList<TaskRecord> shown;
    for (const TaskRecord &r : all)
        if (TaskStore::playsOn(r.days, weekday, date))
            shown.append(r);
    if (!todayOnly) {
        for (const TaskRecord &r : all)
            if (!r.days.contains(weekday) && !r.days.contains(u"指定") && !r.days.contains(u"每天"))
                shown.append(r);
    }
    for (const TaskRecord &r : all) {
        if (!r.days.startsWith(u"指定"))
            continue;
        const QDate on = zh::parseShortDate(QString(r.days).remove(u"指定"_s));
        if (on.isValid() && today < on && on <= today.addDays(daySpan))
            shown.append(r);
    }
    return shown;
}

} // namespace tav
