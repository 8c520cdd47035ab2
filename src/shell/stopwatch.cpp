#include "shell/stopwatch.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

StopWatch::StopWatch(QWidget *parent) : QDialog(parent)
{
    setObjectName(u"frmStopWatch"_s);
    setWindowTitle(u"秒表"_s);
    m_display = new QLabel(text(0), this);
    m_display->setObjectName(u"lblStopWatch"_s);
    m_display->setAlignment(Qt::AlignCenter);
    QFont big = m_display->font();
    big.setPointSize(big.pointSize() * 3);
    big.setStyleHint(QFont::Monospace);
    m_display->setFont(big);
    m_start = new QPushButton(u"开始"_s, this);
    m_start->setObjectName(u"cmdStopWatchStart"_s);
    auto *reset = new QPushButton(u"清零"_s, this);
    reset->setObjectName(u"cmdStopWatchReset"_s);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_start);
    buttons->addWidget(reset);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_display);
    layout->addLayout(buttons);
    m_refresh.setInterval(100);
    connect(&m_refresh, &QTimer::timeout, this, [this] { display(elapsedMs()); });
    connect(m_start, &QPushButton::clicked, this, &StopWatch::toggle);
    connect(reset, &QPushButton::clicked, this, &StopWatch::reset);
}

qint64 StopWatch::elapsedMs() const
{
    return m_before + (m_running.isValid() ? m_running.elapsed() : 0);
}

QString StopWatch::text(qint64 ms)
{
    const qint64 tenths = ms / 100;
    return u"%1:%2:%3.%4"_s.arg(tenths / 36000, 2, 10, QLatin1Char('0'))
        .arg(tenths / 600 % 60, 2, 10, QLatin1Char('0'))
        .arg(tenths / 10 % 60, 2, 10, QLatin1Char('0'))
        .arg(tenths % 10);
}

void StopWatch::toggle()
{
    if (m_running.isValid()) {
        m_before = elapsedMs();
        m_running.invalidate();
        m_refresh.stop();
        m_start->setText(u"继续"_s);
    } else {
        m_running.start();
        m_refresh.start();
        m_start->setText(u"暂停"_s);
    }
    display(elapsedMs());
}

void StopWatch::reset()
{
    m_before = 0;
    if (m_running.isValid())
        m_running.start();
    else
        m_start->setText(u"开始"_s);
    display(elapsedMs());
}

void StopWatch::display(qint64 ms)
{
    m_display->setText(text(ms));
}

} // namespace tav
