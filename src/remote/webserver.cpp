#include "remote/webserver.h"

#include "core/secret.h"
#include "core/zhtext.h"
#include "shell/station.h"

#include <QCoreApplication>
#include <QFile>
#include <QHttpServerRequest>
#include <QJsonArray>
#include <QJsonParseError>
#include <QRandomGenerator>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QTcpServer>

#include <algorithm>
#include <optional>

#include <sys/resource.h>
#include <unistd.h>

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

// The calling thread yields the processor to the station's thread when both
// want it: a flood of requests then waits behind the clockwork.
void lowerThisThread()
{
    thread_local bool lowered = false;
    if (!std::exchange(lowered, true))
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 10);
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


// Follows the requests of a connection as their bytes arrive, before the
// HTTP server reads them: the server holds a whole body before it hands the
// request over, so a body over the limit is refused from its head alone
// (413 and the connection closed), and what follows is read and dropped
// rather than kept. A head over 64 kB is refused alike (431); a body in
// chunks, whose size no head tells, is refused with 411.
class BodyGuard : public QObject
{
public:
    BodyGuard(QTcpSocket *socket, qsizetype limit) : QObject(socket), m_socket(socket), m_limit(limit)
    {
        // Connected before the server's own reader, so it sees each piece
        // first; and once more after it, to know what the server left
        // unread, which the next look must not count again.
        connect(socket, &QIODevice::readyRead, this, [this] { look(); });
        QMetaObject::invokeMethod(this, [this] {
            connect(m_socket, &QIODevice::readyRead, this, [this] { m_unread = m_socket->bytesAvailable(); });
        }, Qt::QueuedConnection);
    }

private:
    void look()
    {
        if (m_refused) {
            m_socket->skip(m_socket->bytesAvailable());
            return;
        }
        QByteArray data = m_socket->peek(m_socket->bytesAvailable()).mid(m_unread);
        m_unread = 0;
        qsizetype at = 0;
        while (at < data.size()) {
            if (m_body > 0) {
                const qint64 n = qMin<qint64>(m_body, data.size() - at);
                m_body -= n;
                at += n;
                continue;
            }
            m_head += data.mid(at);
            at = data.size();
            const qsizetype end = m_head.indexOf("\r\n\r\n");
            if (end < 0) {
                if (m_head.size() > 64 * 1024)
                    return refuse(431, "Request Header Fields Too Large", u"请求头过长"_s);
                return;
            }
            qint64 length = 0;
            for (const QByteArray &line : m_head.left(end).split('\n')) {
                const qsizetype colon = line.indexOf(':');
                const QByteArray name = line.left(colon).trimmed().toLower();
                if (name == "transfer-encoding")
                    return refuse(411, "Length Required", u"请求内容须带 Content-Length"_s);
                if (name == "content-length") {
                    bool ok = false;
                    length = line.mid(colon + 1).trimmed().toLongLong(&ok);
                    if (!ok || length < 0)
                        return refuse(400, "Bad Request", u"Content-Length 不正确"_s);
                }
            }
            if (length > m_limit)
                return refuse(413, "Payload Too Large", u"请求内容超过 1 MB"_s);
            const QByteArray rest = m_head.mid(end + 4);
            m_head.clear();
            m_body = length;
            data = rest;
            at = 0;
        }
    }

    void refuse(int status, const QByteArray &reason, const QString &text)
    {
        m_refused = true;
        m_head.clear();
        const QByteArray body = QJsonDocument(QJsonObject{{u"error"_s, text}}).toJson(QJsonDocument::Compact);
        m_socket->skip(m_socket->bytesAvailable());
        m_socket->write("HTTP/1.1 " + QByteArray::number(status) + ' ' + reason
                        + "\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: "
                        + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
        // The rest of the body is still coming: read and dropped for a
        // moment, so that the caller sees the answer rather than a reset.
        QTimer::singleShot(2000, m_socket, [s = m_socket] { s->disconnectFromHost(); });
    }

    QTcpSocket *m_socket;
    qsizetype m_limit;
    QByteArray m_head;
    qint64 m_body = 0;
    qint64 m_unread = 0;
    bool m_refused = false;
};

// Listening sockets that give each connection its guard before the HTTP
// server takes it.
class GuardedTcpServer : public QTcpServer
{
public:
    using QTcpServer::QTcpServer;
    QTcpSocket *nextPendingConnection() override
    {
        QTcpSocket *socket = QTcpServer::nextPendingConnection();
        if (socket)
            new BodyGuard(socket, WebServer::kMaxBody);
        return socket;
    }
};

class GuardedSslServer : public QSslServer
{
public:
    using QSslServer::QSslServer;
    QTcpSocket *nextPendingConnection() override
    {
        QTcpSocket *socket = QSslServer::nextPendingConnection();
        if (socket)
            new BodyGuard(socket, WebServer::kMaxBody);
        return socket;
    }
};

} // namespace

