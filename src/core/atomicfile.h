#pragma once

#include <QByteArray>
#include <QString>

namespace tav {

// Replaces `path` with `bytes` so that a crash or power cut at any moment
// leaves either the old or the new file, never a mix: the bytes go to a
// temporary file beside it, are flushed to disk, and the temporary is
// renamed over the target.
bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error = nullptr);

// Whole content of a file; nullopt-like empty + false when it cannot be read.
bool readWholeFile(const QString &path, QByteArray *out);

} // namespace tav
