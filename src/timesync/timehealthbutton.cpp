#include "timesync/timehealthbutton.h"

#include "timesync/nettime.h"
#include "timesync/timekeeper.h"

#include <QStyle>

using namespace Qt::StringLiterals;

namespace tav {

TimeHealthButton::TimeHealthButton(TimeKeeper &keeper, const Clock &clock, QWidget *window)
    : m_keeper(keeper), m_clock(clock), m_window(window)
{
    setObjectName(u"lblTimeHealth"_s);
    setFlat(true);
    setToolTip(u"每个定时开播都依赖准确的时钟；单击打开网络校时"_s);
    connect(this, &QPushButton::clicked, this, &TimeHealthButton::openWindow);
    connect(&m_keeper, &TimeKeeper::statusChanged, this, &TimeHealthButton::showStatus);
    showStatus();
}

void TimeHealthButton::openWindow()
{
    if (!m_netTime)
        m_netTime = new netTime(m_keeper, m_clock, m_window);
    m_netTime->show();
    m_netTime->raise();
}

void TimeHealthButton::showStatus()
{
    const TimeHealth::Status status = m_keeper.status();
    setText(status.text);
    if (property("warning").toBool() == status.warning)
        return;
    setProperty("warning", status.warning);
    style()->unpolish(this); // the look's rule for [warning="true"] applies now
    style()->polish(this);
}

} // namespace tav
