#include "shell/agendapage.h"

#include "core/clock.h"
#include "core/zhtext.h"
#include "shell/weekahead.h"

#include <QEvent>
#include <QHelpEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QToolTip>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {
constexpr int kAxisWidth = 46;
constexpr int kDayRow = 20;
constexpr int kLaneRow = 18;
constexpr int kHeader = kDayRow + kLaneRow;
constexpr int kMinHourHeight = 34;
constexpr int kMinBlock = 16;
constexpr int kMinLaneWidth = 44;

QColor laneColour(int lane)
{
    static const QColor colours[] = {QColor(0x3a, 0x7b, 0xd5), QColor(0xe0, 0x8a, 0x1e), QColor(0x2e, 0x9e, 0x5b),
                                     QColor(0x8e, 0x44, 0xad)};
    return colours[lane % 4];
}
} // namespace

AgendaChart::AgendaChart(QWidget *parent) : QWidget(parent)
{
    setObjectName(u"agendaChart"_s);
    setMouseTracking(false);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void AgendaChart::setItems(const QList<AgendaItem> &items, const QStringList &lanes, const QDateTime &now,
                           int days)
{
    m_items = items;
    m_lanes = lanes.isEmpty() ? QStringList{QString()} : lanes;
    m_firstDay = now.date();
    m_nowSeconds = zh::secondsOfDay(now.time());
    m_days = qMax(1, days);
    // Hours shown: the span of the starts and ends, a whole hour either side.
    int first = 24, last = 0;
    for (const AgendaItem &item : m_items) {
        if (item.start < 0)
            continue;
        first = qMin(first, item.start / 3600);
        const int end = item.end > item.start ? item.end : item.start;
        last = qMax(last, (end + 3599) / 3600);
    }
    if (first >= last) {
        first = 8;
        last = 18;
    }
    m_firstHour = qMax(0, first);
    m_lastHour = qMin(24, qMax(last, m_firstHour + 1));
    m_running = m_next = -1;
    updateGeometry();
    layoutBlocks();
    update();
}

void AgendaChart::setMarks(int running, int next)
{
    m_running = running;
    m_next = next;
    update();
}

QSize AgendaChart::sizeHint() const
{
    return {kAxisWidth + m_days * int(m_lanes.size()) * 60, kHeader + (m_lastHour - m_firstHour) * 48};
}

QSize AgendaChart::minimumSizeHint() const
{
    return {kAxisWidth + m_days * int(m_lanes.size()) * kMinLaneWidth,
            kHeader + (m_lastHour - m_firstHour) * kMinHourHeight};
}

int AgendaChart::yOf(int seconds) const
{
    const double hourHeight = double(height() - kHeader - 1) / qMax(1, m_lastHour - m_firstHour);
    return kHeader + int((seconds / 3600.0 - m_firstHour) * hourHeight);
}

void AgendaChart::resizeEvent(QResizeEvent *)
{
    layoutBlocks();
}

// Blocks of one day and lane that overlap share the lane side by side.
void AgendaChart::layoutBlocks()
{
    m_blocks = QList<QRect>(m_items.size());
    const double dayWidth = double(width() - kAxisWidth) / m_days;
    const double laneWidth = dayWidth / m_lanes.size();
    for (int day = 0; day < m_days; ++day) {
        const QDate date = m_firstDay.addDays(day);
        for (qsizetype lane = 0; lane < m_lanes.size(); ++lane) {
            QList<int> members;
            for (int i = 0; i < m_items.size(); ++i)
                if (m_items[i].date == date && m_items[i].lane == m_lanes[lane] && m_items[i].start >= 0)
                    members.append(i);
            // Overlapping blocks form a cluster that shares the lane's width.
            qsizetype k = 0;
            while (k < members.size()) {
                QList<int> columnEnds; // bottom of the last block in each column
                QList<std::pair<int, int>> spans;
                QList<int> columns;
                int clusterBottom = -1;
                const qsizetype first = k;
                for (; k < members.size(); ++k) {
                    const AgendaItem &item = m_items[members[k]];
                    const int top = yOf(item.start);
                    if (k > first && top >= clusterBottom)
                        break;
                    const int bottom = qMax(top + kMinBlock, item.end > item.start ? yOf(item.end) : 0);
                    qsizetype column = 0;
                    while (column < columnEnds.size() && columnEnds[column] > top)
                        ++column;
                    if (column == columnEnds.size())
                        columnEnds.append(bottom);
                    else
                        columnEnds[column] = bottom;
                    spans.append({top, bottom});
                    columns.append(int(column));
                    clusterBottom = qMax(clusterBottom, bottom);
                }
                const double columnWidth = laneWidth / qMax<qsizetype>(1, columnEnds.size());
                for (qsizetype c = 0; c < spans.size(); ++c) {
                    const int x = kAxisWidth + int(day * dayWidth + lane * laneWidth + columns[c] * columnWidth);
                    m_blocks[members[first + c]] = QRect(x + 1, spans[c].first, qMax(4, int(columnWidth) - 2),
                                                         spans[c].second - spans[c].first);
                }
            }
        }
    }
}

QRect AgendaChart::blockRect(int index) const
{
    return index >= 0 && index < m_blocks.size() ? m_blocks[index] : QRect();
}

int AgendaChart::itemAt(const QPoint &point) const
{
    // The topmost (last drawn) block wins.
    for (int i = int(m_blocks.size()) - 1; i >= 0; --i)
        if (m_blocks[i].contains(point))
            return i;
    return -1;
}

void AgendaChart::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.fillRect(rect(), palette().base());
    const double dayWidth = double(width() - kAxisWidth) / m_days;
    const double laneWidth = dayWidth / m_lanes.size();
    QFont small = font();
    small.setPointSizeF(qMax(7.0, font().pointSizeF() - 1.5));

    // Hours across, days and lanes down.
    p.setFont(small);
    const QColor grid = palette().mid().color();
    for (int hour = m_firstHour; hour <= m_lastHour; ++hour) {
        const int y = yOf(hour * 3600);
        p.setPen(QPen(grid, 1, hour == m_firstHour ? Qt::SolidLine : Qt::DotLine));
        p.drawLine(kAxisWidth, y, width(), y);
        p.setPen(palette().text().color());
        p.drawText(QRect(0, y - 8, kAxisWidth - 4, 16), Qt::AlignRight | Qt::AlignVCenter,
                   u"%1:00"_s.arg(hour, 2, 10, QLatin1Char('0')));
    }
    for (int day = 0; day < m_days; ++day) {
        const QDate date = m_firstDay.addDays(day);
        const int x = kAxisWidth + int(day * dayWidth);
        if (day == 0)
            p.fillRect(QRect(x, 0, int(dayWidth), height()), QColor(255, 250, 220));
        p.setPen(grid);
        p.drawLine(x, 0, x, height());
        QFont bold = font();
        bold.setBold(day == 0);
        p.setFont(bold);
        p.setPen(palette().text().color());
        const QString title = (day == 0 ? u"今天 "_s : QString()) + u"%1/%2 "_s.arg(date.month()).arg(date.day())
                              + zh::weekdayName(date);
        p.drawText(QRect(x, 0, int(dayWidth), kDayRow), Qt::AlignCenter, title);
        p.setFont(small);
        for (qsizetype lane = 0; lane < m_lanes.size(); ++lane) {
            const QRect cell(x + int(lane * laneWidth), kDayRow, int(laneWidth), kLaneRow);
            p.setPen(laneColour(int(lane)));
            p.drawText(cell, Qt::AlignCenter,
                       p.fontMetrics().elidedText(m_lanes[lane], Qt::ElideRight, cell.width() - 2));
        }
    }
    p.setPen(grid);
    p.drawLine(kAxisWidth, kHeader, width(), kHeader);

    // Now, across today's column.
    if (m_nowSeconds >= m_firstHour * 3600 && m_nowSeconds <= m_lastHour * 3600) {
        p.setPen(QPen(QColor(0xd0, 0x10, 0x10), 1));
        const int y = yOf(m_nowSeconds);
        p.drawLine(kAxisWidth, y, kAxisWidth + int(dayWidth), y);
    }

    for (int i = 0; i < m_items.size(); ++i) {
        const AgendaItem &item = m_items[i];
        const QRect r = m_blocks.value(i);
        if (r.isNull())
            continue;
        const int lane = int(m_lanes.indexOf(item.lane));
        QColor fill = item.plays() ? laneColour(qMax(0, lane)) : QColor(0xd5, 0xd5, 0xd5);
        QColor text = item.plays() ? QColor(Qt::white) : QColor(0x55, 0x55, 0x55);
        if (item.past) {
            fill.setAlpha(90);
            text = QColor(0x77, 0x77, 0x77);
        }
        p.fillRect(r, fill);
        QPen border(item.attention ? QColor(0xc0, 0x39, 0x2b) : fill.darker(130), item.attention ? 2 : 1);
        if (!item.plays())
            border.setStyle(Qt::DashLine);
        if (i == m_running) {
            border = QPen(QColor(0xd0, 0x10, 0x10), 3);
        } else if (i == m_next) {
            border = QPen(QColor(0x20, 0x20, 0x20), 2, Qt::DashLine);
        }
        p.setPen(border);
        p.drawRect(r.adjusted(0, 0, -1, -1));
        QString label = item.name;
        if (i == m_running)
            label = u"▶ "_s + label;
        else if (i == m_next)
            label = u"▷ "_s + label;
        // The reason stays in sight: beside the name in a one-line block.
        const QString why = !item.plays() ? item.reason : item.warning;
        if (!why.isEmpty())
            label += (r.height() < 2 * QFontMetrics(small).height() + 2 ? u"："_s : u"\n"_s) + why;
        p.setPen(text);
        p.setFont(small);
        const QRect inner = r.adjusted(3, 1, -2, -1);
        QStringList shown;
        const int lineHeight = p.fontMetrics().height();
        const QStringList lines = label.split(u'\n');
        for (qsizetype k = 0; k < lines.size() && (k + 1) * lineHeight <= qMax(lineHeight, inner.height()); ++k)
            shown.append(p.fontMetrics().elidedText(lines[k], Qt::ElideRight, inner.width()));
        p.drawText(inner, Qt::AlignLeft | Qt::AlignTop, shown.join(u'\n'));
    }
}

