#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QString>

#include <functional>

class QObject;
class QThread;
class QHttpServer;

namespace tav {

// A /metrics page of the station's own (when no other server of the
// station serves it): an HTTP server on a thread of its own, so that no
// request is ever handled on the clockwork's thread. Every other path is
// 404.
class MetricsServer
{
public:
    // `text` gives the page and is called on the server's thread.
    explicit MetricsServer(std::function<QByteArray()> text);
    ~MetricsServer();
    MetricsServer(const MetricsServer &) = delete;
    MetricsServer &operator=(const MetricsServer &) = delete;

    // "ADDR:PORT": an IPv4 address, "[IPv6]", or "*" / nothing for every
    // address; port 0 takes a free one. False with *error (Chinese) when the
    // text is no such address or it cannot be listened on.
    bool listen(const QString &addressPort, QString *error);
    quint16 port() const { return m_port; }
    QHostAddress address() const { return m_address; }

    static bool parseAddress(const QString &text, QHostAddress *address, quint16 *port, QString *error);

private:
    std::function<QByteArray()> m_text;
    QThread *m_thread = nullptr;
    QObject *m_context = nullptr;    // lives on m_thread
    QHttpServer *m_server = nullptr; // lives on m_thread
    QHostAddress m_address;
    quint16 m_port = 0;
};

} // namespace tav
