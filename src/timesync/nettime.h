#pragma once

#include <QDialog>
#include <QTimer>

class QLabel;
class QPushButton;

namespace tav {

class Clock;
class TimeKeeper;

// The network time window: the local time, the run's messages, and the
// clock's health. Showing it starts a synchronisation, as opening it always
// has; a while after success it closes itself.
class netTime : public QDialog
{
    Q_OBJECT
public:
    netTime(TimeKeeper &keeper, const Clock &clock, QWidget *parent = nullptr);

    static QString timeText(const QDateTime &when); // "yyyy-mm-dd  hh:mm:ss"

protected:
    void showEvent(QShowEvent *event) override;

private:
    void startSync();
    void showTime();
    void showHealth();

    TimeKeeper &m_keeper;
    const Clock &m_clock;
    QLabel *m_time = nullptr;
    QLabel *m_msg = nullptr;
    QLabel *m_health = nullptr;
    QLabel *m_lastCheck = nullptr;
    QLabel *m_system = nullptr;
    QPushButton *m_again = nullptr;
    QTimer m_tick;
};

} // namespace tav
