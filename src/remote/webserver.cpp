#include "remote/webserver.h"

#include "core/secret.h"
#include "core/zhtext.h"
#include "shell/station.h"

#include <QFile>
#include <QHttpServerRequest>
#include <QJsonArray>
#include <QJsonParseError>
#include <QRandomGenerator>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>

#include <algorithm>

using namespace Qt::StringLiterals;

static void initRemoteResources()
{
    Q_INIT_RESOURCE(remote);
}

namespace tav {

namespace {

const QByteArray kCookie = "tavsession";

QByteArray headerOf(const QHttpServerRequest &request, const QByteArray &name)
{
    for (const auto &[key, value] : request.headers())
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200: return "OK";
    case 201: return "Created";
    case 202: return "Accepted";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 409: return "Conflict";
    case 413: return "Payload Too Large";
    case 500: return "Internal Server Error";
    case 503: return "Service Unavailable";
    }
    return "Status";
}

QByteArray methodName(QHttpServerRequest::Method method)
{
    switch (method) {
    case QHttpServerRequest::Method::Get: return "GET";
    case QHttpServerRequest::Method::Post: return "POST";
    case QHttpServerRequest::Method::Put: return "PUT";
    case QHttpServerRequest::Method::Delete: return "DELETE";
    default: return {};
    }
}

QByteArray randomToken()
{
    QByteArray bytes(24, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), 6);
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

// An IPv4 caller on a dual-stack socket reads as "::ffff:a.b.c.d".
QString addressText(const QHostAddress &address)
{
    bool v4 = false;
    const quint32 ip4 = address.toIPv4Address(&v4);
    return v4 ? QHostAddress(ip4).toString() : address.toString();
}

QByteArray eventText(const QByteArray &event, const QByteArray &data)
{
    return "event: " + event + "\ndata: " + data + "\n\n";
}

// The status without what changes every second by itself.
QByteArray statusKey(QJsonObject status)
{
    status.remove(u"time"_s);
    if (status.value(u"next"_s).isObject()) {
        QJsonObject next = status.value(u"next"_s).toObject();
        next.remove(u"in"_s);
        status[u"next"_s] = next;
    }
    return QJsonDocument(status).toJson(QJsonDocument::Compact);
}

} // namespace

WebServer::WebServer(Station &station, WebSettings settings, QObject *parent)
    : QAbstractHttpServer(parent), m_station(station), m_settings(std::move(settings)), m_api(station)
{
    initRemoteResources();
    m_uptime.start();
    m_hashing.setMaxThreadCount(1); // a flood of logins takes one core at most
    m_passwords = [this] { return WebSettings::load(m_station.dataDir()); };
    m_statusTimer.setInterval(1000);
    connect(&m_statusTimer, &QTimer::timeout, this, [this] { pushStatus(false); });
    m_statusSoon.setSingleShot(true);
    m_statusSoon.setInterval(100);
    connect(&m_statusSoon, &QTimer::timeout, this, [this] { pushStatus(false); });
    const auto soon = [this] {
        if (!m_streams.isEmpty())
            m_statusSoon.start();
    };
    connect(&station.log(), &MessageLog::messageAdded, this, [this, soon](const QString &message) {
        if (m_streams.isEmpty())
            return;
        broadcastEvent("log", QJsonDocument(QJsonObject{{u"text"_s, message}}).toJson(QJsonDocument::Compact));
        soon();
    });
    connect(&m_api, &StationApi::started, this, [this, soon](const QString &task) {
        broadcastEvent("start", QJsonDocument(QJsonObject{{u"task"_s, task}}).toJson(QJsonDocument::Compact));
        soon();
    });
    connect(&m_api, &StationApi::changed, this, [this, soon](const QString &what) {
        broadcastEvent("changed", QJsonDocument(QJsonObject{{u"what"_s, what}}).toJson(QJsonDocument::Compact));
        soon();
    });
    connect(&station.scheduler(), &Scheduler::statusChanged, this, soon);
    connect(&station.playback(), &PlaybackController::itemPlaying, this, soon);
    connect(&station.playback(), &PlaybackController::idle, this, soon);
}

