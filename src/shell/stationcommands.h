#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>

class QLocalSocket;

namespace tav {

class Station;

// Requests to the running station from its own command line, on the
// station's local socket: the client writes one JSON object on a line
// ({"op":"announce","text":…,"voice":…,"repeat":N}, {"op":"emergency",
// "text":… | "file":…}, {"op":"emergency-clear"}), the station answers one
// ({"ok":true} or {"ok":false,"error":…}) and closes. A request is at most
// kMaxRequest bytes and must be complete within kReadMs.
class StationCommands : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kMaxRequest = 64 * 1024;
    static constexpr int kReadMs = 5000;
    static inline const QString kOrigin = QStringLiteral("本机命令行");

    explicit StationCommands(Station &station, QObject *parent = nullptr);

    // Takes the connection over (and deletes it when done).
    void serve(QLocalSocket *socket);
    // What the station does with one request.
    QJsonObject handle(const QJsonObject &request);

    struct Answer
    {
        bool reached = false; // a station answered
        bool ok = false;
        QString error;
    };
    static Answer send(const QString &serverName, const QJsonObject &request, int timeoutMs = 5000);

private:
    void readFrom(QLocalSocket *socket);

    Station &m_station;
};

} // namespace tav
