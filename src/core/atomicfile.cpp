#include "core/atomicfile.h"

#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

} // namespace

bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error)
{
    const QByteArray target = QFile::encodeName(path);
    QByteArray temp = target + ".tmp-XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) {
        if (error)
            *error = errnoText();
        return false;
    }
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
        if (error)
            *error = errnoText();
        ::unlink(temp.constData());
        return false;
    }
    // The rename itself must reach the disk too.
    const QByteArray dir = QFile::encodeName(QFileInfo(path).absolutePath());
    const int dfd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    return true;
}

bool readWholeFile(const QString &path, QByteArray *out)
{
    // Non-blocking: a fifo or device in place of a data file must not hang the reader.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return false;
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
            ::close(fd);
            return false;
        }
        if (n == 0)
            break;
        got += n;
    }
    ::close(fd);
    data.truncate(got);
    *out = std::move(data);
    return true;
}

} // namespace tav
