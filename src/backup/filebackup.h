#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>

namespace tav {

// Copies the station's data files ("*.ini" and "*.txt" of a folder tree) to
// a folder and back. Rules:
// - the folders are checked before anything is searched (messages in order);
//   the root folder of any file system is refused as a root folder;
// - the search is recursive, skips hidden folders and the set-aside folders
//   below, and compares names without regard to case;
// - files are matched by their path relative to the chosen folder; every
//   source file is copied, its folders made as needed; a file that cannot be
//   read or written is reported and the rest go on; the source is only read;
// - a copy replaces its target in one rename, so a target is never half written;
// - a restore first moves the data folder's own "*.ini" and "*.txt" files
//   into a set-aside folder "还原前的文件_<date>_<time>" inside it, so that a
//   restore from an empty or wrong folder is undone by restoring from there.
// The work is plain and synchronous: run it off the clockwork's thread.
class FileBackup
{
public:
    static const QString kSettingsName;  // "【FILEBAK】.ini"
    static const QString kSetAsidePrefix; // "还原前的文件_"

    struct Folders
    {
        QString source;
        QString destination;
    };
    // Two lines: the source folder, then the destination folder. A line is
    // taken only when it names an existing folder.
    static Folders openSet(const QString &path);
    static bool saveSet(const QString &path, const Folders &folders, QString *error = nullptr);

    // The first failed check's message, or empty when both folders will do.
    static QString check(const QString &source, const QString &destination);
    static bool isRootFolder(const QString &path);

    // Every file below `folder` matching one of `patterns` ("*.ini"), full paths, sorted.
    static QStringList dataPatterns(); // "*.ini", "*.txt"
    static QStringList search(const QString &folder, const QStringList &patterns = dataPatterns());

    struct Comparison
    {
        QStringList sourceFiles;      // relative paths
        QStringList destinationFiles;
        QStringList onlyInSource;
        QStringList onlyInDestination;
        QStringList differing;        // in both, not the same bytes
        QStringList same;
    };
    // progress(text, percent) after each file.
    using Progress = std::function<void(const QString &text, int percent)>;
    static Comparison compare(const QString &source, const QString &destination, const Progress &progress = {});

    struct CopyResult
    {
        int copied = 0;
        QStringList failed; // "path: reason"
    };
    // Copies the relative paths from one folder to the other.
    static CopyResult copyFiles(const QStringList &relativePaths, const QString &from, const QString &to,
                                const Progress &progress = {});

    // The whole backup: every data file of `dataDir` into `destination`.
    static CopyResult backup(const QString &dataDir, const QString &destination, const Progress &progress = {});

    struct RestoreResult
    {
        CopyResult copy;
        QString setAside;     // the folder the replaced files went to (empty when there were none)
        QStringList notMoved; // replaced files that could not be set aside: the restore stopped
    };
    static RestoreResult restore(const QString &backupDir, const QString &dataDir, const QDateTime &now,
                                 const Progress &progress = {});
};

} // namespace tav
