#include "scheduler/taskagenda.h"

#include "core/settings.h"
#include "core/zhtext.h"
#include "playback/playbackcontroller.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskstore.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tav {

namespace {
constexpr int kNamesShown = 3; // missing files named in a reason, the rest counted
} // namespace

TaskAgendaLane::TaskAgendaLane(const TaskStore &store, const Settings &settings,
                               const StopDates &stopDates)
    : m_store(store), m_settings(settings), m_stopDates(stopDates)
{
}

void TaskAgendaLane::refresh()
{
    m_media.clear();
    for (const TaskRecord &r : m_store.rows()) {
        if (m_media.contains(r.name))
            continue;
        Media media;
        const QStringList paths = m_store.readMediaList(r.name);
        media.count = int(paths.size());
        for (const QString &path : paths)
            if (!PlaybackController::isStream(path) && !QFileInfo::exists(path))
                media.missing.append(QFileInfo(path).fileName());
        m_media.insert(r.name, media);
    }
}

QList<AgendaItem> TaskAgendaLane::itemsOn(QDate date) const
{
    QList<AgendaItem> items;
    QList<qsizetype> started; // items the tick would start, in list order
    const StopDates::Stop stop = m_stopDates.stopReason(date, m_settings);
    const int shutdown = Scheduler::shutdownAt(m_settings);
    const int workDayEnd = Scheduler::workDayEndsAt(m_settings);
    for (const TaskRecord &r : m_store.rows()) {
        const TaskStore::Due due = TaskStore::dueOn(r, date, m_settings);
        if (due == TaskStore::Due::NotThatDay)
            continue;
        AgendaItem item;
        item.date = date;
        item.lane = kTitle;
        item.name = r.name;
        item.start = zh::secondsOfDay(r.start);
        item.end = zh::secondsOfDay(r.end);
        if (stop == StopDates::Stop::Date)
            item.reason = u"停播日期"_s;
        else if (stop == StopDates::Stop::Weekday)
            item.reason = u"停播星期"_s;
        else if (due == TaskStore::Due::Untimed)
            item.reason = u"定时=关"_s;
        else if (due == TaskStore::Due::OutsideWorkingHours)
            item.reason = u"不在工作时段"_s;
        else if (item.start < 0)
            item.reason = u"开始时间无效"_s;
        else if (shutdown >= 0 && item.start >= shutdown)
            item.reason = u"关机后"_s;
        else if (workDayEnd >= 0 && item.start >= workDayEnd)
            item.reason = u"不在工作时段"_s;
        else
            started.append(items.size());
        items.append(item);
    }

    // The later of two starts in the same second replaces the earlier one.
    for (qsizetype i = 0; i < started.size(); ++i) {
        AgendaItem &item = items[started.at(i)];
        for (qsizetype j = started.size() - 1; j > i; --j) {
            const AgendaItem &later = items.at(started.at(j));
            if (later.start == item.start) {
                item.reason = u"与“"_s + later.name + u"”同时开始，被替换"_s;
                break;
            }
        }
        if (!item.reason.isEmpty())
            continue;
        const Media media = m_media.value(item.name);
        QString names = media.missing.mid(0, kNamesShown).join(u"、"_s);
        if (media.missing.size() > kNamesShown)
            names += u"等%1个"_s.arg(media.missing.size());
        if (media.count == 0) {
            item.reason = u"列表为空"_s;
            item.attention = true;
        } else if (media.missing.size() == media.count) {
            item.reason = u"文件缺失："_s + names;
            item.attention = true;
        } else if (!media.missing.isEmpty()) {
            item.warning = u"文件缺失："_s + names;
            item.attention = true;
        }
    }
    return items;
}

} // namespace tav
