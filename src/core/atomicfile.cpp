#include "core/atomicfile.h"

#include "core/datafaults.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

QString errnoText()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool writeAll(int fd, const char *data, qsizetype size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size_t(size));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= n;
    }
    return true;
}

bool failWrite(const QString &path, const QByteArray &bytes, QString *error)
{
    const QString why = errnoText();
    if (error)
        *error = why;
    DataFaults::instance().unwritable(path, why, bytes);
    return false;
}

bool failRead(const QString &path, const QString &why)
{
    DataFaults::instance().unreadable(path, why);
    return false;
}

} // namespace

bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error)
{
    if (path.isEmpty()) {
        errno = ENOENT;
        if (error)
            *error = errnoText();
        return false;
    }
    const QByteArray target = QFile::encodeName(path);
    QByteArray temp = target + ".tmp-XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return failWrite(path, bytes, error);
    // mkstemp creates 0600; keep the target's mode, or the usual 0666 & ~umask.
    struct stat st {};
    mode_t mode;
    if (::stat(target.constData(), &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    const bool ok = ::fchmod(fd, mode) == 0 && writeAll(fd, bytes.constData(), bytes.size())
                    && ::fsync(fd) == 0;
    const int savedErrno = errno;
    ::close(fd);
    if (!ok || ::rename(temp.constData(), target.constData()) != 0) {
        if (ok == false)
            errno = savedErrno;
        const int failure = errno;
        ::unlink(temp.constData());
        errno = failure;
        return failWrite(path, bytes, error);
    }
    // The rename itself must reach the disk too.
    const QByteArray dir = QFile::encodeName(QFileInfo(path).absolutePath());
    const int dfd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    DataFaults::instance().written(path);
    return true;
}

bool readWholeFile(const QString &path, QByteArray *out)
{
    if (path.isEmpty())
        return false;
    if (DataFaults::instance().pending(path, out))
        return true;
    // Non-blocking: a fifo or device in place of a data file must not hang the reader.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return false;
        return failRead(path, errnoText());
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        const QString why = errnoText();
        ::close(fd);
        return failRead(path, why);
    }
    if (!S_ISREG(st.st_mode)) {
        ::close(fd);
        return failRead(path, S_ISDIR(st.st_mode) ? u"这是一个文件夹"_s : u"这不是普通文件"_s);
    }
    QByteArray data;
    data.resize(qsizetype(st.st_size));
    qsizetype got = 0;
    for (;;) {
        if (got == data.size())
            data.resize(got + 4096); // the file may have grown since fstat
        const ssize_t n = ::read(fd, data.data() + got, size_t(data.size() - got));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            const QString why = errnoText();
            ::close(fd);
            return failRead(path, why);
        }
        if (n == 0)
            break;
        got += n;
    }
    ::close(fd);
    data.truncate(got);
    *out = std::move(data);
    DataFaults::instance().readOk(path);
    return true;
}

bool removeDataFile(const QString &path)
{
    if (path.isEmpty())
        return false;
    DataFaults::instance().forget(path);
    return QFile::remove(path);
}

QStringList removeStaleTemporaries(const QString &dir, qint64 olderThanSeconds)
{
    // mkstemp's six characters are letters and digits.
    static const QRegularExpression own(u"^.+\\.tmp-[A-Za-z0-9]{6}$"_s);
    const QDateTime limit = QDateTime::currentDateTime().addSecs(-olderThanSeconds);
    QStringList removed;
    const QFileInfoList entries = QDir(dir).entryInfoList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QFileInfo &entry : entries) {
        if (entry.isSymLink() || !entry.isFile() || !own.match(entry.fileName()).hasMatch())
            continue;
        if (entry.lastModified() >= limit)
            continue;
        if (QFile::remove(entry.absoluteFilePath()))
            removed.append(entry.fileName());
    }
    return removed;
}

} // namespace tav
