#pragma once

// Daytime servers on the loopback interface for the network time tests.

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace tav::test {

using namespace Qt::StringLiterals;

// "\n61003 26-11-23 23:14:19 00 0 0 543.2 UTC(NIST) * \n" with a chosen health digit.
inline QByteArray nist(const char *stamp, char health = '0')
{
    return "\n61003 " + QByteArray(stamp) + " 00 0 " + QByteArray(1, health) + " 543.2 UTC(NIST) * \n";
}

// A Daytime server on 127.0.0.1 (or another loopback address) that answers each connection with its
// pieces, `gapMs` apart, after `delayMs`, then hangs up (or stays silent).
class LocalDaytime : public QObject
{
public:
    explicit LocalDaytime(QList<QByteArray> pieces, int delayMs = 0, int gapMs = 0, bool hangUp = true,
                          const QHostAddress &on = QHostAddress(QHostAddress::LocalHost))
        : m_pieces(std::move(pieces)), m_delay(delayMs), m_gap(gapMs), m_hangUp(hangUp)
    {
        m_server.listen(on);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection())
                send(s, 0, m_delay);
        });
    }
    QString address() const { return u"%1:%2"_s.arg(m_server.serverAddress().toString()).arg(m_server.serverPort()); }
    quint16 port() const { return m_server.serverPort(); }

private:
    void send(QTcpSocket *s, qsizetype piece, int after)
    {
        QTimer::singleShot(after, s, [this, s, piece] {
            if (piece < m_pieces.size()) {
                s->write(m_pieces[piece]);
                s->flush();
                send(s, piece + 1, m_gap);
            } else if (m_hangUp) {
                s->disconnectFromHost();
            }
        });
    }
    QTcpServer m_server;
    QList<QByteArray> m_pieces;
    int m_delay, m_gap;
    bool m_hangUp;
};

// A port with nothing listening.
inline QString deadAddress()
{
    QTcpServer s;
    s.listen(QHostAddress::LocalHost);
    const quint16 port = s.serverPort();
    s.close();
    return u"127.0.0.1:%1"_s.arg(port);
}

} // namespace tav::test