WebServer::WebServer(Station &station, WebSettings settings, QObject *parent)
    : QAbstractHttpServer(parent), m_station(station), m_settings(std::move(settings)), m_api(station)
{
    initRemoteResources();
    m_uptime.start();
    m_hashing.setMaxThreadCount(1); // a flood of logins takes one core at most
    m_passwords = [this] { return WebSettings::load(m_station.dataDir()); };
    m_statusTimer = new QTimer(this);
    m_statusTimer->setInterval(1000);
    connect(m_statusTimer, &QTimer::timeout, this, [this] { pushStatus(false); });
    m_statusSoon = new QTimer(this);
    m_statusSoon->setSingleShot(true);
    m_statusSoon->setInterval(100);
    connect(m_statusSoon, &QTimer::timeout, this, [this] { pushStatus(false); });
    const auto soon = [this] {
        if (!m_streams.isEmpty())
            m_statusSoon->start();
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
    if (m_thread.isRunning()) {
        QMetaObject::invokeMethod(this, [this] { stopHere(); }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }
    m_hashing.waitForDone();
}

bool WebServer::start(QString *error)
{
    m_thread.setObjectName(u"web"_s);
    m_thread.start();
    moveToThread(&m_thread);
    bool listening = false;
    QMetaObject::invokeMethod(this, [this, error, &listening] { listening = listenHere(error); },
                              Qt::BlockingQueuedConnection);
    return listening;
}

void WebServer::setMetricsProvider(std::function<QByteArray()> provider)
{
    // Read on the server's thread, called on the station's while this waits.
    if (m_thread.isRunning() && thread() == &m_thread)
        QMetaObject::invokeMethod(this, [this, &provider] { m_metrics = std::move(provider); },
                                  Qt::BlockingQueuedConnection);
    else
        m_metrics = std::move(provider);
}

// On the server's thread, before it ends: the listeners, connections and
// timers go there, and the server comes back to the station's thread to be
// deleted.
void WebServer::stopHere()
{
    m_statusTimer->stop();
    m_statusSoon->stop();
    m_jobs.clear();
    qDeleteAll(servers());
    for (const QPointer<QTcpSocket> &s : std::as_const(m_streams))
        if (s)
            s->abort();
    m_streams.clear();
    moveToThread(m_api.thread());
}

// Each job's work runs on the station's thread in order; a slice ends after
// about a millisecond, and the next waits until the slice's answers are back
// here, so the station's event loop never holds more than one slice.
void WebServer::onStation(std::function<void()> work, std::function<void()> then)
{
    m_jobs.append({std::move(work), std::move(then)});
    runJobs();
}

void WebServer::runJobs()
{
    if (m_jobsOut || m_jobs.isEmpty())
        return;
    m_jobsOut = true;
    QMetaObject::invokeMethod(&m_api, [this, jobs = std::exchange(m_jobs, {})]() mutable {
        QElapsedTimer slice;
        slice.start();
        qsizetype done = 0;
        while (done < jobs.size() && (done == 0 || slice.nsecsElapsed() < 1000 * 1000))
            jobs[done++].work();
        QMetaObject::invokeMethod(this, [this, jobs = std::move(jobs), done]() mutable {
            for (qsizetype i = 0; i < done; ++i)
                if (jobs[i].then)
                    jobs[i].then();
            m_jobs = jobs.mid(done) + m_jobs;
            m_jobsOut = false;
            runJobs();
        }, Qt::QueuedConnection);
    }, Qt::QueuedConnection);
}

// A line of the message log, stamped and added on the station's thread.
void WebServer::logLine(const QString &text)
{
    onStation([this, text] { m_station.log().append(zh::stampedLine(m_station.clock().now(), text)); });
}

bool WebServer::listenHere(QString *error)
{
    lowerThisThread();
    const QHostAddress address(m_settings.listen);
    if (address.isNull()) {
        *error = u"网页控制台的监听地址不正确：%1"_s.arg(m_settings.listen);
        return false;
    }
    QTcpServer *listener = nullptr;
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
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.setLocalCertificate(certificate);
        tls.setPrivateKey(key);
        auto *server = new GuardedSslServer(this);
        server->setSslConfiguration(tls);
        listener = server;
        m_tls = true;
    } else {
        listener = new GuardedTcpServer(this);
    }
    if (listener->listen(address, m_settings.port)) {
        bind(listener);
        m_port = listener->serverPort();
    } else {
        delete listener;
    }
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
        if (path == u"/metrics" && m_metrics) {
            auto text = std::make_shared<QByteArray>();
            QPointer<QTcpSocket> guard(socket);
            onStation([this, text] { *text = m_metrics(); }, [this, guard, text, close] {
                if (guard)
                    send(guard, {200, "text/plain; version=0.0.4; charset=utf-8", *text, {}}, close);
            });
            return true;
        }
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
    answerCall(socket, std::move(call), session->manager, close);
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
    const bool slow = recentFailures(call.client) >= kFailuresBeforeSlow;
    QPointer<QTcpSocket> guard(socket);
    auto stored = std::make_shared<QString>();
    auto known = std::make_shared<std::optional<ApiReply>>();
    onStation([this, stored, known, presented, call] {
        if (m_station.emergency().knownToken(presented)) // no hash to wait for
            *known = m_api.handle(call, true);
        else
            *stored = m_station.emergency().tokenHash();
    }, [=, this] {
        if (*known) {
            if (guard)
                send(guard, json(**known), close);
            return;
        }
        m_hashing.start([=, this] {
            lowerThisThread();
            const bool good = secretMatches(presented, *stored);
            QMetaObject::invokeMethod(this, [=, this] {
                if (good) {
                    onStation([this, presented, stored] { m_station.emergency().tokenMatched(presented, *stored); }, {});
                    return answerCall(guard, call, true, close);
                }
                m_failures[call.client].append(m_uptime.elapsed());
                logLine(u"远程："_s + call.client + u" 报警系统令牌错误"_s);
                const Answer answer = json(ApiReply::error(401, u"报警系统令牌错误"_s));
                if (!guard)
                    return;
                if (slow)
                    QTimer::singleShot(m_slowMs, guard.data(), [this, guard, answer, close] { send(guard.data(), answer, close); });
                else
                    send(guard.data(), answer, close);
            }, Qt::QueuedConnection);
        });
    });
}

// The call on the station's thread, its answer sent from here. A change is
// made even when its caller has gone meanwhile.
void WebServer::answerCall(QTcpSocket *socket, ApiRequest call, bool manager, bool close)
{
    QPointer<QTcpSocket> guard(socket);
    auto reply = std::make_shared<ApiReply>();
    onStation([this, reply, call = std::move(call), manager] { *reply = m_api.handle(call, manager); },
              [this, guard, reply, close] {
                  if (guard)
                      send(guard, json(*reply), close);
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
    const QString address = addressText(request.remoteAddress());
    const QString password = body.value(u"password"_s).toString();
    QPointer<QTcpSocket> guard(socket);
    auto passwords = std::make_shared<WebSettings>();
    onStation([this, passwords] { *passwords = m_passwords(); }, [=, this] {
        if (passwords->managerHash.isEmpty()) {
            if (guard)
                send(guard, json(ApiReply::error(401, u"尚未设置管理密码：请在本机运行 tavplayer --web-password"_s)));
            return;
        }
        const bool slow = recentFailures(address) >= kFailuresBeforeSlow;
        // The hash takes tens of milliseconds: on a pool of its own. The
        // server waits for this pool before it goes, and a queued call to a
        // server that has gone is dropped.
        m_hashing.start([=, this] {
            lowerThisThread();
            const int role = secretMatches(password, passwords->managerHash)  ? 2
                             : secretMatches(password, passwords->viewerHash) ? 1
                                                                              : 0;
            QMetaObject::invokeMethod(this, [=, this] {
                const Answer answer = loginAnswer(role, address);
                if (!guard)
                    return;
                if (slow)
                    QTimer::singleShot(m_slowMs, guard.data(), [this, guard, answer] { send(guard.data(), answer); });
                else
                    send(guard.data(), answer);
            }, Qt::QueuedConnection);
        });
    });
}

WebServer::Answer WebServer::loginAnswer(int role, const QString &address)
{
    if (role == 0) {
        auto &times = m_failures[address];
        times.append(m_uptime.elapsed());
        if (times.size() == kFailuresBeforeSlow)
            logLine(u"远程：%1 一分钟内%2次密码错误，此后的登录放慢回答"_s.arg(address).arg(kFailuresBeforeSlow));
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
    m_streams.append(socket);
    if (!m_statusTimer->isActive())
        m_statusTimer->start();
    pushStatus(true); // the newcomer's first status; the others' again
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
        m_statusTimer->stop();
}

void WebServer::pushStatus(bool force)
{
    if (m_streams.isEmpty()) {
        m_statusTimer->stop();
        return;
    }
    m_statusForce |= force;
    if (m_statusAsked)
        return; // the status on its way will do
    m_statusAsked = true;
    auto status = std::make_shared<QJsonObject>();
    onStation([this, status] { *status = m_api.status(); }, [this, status] {
        m_statusAsked = false;
        const QByteArray key = statusKey(*status);
        if (!std::exchange(m_statusForce, false) && key == m_lastStatus) {
            // A comment now and then finds listeners that have gone.
            if (m_uptime.elapsed() / 1000 % 15 == 0)
                broadcastEvent("ping", "{}");
            return;
        }
        m_lastStatus = key;
        broadcastEvent("status", QJsonDocument(*status).toJson(QJsonDocument::Compact));
    });
}

} // namespace tav
