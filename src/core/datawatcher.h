#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class QThread;

namespace tav {

// Watches the data folder for files changed by any program (a synchroniser,
// a copy, an editor, the station itself) and tells each changed data file
// once it is complete:
// - a data file is a *.ini or *.txt file of the folder, not hidden (a
//   synchroniser's temporary files are) and not one of the ignored names;
// - a file is complete when its identity, size and times have stayed the
//   same for the settling time: a file renamed into place is a new file,
//   one written in place settles when its writer pauses;
// - a removed file is told as changed too;
// - the folder is looked at on a thread of its own, and again every second
//   in case a notification was lost, so nothing here runs on the thread
//   that owns the watcher.
class DataWatcher : public QObject
{
    Q_OBJECT
public:
    static constexpr int kSettleMs = 400;

    explicit DataWatcher(QObject *parent = nullptr);
    ~DataWatcher() override;

    // Starts watching `dir` (replacing a folder watched before). The files
    // there now are the starting point: only later changes are told.
    void watch(const QString &dir, const QStringList &ignoredNames, int settleMs = kSettleMs);
    void stop();

    static bool isDataFileName(const QString &name);

signals:
    // File names within the folder, each complete, in name order.
    void changed(const QStringList &names);

private:
    class Worker;
    QThread *m_thread = nullptr;
    Worker *m_worker = nullptr;
};

} // namespace tav
