#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <optional>

class QHostAddress;
class QTcpSocket;

namespace tav {

class Clock;
class ClockSetter;

// One answer of a Daytime server (RFC 867, NIST layout):
// "\n60638 24-11-24 23:14:19 00 0 0 123.4 UTC(NIST) * \n". The health digit is
// the character at position 31 (1-based) and must be "0"; the 17 characters
// from position 8 are the UTC date and time.
struct DaytimeAnswer
{
    QString server;
    QString address;       // the peer's address it came from (one host, one address)
    QString text;          // as received, at most one line
    bool healthy = false;  // the layout holds and the health digit is "0"
    QDateTime target;      // the time to set: UTC + 8 hours, as local time
    qint64 offsetMs = 0;   // target minus the local clock when it came
    QString why;           // why it was not healthy

    // Parses one answer; `now` is the local clock when it came.
    static DaytimeAnswer parse(const QString &server, const QByteArray &bytes, const QDateTime &now);
};

// The text by which two peers count as one host: an IPv4 address however
// reached (an IPv4-mapped IPv6 address, "::1" for the loopback) is the IPv4
// text, scope ids are dropped.
QString hostKey(const QHostAddress &address);

// Asks every server at once and sets the clock from the first healthy
// answer; later answers are ignored. Rules beyond the protocol:
// - a healthy answer that would move the clock by more than a day is taken
//   only when a second healthy server agrees with it within 2 seconds
//   (a single answer is easily forged); otherwise it is refused and logged.
//   Agreement counts only between different addresses: two names or ports
//   of one host are one server;
// - a dry run sets nothing and says what it would have set;
// - a clock the system refuses to set is reported as such, never as success.
// When every server has answered or failed and none could be taken, the
// run ends at once as a time-out would. The start routine ends at once, without asking the remaining servers, when
// a socket of the previous run is in error (the object is one window's
// life; a new window makes a new one).
class DaytimeSync : public QObject
{
    Q_OBJECT
public:
    static constexpr int kPort = 13;
    static constexpr int kTimeoutMs = 10000;
    static constexpr int kFinishMs = 3000;
    static constexpr qint64 kForgeryLimitMs = 24LL * 3600 * 1000;
    static constexpr qint64 kAgreementMs = 2000;
    static constexpr int kMaxAnswer = 256; // a longer "line" is not a Daytime answer

    static const QStringList &publicServers();

    DaytimeSync(const Clock &clock, ClockSetter &setter, QObject *parent = nullptr);
    ~DaytimeSync() override;

    // "HOST" or "HOST:PORT" each; the public servers when never called.
    void setServers(const QStringList &servers);
    void setDryRun(bool on) { m_dryRun = on; }
    void setTimeout(int ms) { m_timeout.setInterval(ms); }

    // False when the start routine ended early (a socket in error).
    bool start();
    bool isDone() const { return m_done; }
    bool isRunning() const { return m_timeout.isActive(); }
    const QList<DaytimeAnswer> &answers() const { return m_answers; }
    // Every server answered or failed (answers after the one taken are listed, never taken).
    bool allAnswered() const;
    // Why the clock could not be set from the answer taken (empty: it was, or not yet).
    const QString &setError() const { return m_setError; }

signals:
    void message(const QString &text);        // "开始校时...", "网络校时已成功! " …
    void answered(const tav::DaytimeAnswer &answer);
    // ok: a healthy answer was taken (and the clock set unless a dry run or refused);
    // set: the clock was really set.
    void finished(bool ok, bool set, const tav::DaytimeAnswer &answer);
    void closeRequested(); // a while after success: the window may close

private:
    struct Peer
    {
        QString host;
        quint16 port = kPort;
        QString name; // as given: "HOST" or "HOST:PORT"
        QTcpSocket *socket = nullptr;
        QByteArray buffer;
        QString address;
        bool errored = false;
        bool evaluated = false;
    };

    void onData(qsizetype index, bool closed);
    void evaluate(qsizetype index);
    void take(const DaytimeAnswer &answer);
    void onTimeout();
    void endWhenAllAnswered();

    const Clock &m_clock;
    ClockSetter &m_setter;
    QList<Peer> m_peers;
    QList<DaytimeAnswer> m_answers;
    QList<DaytimeAnswer> m_held; // healthy but more than a day away, waiting for a second
    QTimer m_timeout;
    QTimer m_finish;
    bool m_done = false;
    bool m_dryRun = false;
    QString m_setError;
};

} // namespace tav