WebServer::~WebServer()
{
    m_hashing.waitForDone();
}

bool WebServer::start(QString *error)
{
    const QHostAddress address(m_settings.listen);
    if (address.isNull()) {
        *error = u"网页控制台的监听地址不正确：%1"_s.arg(m_settings.listen);
        return false;
    }
    if (!m_settings.certificate.isEmpty() || !m_settings.key.isEmpty()) {
        QFile certFile(m_settings.certificate), keyFile(m_settings.key);
        if (!certFile.open(QIODevice::ReadOnly) || !keyFile.open(QIODevice::ReadOnly)) {
            *error = u"无法读取证书或密钥文件：%1 %2"_s.arg(m_settings.certificate, m_settings.key);
            return false;
        }
        const QSslCertificate certificate(&certFile, QSsl::Pem);
        const QByteArray keyBytes = keyFile.readAll();
        QSslKey key(keyBytes, QSsl::Rsa, QSsl::Pem);
        if (key.isNull())
            key = QSslKey(keyBytes, QSsl::Ec, QSsl::Pem);
        if (certificate.isNull() || key.isNull()) {
            *error = u"证书或密钥文件不是 PEM 格式：%1 %2"_s.arg(m_settings.certificate, m_settings.key);
            return false;
        }
        sslSetup(certificate, key);
        m_tls = true;
    }
    m_port = listen(address, m_settings.port);
    if (m_port == 0) {
        *error = u"网页控制台无法在 %1 端口 %2 上监听（端口已被占用？）"_s.arg(m_settings.listen).arg(m_settings.port);
        return false;
    }
    return true;
}

void WebServer::send(QTcpSocket *socket, const Answer &answer, bool close)
{
    QByteArray out = "HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + reasonOf(answer.status) + "\r\n";
    out += "Content-Type: " + answer.type + "\r\n";
    out += "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n";
    out += "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nX-Frame-Options: DENY\r\n"
           "Referrer-Policy: no-referrer\r\n";
    for (const QByteArray &header : answer.headers)
        out += header + "\r\n";
    if (close)
        out += "Connection: close\r\n";
    out += "\r\n" + answer.body;
    socket->write(out);
    if (close)
        socket->disconnectFromHost();
}

WebServer::Answer WebServer::json(const ApiReply &reply)
{
    return {reply.status, "application/json; charset=utf-8", reply.json.toJson(QJsonDocument::Compact), {}};
}

WebServer::Answer WebServer::file(const QString &path) const
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return json(ApiReply::error(404, u"没有这个地址"_s));
    QByteArray type = "text/html; charset=utf-8";
    if (path.endsWith(u".js"))
        type = "text/javascript; charset=utf-8";
    else if (path.endsWith(u".css"))
        type = "text/css; charset=utf-8";
    else if (path.endsWith(u".svg"))
        type = "image/svg+xml";
    return {200, type, f.readAll(),
            {"Content-Security-Policy: default-src 'self'; img-src 'self' data:; frame-ancestors 'none'"}};
}

WebServer::Session *WebServer::sessionOf(const QHttpServerRequest &request, QByteArray *token)
{
    const QByteArray cookies = headerOf(request, "cookie");
    for (const QByteArray &part : cookies.split(';')) {
        const QByteArray pair = part.trimmed();
        if (!pair.startsWith(QByteArray(kCookie + '=')))
            continue;
        const QByteArray value = pair.mid(kCookie.size() + 1);
        auto it = m_sessions.find(value);
        if (it == m_sessions.end())
            continue;
        const qint64 now = m_uptime.elapsed();
        if (now - it->lastUsed > kSessionIdleMs) {
            m_sessions.erase(it);
            return nullptr;
        }
        it->lastUsed = now;
        if (token)
            *token = value;
        return &it.value();
    }
    return nullptr;
}

