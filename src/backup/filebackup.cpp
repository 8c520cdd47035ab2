#include "backup/filebackup.h"

#include "core/ini.h"
#include "core/atomicfile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

using namespace Qt::StringLiterals;

namespace tav {

const QString FileBackup::kSettingsName = u"【FILEBAK】.ini"_s;
const QString FileBackup::kSetAsidePrefix = u"还原前的文件_"_s;

namespace {

QString clean(const QString &path)
{
    return QDir::cleanPath(QDir(path).absolutePath());
}

bool sameFolder(const QString &a, const QString &b)
{
    const QString ca = QFileInfo(a).canonicalFilePath(), cb = QFileInfo(b).canonicalFilePath();
    return !ca.isEmpty() && ca == cb;
}

bool sameBytes(const QString &a, const QString &b)
{
    QFile fa(a), fb(b);
    if (fa.size() != fb.size() || !fa.open(QIODevice::ReadOnly) || !fb.open(QIODevice::ReadOnly))
        return false;
    while (!fa.atEnd())
        if (fa.read(1 << 16) != fb.read(1 << 16))
            return false;
    return true;
}

int percent(qsizetype done, qsizetype count)
{
    return count > 0 ? int(done * 100 / count) : 100;
}

} // namespace

QStringList FileBackup::dataPatterns()
{
    return {u"*.ini"_s, u"*.txt"_s};
}

FileBackup::Folders FileBackup::openSet(const QString &path)
{
    Folders folders;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return folders;
    const QStringList lines = fromGbk(file.read(64 * 1024)).split(u'\n');
    const auto folderOf = [&](qsizetype i) {
        const QString line = lines.value(i).trimmed();
        return !line.isEmpty() && QFileInfo(line).isDir() ? line : QString();
    };
    folders.source = folderOf(0);
    folders.destination = folderOf(1);
    return folders;
}

bool FileBackup::saveSet(const QString &path, const Folders &folders, QString *error)
{
    return writeFileAtomically(path, toGbk(folders.source + u"\r\n"_s + folders.destination + u"\r\n"_s), error);
}

bool FileBackup::isRootFolder(const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty())
        return false;
    if (QDir(canonical).isRoot())
        return true;
    const QStorageInfo volume(canonical);
    return volume.isValid() && clean(volume.rootPath()) == canonical;
}

QString FileBackup::check(const QString &source, const QString &destination)
{
    if (source.trimmed().isEmpty())
        return u"请设置来源文件夹！"_s;
    if (destination.trimmed().isEmpty())
        return u"请设置目的文件夹！"_s;
    if (!QFileInfo(source).isDir())
        return u"来源文件夹不存在！"_s;
    if (!QFileInfo(destination).isDir())
        return u"目的文件夹不存在！"_s;
    if (sameFolder(source, destination))
        return u"来源文件夹和目的文件夹不能相同！"_s;
    if (isRootFolder(source))
        return u"尚不支持来源文件夹从根目录开始！"_s;
    if (isRootFolder(destination))
        return u"尚不支持来目的件夹从根目录开始！"_s;
    return {};
}

