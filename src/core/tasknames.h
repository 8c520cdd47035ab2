#pragma once

#include <QString>
#include <QStringList>

namespace tav {

class DataDir;
class IniDocument;

// Timed media tasks and voice broadcasts keep their list or text in a file
// named after the task, side by side in the data folder: one name belongs to
// one task of either kind. Names compare trimmed and without regard to case.
struct TaskNames
{
    // The sections "PREFIX1", "PREFIX2" … of a file, in file order (any case).
    static QStringList numberedSections(const IniDocument &doc, const QString &prefix);

    // Whether `name` is taken by a media task other than `ownTask` or by a
    // broadcast other than `ownBroadcast` (empty: a new task of that kind).
    static bool isTaken(const DataDir &dir, const QString &name, const QString &ownTask = {},
                        const QString &ownBroadcast = {});
};

} // namespace tav
