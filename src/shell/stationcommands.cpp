#include "shell/stationcommands.h"

#include "shell/station.h"

#include <QJsonDocument>
#include <QLocalSocket>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

StationCommands::StationCommands(Station &station, QObject *parent) : QObject(parent), m_station(station) {}

void StationCommands::serve(QLocalSocket *socket)
{
    socket->setParent(this);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readFrom(socket); });
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    // A client that never finishes its line is let go.
    QTimer::singleShot(kReadMs, socket, [socket] { socket->abort(); });
    readFrom(socket);
}

void StationCommands::readFrom(QLocalSocket *socket)
{
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > kMaxRequest)
            socket->abort();
        return;
    }
    const QByteArray line = socket->readLine(kMaxRequest + 1);
    QJsonParseError parsed;
    const QJsonDocument doc = QJsonDocument::fromJson(line, &parsed);
    const QJsonObject answer = doc.isObject() ? handle(doc.object())
                                              : QJsonObject{{u"ok"_s, false}, {u"error"_s, u"请求格式不对"_s}};
    socket->write(QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n');
    socket->flush();
    socket->disconnectFromServer();
}

QJsonObject StationCommands::handle(const QJsonObject &request)
{
    const QString op = request.value(u"op"_s).toString();
    QString error;
    bool ok = false;
    if (op == u"announce") {
        AnnounceRequest r;
        r.file = request.contains(u"file"_s);
        r.text = r.file ? request.value(u"file"_s).toString() : request.value(u"text"_s).toString();
        r.speaker = request.value(u"voice"_s).toString();
        r.repeat = request.value(u"repeat"_s).toInt(1);
        ok = m_station.announce(r, kOrigin, &error);
    } else if (op == u"emergency") {
        ok = m_station.startEmergency({request.value(u"text"_s).toString(), request.value(u"file"_s).toString()},
                                      kOrigin, &error);
    } else if (op == u"emergency-clear") {
        ok = m_station.clearEmergency(kOrigin, &error);
    } else {
        error = u"未知的请求：%1"_s.arg(op);
    }
    QJsonObject answer{{u"ok"_s, ok}};
    if (!ok)
        answer.insert(u"error"_s, error);
    return answer;
}

StationCommands::Answer StationCommands::send(const QString &serverName, const QJsonObject &request, int timeoutMs)
{
    Answer answer;
    QLocalSocket socket;
    socket.connectToServer(serverName);
    if (!socket.waitForConnected(std::min(timeoutMs, 1000)))
        return answer;
    socket.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    socket.flush();
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(timeoutMs)) {
            answer.reached = true;
            answer.error = u"播放站没有答复"_s;
            return answer;
        }
    }
    const QJsonDocument doc = QJsonDocument::fromJson(socket.readLine(kMaxRequest));
    answer.reached = true;
    answer.ok = doc.object().value(u"ok"_s).toBool();
    answer.error = doc.object().value(u"error"_s).toString();
    if (!answer.ok && answer.error.isEmpty())
        answer.error = u"播放站的答复无法识别"_s;
    return answer;
}

} // namespace tav
