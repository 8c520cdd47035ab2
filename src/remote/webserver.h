#pragma once

#include "remote/stationapi.h"
#include "remote/websettings.h"

#include <QAbstractHttpServer>
#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QPointer>
#include <QTcpSocket>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <functional>

namespace tav {

class Station;

// The station's web console and JSON API (/api/v1/…). Two roles: a viewer
// reads, a manager reads and writes. A login gives an HttpOnly,
// SameSite=Strict session cookie and a token that every write carries in
// "X-CSRF-Token"; no cross-origin headers are ever sent. Five wrong
// passwords within a minute from one address make every further login from
// it answer slowly. Live changes go out as server-sent events.
//
// Nothing here holds up the once-a-second clockwork: connections, requests,
// sessions and answers are handled on a thread of the server's own, and
// password hashes on another. What reads or changes the station runs on the
// station's thread as a queue of small jobs, one slice of at most about a
// millisecond at a time, so that a flood of requests waits its turn behind a
// second's tick rather than in front of it.
class WebServer : public QAbstractHttpServer
{
    Q_OBJECT
public:
    static constexpr qsizetype kMaxBody = 1024 * 1024;
    static constexpr int kFailuresBeforeSlow = 5;
    static constexpr int kFailureWindowMs = 60 * 1000;
    static constexpr qint64 kSessionIdleMs = 12 * 3600 * 1000;
    static constexpr int kMaxSessions = 1000;
    static constexpr int kMaxStreams = 100;

    WebServer(Station &station, WebSettings settings, QObject *parent = nullptr);
    ~WebServer() override;

    // Listens on the settings' address and port (HTTPS when a certificate
    // and key are set), on the server's thread. False with the reason in
    // words. The setters below are for before the start.
    bool start(QString *error);
    quint16 port() const { return m_port; }
    StationApi &api() { return m_api; }

    // GET /metrics answers this (on the station's thread), without a login,
    // when it is set; before or after the start.
    void setMetricsProvider(std::function<QByteArray()> provider);
    // The passwords are read at each login, so a new one counts at once.
    void setPasswordSource(std::function<WebSettings()> source) { m_passwords = std::move(source); }
    // How long a throttled login waits for its answer.
    void setSlowAnswerMs(int ms) { m_slowMs = ms; }

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;
    bool parseBody(const QHttpServerRequest &request, QTcpSocket *socket, bool close, ApiRequest *call);
    void alarmPanelCall(const QHttpServerRequest &request, QTcpSocket *socket, bool close, ApiRequest call);
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    struct Session
    {
        bool manager = false;
        QByteArray csrf;
        qint64 lastUsed = 0;
    };
    struct Answer
    {
        int status = 200;
        QByteArray type;
        QByteArray body;
        QList<QByteArray> headers; // "Name: value"
    };

    bool listenHere(QString *error);
    void stopHere();
    // `work` on the station's thread, then `then` back on the server's.
    void onStation(std::function<void()> work, std::function<void()> then = {});
    void runJobs();
    void logLine(const QString &text);
    void answerCall(QTcpSocket *socket, ApiRequest call, bool manager, bool close);
    void send(QTcpSocket *socket, const Answer &answer, bool close = false);
    static Answer json(const ApiReply &reply);
    Answer file(const QString &path) const;
    Session *sessionOf(const QHttpServerRequest &request, QByteArray *token = nullptr);
    void login(const QHttpServerRequest &request, QTcpSocket *socket);
    Answer loginAnswer(int role, const QString &address); // role 0 wrong, 1 viewer, 2 manager
    void openStream(QTcpSocket *socket);
    void broadcastEvent(const QByteArray &event, const QByteArray &data);
    void pushStatus(bool force);
    int recentFailures(const QString &address);

    Station &m_station;
    WebSettings m_settings;
    StationApi m_api;
    quint16 m_port = 0;
    bool m_tls = false;
    std::function<QByteArray()> m_metrics;
    std::function<WebSettings()> m_passwords;
    int m_slowMs = 3000;
    QElapsedTimer m_uptime;
    QHash<QByteArray, Session> m_sessions;
    QHash<QString, QList<qint64>> m_failures; // address → times of wrong passwords
    QList<QPointer<QTcpSocket>> m_streams;
    QByteArray m_lastStatus;
    QTimer *m_statusTimer;  // once a second while someone listens
    QTimer *m_statusSoon;   // a change: pushed a moment later, changes of one moment together
    bool m_statusAsked = false; // the station is working one out
    bool m_statusForce = false; // sent even when it has not changed
    QThreadPool m_hashing;  // password checks
    struct Job
    {
        std::function<void()> work, then;
    };
    QList<Job> m_jobs;      // waiting for the station's thread
    bool m_jobsOut = false; // a slice of them is there now
    QThread m_thread;       // the server's
};

} // namespace tav
