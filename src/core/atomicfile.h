#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace tav {

// Replaces `path` with `bytes` so that a crash or power cut at any moment
// leaves either the old or the new file, never a mix: the bytes go to a
// temporary file beside it (NAME.tmp-XXXXXX), are flushed to disk, and the
// temporary is renamed over the target. A failure is told to DataFaults,
// which keeps the bytes and writes them later.
bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error = nullptr);

// Whole content of a file; false when it cannot be read. The bytes of a
// save that failed stand for the file until they are written. A file that
// exists but cannot be read (a directory or fifo in its place, no
// permission, an I/O error) is told to DataFaults; a missing one is not.
bool readWholeFile(const QString &path, QByteArray *out);

// Removes a data file and anything kept for it from a failed save.
bool removeDataFile(const QString &path);

// Removes the temporary files that saves killed mid-way left in `dir`:
// only names of the NAME.tmp-XXXXXX form, only regular files last changed
// more than `olderThanSeconds` ago (a save in progress is seconds old).
// Returns the names removed.
QStringList removeStaleTemporaries(const QString &dir, qint64 olderThanSeconds = 600);

} // namespace tav
