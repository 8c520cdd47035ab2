#include "shell/singleinstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <algorithm>
#include <climits>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// The kernel keeps at most 15 bytes of a process name in "comm".
constexpr qsizetype kCommLength = 15;
// A request is one short line; anything longer is not ours.
constexpr qint64 kMaxRequest = 256;
const QByteArray kShow = QByteArrayLiteral("show");

QByteArray readLink(const QString &path)
{
    char buffer[PATH_MAX];
    const ssize_t n = ::readlink(QFile::encodeName(path).constData(), buffer, sizeof buffer);
    if (n <= 0)
        return {};
    return QByteArray(buffer, n);
}

// The executable's file name of one /proc entry; empty when unknown.
QByteArray processName(const QString &procDir, bool *truncated)
{
    QByteArray exe = readLink(procDir + u"/exe"_s);
    static const QByteArray deleted = QByteArrayLiteral(" (deleted)");
    if (exe.endsWith(deleted))
        exe.chop(deleted.size());
    *truncated = false;
    if (!exe.isEmpty())
        return exe.mid(exe.lastIndexOf('/') + 1);

    QFile comm(procDir + u"/comm"_s);
    if (!comm.open(QIODevice::ReadOnly))
        return {};
    QByteArray name = comm.readAll();
    if (name.endsWith('\n'))
        name.chop(1);
    *truncated = true;
    return name;
}

bool isNumber(const QString &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

} // namespace

SingleInstance::SingleInstance(QObject *parent) : QObject(parent) {}

SingleInstance::~SingleInstance()
{
    if (m_server)
        m_server->close(); // removes the socket file
}

int SingleInstance::countProcesses(const QString &exeName, const QString &procRoot)
{
    const QByteArray wanted = QFile::encodeName(exeName);
    if (wanted.isEmpty())
        return 0;
    int count = 0;
    const QStringList entries = QDir(procRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &pid : entries) {
        if (!isNumber(pid))
            continue;
        bool truncated = false;
        const QByteArray name = processName(procRoot + u'/' + pid, &truncated);
        if (name.isEmpty())
            continue;
        if (truncated ? name == wanted.left(kCommLength) : name == wanted)
            ++count;
    }
    return count;
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
