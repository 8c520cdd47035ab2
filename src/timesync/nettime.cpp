#include "timesync/nettime.h"

#include "core/clock.h"
#include "core/zhtext.h"
#include "timesync/daytime.h"
#include "timesync/timekeeper.h"

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

netTime::netTime(TimeKeeper &keeper, const Clock &clock, QWidget *parent)
    : QDialog(parent), m_keeper(keeper), m_clock(clock)
{
    setObjectName(u"netTime"_s);
    setWindowTitle(u"网络校时"_s);
    auto *layout = new QVBoxLayout(this);
    m_time = new QLabel;
    m_time->setObjectName(u"labTime"_s);
    QFont big = m_time->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    m_time->setFont(big);
    m_time->setAlignment(Qt::AlignCenter);
    m_msg = new QLabel;
    m_msg->setObjectName(u"labMsg"_s);
    m_msg->setWordWrap(true);
    m_msg->setMinimumHeight(60);
    m_msg->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    auto *healthBox = new QGroupBox(u"时钟状态"_s);
    auto *healthLayout = new QVBoxLayout(healthBox);
    m_health = new QLabel;
    m_health->setObjectName(u"labHealth"_s);
    m_lastCheck = new QLabel;
    m_lastCheck->setObjectName(u"labLastCheck"_s);
    m_system = new QLabel;
    m_system->setObjectName(u"labSystemSync"_s);
    healthLayout->addWidget(m_health);
    healthLayout->addWidget(m_lastCheck);
    healthLayout->addWidget(m_system);
    m_again = new QPushButton(u"再次校时"_s);
    m_again->setObjectName(u"cmdSyncAgain"_s);
    layout->addWidget(m_time);
    layout->addWidget(m_msg, 1);
    layout->addWidget(healthBox);
    layout->addWidget(m_again, 0, Qt::AlignRight);
    resize(420, 300);

    m_tick.setInterval(1000);
    connect(&m_tick, &QTimer::timeout, this, &netTime::showTime);
    connect(m_again, &QPushButton::clicked, this, &netTime::startSync);
    connect(&m_keeper, &TimeKeeper::statusChanged, this, &netTime::showHealth);
    showTime();
    showHealth();
}

QString netTime::timeText(const QDateTime &when)
{
    return when.toString(u"yyyy-MM-dd  hh:mm:ss"_s);
}

void netTime::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    m_tick.start();
    showTime();
    startSync();
}

void netTime::startSync()
{
    DaytimeSync *run = m_keeper.syncNow();
    if (!run) {
        m_msg->setText(u"本机不能设置时钟，无法校时"_s);
        return;
    }
    m_msg->clear();
    m_again->setEnabled(false);
    // The run may have begun already (start-up): its first words are said again.
    if (run->isRunning())
        m_msg->setText(u"开始校时..."_s);
    connect(run, &DaytimeSync::message, this, [this](const QString &text) {
        if (text == u"开始校时...")
            m_msg->setText(text);
        else
            m_msg->setText(m_msg->text() + u'\n' + text);
    });
    connect(run, &DaytimeSync::finished, this, [this] { m_again->setEnabled(true); });
    connect(run, &DaytimeSync::closeRequested, this, &QDialog::close);
}

void netTime::showTime()
{
    m_time->setText(timeText(m_clock.now()));
}

void netTime::showHealth()
{
    const TimeHealth::Status status = m_keeper.status();
    m_health->setText(status.text);
    m_health->setStyleSheet(status.warning ? u"color: #c00000; font-weight: bold;"_s : QString());
    const TimeHealth &health = m_keeper.health();
    m_lastCheck->setText(health.lastCheck().isValid()
                             ? u"上次校时：%1，校时后剩余偏差 %2 秒"_s.arg(zh::dateTime(health.lastCheck()))
                                   .arg(QString::number(health.residualOffsetMs() / 1000.0, 'f', 1))
                             : u"上次校时：无记录"_s);
    const ClockSetter::SyncState state = m_keeper.systemState();
    m_system->setText(!state.known      ? u"系统自动校时：未知（系统时间服务不可用）"_s
                      : !state.automatic ? u"系统自动校时：关闭"_s
                      : state.synchronised ? u"系统自动校时：开启，已同步"_s
                                           : u"系统自动校时：开启，尚未同步"_s);
}

} // namespace tav
