#include "core/agenda.h"

#include "core/zhtext.h"

#include <QHash>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav::agenda {

QList<AgendaItem> compute(const QList<AgendaLane *> &lanes, const QDateTime &now, int days)
{
    QList<AgendaItem> items;
    const QDate today = now.date();
    const int nowSeconds = zh::secondsOfDay(now.time());
    QHash<QString, int> laneOrder;
    for (AgendaLane *lane : lanes) {
        laneOrder.insert(lane->title(), int(laneOrder.size()));
        lane->refresh();
    }
    for (int d = 0; d < days; ++d) {
        const QDate date = today.addDays(d);
        for (AgendaLane *lane : lanes) {
            for (AgendaItem item : lane->itemsOn(date)) {
                item.past = d == 0 && item.start < nowSeconds;
                items.append(std::move(item));
            }
        }
    }
    // Stable: within a lane and a second, the lane's own order stays.
    std::stable_sort(items.begin(), items.end(), [&](const AgendaItem &a, const AgendaItem &b) {
        if (a.date != b.date)
            return a.date < b.date;
        if (a.start != b.start)
            return a.start < b.start;
        return laneOrder.value(a.lane) < laneOrder.value(b.lane);
    });
    return items;
}

QString line(const AgendaItem &item)
{
    QString text = zh::shortDate(item.date) + u' ' + zh::weekdayName(item.date) + u' '
                   + (item.start >= 0 ? zh::durationText(item.start) : u"--:--:--"_s);
    if (item.end >= 0)
        text += u'-' + zh::durationText(item.end);
    text += u' ' + item.lane + u' ' + item.name + u' ';
    if (item.past)
        text += item.plays() ? u"已过"_s : u"已过（不播放："_s + item.reason + u"）"_s;
    else
        text += item.plays() ? u"播放"_s : u"不播放："_s + item.reason;
    if (!item.warning.isEmpty())
        text += u"  注意："_s + item.warning;
    return text;
}

QList<std::pair<QString, QString>> keyedWarnings(const QList<AgendaItem> &items)
{
    QList<std::pair<QString, QString>> lines;
    QSet<QString> seen;
    for (const AgendaItem &item : items) {
        if (!item.attention || item.past)
            continue;
        const QString problem = item.warning.isEmpty() ? item.reason : item.warning;
        const QString key = item.lane + u'\n' + item.name + u'\n' + problem;
        if (seen.contains(key))
            continue;
        seen.insert(key);
        lines.append({key, item.lane + u"“"_s + item.name + u"”："_s + problem + u"（"_s
                               + zh::shortDate(item.date) + u" 起）"_s});
    }
    return lines;
}

QStringList warnings(const QList<AgendaItem> &items)
{
    QStringList lines;
    for (const auto &[key, line] : keyedWarnings(items))
        lines.append(line);
    return lines;
}

} // namespace tav::agenda
