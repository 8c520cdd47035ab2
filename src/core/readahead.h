#pragma once

#include "core/ini.h"

#include <QHash>
#include <QString>

#include <memory>

namespace tav {

// A data file read and parsed on a worker thread, to be taken in on the
// thread that owns what it feeds.
struct ReadAhead
{
    // Its parsed form: an empty document for a missing file, none when it
    // is not taken in.
    std::shared_ptr<const IniDocument> doc;
    // Why it is not taken in: IniFile::notWholeReason, or "无法读取" when it
    // exists and cannot be read. Empty when it can be.
    QString notWhole;

    static ReadAhead of(const QString &path);
};

// While one lives, IniFile::read() on the thread that made it answers from
// these documents (path → document) without touching the disk, and a write
// drops its file from them. The loads that read through IniFile thus take in
// what a worker read and parsed.
class ReadAheadScope
{
public:
    using Docs = QHash<QString, std::shared_ptr<const IniDocument>>;
    explicit ReadAheadScope(Docs docs);
    ~ReadAheadScope();
    ReadAheadScope(const ReadAheadScope &) = delete;
    ReadAheadScope &operator=(const ReadAheadScope &) = delete;

private:
    Docs m_docs;
    Docs *m_outer;
};

} // namespace tav