void AgendaChart::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const int index = itemAt(event->position().toPoint());
    if (index >= 0)
        emit itemClicked(index);
}

bool AgendaChart::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        const int index = itemAt(help->pos());
        if (index >= 0)
            QToolTip::showText(help->globalPos(), agenda::line(m_items[index]), this, blockRect(index));
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

AgendaPage::AgendaPage(WeekAhead &week, const Clock &clock, QWidget *parent)
    : QWidget(parent), m_week(week), m_clock(clock)
{
    setObjectName(u"pageAgenda"_s);
    auto *layout = new QVBoxLayout(this);
    m_summary = new QLabel;
    m_summary->setObjectName(u"lblAgendaSummary"_s);
    m_warnings = new QLabel;
    m_warnings->setObjectName(u"lblAgendaWarnings"_s);
    m_warnings->setWordWrap(true);
    m_warnings->setStyleSheet(u"QLabel { color: #b00000; background: #fff0f0; border: 1px solid #e0a0a0; padding: 4px; }"_s);
    m_warnings->hide();
    m_chart = new AgendaChart;
    auto *scroll = new QScrollArea;
    scroll->setObjectName(u"scrollAgenda"_s);
    scroll->setWidget(m_chart);
    scroll->setWidgetResizable(true);
    layout->addWidget(m_summary);
    layout->addWidget(m_warnings);
    layout->addWidget(scroll, 1);

    connect(m_chart, &AgendaChart::itemClicked, this, [this](int index) {
        if (index >= 0 && index < m_items.size())
            emit itemActivated(m_items[index]);
    });
    connect(&m_week, &WeekAhead::changed, this, &AgendaPage::refresh);
    m_minute.setInterval(60 * 1000);
    connect(&m_minute, &QTimer::timeout, this, &AgendaPage::refresh);
    m_minute.start();
    refresh();
}

