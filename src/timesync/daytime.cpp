#include "timesync/daytime.h"

#include "core/clock.h"
#include "platform/clocksetter.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QRegularExpression>
#include <QThread>

#include <memory>
#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace tav {

const QStringList &DaytimeSync::publicServers()
{
    static const QStringList servers = {
        u"time-a-g.nist.gov"_s,   u"time-b-g.nist.gov"_s,   u"time-c-g.nist.gov"_s,   u"time-d-g.nist.gov"_s,
        u"time-a-wwv.nist.gov"_s, u"time-b-wwv.nist.gov"_s, u"time-c-wwv.nist.gov"_s, u"time-d-wwv.nist.gov"_s,
        u"time-a-b.nist.gov"_s,   u"time-b-b.nist.gov"_s,   u"time-c-b.nist.gov"_s,   u"time-d-b.nist.gov"_s,
        u"utcnist.colorado.edu"_s, u"utcnist2.colorado.edu"_s,
    };
    return servers;
}

DaytimeAnswer DaytimeAnswer::parse(const QString &server, const QByteArray &bytes, const QDateTime &now)
{
    DaytimeAnswer a;
    a.server = server;
    // Printable text only: a binary answer shows as dots.
    for (char c : bytes)
        a.text += (c == '\n' || (c >= 0x20 && c < 0x7f)) ? QChar::fromLatin1(c) : u'.';
    const QString &t = a.text;
    if (t.size() < 31) {
        a.why = u"答复太短"_s;
        return a;
    }
    if (t.at(30) != u'0') {
        a.why = u"健康标志不是0"_s;
        return a;
    }
    static const QRegularExpression layout(u"^\\d\\d-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$"_s);
    const QString stamp = t.mid(7, 17);
    if (!layout.match(stamp).hasMatch()) {
        a.why = u"格式不符"_s;
        return a;
    }
    const QDate date(2000 + stamp.mid(0, 2).toInt(), stamp.mid(3, 2).toInt(), stamp.mid(6, 2).toInt());
    const QTime time(stamp.mid(9, 2).toInt(), stamp.mid(12, 2).toInt(), stamp.mid(15, 2).toInt());
    if (!date.isValid() || !time.isValid()) {
        a.why = u"日期或时间无效"_s;
        return a;
    }
    // China Standard Time whatever the computer's time zone: the wall time
    // UTC + 8 hours, set as the local time.
    const QDateTime cst = QDateTime(date, time, Qt::UTC).addSecs(8 * 3600);
    a.target = QDateTime(cst.date(), cst.time(), Qt::LocalTime);
    if (!a.target.isValid()) {
        a.why = u"本地时间中不存在该时刻"_s;
        return a;
    }
    a.healthy = true;
    a.offsetMs = now.msecsTo(a.target);
    return a;
}

QString hostKey(const QHostAddress &address)
{
    if (address.isNull())
        return {};
    if (address.isEqual(QHostAddress::LocalHostIPv6, QHostAddress::StrictConversion))
        return u"127.0.0.1"_s;
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    if (isV4)
        return QHostAddress(v4).toString();
    QHostAddress plain(address);
    plain.setScopeId(QString());
    return plain.toString();
}

DaytimeSync::DaytimeSync(const Clock &clock, ClockSetter &setter, QObject *parent)
    : QObject(parent), m_clock(clock), m_setter(setter)
{
    m_timeout.setSingleShot(true);
    m_timeout.setInterval(kTimeoutMs);
    connect(&m_timeout, &QTimer::timeout, this, &DaytimeSync::onTimeout);
    m_finish.setSingleShot(true);
    m_finish.setInterval(kFinishMs);
    connect(&m_finish, &QTimer::timeout, this, &DaytimeSync::closeRequested);
    setServers(publicServers());
}

DaytimeSync::~DaytimeSync() = default;

void DaytimeSync::setServers(const QStringList &servers)
{
    for (Peer &p : m_peers)
        delete p.socket;
    m_peers.clear();
    for (const QString &server : servers) {
        Peer p;
        const qsizetype colon = server.lastIndexOf(u':');
        bool ok = false;
        const uint port = colon > 0 ? server.mid(colon + 1).toUInt(&ok) : 0;
        p.host = ok && port > 0 && port < 65536 ? server.left(colon) : server;
        p.port = ok && port > 0 && port < 65536 ? quint16(port) : quint16(kPort);
        p.name = p.port == kPort ? p.host : p.host + u':' + QString::number(p.port);
        m_peers.append(p);
    }
}