int WebServer::recentFailures(const QString &address)
{
    auto it = m_failures.find(address);
    if (it == m_failures.end())
        return 0;
    const qint64 now = m_uptime.elapsed();
    it->removeIf([now](qint64 t) { return now - t > kFailureWindowMs; });
    if (it->isEmpty()) {
        m_failures.erase(it);
        return 0;
    }
    return int(it->size());
}

bool WebServer::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    const bool close = headerOf(request, "connection").compare("close", Qt::CaseInsensitive) == 0;
    const QByteArray method = methodName(request.method());
    const QString path = request.url().path(QUrl::FullyEncoded);
    if (request.body().size() > kMaxBody) {
        send(socket, json(ApiReply::error(413, u"请求内容超过 1 MB"_s)), true);
        return true;
    }
    if (method == "GET") {
        if (path == u"/" || path == u"/index.html")
            return send(socket, file(u":/remote/index.html"_s), close), true;
        if (path == u"/app.js" || path == u"/style.css" || path == u"/icon.svg")
            return send(socket, file(u":/remote"_s + path), close), true;
        if (path == u"/metrics" && m_metrics)
            return send(socket, {200, "text/plain; version=0.0.4; charset=utf-8", m_metrics(), {}}, close), true;
    }
    static const QString kApi = u"/api/v1/"_s;
    if (!path.startsWith(kApi) || method.isEmpty()) {
        send(socket, json(ApiReply::error(method.isEmpty() ? 405 : 404, u"没有这个地址"_s)), close);
        return true;
    }
    QStringList segments;
    for (const QString &part : path.mid(kApi.size()).split(u'/', Qt::SkipEmptyParts))
        segments.append(QUrl::fromPercentEncoding(part.toLatin1()));

    if (segments == QStringList{u"login"_s} && method == "POST") {
        login(request, socket);
        return true;
    }
    // An alarm panel or a door system starts and clears the emergency with
    // its bearer token alone; a wrong token counts as a wrong password.
    const QByteArray authorization = headerOf(request, "authorization");
    if (segments == QStringList{u"emergency"_s} && authorization.startsWith("Bearer ")) {
        ApiRequest call{method, segments, request.query(), {}, addressText(request.remoteAddress()), true};
        if (parseBody(request, socket, close, &call))
            alarmPanelCall(request, socket, close, std::move(call));
        return true;
    }
    QByteArray token;
    Session *session = sessionOf(request, &token);
    if (!session) {
        send(socket, json(ApiReply::error(401, u"请先登录"_s)), close);
        return true;
    }
    if (segments == QStringList{u"events"_s} && method == "GET") {
        openStream(socket);
        return true;
    }
    if (method != "GET" && headerOf(request, "x-csrf-token") != session->csrf) {
        send(socket, json(ApiReply::error(403, u"缺少或错误的 CSRF 令牌，请重新登录"_s)), close);
        return true;
    }
    if (segments == QStringList{u"logout"_s} && method == "POST") {
        m_sessions.remove(token);
        send(socket, {200, "application/json; charset=utf-8", "{}", {kCookie + "=; Max-Age=0; Path=/"}}, close);
        return true;
    }
    if (segments == QStringList{u"session"_s} && method == "GET") {
        send(socket, json({200, QJsonDocument(QJsonObject{{u"role"_s, session->manager ? u"manager"_s : u"viewer"_s},
                                                          {u"csrf"_s, QString::fromLatin1(session->csrf)}})}),
             close);
        return true;
    }
    ApiRequest call{method, segments, request.query(), {}, addressText(request.remoteAddress())};
    if (!parseBody(request, socket, close, &call))
        return true;
    send(socket, json(m_api.handle(call, session->manager)), close);
    return true;
}

