#include "shell/singleinstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// A request is one short line; anything longer is not ours.
constexpr qint64 kMaxRequest = 256;
const QByteArray kShow = QByteArrayLiteral("show");

} // namespace

const QString SingleInstance::kLockName = u".tavplayer.lock"_s;

namespace {

QString canonicalFolder(const QString &dataDir)
{
    QFileInfo info(dataDir);
    const QString path = info.canonicalFilePath();
    return path.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : path;
}

// Opens the lock file without following a link put in its place.
int openLockFile(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
}

// The folder's own lock file, or the stand-in keyed by its path.
int openLockFor(const QString &dataDir, QString *error)
{
    const QString folder = canonicalFolder(dataDir);
    int fd = openLockFile(folder + u'/' + SingleInstance::kLockName);
    if (fd >= 0)
        return fd;
    const int own = errno;
    if (own == EACCES || own == EROFS || own == EPERM) {
        const QByteArray hash = QCryptographicHash::hash(folder.toUtf8(), QCryptographicHash::Sha1).toHex();
        fd = openLockFile(QDir::tempPath() + u"/tavplayer-%1-%2.lock"_s.arg(::getuid()).arg(QString::fromLatin1(hash.left(16))));
        if (fd >= 0)
            return fd;
    }
    *error = u"无法建立数据文件夹的锁文件 %1：%2"_s.arg(folder + u'/' + SingleInstance::kLockName,
                                                         QString::fromLocal8Bit(std::strerror(own)));
    return -1;
}

} // namespace

SingleInstance::SingleInstance(QObject *parent) : QObject(parent) {}

SingleInstance::~SingleInstance()
{
    if (m_server)
        m_server->close(); // removes the socket file
    if (m_lockFd >= 0)
        ::close(m_lockFd); // the kernel lets the lock go
}

bool SingleInstance::lock(const QString &dataDir)
{
    m_error.clear();
    m_heldElsewhere = false;
    if (m_lockFd >= 0)
        return true;
    const int fd = openLockFor(dataDir, &m_error);
    if (fd < 0)
        return false;
    int rc;
    do
        rc = ::flock(fd, LOCK_EX | LOCK_NB);
    while (rc != 0 && errno == EINTR);
    if (rc != 0) {
        const int why = errno;
        ::close(fd);
        m_heldElsewhere = why == EWOULDBLOCK;
        m_error = m_heldElsewhere ? u"另一份程序正在使用这个数据文件夹（%1）"_s.arg(canonicalFolder(dataDir))
                                  : u"无法锁定数据文件夹 %1：%2"_s.arg(canonicalFolder(dataDir),
                                                                     QString::fromLocal8Bit(std::strerror(why)));
        return false;
    }
    m_lockFd = fd;
    return true;
}

bool SingleInstance::isLocked(const QString &dataDir)
{
    SingleInstance probe;
    return !probe.lock(dataDir) && probe.heldElsewhere();
}

QString SingleInstance::serverNameFor(const QString &dataDir)
{
    QFileInfo info(dataDir);
    QString path = info.canonicalFilePath();
    if (path.isEmpty())
        path = info.absoluteFilePath();
    const QByteArray hash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex();
    return u"tavplayer-%1-%2"_s.arg(::getuid()).arg(QString::fromLatin1(hash.left(16)));
}

bool SingleInstance::listen(const QString &serverName)
{
    m_error.clear();
    m_answered = false;
    if (m_server) {
        m_server->close();
        delete m_server;
    }
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);

    // Ask first: listening would replace the socket file of a live copy.
    // Someone answering means a live copy; silence means a socket left
    // behind by a copy that died, which is removed.
    {
        QLocalSocket probe;
        probe.connectToServer(serverName);
        if (probe.waitForConnected(500)) {
            probe.disconnectFromServer();
            m_answered = true;
            m_error = u"另一份程序正在使用这个数据文件夹（%1）"_s.arg(serverName);
            return false;
        }
    }
    QLocalServer::removeServer(serverName);
    if (m_server->listen(serverName))
        return true;
    m_error = u"无法建立本地连接 %1：%2"_s.arg(serverName, m_server->errorString());
    return false;
}

bool SingleInstance::isListening() const
{
    return m_server && m_server->isListening();
}

bool SingleInstance::activateRunning(const QString &serverName, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(serverName);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(kShow + '\n');
    bool sent = socket.flush() || socket.bytesToWrite() == 0;
    while (!sent && socket.waitForBytesWritten(timeoutMs))
        sent = socket.bytesToWrite() == 0;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(timeoutMs);
    return sent;
}

bool SingleInstance::isRunning(const QString &serverName, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(serverName);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.disconnectFromServer();
    return true;
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequest(socket, false); });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket] {
            readRequest(socket, true);
            socket->deleteLater();
        });
        readRequest(socket, false);
    }
}

void SingleInstance::readRequest(QLocalSocket *socket, bool final)
{
    if (m_commands && !final && socket->peek(1) == "{") {
        socket->disconnect(this);
        m_commands(socket);
        return;
    }
    while (socket->canReadLine()) {
        if (socket->readLine(kMaxRequest).trimmed() == kShow)
            emit activationRequested();
    }
    if (final) {
        if (socket->readAll().trimmed() == kShow)
            emit activationRequested();
    } else if (socket->bytesAvailable() > kMaxRequest) {
        socket->abort();
    }
}

} // namespace tav
