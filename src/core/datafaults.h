#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

namespace tav {

class Clock;

// Every failure to read or write a data file, heard by the station: the
// message log, the status bar and, headless, standard output all listen to
// fault(). Rules:
// - a file that exists but cannot be read, a save that failed and a name
//   that would make a path outside the data folder are each told once per
//   file per hour (the clock decides the hour);
// - the bytes of a failed save are kept here and stand for the file: reads
//   see them, and retry() or the next save of the file writes them out;
// - removing a data file drops what was kept for it.
// One instance per process, as the files are.
class DataFaults : public QObject
{
    Q_OBJECT
public:
    static DataFaults &instance();

    void setClock(const Clock *clock) { m_clock = clock; }

    void unreadable(const QString &path, const QString &why);
    // A file changed by another program is not whole: what was loaded
    // before stays in force. It stays at fault until a later version is
    // taken in (takenIn), however often its bytes are read meanwhile.
    void rejected(const QString &path, const QString &why);
    void takenIn(const QString &path);
    void unwritable(const QString &path, const QString &why, const QByteArray &bytes);
    void refusedName(const QString &name, const QString &what);
    // Something a file held that was left out: told once per `key` an hour.
    void leftOut(const QString &key, const QString &text);
    // The file was read or written as it should: it is no longer at fault.
    void readOk(const QString &path);
    void written(const QString &path);

    // The bytes a failed save left for `path`, if any.
    bool pending(const QString &path, QByteArray *bytes) const;
    void forget(const QString &path);
    // Writes every kept save; returns how many are still kept.
    int retry();

    // What is wrong now, one line a file, for the status bar.
    QStringList outstanding() const;
    // Back to a clean state (tests, and the start of a station).
    void reset();

signals:
    // A message for the operator, already in the system's words.
    void fault(const QString &text);
    // outstanding() changed.
    void changed();

private:
    DataFaults() = default;
    bool shouldTell(const QString &kind, const QString &path);
    // Keeps `path` as unreadable and says `message` when it is time to.
    void noteUnreadable(const QString &path, const QString &why, const QString &message);
    QDateTime now() const;

    mutable QMutex m_mutex; // files are read from worker threads too
    const Clock *m_clock = nullptr;
    QHash<QString, QDateTime> m_told; // kind + path → last time told
    QHash<QString, QByteArray> m_pending;
    QHash<QString, QString> m_unreadable; // path → reason
    QSet<QString> m_rejected;             // of those, not whole
};

} // namespace tav