// The JSON object of a call's body into `call`; false when it was answered
// with a 400 instead.
bool WebServer::parseBody(const QHttpServerRequest &request, QTcpSocket *socket, bool close, ApiRequest *call)
{
    if (!request.body().trimmed().isEmpty()) {
        QJsonParseError parsed{};
        const QJsonDocument doc = QJsonDocument::fromJson(request.body(), &parsed);
        if (parsed.error != QJsonParseError::NoError) {
            send(socket,
                 json(ApiReply::error(400, u"JSON 格式错误：%1（第 %2 字节）"_s.arg(parsed.errorString())
                                               .arg(parsed.offset))),
                 close);
            return false;
        }
        if (!doc.isObject()) {
            send(socket, json(ApiReply::error(400, u"请求内容应为 JSON 对象"_s)), close);
            return false;
        }
        call->body = doc.object();
    }
    return true;
}

// The token is checked off the event loop, like a password: a wrong one
// counts as a wrong password of its address and is answered slowly after
// five in a minute.
void WebServer::alarmPanelCall(const QHttpServerRequest &request, QTcpSocket *socket, bool close, ApiRequest call)
{
    const QString presented = QString::fromLatin1(headerOf(request, "authorization").mid(7).trimmed());
    if (m_station.emergency().knownToken(presented)) { // no hash to wait for
        send(socket, json(m_api.handle(call, true)), close);
        return;
    }
    const QString stored = m_station.emergency().tokenHash();
    const bool slow = recentFailures(call.client) >= kFailuresBeforeSlow;
    QPointer<QTcpSocket> guard(socket);
    m_hashing.start([this, guard, presented, stored, slow, close, call] {
        const bool good = secretMatches(presented, stored);
        QMetaObject::invokeMethod(this, [this, guard, good, slow, close, call, presented, stored] {
            Answer answer;
            if (good) {
                m_station.emergency().tokenMatched(presented, stored);
                answer = json(m_api.handle(call, true));
            } else {
                m_failures[call.client].append(m_uptime.elapsed());
                m_station.log().append(
                    zh::stampedLine(m_station.clock().now(), u"远程："_s + call.client + u" 报警系统令牌错误"_s));
                answer = json(ApiReply::error(401, u"报警系统令牌错误"_s));
            }
            if (!guard)
                return;
            if (slow && !good)
                QTimer::singleShot(m_slowMs, guard.data(), [this, guard, answer, close] { send(guard.data(), answer, close); });
            else
                send(guard.data(), answer, close);
        }, Qt::QueuedConnection);
    });
}

void WebServer::missingHandler(const QHttpServerRequest &, QTcpSocket *socket)
{
    send(socket, json(ApiReply::error(404, u"没有这个地址"_s)));
}

void WebServer::login(const QHttpServerRequest &request, QTcpSocket *socket)
{
    const QJsonDocument doc = QJsonDocument::fromJson(request.body());
    const QJsonObject body = doc.object();
    if (!doc.isObject() || body.size() != 1 || !body.value(u"password"_s).isString()) {
        send(socket, json(ApiReply::error(400, u"请求内容应为 {\"password\": \"…\"}"_s)));
        return;
    }
    const WebSettings passwords = m_passwords();
    if (passwords.managerHash.isEmpty()) {
        send(socket, json(ApiReply::error(401, u"尚未设置管理密码：请在本机运行 tavplayer --web-password"_s)));
        return;
    }
    const QString address = addressText(request.remoteAddress());
    const bool slow = recentFailures(address) >= kFailuresBeforeSlow;
    const QString password = body.value(u"password"_s).toString();
    QPointer<QTcpSocket> guard(socket);
    // The hash takes tens of milliseconds: off the event loop. The server
    // waits for this pool before it goes, and a queued call to a server
    // that has gone is dropped.
    m_hashing.start([this, guard, password, passwords, address, slow] {
        const int role = secretMatches(password, passwords.managerHash)  ? 2
                         : secretMatches(password, passwords.viewerHash) ? 1
                                                                         : 0;
        QMetaObject::invokeMethod(this, [this, guard, role, address, slow] {
            const Answer answer = loginAnswer(role, address);
            if (!guard)
                return;
            if (slow)
                QTimer::singleShot(m_slowMs, guard.data(), [this, guard, answer] { send(guard.data(), answer); });
            else
                send(guard.data(), answer);
        }, Qt::QueuedConnection);
    });
}