bool DaytimeSync::start()
{
    m_done = false;
    m_answers.clear();
    m_held.clear();
    for (qsizetype i = 0; i < m_peers.size(); ++i) {
        Peer &p = m_peers[i];
        if (p.errored)
            return false; // as the start routine always has: the rest are not asked
        if (!p.socket) {
            p.socket = new QTcpSocket(this);
            connect(p.socket, &QTcpSocket::readyRead, this, [this, i] { onData(i, false); });
            connect(p.socket, &QTcpSocket::connected, this, [this, i] {
                m_peers[i].address = hostKey(m_peers[i].socket->peerAddress());
            });
            connect(p.socket, &QTcpSocket::disconnected, this, [this, i] { onData(i, true); });
            connect(p.socket, &QTcpSocket::errorOccurred, this, [this, i](QAbstractSocket::SocketError e) {
                if (e == QAbstractSocket::RemoteHostClosedError) {
                    onData(i, true);
                    return;
                }
                Peer &peer = m_peers[i];
                peer.errored = true;
                if (peer.evaluated || (!m_timeout.isActive() && !m_done))
                    return;
                peer.evaluated = true;
                DaytimeAnswer a;
                a.server = peer.name;
                a.why = u"无法连接："_s + peer.socket->errorString();
                m_answers.append(a);
                emit answered(a);
                endWhenAllAnswered();
            });
        }
        if (p.socket->state() != QAbstractSocket::UnconnectedState)
            p.socket->abort();
        p.buffer.clear();
        p.address.clear();
        p.evaluated = false;
        p.socket->connectToHost(p.host, p.port);
    }
    m_timeout.start();
    emit message(u"开始校时..."_s);
    return true;
}

void DaytimeSync::onData(qsizetype index, bool closed)
{
    Peer &p = m_peers[index];
    if (p.evaluated || !p.socket || (!m_timeout.isActive() && !m_done))
        return; // timed out: nothing more is looked at (after success they are listed, never taken)
    if (p.address.isEmpty())
        p.address = hostKey(p.socket->peerAddress());
    p.buffer += p.socket->readAll();
    if (p.buffer.size() > kMaxAnswer) {
        p.evaluated = true;
        DaytimeAnswer a;
        a.server = p.name;
        a.why = u"答复过长"_s;
        m_answers.append(a);
        emit answered(a);
        p.socket->abort();
        endWhenAllAnswered();
        return;
    }
    // One line: the answer begins with a line feed and ends with one.
    const qsizetype end = p.buffer.indexOf('\n', 1);
    if (end < 0 && !closed)
        return; // half a line so far
    if (end >= 0)
        p.buffer.truncate(end + 1);
    evaluate(index);
}

void DaytimeSync::evaluate(qsizetype index)
{
    Peer &p = m_peers[index];
    p.evaluated = true;
    DaytimeAnswer a = DaytimeAnswer::parse(p.name, p.buffer, m_clock.now());
    a.address = p.address;
    m_answers.append(a);
    emit answered(a);
    if (a.healthy && !m_done)
        take(a);
    endWhenAllAnswered();
}

bool DaytimeSync::allAnswered() const
{
    for (const Peer &p : m_peers)
        if (!p.evaluated)
            return false;
    return true;
}

// Every server has answered or failed and none was taken: no use waiting.
void DaytimeSync::endWhenAllAnswered()
{
    if (m_done || !m_timeout.isActive() || !allAnswered())
        return;
    m_timeout.stop();
    onTimeout();
}

void DaytimeSync::take(const DaytimeAnswer &answer)
{
    if (qAbs(answer.offsetMs) > kForgeryLimitMs) {
        // Needs a second healthy server, at another address, within 2 seconds of it.
        bool agreed = false;
        for (const DaytimeAnswer &held : std::as_const(m_held))
            agreed = agreed || (qAbs(held.offsetMs - answer.offsetMs) <= kAgreementMs && !held.address.isEmpty()
                                && !answer.address.isEmpty() && held.address != answer.address);
        if (!agreed) {
            m_held.append(answer);
            return;
        }
    }
    m_done = true;
    m_timeout.stop();
    if (m_dryRun) {
        emit message(u"试运行：本应把时钟设为 "_s + answer.target.toString(u"yyyy-MM-dd hh:mm:ss"_s));
        emit finished(true, false, answer);
        m_finish.start();
        return;
    }
    // The system may ask the administrator first: the clock is set off this
    // thread, and to the answer plus the time that passed since it came.
    struct Outcome
    {
        bool set = false;
        QString error;
    };
    auto outcome = std::make_shared<Outcome>();
    QElapsedTimer since;
    since.start();
    ClockSetter *setter = &m_setter;
    QThread *worker = QThread::create([setter, outcome, since, target = answer.target] {
        outcome->set = setter->setTime(target.addMSecs(since.elapsed()), &outcome->error);
    });
    connect(worker, &QThread::finished, this, [this, worker, outcome, answer] {
        worker->deleteLater();
        m_setError = outcome->set ? QString() : outcome->error;
        emit message(outcome->set ? u"网络校时已成功! \n"_s : u"无法设置系统时间："_s + outcome->error);
        emit finished(true, outcome->set, answer);
        m_finish.start();
    });
    worker->start();
}

void DaytimeSync::onTimeout()
{
    if (m_done)
        return;
    for (const DaytimeAnswer &held : std::as_const(m_held))
        emit message(u"未采用 %1（%2）的答复：与本机时钟相差超过一天，且没有另一地址的服务器印证"_s.arg(held.server, held.address));
    emit message(u"网络校时不成功"_s);
    for (Peer &p : m_peers)
        if (p.socket)
            p.socket->abort();
    emit finished(false, false, DaytimeAnswer());
}

} // namespace tav