QStringList FileBackup::search(const QString &folder, const QStringList &patterns)
{
    QStringList found;
    QStringList upperPatterns;
    for (const QString &p : patterns)
        upperPatterns.append(p.toUpper());
    QStringList pending{clean(folder)};
    while (!pending.isEmpty()) {
        const QDir dir(pending.takeFirst());
        const QFileInfoList entries =
            dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
        for (const QFileInfo &entry : entries) {
            if (entry.isDir()) {
                if (!entry.fileName().startsWith(u'.') && !entry.isSymLink()
                    && !entry.fileName().startsWith(kSetAsidePrefix))
                    pending.append(entry.filePath());
                continue;
            }
            const QString upper = entry.fileName().toUpper();
            for (const QString &p : std::as_const(upperPatterns)) {
                if (QDir::match(p, upper)) {
                    found.append(entry.filePath());
                    break;
                }
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

FileBackup::Comparison FileBackup::compare(const QString &source, const QString &destination,
                                           const Progress &progress)
{
    Comparison c;
    const QDir from(clean(source)), to(clean(destination));
    if (progress)
        progress(u"搜索来源文件夹..."_s, 0);
    for (const QString &path : search(from.path()))
        c.sourceFiles.append(from.relativeFilePath(path));
    if (progress)
        progress(u"搜索目的文件夹..."_s, 0);
    for (const QString &path : search(to.path()))
        c.destinationFiles.append(to.relativeFilePath(path));

    QHash<QString, QString> inDestination; // upper-cased relative path → as found
    for (const QString &rel : std::as_const(c.destinationFiles))
        inDestination.insert(rel.toUpper(), rel);
    QSet<QString> inSource;
    for (qsizetype i = 0; i < c.sourceFiles.size(); ++i) {
        const QString &rel = c.sourceFiles[i];
        inSource.insert(rel.toUpper());
        const QString match = inDestination.value(rel.toUpper());
        if (match.isEmpty())
            c.onlyInSource.append(rel);
        else if (sameBytes(from.filePath(rel), to.filePath(match)))
            c.same.append(rel);
        else
            c.differing.append(rel);
        if (progress)
            progress(u"分析来源文件夹："_s + QString::number(percent(i + 1, c.sourceFiles.size())) + u'%',
                     percent(i + 1, c.sourceFiles.size()));
    }
    for (qsizetype i = 0; i < c.destinationFiles.size(); ++i) {
        const QString &rel = c.destinationFiles[i];
        if (!inSource.contains(rel.toUpper()))
            c.onlyInDestination.append(rel);
        if (progress)
            progress(u"分析目的文件夹："_s + QString::number(percent(i + 1, c.destinationFiles.size())) + u'%',
                     percent(i + 1, c.destinationFiles.size()));
    }
    return c;
}

FileBackup::CopyResult FileBackup::copyFiles(const QStringList &relativePaths, const QString &from,
                                             const QString &to, const Progress &progress)
{
    CopyResult result;
    const QDir source(clean(from)), target(clean(to));
    QSet<QString> made; // folders known to exist
    QByteArray buffer(256 * 1024, Qt::Uninitialized);
    for (qsizetype i = 0; i < relativePaths.size(); ++i) {
        const QString &rel = relativePaths[i];
        const QString out = target.filePath(rel);
        const QString folder = QFileInfo(out).path();
        QString why;
        if (!made.contains(folder) && !QDir().mkpath(folder)) {
            why = u"无法创建文件夹"_s;
        } else {
            made.insert(folder);
            // Beside the target, then renamed over it: never half a file,
            // and the old file stays whole until the new one is.
            QFile in(source.filePath(rel));
            QTemporaryFile tmp(out + u".tmp-XXXXXX"_s);
            if (!in.open(QIODevice::ReadOnly)) {
                why = in.errorString();
            } else if (!tmp.open()) {
                why = tmp.errorString();
            } else {
                for (;;) {
                    const qint64 got = in.read(buffer.data(), buffer.size());
                    if (got < 0) {
                        why = in.errorString();
                        break;
                    }
                    if (got == 0)
                        break;
                    if (tmp.write(buffer.constData(), got) != got) {
                        why = tmp.errorString();
                        break;
                    }
                }
                if (why.isEmpty() && !tmp.flush())
                    why = tmp.errorString();
                if (why.isEmpty()) {
                    tmp.setPermissions(in.permissions());
                    if (!QFileInfo::exists(out) && tmp.rename(out)) {
                        tmp.setAutoRemove(false);
                    } else {
                        // The target exists: a named temporary file and an
                        // atomic rename over it.
                        const QString named = tmp.fileName();
                        tmp.setAutoRemove(false);
                        tmp.close();
                        if (::rename(QFile::encodeName(named).constData(), QFile::encodeName(out).constData())
                            != 0) {
                            why = QString::fromLocal8Bit(std::strerror(errno));
                            QFile::remove(named);
                        }
                    }
                }
            }
        }
        if (why.isEmpty())
            ++result.copied;
        else
            result.failed.append(rel + u"："_s + why);
        if (progress)
            progress(u"完成："_s + QString::number(percent(i + 1, relativePaths.size())) + u"%..."_s,
                     percent(i + 1, relativePaths.size()));
    }
    return result;
}

FileBackup::CopyResult FileBackup::backup(const QString &dataDir, const QString &destination,
                                          const Progress &progress)
{
    const Comparison c = compare(dataDir, destination, progress);
    return copyFiles(c.sourceFiles, dataDir, destination, progress);
}

FileBackup::RestoreResult FileBackup::restore(const QString &backupDir, const QString &dataDir,
                                              const QDateTime &now, const Progress &progress)
{
    RestoreResult result;
    const QDir data(clean(dataDir));
    // The data folder's own files, as a restore always replaced them.
    QStringList own;
    for (const QString &pattern : dataPatterns())
        own += data.entryList({pattern}, QDir::Files | QDir::Hidden);
    own.removeDuplicates();
    if (!own.isEmpty()) {
        const QString aside = kSetAsidePrefix + now.toString(u"yyyyMMdd_HHmmss"_s);
        if (!data.mkpath(aside)) {
            result.notMoved = own;
            return result;
        }
        result.setAside = data.filePath(aside);
        for (const QString &name : std::as_const(own))
            if (!QFile::rename(data.filePath(name), data.filePath(aside + u'/' + name)))
                result.notMoved.append(name);
        if (!result.notMoved.isEmpty())
            return result; // nothing is copied over files that are still there
    }
    const Comparison c = compare(backupDir, dataDir, progress);
    result.copy = copyFiles(c.sourceFiles, backupDir, dataDir, progress);
    return result;
}

} // namespace tav