WebServer::Answer WebServer::loginAnswer(int role, const QString &address)
{
    if (role == 0) {
        auto &times = m_failures[address];
        times.append(m_uptime.elapsed());
        if (times.size() == kFailuresBeforeSlow)
            m_station.log().append(zh::stampedLine(
                m_station.clock().now(),
                u"远程：%1 一分钟内%2次密码错误，此后的登录放慢回答"_s.arg(address).arg(kFailuresBeforeSlow)));
        return json(ApiReply::error(401, u"密码错误"_s));
    }
    if (m_sessions.size() >= kMaxSessions) {
        auto oldest = m_sessions.begin();
        for (auto it = m_sessions.begin(); it != m_sessions.end(); ++it)
            if (it->lastUsed < oldest->lastUsed)
                oldest = it;
        m_sessions.erase(oldest);
    }
    const QByteArray token = randomToken();
    const Session session{role == 2, randomToken(), m_uptime.elapsed()};
    m_sessions.insert(token, session);
    Answer answer = json({200, QJsonDocument(QJsonObject{{u"role"_s, role == 2 ? u"manager"_s : u"viewer"_s},
                                                         {u"csrf"_s, QString::fromLatin1(session.csrf)}})});
    answer.headers.append("Set-Cookie: " + kCookie + '=' + token + "; Path=/; HttpOnly; SameSite=Strict"
                          + (m_tls ? "; Secure" : ""));
    return answer;
}

void WebServer::openStream(QTcpSocket *socket)
{
    m_streams.removeIf([](const QPointer<QTcpSocket> &s) { return !s || s->state() != QAbstractSocket::ConnectedState; });
    if (m_streams.size() >= kMaxStreams) {
        send(socket, json(ApiReply::error(503, u"实时连接过多"_s)), true);
        return;
    }
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream; charset=utf-8\r\n"
                  "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n\r\nretry: 2000\n\n");
    socket->write(eventText("status", QJsonDocument(m_api.status()).toJson(QJsonDocument::Compact)));
    m_streams.append(socket);
    if (!m_statusTimer.isActive()) {
        m_lastStatus = statusKey(m_api.status());
        m_statusTimer.start();
    }
}

void WebServer::broadcastEvent(const QByteArray &event, const QByteArray &data)
{
    const QByteArray text = eventText(event, data);
    m_streams.removeIf([](const QPointer<QTcpSocket> &s) { return !s || s->state() != QAbstractSocket::ConnectedState; });
    for (const QPointer<QTcpSocket> &s : std::as_const(m_streams)) {
        // A listener that stopped reading is let go rather than buffered for.
        if (s->bytesToWrite() > 4 * 1024 * 1024)
            s->abort();
        else
            s->write(text);
    }
    if (m_streams.isEmpty())
        m_statusTimer.stop();
}

void WebServer::pushStatus(bool force)
{
    if (m_streams.isEmpty()) {
        m_statusTimer.stop();
        return;
    }
    const QJsonObject status = m_api.status();
    const QByteArray key = statusKey(status);
    if (!force && key == m_lastStatus) {
        // A comment now and then finds listeners that have gone.
        if (m_uptime.elapsed() / 1000 % 15 == 0)
            broadcastEvent("ping", "{}");
        return;
    }
    m_lastStatus = key;
    broadcastEvent("status", QJsonDocument(status).toJson(QJsonDocument::Compact));
}

} // namespace tav
