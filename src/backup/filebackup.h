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
// - the search is recursive, skips hidden folders, the set-aside folders
//   below and the other folder of the pair when it lies inside (a backup
//   target inside the data folder is never backed up into itself), and
//   compares names without regard to case;
// - symbolic links, to files or to folders, are never followed: they are
//   skipped and listed; names are copied byte for byte, whatever their
//   encoding;
// - files are matched by their path relative to the chosen folder; every
//   source file is copied, its folders made as needed; a file that cannot be
//   read or written is reported with the system's reason and the rest go on;
//   the source is only read; nothing is written through a link;
// - a copy replaces its target in one rename, so a target is never half written;
// - a restore is all or nothing and survives a crash: the backup is first
//   copied into a hidden staging folder of the data folder (a failure there,
//   a full disk say, leaves the data folder as it was); then, recorded in a
//   journal, each file the restore replaces or removes (the top level's own
//   "*.ini" and "*.txt" and every file in a subfolder that the backup
//   brings anew) is set aside into "还原前的文件_<date>_<time>" and the new
//   one renamed into its place, so the data folder holds every file's old
//   or new version at any moment. recover() finishes such a restore after a
//   crash, or undoes it when it cannot be finished.
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
        QStringList failed;  // "path：reason"
        QStringList skipped; // links not followed: "path：reason"
    };

    // The whole backup: every data file of `dataDir` into `destination`.
    static CopyResult backup(const QString &dataDir, const QString &destination, const Progress &progress = {});

    struct RestoreResult
    {
        CopyResult copy;
        QString setAside; // the folder the replaced files went to (empty when there were none)
        QString error;    // why nothing was restored (the data folder is as it was), empty on success
    };
    static RestoreResult restore(const QString &backupDir, const QString &dataDir, const QDateTime &now,
                                 const Progress &progress = {});

    // Finishes a restore that a crash or a full disk cut short, or undoes
    // it; what was done, one line each (nothing when there was none).
    static QStringList recover(const QString &dataDir);
    static const QString kJournalName; // ".tavplayer-restore.journal"
    static const QString kStagingName; // ".tavplayer-restore"

    // Test seam: called after each file a restore commits (a crash may come there).
    static void setCommitHook(std::function<void(int done)> hook);
};

} // namespace tav
