#pragma once

#include <QPushButton>

#include <functional>

namespace tav {

class Clock;
class TimeKeeper;
class netTime;

// The clock's health on the status bar ("时钟：…", lblTimeHealth): a
// warning carries the property "warning", which every look colours. A
// click, like the menu's 网络校时, opens the network time window (made
// once, on first use).
class TimeHealthButton : public QPushButton
{
    Q_OBJECT
public:
    TimeHealthButton(TimeKeeper &keeper, const Clock &clock, QWidget *window);

    void openWindow();

private:
    void showStatus();

    TimeKeeper &m_keeper;
    const Clock &m_clock;
    QWidget *m_window;
    netTime *m_netTime = nullptr;
};

} // namespace tav