void AgendaPage::refresh()
{
    const QDateTime now = m_clock.now();
    m_items = m_week.compute(WeekAhead::kDays);
    QStringList lanes;
    for (AgendaLane *lane : m_week.lanes())
        lanes.append(lane->title());
    m_chart->setItems(m_items, lanes, now, WeekAhead::kDays);
    const auto silent = std::count_if(m_items.cbegin(), m_items.cend(),
                                      [](const AgendaItem &i) { return !i.plays() && !i.past; });
    const auto playing = std::count_if(m_items.cbegin(), m_items.cend(),
                                       [](const AgendaItem &i) { return i.plays() && !i.past; });
    m_summary->setText(u"今后%1天：%2次开播，%3次不播放。  ▶ 正在播放   ▷ 下一个   灰色：不播放（原因写在块中）   红框：需要处理"_s.arg(WeekAhead::kDays).arg(playing).arg(silent));
    const QStringList warnings = agenda::warnings(m_items);
    m_warnings->setText(u"需要处理：\n"_s + warnings.join(u'\n'));
    m_warnings->setVisible(!warnings.isEmpty());
    mark();
}

void AgendaPage::setRunningTask(const QString &lane, const QString &name)
{
    m_runningLane = lane;
    m_runningName = name;
    mark();
}

// The running task: today's latest start of that name that has begun. The
// next: the first start after now that will play.
void AgendaPage::mark()
{
    const QDateTime now = m_clock.now();
    const int t = zh::secondsOfDay(now.time());
    int running = -1, next = -1;
    for (int i = 0; i < m_items.size(); ++i) {
        const AgendaItem &item = m_items[i];
        if (!m_runningName.isEmpty() && item.date == now.date() && item.lane == m_runningLane
            && item.name == m_runningName && item.start <= t)
            running = i;
        if (next < 0 && item.plays() && (item.date > now.date() || item.start > t))
            next = i;
    }
    m_chart->setMarks(running, next);
}

} // namespace tav
