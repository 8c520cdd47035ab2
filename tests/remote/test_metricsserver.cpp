// The station's own /metrics page.
#include "core/metrics.h"
#include "remote/metricsserver.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// The whole answer to a GET of `path`: its head and as much body as its length says.
QByteArray get(quint16 port, const QByteArray &path)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    socket.write("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n");
    QByteArray answer;
    QElapsedTimer t;
    t.start();
    const auto complete = [&answer] {
        const qsizetype head = answer.indexOf("\r\n\r\n"), at = answer.toLower().indexOf("content-length:");
        return head >= 0 && at >= 0 && at < head
            && answer.size() >= head + 4 + answer.mid(at + 15, answer.indexOf("\r\n", at) - at - 15).trimmed().toLongLong();
    };
    while (t.elapsed() < 5000 && !complete()) {
        socket.waitForReadyRead(100);
        answer += socket.readAll();
    }
    return answer;
}

} // namespace

TEST(MetricsServer, ServesTheTextOnItsOwnThreadAndNothingElse)
{
    tav::Metrics metrics;
    metrics.declare(u"t_starts_total"_s, tav::Metrics::Type::Counter, u"Starts."_s);
    metrics.add(u"t_starts_total"_s, 7);
    tav::MetricsServer server([&metrics] { return metrics.text(); });
    QString why;
    ASSERT_TRUE(server.listen(u"127.0.0.1:0"_s, &why)) << why.toStdString();

    // The answer comes while this (the clockwork's) thread only waits on the socket.
    const QByteArray page = get(server.port(), "/metrics");
    EXPECT_TRUE(page.startsWith("HTTP/1.1 200")) << page.toStdString();
    EXPECT_TRUE(page.contains("text/plain; version=0.0.4")) << page.toStdString();
    EXPECT_TRUE(page.contains("\r\n\r\n# HELP t_starts_total Starts.\n# TYPE t_starts_total counter\nt_starts_total 7\n"))
        << page.toStdString();
    EXPECT_TRUE(get(server.port(), "/").startsWith("HTTP/1.1 404"));
}

TEST(MetricsServer, AddressesAreReadOrRefusedWithTheReason)
{
    struct Case { QString text; bool ok; QString address; quint16 port; };
    const Case cases[] = {
        {u"127.0.0.1:9464"_s, true, u"127.0.0.1"_s, 9464}, {u" *:9464 "_s, true, u"0.0.0.0"_s, 9464},
        {u":80"_s, true, u"0.0.0.0"_s, 80}, {u"[::1]:9464"_s, true, u"::1"_s, 9464},
        {u"127.0.0.1"_s, false, {}, 0}, {u"127.0.0.1:65536"_s, false, {}, 0},
        {u"localhost:9464"_s, false, {}, 0}, {u"127.0.0.1:x"_s, false, {}, 0},
    };
    for (const Case &c : cases) {
        QHostAddress address;
        quint16 port = 0;
        QString why;
        ASSERT_EQ(tav::MetricsServer::parseAddress(c.text, &address, &port, &why), c.ok) << c.text.toStdString();
        if (c.ok) {
            EXPECT_EQ(address.protocol() == QAbstractSocket::AnyIPProtocol ? u"0.0.0.0"_s : address.toString(),
                      c.address) << c.text.toStdString();
            EXPECT_EQ(port, c.port);
        } else {
            EXPECT_TRUE(why.contains(c.text.trimmed())) << why.toStdString();
        }
    }
}
