#include "shell/weekahead.h"

#include "core/clock.h"
#include "core/datadir.h"
#include "core/ini.h"
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

WeekAhead::WeekAhead(const Clock &clock, QObject *parent) : QObject(parent), m_clock(clock) {}

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

void WeekAhead::keepNoticesIn(const DataDir &dir)
{
    m_notices = dir.file(kNoticeFile);
    m_reportedOn = QDate();
}

QStringList WeekAhead::newWarnings(const QList<AgendaItem> &items)
{
    const QDate today = m_clock.now().date();
    if (m_reportedOn != today)
        recallReported(today);
    QStringList fresh;
    for (const auto &[key, line] : agenda::keyedWarnings(items)) {
        if (!m_reported.contains(key)) {
            m_reported.insert(key);
            fresh.append(line);
        }
    }
    if (!fresh.isEmpty())
        keepReported();
    return fresh;
}

namespace {
const QString kNoticeSection = u"已提醒"_s;
const QString kDateKey = u"日期"_s;
} // namespace

void WeekAhead::recallReported(QDate today)
{
    m_reportedOn = today;
    m_reported.clear();
    if (m_notices.isEmpty())
        return;
    const auto doc = IniFile(m_notices).read();
    if (doc->value(kNoticeSection, kDateKey) != today.toString(Qt::ISODate))
        return;
    for (const QString &key : doc->keys(kNoticeSection))
        if (key.compare(kDateKey, Qt::CaseInsensitive) != 0)
            m_reported.insert(doc->value(kNoticeSection, key).replace(u"<分>"_s, u"\n"_s));
}

void WeekAhead::keepReported() const
{
    if (m_notices.isEmpty())
        return;
    QList<std::pair<QString, QString>> entries{{kDateKey, m_reportedOn.toString(Qt::ISODate)}};
    QStringList keys(m_reported.cbegin(), m_reported.cend());
    keys.sort();
    for (qsizetype i = 0; i < keys.size(); ++i)
        entries.append({QString::number(i + 1), QString(keys[i]).replace(u'\n', u"<分>"_s)});
    IniFile file(m_notices);
    IniDocument doc = *file.read();
    doc.replaceSection(kNoticeSection, entries);
    file.write(doc); // a failure is told by the file layer
}

} // namespace tav
