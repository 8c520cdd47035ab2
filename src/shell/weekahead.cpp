#include "shell/weekahead.h"

#include "core/clock.h"
#include "core/datadir.h"
#include "core/settings.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskagenda.h"
#include "scheduler/taskstore.h"

#include <QDir>
#include <QFileInfo>
#include <QDateTime>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace tav {

WeekAhead::WeekAhead(const Clock &clock, QObject *parent) : QObject(parent), m_clock(clock)
{
}

WeekAhead::~WeekAhead() = default;

void WeekAhead::addLane(std::unique_ptr<AgendaLane> lane)
{
    m_lanes.push_back(std::move(lane));
    emit changed();
}

void WeekAhead::addStationLanes(const Settings &settings, const TaskStore &tasks,
                                const StopDates &stopDates)
{
    addLane(std::make_unique<TaskAgendaLane>(tasks, settings, stopDates));
}

int WeekAhead::print(const QString &dataDir, int days, const Clock &clock, QTextStream &out)
{
    const DataDir dir(dataDir);
    Settings settings(dir);
    settings.load();
    StopDates stopDates(dir);
    stopDates.load();
    TaskStore tasks(dir, settings);
    tasks.setReadOnly(true);
    tasks.load(clock.now().date());
    WeekAhead week(clock);
    week.addStationLanes(settings, tasks, stopDates);
    const QList<AgendaItem> items = week.compute(days);
    for (const AgendaItem &item : items)
        out << agenda::line(item) << u'\n';
    if (items.isEmpty())
        out << u"今后%1天没有定时开播。\n"_s.arg(days);
    const QStringList warnings = agenda::warnings(items);
    if (!warnings.isEmpty()) {
        out << u'\n' << u"需要处理：\n"_s;
        for (const QString &w : warnings)
            out << u"  "_s << w << u'\n';
    }
    out.flush();
    return 0;
}

QList<AgendaLane *> WeekAhead::lanes() const
{
    QList<AgendaLane *> lanes;
    for (const auto &lane : m_lanes)
        lanes.append(lane.get());
    return lanes;
}

QList<AgendaItem> WeekAhead::compute(int days) const
{
    return agenda::compute(lanes(), m_clock.now(), days);
}

QStringList WeekAhead::newWarnings(const QList<AgendaItem> &items)
{
    const QDate today = m_clock.now().date();
    if (m_reportedOn != today) {
        m_reportedOn = today;
        m_reported.clear();
    }
    QStringList fresh;
    for (const QString &line : agenda::warnings(items)) {
        if (!m_reported.contains(line)) {
            m_reported.insert(line);
            fresh.append(line);
        }
    }
    return fresh;
}

} // namespace tav
