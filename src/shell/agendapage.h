#pragma once

#include "core/agenda.h"

#include <QDateTime>
#include <QList>
#include <QTimer>
#include <QWidget>

class QLabel;

namespace tav {

class Clock;
class WeekAhead;

// The seven days ahead drawn as a timeline: a column per day (today
// first), a lane per kind of timed thing, a block per start from its start
// to its end. A start that will not play is grey with its reason; the
// running task and the next start are marked. Clicking a block asks for its
// editor.
class AgendaChart : public QWidget
{
    Q_OBJECT
public:
    explicit AgendaChart(QWidget *parent = nullptr);

    void setItems(const QList<AgendaItem> &items, const QStringList &lanes, const QDateTime &now, int days);
    // The running task (by lane and name) and the index of the next start, -1 for none.
    void setMarks(int running, int next);
    int running() const { return m_running; }
    int next() const { return m_next; }
    // The block under a point of the widget, -1 for none.
    int itemAt(const QPoint &point) const;
    QRect blockRect(int index) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void itemClicked(int index);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    bool event(QEvent *event) override;

private:
    void layoutBlocks();
    int yOf(int seconds) const;

    QList<AgendaItem> m_items;
    QList<QRect> m_blocks;
    QStringList m_lanes;
    QDate m_firstDay;
    int m_nowSeconds = 0;
    int m_days = 7;
    int m_firstHour = 0;
    int m_lastHour = 24;
    int m_running = -1;
    int m_next = -1;
};

class AgendaPage : public QWidget
{
    Q_OBJECT
public:
    AgendaPage(WeekAhead &week, const Clock &clock, QWidget *parent = nullptr);

    // Computes the days again and redraws.
    void refresh();
    // The scheduler started a task (empty: none runs now).
    void setRunningTask(const QString &lane, const QString &name);

    const QList<AgendaItem> &items() const { return m_items; }
    AgendaChart *chart() const { return m_chart; }

signals:
    void itemActivated(const tav::AgendaItem &item);

private:
    void mark();

    WeekAhead &m_week;
    const Clock &m_clock;
    AgendaChart *m_chart = nullptr;
    QLabel *m_warnings = nullptr;
    QLabel *m_summary = nullptr;
    QList<AgendaItem> m_items;
    QString m_runningLane;
    QString m_runningName;
    QTimer m_minute;
};

} // namespace tav
