#include "remote/metricsserver.h"

#include "core/metrics.h"

#include <QHttpServer>
#include <QHttpServerResponse>
#include <QThread>

using namespace Qt::StringLiterals;

namespace tav {

MetricsServer::MetricsServer(std::function<QByteArray()> text) : m_text(std::move(text))
{
}

MetricsServer::~MetricsServer()
{
    if (!m_thread)
        return;
    QMetaObject::invokeMethod(m_context, [this] { delete m_server; }, Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_context;
    delete m_thread;
}

bool MetricsServer::parseAddress(const QString &text, QHostAddress *address, quint16 *port, QString *error)
{
    const QString trimmed = text.trimmed();
    const qsizetype colon = trimmed.lastIndexOf(u':');
    bool portOk = false;
    const uint number = colon < 0 ? 0 : trimmed.sliced(colon + 1).toUInt(&portOk);
    QString host = colon < 0 ? QString() : trimmed.first(colon);
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.sliced(1, host.size() - 2);
    if (!portOk || number > 65535) {
        *error = u"“%1”不是“地址:端口”（端口为0至65535的数）"_s.arg(text);
        return false;
    }
    if (host.isEmpty() || host == u"*") {
        *address = QHostAddress(QHostAddress::Any);
    } else if (!address->setAddress(host)) {
        *error = u"“%1”中的“%2”不是IP地址"_s.arg(text, host);
        return false;
    }
    *port = quint16(number);
    return true;
}

bool MetricsServer::listen(const QString &addressPort, QString *error)
{
    QHostAddress address;
    quint16 port = 0;
    if (m_thread || !parseAddress(addressPort, &address, &port, error)) {
        if (m_thread)
            *error = u"指标页面已在监听"_s;
        return false;
    }
    m_thread = new QThread;
    m_thread->setObjectName(u"metrics server"_s);
    m_context = new QObject;
    m_context->moveToThread(m_thread);
    m_thread->start();
    quint16 bound = 0;
    QMetaObject::invokeMethod(m_context, [this, address, port, &bound] {
        m_server = new QHttpServer;
        m_server->route(u"/metrics"_s, [text = m_text] {
            return QHttpServerResponse(QByteArray(Metrics::kContentType), text());
        });
        bound = m_server->listen(address, port);
    }, Qt::BlockingQueuedConnection);
    if (bound == 0) {
        *error = u"指标页面无法在 %1 监听（地址不可用或端口已被占用）"_s.arg(addressPort.trimmed());
        return false; // the destructor lets the thread go
    }
    m_address = address;
    m_port = bound;
    return true;
}

} // namespace tav
