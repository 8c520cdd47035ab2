#include "backup/filebackup.h"

#include "core/ini.h"
#include "core/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QStorageInfo>

#include <algorithm>
#include <atomic>
#include <deque>
#include <utility>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

const QString FileBackup::kSettingsName = u"【FILEBAK】.ini"_s;
const QString FileBackup::kSetAsidePrefix = u"还原前的文件_"_s;
const QString FileBackup::kJournalName = u".tavplayer-restore.journal"_s;
const QString FileBackup::kStagingName = u".tavplayer-restore"_s;

namespace {

std::function<void(int)> &commitHook()
{
    static std::function<void(int)> hook;
    return hook;
}

QString clean(const QString &path)
{
    return QDir::cleanPath(QDir(path).absolutePath());
}

bool sameFolder(const QString &a, const QString &b)
{
    const QString ca = QFileInfo(a).canonicalFilePath(), cb = QFileInfo(b).canonicalFilePath();
    return !ca.isEmpty() && ca == cb;
}

int percent(qsizetype done, qsizetype count)
{
    return count > 0 ? int(done * 100 / count) : 100;
}

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Names are bytes: shown decoded, kept and copied as they are.
QString shown(const QByteArray &rel)
{
    return QFile::decodeName(rel);
}

// A file descriptor closed when it goes out of scope.
class Fd
{
public:
    explicit Fd(int fd = -1) : m_fd(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    Fd(Fd &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Fd &operator=(Fd &&other) noexcept
    {
        if (this != &other) {
            reset();
            m_fd = std::exchange(other.m_fd, -1);
        }
        return *this;
    }
    ~Fd() { reset(); }
    void reset()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }
    bool ok() const { return m_fd >= 0; }

private:
    int m_fd;
};

Fd openFolder(const QString &path)
{
    return Fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// A folder below `root` reached without following any link; made when
// `make`. Fails (errno) when a part is a link or not a folder.
Fd walkTo(int root, const QList<QByteArray> &parts, bool make)
{
    Fd at(::dup(root));
    for (const QByteArray &part : parts) {
        if (!at.ok())
            return at;
        int fd = ::openat(at.get(), part.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0 && errno == ENOENT && make) {
            if (::mkdirat(at.get(), part.constData(), 0755) != 0 && errno != EEXIST)
                return Fd();
            fd = ::openat(at.get(), part.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        }
        at = Fd(fd);
    }
    return at;
}

struct Split
{
    QList<QByteArray> folders;
    QByteArray name;
};

Split split(const QByteArray &rel)
{
    QList<QByteArray> parts = rel.split('/');
    Split s;
    s.name = parts.takeLast();
    s.folders = parts;
    return s;
}

QString walkError(int error)
{
    return error == ELOOP || error == ENOTDIR ? u"路径中有符号链接或不是文件夹，不经过它写入"_s : systemError(error);
}

bool exists(int dir, const QByteArray &name, struct stat *st = nullptr)
{
    struct stat local {};
    return ::fstatat(dir, name.constData(), st ? st : &local, AT_SYMLINK_NOFOLLOW) == 0;
}

// Copies an open file into `dir` as `name`: a temporary file beside it,
// renamed over it. Empty, or the system's reason. (The disk is flushed once
// for all files by the caller: a file at a time is slow on a busy disk.)
QString copyInto(int in, mode_t mode, int dir, const QByteArray &name)
{
    static std::atomic<unsigned> serial{0};
    const QByteArray tmp = name + ".tmp-" + QByteArray::number(::getpid()) + '-' + QByteArray::number(++serial);
    Fd out(::openat(dir, tmp.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode & 0777));
    if (!out.ok())
        return systemError(errno);
    QString why;
    char buffer[256 * 1024];
    for (;;) {
        const ssize_t got = ::read(in, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            why = u"读取失败："_s + systemError(errno);
            break;
        }
        if (got == 0)
            break;
        for (ssize_t done = 0; done < got && why.isEmpty();) {
            const ssize_t put = ::write(out.get(), buffer + done, size_t(got - done));
            if (put < 0 && errno == EINTR)
                continue;
            if (put <= 0)
                why = systemError(put < 0 ? errno : ENOSPC);
            else
                done += put;
        }
        if (!why.isEmpty())
            break;
    }
    const int closed = ::close(out.release());
    const int closeError = errno;
    if (why.isEmpty() && closed != 0)
        why = systemError(closeError);
    if (why.isEmpty() && ::renameat(dir, tmp.constData(), dir, name.constData()) != 0)
        why = systemError(errno);
    if (!why.isEmpty())
        ::unlinkat(dir, tmp.constData(), 0);
    return why;
}

// Copies `rel` from one folder to the other without following a link on
// either side. Empty, or the reason.
QString copyOne(int fromRoot, int toRoot, const QByteArray &rel)
{
    const Split s = split(rel);
    Fd fromDir = walkTo(fromRoot, s.folders, false);
    if (!fromDir.ok())
        return walkError(errno);
    Fd in(::openat(fromDir.get(), s.name.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!in.ok())
        return systemError(errno);
    struct stat st {};
    if (::fstat(in.get(), &st) != 0 || !S_ISREG(st.st_mode))
        return u"不是普通文件"_s;
    Fd toDir = walkTo(toRoot, s.folders, true);
    if (!toDir.ok())
        return walkError(errno);
    return copyInto(in.get(), st.st_mode, toDir.get(), s.name);
}

// Suffix patterns ("*.ini") on bytes, without regard to ASCII case.
bool matches(const QByteArray &name, const QStringList &patterns)
{
    for (const QString &p : patterns) {
        if (p.startsWith(u"*."_s) && !p.mid(1).contains(u'*') && !p.contains(u'?')) {
            const QByteArray suffix = QFile::encodeName(p.mid(1)).toLower();
            if (name.size() > suffix.size() && name.right(suffix.size()).toLower() == suffix)
                return true;
        } else if (QDir::match(p.toUpper(), shown(name).toUpper())) {
            return true;
        }
    }
    return false;
}

struct Scan
{
    QList<QByteArray> files; // relative paths, sorted
    QStringList skipped;     // "path：reason"
    QStringList errors;
};

// Every file below `root` matching the patterns. Not entered: hidden
// folders, set-aside folders, the folder `exclude` (by identity), links.
Scan scan(const QString &root, const QStringList &patterns, const QString &exclude = {})
{
    Scan result;
    struct stat ex {};
    const bool haveExclude = !exclude.isEmpty() && ::stat(QFile::encodeName(exclude).constData(), &ex) == 0;
    const QByteArray asidePrefix = QFile::encodeName(FileBackup::kSetAsidePrefix);
    Fd top = openFolder(root);
    if (!top.ok()) {
        result.errors.append(root + u"："_s + systemError(errno));
        return result;
    }
    struct Pending
    {
        QByteArray rel;
        Fd fd;
    };
    std::deque<Pending> pending;
    pending.push_back({QByteArray(), std::move(top)});
    while (!pending.empty()) {
        Pending here = std::move(pending.front());
        pending.pop_front();
        DIR *dir = ::fdopendir(::dup(here.fd.get()));
        if (!dir) {
            result.errors.append(shown(here.rel) + u"："_s + systemError(errno));
            continue;
        }
        QList<QByteArray> names;
        while (dirent *e = ::readdir(dir)) {
            const QByteArray name(e->d_name);
            if (name != "." && name != "..")
                names.append(name);
        }
        ::closedir(dir);
        std::sort(names.begin(), names.end());
        for (const QByteArray &name : std::as_const(names)) {
            const QByteArray rel = here.rel.isEmpty() ? name : here.rel + '/' + name;
            struct stat st {};
            if (::fstatat(here.fd.get(), name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0)
                continue; // gone meanwhile
            if (S_ISLNK(st.st_mode)) {
                struct stat target {};
                const bool toFolder = ::fstatat(here.fd.get(), name.constData(), &target, 0) == 0
                                      && S_ISDIR(target.st_mode);
                if (toFolder || matches(name, patterns))
                    result.skipped.append(shown(rel) + (toFolder ? u"：是指向文件夹的符号链接，未进入"_s
                                                                 : u"：是符号链接，未复制"_s));
                continue;
            }
            if (S_ISDIR(st.st_mode)) {
                if (name.startsWith('.') || name.startsWith(asidePrefix))
                    continue;
                if (haveExclude && st.st_dev == ex.st_dev && st.st_ino == ex.st_ino)
                    continue; // the other folder of the pair: never copied into itself
                Fd sub(::openat(here.fd.get(), name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
                if (sub.ok())
                    pending.push_back({rel, std::move(sub)});
                else
                    result.errors.append(shown(rel) + u"："_s + systemError(errno));
                continue;
            }
            if (S_ISREG(st.st_mode) && matches(name, patterns))
                result.files.append(rel);
        }
    }
    std::sort(result.files.begin(), result.files.end());
    return result;
}

bool sameBytes(int rootA, int rootB, const QByteArray &relA, const QByteArray &relB)
{
    const auto open = [](int root, const QByteArray &rel) {
        const Split s = split(rel);
        Fd dir = walkTo(root, s.folders, false);
        return dir.ok() ? Fd(::openat(dir.get(), s.name.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)) : Fd();
    };
    Fd a = open(rootA, relA), b = open(rootB, relB);
    struct stat sa {}, sb {};
    if (!a.ok() || !b.ok() || ::fstat(a.get(), &sa) != 0 || ::fstat(b.get(), &sb) != 0 || sa.st_size != sb.st_size)
        return false;
    QByteArray ba(1 << 16, Qt::Uninitialized), bb(1 << 16, Qt::Uninitialized);
    for (;;) {
        const ssize_t na = ::read(a.get(), ba.data(), ba.size());
        const ssize_t nb = ::read(b.get(), bb.data(), bb.size());
        if (na != nb || na < 0)
            return false;
        if (na == 0)
            return true;
        if (std::memcmp(ba.constData(), bb.constData(), size_t(na)) != 0)
            return false;
    }
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
    const QString root = clean(folder);
    QStringList found;
    for (const QByteArray &rel : scan(root, patterns).files)
        found.append(root + u'/' + shown(rel));
    return found;
}

FileBackup::Comparison FileBackup::compare(const QString &source, const QString &destination,
                                           const Progress &progress)
{
    Comparison c;
    const QString from = clean(source), to = clean(destination);
    if (progress)
        progress(u"搜索来源文件夹..."_s, 0);
    const Scan inSourceScan = scan(from, dataPatterns(), to);
    if (progress)
        progress(u"搜索目的文件夹..."_s, 0);
    const Scan inDestinationScan = scan(to, dataPatterns(), from);
    for (const QByteArray &rel : inSourceScan.files)
        c.sourceFiles.append(shown(rel));
    for (const QByteArray &rel : inDestinationScan.files)
        c.destinationFiles.append(shown(rel));

    Fd fromFd = openFolder(from), toFd = openFolder(to);
    QHash<QString, QByteArray> inDestination; // upper-cased relative path → as found
    for (const QByteArray &rel : inDestinationScan.files)
        inDestination.insert(shown(rel).toUpper(), rel);
    QSet<QString> inSource;
    const qsizetype n = inSourceScan.files.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QByteArray &rel = inSourceScan.files[i];
        const QString upper = shown(rel).toUpper();
        inSource.insert(upper);
        const auto match = inDestination.constFind(upper);
        if (match == inDestination.cend())
            c.onlyInSource.append(shown(rel));
        else if (sameBytes(fromFd.get(), toFd.get(), rel, *match))
            c.same.append(shown(rel));
        else
            c.differing.append(shown(rel));
        if (progress)
            progress(u"分析来源文件夹："_s + QString::number(percent(i + 1, n)) + u'%', percent(i + 1, n));
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

FileBackup::CopyResult FileBackup::backup(const QString &dataDir, const QString &destination,
                                          const Progress &progress)
{
    CopyResult result;
    const QString from = clean(dataDir), to = clean(destination);
    if (progress)
        progress(u"搜索来源文件夹..."_s, 0);
    const Scan found = scan(from, dataPatterns(), to);
    result.skipped = found.skipped;
    result.failed = found.errors;
    Fd fromFd = openFolder(from), toFd = openFolder(to);
    if (!fromFd.ok() || !toFd.ok()) {
        result.failed.append((fromFd.ok() ? to : from) + u"："_s + systemError(errno));
        return result;
    }
    const qsizetype n = found.files.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QString why = copyOne(fromFd.get(), toFd.get(), found.files[i]);
        if (why.isEmpty())
            ++result.copied;
        else
            result.failed.append(shown(found.files[i]) + u"："_s + why);
        if (progress)
            progress(u"完成："_s + QString::number(percent(i + 1, n)) + u"%..."_s, percent(i + 1, n));
    }
    if (::syncfs(toFd.get()) != 0)
        result.failed.append(to + u"："_s + systemError(errno));
    return result;
}

// ---- Restore --------------------------------------------------------------
//
// The journal: "tavplayer-restore 1", "phase staging|commit", "aside NAME",
// then one line per file: "R rel" (replaced: the old one set aside), "A rel"
// (added), "D rel" (removed: set aside). Names are percent-encoded bytes.
// Every step is one that can be taken again: recovery runs it again from
// the start.

namespace {

struct Journal
{
    bool commit = false;
    QByteArray aside;
    QList<QPair<char, QByteArray>> entries;

    QByteArray bytes() const
    {
        QByteArray out = "tavplayer-restore 1\nphase " + QByteArray(commit ? "commit" : "staging") + "\naside "
                         + aside.toPercentEncoding() + '\n';
        for (const auto &[kind, rel] : entries)
            out += QByteArray(1, kind) + ' ' + rel.toPercentEncoding("/") + '\n';
        return out;
    }
    static bool parse(const QByteArray &bytes, Journal *j)
    {
        const QList<QByteArray> lines = bytes.split('\n');
        if (lines.size() < 3 || lines[0] != "tavplayer-restore 1" || !lines[2].startsWith("aside "))
            return false;
        if (lines[1] == "phase commit")
            j->commit = true;
        else if (lines[1] != "phase staging")
            return false;
        j->aside = QByteArray::fromPercentEncoding(lines[2].mid(6));
        for (qsizetype i = 3; i < lines.size(); ++i) {
            const QByteArray &line = lines[i];
            if (line.isEmpty())
                continue;
            if (line.size() < 3 || line[1] != ' ' || !QByteArray("RAD").contains(line[0]))
                return false;
            j->entries.append({line[0], QByteArray::fromPercentEncoding(line.mid(2))});
        }
        return true;
    }
};

// Written whole and flushed before it is renamed into place.
bool writeJournal(int dataDir, const Journal &j, QString *error)
{
    const QByteArray name = QFile::encodeName(FileBackup::kJournalName);
    const QByteArray tmp = name + ".tmp";
    const QByteArray bytes = j.bytes();
    Fd out(::openat(dataDir, tmp.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    bool ok = out.ok();
    for (qsizetype done = 0; ok && done < bytes.size();) {
        const ssize_t put = ::write(out.get(), bytes.constData() + done, size_t(bytes.size() - done));
        if (put < 0 && errno == EINTR)
            continue;
        ok = put > 0;
        done += put;
    }
    ok = ok && ::fsync(out.get()) == 0;
    ok = ::close(out.release()) == 0 && ok;
    ok = ok && ::renameat(dataDir, tmp.constData(), dataDir, name.constData()) == 0;
    if (!ok) {
        if (error)
            *error = systemError(errno);
        ::unlinkat(dataDir, tmp.constData(), 0);
    }
    return ok;
}

// The names in an open folder, "." and ".." left out.
QList<QByteArray> entryNames(int dirFd)
{
    QList<QByteArray> names;
    if (DIR *d = ::fdopendir(::dup(dirFd))) {
        while (dirent *e = ::readdir(d))
            if (qstrcmp(e->d_name, ".") != 0 && qstrcmp(e->d_name, "..") != 0)
                names.append(e->d_name);
        ::closedir(d);
    }
    return names;
}

// A folder itself, not a link to one.
bool isFolder(int dirFd, const QByteArray &name)
{
    struct stat st {};
    return ::fstatat(dirFd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
}

// Removes a folder tree without following links.
void removeTree(int parent, const QByteArray &name)
{
    Fd dir(::openat(parent, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (dir.ok()) {
        for (const QByteArray &n : entryNames(dir.get())) {
            if (isFolder(dir.get(), n))
                removeTree(dir.get(), n);
            else
                ::unlinkat(dir.get(), n.constData(), 0);
        }
    }
    ::unlinkat(parent, name.constData(), AT_REMOVEDIR);
}

// Removes the empty folders of a tree, the top one included when empty.
bool pruneEmpty(int parent, const QByteArray &name)
{
    Fd dir(::openat(parent, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!dir.ok())
        return false;
    for (const QByteArray &n : entryNames(dir.get()))
        if (isFolder(dir.get(), n))
            pruneEmpty(dir.get(), n);
    return ::unlinkat(parent, name.constData(), AT_REMOVEDIR) == 0;
}

// The three folders a restore works with, each reached without links.
struct Places
{
    Fd data, staging, aside;
};

// One entry forward. Empty, or the reason.
QString applyEntry(const Places &p, char kind, const QByteArray &rel)
{
    const Split s = split(rel);
    Fd dataDir = walkTo(p.data.get(), s.folders, true);
    if (!dataDir.ok())
        return walkError(errno);
    const char *name = s.name.constData();
    if (kind == 'D') {
        if (!exists(dataDir.get(), s.name))
            return {};
        Fd asideDir = walkTo(p.aside.get(), s.folders, true);
        if (!asideDir.ok())
            return walkError(errno);
        if (exists(asideDir.get(), s.name))
            return {}; // set aside before
        return ::renameat(dataDir.get(), name, asideDir.get(), name) == 0 ? QString() : systemError(errno);
    }
    Fd stagingDir = walkTo(p.staging.get(), s.folders, false);
    if (!stagingDir.ok() || !exists(stagingDir.get(), s.name))
        return {}; // already in place
    if (kind == 'R' && exists(dataDir.get(), s.name)) {
        Fd asideDir = walkTo(p.aside.get(), s.folders, true);
        if (!asideDir.ok())
            return walkError(errno);
        if (!exists(asideDir.get(), s.name)) {
            // A second name for the old file: it stays in its place meanwhile.
            if (::linkat(dataDir.get(), name, asideDir.get(), name, 0) != 0) {
                Fd old(::openat(dataDir.get(), name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
                struct stat st {};
                if (!old.ok() || ::fstat(old.get(), &st) != 0)
                    return systemError(errno);
                if (const QString why = copyInto(old.get(), st.st_mode, asideDir.get(), s.name); !why.isEmpty())
                    return why;
            }
        }
    }
    return ::renameat(stagingDir.get(), name, dataDir.get(), name) == 0 ? QString() : systemError(errno);
}

// One entry back, once the restore cannot go on.
void undoEntry(const Places &p, char kind, const QByteArray &rel)
{
    const Split s = split(rel);
    Fd dataDir = walkTo(p.data.get(), s.folders, false);
    Fd asideDir = walkTo(p.aside.get(), s.folders, false);
    Fd stagingDir = walkTo(p.staging.get(), s.folders, false);
    if (!dataDir.ok())
        return;
    const char *name = s.name.constData();
    const bool staged = stagingDir.ok() && exists(stagingDir.get(), s.name);
    if (kind == 'D') {
        if (asideDir.ok() && exists(asideDir.get(), s.name) && !exists(dataDir.get(), s.name))
            ::renameat(asideDir.get(), name, dataDir.get(), name);
    } else if (!staged) { // the new one is in place
        if (kind == 'R' && asideDir.ok() && exists(asideDir.get(), s.name))
            ::renameat(asideDir.get(), name, dataDir.get(), name);
        else if (kind == 'A')
            ::unlinkat(dataDir.get(), name, 0);
    }
}

// Runs a journal's commit; `undone` when it had to be taken back.
QString runCommit(const QString &dataDir, const Journal &j, bool *undone)
{
    *undone = false;
    Places p;
    p.data = openFolder(dataDir);
    if (!p.data.ok())
        return systemError(errno);
    ::mkdirat(p.data.get(), j.aside.constData(), 0755);
    p.aside = Fd(::openat(p.data.get(), j.aside.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    p.staging = Fd(::openat(p.data.get(), QFile::encodeName(FileBackup::kStagingName).constData(),
                            O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    QString why = p.aside.ok() ? QString() : systemError(errno);
    for (qsizetype i = 0; why.isEmpty() && i < j.entries.size(); ++i) {
        why = applyEntry(p, j.entries[i].first, j.entries[i].second);
        if (!why.isEmpty())
            why = shown(j.entries[i].second) + u"："_s + why;
        else if (commitHook())
            commitHook()(int(i + 1));
    }
    if (!why.isEmpty()) {
        for (const auto &[kind, rel] : j.entries)
            undoEntry(p, kind, rel);
        *undone = true;
    }
    ::syncfs(p.data.get());
    removeTree(p.data.get(), QFile::encodeName(FileBackup::kStagingName));
    if (p.aside.ok())
        pruneEmpty(p.data.get(), j.aside);
    ::unlinkat(p.data.get(), QFile::encodeName(FileBackup::kJournalName).constData(), 0);
    return why;
}

// A fresh name for the set-aside folder.
QString asideName(const QString &dataDir, const QDateTime &now)
{
    const QString base = FileBackup::kSetAsidePrefix + now.toString(u"yyyyMMdd_HHmmss"_s);
    QString name = base;
    for (int n = 2; QFileInfo::exists(dataDir + u'/' + name) || QFileInfo(dataDir + u'/' + name).isSymLink(); ++n)
        name = base + u'_' + QString::number(n);
    return name;
}

} // namespace

void FileBackup::setCommitHook(std::function<void(int)> hook)
{
    commitHook() = std::move(hook);
}

QStringList FileBackup::recover(const QString &dataDir)
{
    const QString data = clean(dataDir);
    const QString journalPath = data + u'/' + kJournalName;
    QByteArray bytes;
    Fd dataFd = openFolder(data);
    if (!QFileInfo::exists(journalPath)) {
        if (dataFd.ok() && exists(dataFd.get(), QFile::encodeName(kStagingName)))
            removeTree(dataFd.get(), QFile::encodeName(kStagingName));
        return {};
    }
    Journal j;
    if (!readWholeFile(journalPath, &bytes) || !Journal::parse(bytes, &j))
        return {u"还原日志 %1 无法读取，未动数据文件夹；请检查后删除它"_s.arg(journalPath)};
    if (!j.commit) {
        if (dataFd.ok()) {
            removeTree(dataFd.get(), QFile::encodeName(kStagingName));
            pruneEmpty(dataFd.get(), j.aside);
            ::unlinkat(dataFd.get(), QFile::encodeName(kJournalName).constData(), 0);
        }
        return {u"上次还原在复制备份文件时中断，已撤销：数据文件夹保持原样"_s};
    }
    bool undone = false;
    const QString why = runCommit(data, j, &undone);
    if (undone)
        return {u"上次还原中断后无法完成（%1），已撤销：数据文件夹保持原样"_s.arg(why)};
    return {u"上次还原中断，已完成：%1 个文件，原有文件在 %2"_s.arg(j.entries.size()).arg(data + u'/' + shown(j.aside))};
}

FileBackup::RestoreResult FileBackup::restore(const QString &backupDir, const QString &dataDir,
                                              const QDateTime &now, const Progress &progress)
{
    RestoreResult result;
    const QString data = clean(dataDir), from = clean(backupDir);
    recover(data);
    if (progress)
        progress(u"搜索来源文件夹..."_s, 0);
    const Scan found = scan(from, dataPatterns(), data);
    result.copy.skipped = found.skipped;
    if (!found.errors.isEmpty()) {
        result.error = u"无法读取备份文件夹："_s + found.errors.join(u'；');
        return result;
    }
    Fd dataFd = openFolder(data), fromFd = openFolder(from);
    if (!dataFd.ok() || !fromFd.ok()) {
        result.error = (dataFd.ok() ? from : data) + u"："_s + systemError(errno);
        return result;
    }

    // The data folder's own files at the top level: a restore replaces them all.
    const QSet<QByteArray> incoming(found.files.cbegin(), found.files.cend());
    Journal j;
    j.aside = QFile::encodeName(asideName(data, now));
    const Scan own = scan(data, dataPatterns());
    for (const QByteArray &rel : own.files)
        if (!rel.contains('/') && !incoming.contains(rel))
            j.entries.append({'D', rel});

    // Staging: the backup copied whole into the data folder first.
    QString why;
    if (!writeJournal(dataFd.get(), j, &why)) {
        result.error = u"无法写入还原日志："_s + why;
        return result;
    }
    const QByteArray stagingName = QFile::encodeName(kStagingName);
    removeTree(dataFd.get(), stagingName);
    QStringList failed;
    Fd staging;
    if (::mkdirat(dataFd.get(), stagingName.constData(), 0755) != 0
        || !(staging = Fd(::openat(dataFd.get(), stagingName.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC))).ok())
        failed.append(kStagingName + u"："_s + systemError(errno));
    const qsizetype n = found.files.size();
    for (qsizetype i = 0; failed.isEmpty() && i < n; ++i) {
        const QByteArray &rel = found.files[i];
        const Split s = split(rel);
        // The place in the data folder must be reachable without a link.
        Fd target = walkTo(dataFd.get(), s.folders, true);
        struct stat st {};
        if (!target.ok())
            failed.append(shown(rel) + u"："_s + walkError(errno));
        else if (exists(target.get(), s.name, &st) && !S_ISREG(st.st_mode) && !S_ISLNK(st.st_mode))
            failed.append(shown(rel) + u"：数据文件夹中同名的不是文件"_s);
        else if (const QString w = copyOne(fromFd.get(), staging.get(), rel); !w.isEmpty())
            failed.append(shown(rel) + u"："_s + w);
        else
            j.entries.append({exists(target.get(), s.name) ? 'R' : 'A', rel});
        if (progress)
            progress(u"完成："_s + QString::number(percent(i + 1, n)) + u"%..."_s, percent(i + 1, n));
    }
    if (failed.isEmpty() && ::syncfs(dataFd.get()) != 0)
        failed.append(data + u"："_s + systemError(errno));
    if (failed.isEmpty()) {
        j.commit = true;
        if (!writeJournal(dataFd.get(), j, &why))
            failed.append(u"还原日志："_s + why);
    }
    if (!failed.isEmpty()) {
        removeTree(dataFd.get(), stagingName);
        pruneEmpty(dataFd.get(), j.aside);
        ::unlinkat(dataFd.get(), QFile::encodeName(kJournalName).constData(), 0);
        result.error = u"未还原，数据文件夹保持原样：\n"_s + failed.join(u'\n');
        return result;
    }

    bool undone = false;
    why = runCommit(data, j, &undone);
    if (undone) {
        result.error = u"未还原，数据文件夹保持原样：\n"_s + why;
        return result;
    }
    for (const auto &[kind, rel] : std::as_const(j.entries))
        result.copy.copied += kind != 'D';
    if (QFileInfo(data + u'/' + shown(j.aside)).isDir())
        result.setAside = data + u'/' + shown(j.aside);
    return result;
}

} // namespace tav
