#pragma once

#include "core/agenda.h"

#include <QObject>
#include <QSet>
#include <QStringList>

#include <memory>
#include <vector>

class QFileSystemWatcher;
class QTextStream;

namespace tav {

class Clock;
class DataDir;
class Settings;
class StopDates;
class TaskStore;

// What the station will play over the coming days, and why something will
// not: every subsystem adds its lane; the answers come from the lanes' own
// rules on the live data. changed() follows every change of the data folder
// (the station tells it), so a page or a watch can ask again.
class WeekAhead : public QObject
{
    Q_OBJECT
public:
    static constexpr int kDays = 7;

    WeekAhead(const Clock &clock, QObject *parent = nullptr);
    ~WeekAhead() override;

    void addLane(std::unique_ptr<AgendaLane> lane);
    // The lanes of every timed kind the station runs, over its live data.
    void addStationLanes(const Settings &settings, const TaskStore &tasks, const StopDates &stopDates);
    QList<AgendaLane *> lanes() const;

    QList<AgendaItem> compute(int days = kDays) const;

    // Keeps the day's reported problems in the data folder's kNoticeFile,
    // so that a restart does not report them again.
    void keepNoticesIn(const DataDir &dir);

    // The things to fix in the coming week that have not been reported
    // today yet; each problem of each start is reported once a day, whatever
    // the date it is first seen on, and, with a data folder watched, over a
    // restart too (see keepNoticesIn).
    QStringList newWarnings(const QList<AgendaItem> &items);
    static inline const QString kNoticeFile = QStringLiteral("【NOTICE】.ini");

    // The data folder's coming days as lines, for the command line; the
    // files are only read. Returns the exit status.
    static int print(const QString &dataDir, int days, const Clock &clock, QTextStream &out);

signals:
    void changed();

private:
    void recallReported(QDate today);
    void keepReported() const;

    const Clock &m_clock;
    std::vector<std::unique_ptr<AgendaLane>> m_lanes;
    QString m_notices; // where the day's reported problems are kept
    QDate m_reportedOn;
    QSet<QString> m_reported;
};

} // namespace tav
