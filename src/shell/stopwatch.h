#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>

class QLabel;
class QPushButton;

namespace tav {

// A stopwatch for the operator timing an announcement or a programme:
// start, pause, go on, reset; tenths of a second.
class StopWatch : public QDialog
{
    Q_OBJECT
public:
    explicit StopWatch(QWidget *parent = nullptr);

    qint64 elapsedMs() const;
    static QString text(qint64 ms); // "00:01:02.3"

private:
    void toggle();
    void reset();
    void display(qint64 ms);

    QLabel *m_display;
    QPushButton *m_start;
    QElapsedTimer m_running; // valid while running
    qint64 m_before = 0;     // time run before the last pause
    QTimer m_refresh;
};

} // namespace tav
