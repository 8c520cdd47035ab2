#pragma once

#include "core/agenda.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

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
// rules on the live data. changed() follows every edit of the data folder
// (debounced), so a page or a watch can ask again.
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

    // Watches the data folder's files; changed() comes once after a burst of writes.
    void watch(const DataDir &dir);

    // The things to fix in the coming week that have not been reported
    // today yet; each problem of each start is reported once a day, whatever
    // the date it is first seen on, and, with a data folder watched, over a
    // restart too (the reported ones are kept in kNoticeFile).
    QStringList newWarnings(const QList<AgendaItem> &items);
    static inline const QString kNoticeFile = QStringLiteral("【NOTICE】.ini");

    // The data folder's coming days as lines, for the command line; the
    // files are only read. Returns the exit status.
    static int print(const QString &dataDir, int days, const Clock &clock, QTextStream &out);

signals:
    void changed();

private:
    bool rewatch();
    void recallReported(QDate today);
    void keepReported() const;

    const Clock &m_clock;
    std::vector<std::unique_ptr<AgendaLane>> m_lanes;
    QFileSystemWatcher *m_watcher = nullptr;
    QString m_dir;
    QStringList m_ignored; // the play log's and the notices' names: no edits
    QString m_notices;     // where the day's reported problems are kept
    QString m_signature; // names, sizes and times of the watched files
    QTimer m_settle;
    QDate m_reportedOn;
    QSet<QString> m_reported;
};

} // namespace tav
