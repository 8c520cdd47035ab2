#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QLocalServer;
class QLocalSocket;

namespace tav {

// One station per data folder. Two guards:
// - countProcesses() counts the running copies of the program by name;
// - the first copy listens on a local socket named after the user and the
//   data folder; a later copy sends it "show" so the running window comes to
//   the front, then ends.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    // Processes under procRoot whose executable name equals exeName: the
    // file name of the "exe" link's target, or, when the link cannot be read
    // (another user's process), the "comm" file, which the kernel cuts to
    // 15 bytes.
    static int countProcesses(const QString &exeName, const QString &procRoot = QStringLiteral("/proc"));

    // "tavplayer-<uid>-<hash of the data folder's absolute path>".
    static QString serverNameFor(const QString &dataDir);

    // Starts listening. A socket left behind by a copy that died is removed
    // and the name taken over; a name another live copy listens on is not
    // (false, errorString() says why).
    bool listen(const QString &serverName);
    bool isListening() const;
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
};

} // namespace tav
