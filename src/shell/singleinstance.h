#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QLocalServer;
class QLocalSocket;

namespace tav {

// One station per data folder:
// - lock() takes a lock that the kernel holds for the process (flock) on the
//   file ".tavplayer.lock" in the data folder, reached through the folder's
//   canonical path: exactly one copy wins however the folder is spelt and
//   whatever the executable is called, and the lock ends with the process,
//   a crash included;
// - the copy holding it listens on a local socket named after the user and
//   the data folder; a later copy sends it "show" so the running window
//   comes to the front, then ends.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    static const QString kLockName; // ".tavplayer.lock"

    // Takes the data folder's lock; false when another process holds it
    // (heldElsewhere()) or it cannot be made (errorString()). When the
    // folder cannot take the file (read-only), a lock file keyed by the
    // folder's canonical path in the temporary folder stands in.
    bool lock(const QString &dataDir);
    bool hasLock() const { return m_lockFd >= 0; }
    bool heldElsewhere() const { return m_heldElsewhere; }
    // Another process holds the lock of `dataDir` (it is not taken).
    static bool isLocked(const QString &dataDir);

    // "tavplayer-<uid>-<hash of the data folder's absolute path>".
    static QString serverNameFor(const QString &dataDir);

    // Starts listening. A socket left behind by a copy that died is removed
    // and the name taken over; a name another live copy listens on is not
    // (false, answeredByAnother(), errorString() says why).
    bool listen(const QString &serverName);
    bool isListening() const;
    bool answeredByAnother() const { return m_answered; }
    QString errorString() const { return m_error; }

    // Asks the copy listening on serverName to come to the front; false when
    // no copy answers.
    static bool activateRunning(const QString &serverName, int timeoutMs = 1000);
    // A copy listens on serverName (it is asked nothing).
    static bool isRunning(const QString &serverName, int timeoutMs = 1000);

    // A connection whose first byte is '{' is a station command: it is
    // handed over as it is (see StationCommands).
    void setCommandHandler(std::function<void(QLocalSocket *)> handler) { m_commands = std::move(handler); }

signals:
    void activationRequested();

private:
    void onNewConnection();
    void readRequest(QLocalSocket *socket, bool final);

    QLocalServer *m_server = nullptr;
    QString m_error;
    std::function<void(QLocalSocket *)> m_commands;
    int m_lockFd = -1;
    bool m_heldElsewhere = false;
    bool m_answered = false;
};

} // namespace tav
