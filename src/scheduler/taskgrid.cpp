#include "scheduler/taskgrid.h"

#include <QHeaderView>

using namespace Qt::StringLiterals;

namespace tav {

const QColor TaskGrid::kPlayingColour(0xff, 0xe0, 0x8a);

TaskGrid::TaskGrid(QWidget *parent) : QTableWidget(0, 9, parent)
{
    setObjectName(u"MSHFlexGrid1"_s);
    setHorizontalHeaderLabels({u"序号"_s, u"   播放任务名称"_s, u"开始时间"_s, u"结束时间"_s, u"音量"_s,
                               u"   播放日期"_s, u"模式"_s, u"定时"_s, QString()});
    setColumnHidden(kVolumeColumn, true);
    setColumnHidden(kSectionColumn, true);
    verticalHeader()->hide();
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    QHeaderView *header = horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // Sized by the header text as each look draws it, not only by the digits.
    header->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    header->setSectionResizeMode(1, QHeaderView::Stretch);
    header->setSectionResizeMode(5, QHeaderView::Stretch);
    setContextMenuPolicy(Qt::CustomContextMenu);
}

void TaskGrid::showTasks(const QList<TaskRecord> &rows)
{
    setRowCount(int(rows.size()));
    for (int i = 0; i < rows.size(); ++i) {
        const QStringList columns = QStringList{QString::number(i + 1)} + rows[i].columns()
                                    + QStringList{QString::number(rows[i].section)};
        for (int c = 0; c < columns.size(); ++c)
            setItem(i, c, new QTableWidgetItem(columns[c]));
    }
    colourRows();
}

int TaskGrid::selectedSection() const
{
    const int row = currentRow();
    if (row < 0 || !item(row, kSectionColumn))
        return -1;
    return item(row, kSectionColumn)->text().toInt();
}

void TaskGrid::selectSection(int section)
{
    for (int row = 0; row < rowCount(); ++row) {
        if (item(row, kSectionColumn) && item(row, kSectionColumn)->text().toInt() == section) {
            setCurrentCell(row, 1);
            return;
        }
    }
}

void TaskGrid::PlayTaskColor(const QString &taskName)
{
    m_playing = taskName.trimmed();
    colourRows();
}

bool TaskGrid::isColoured(int row) const
{
    const QTableWidgetItem *cell = item(row, 1);
    return cell && cell->background().color() == kPlayingColour;
}

void TaskGrid::colourRows()
{
    for (int row = 0; row < rowCount(); ++row) {
        const bool playing = !m_playing.isEmpty() && item(row, 1) && item(row, 1)->text().trimmed() == m_playing;
        for (int c = 0; c < columnCount(); ++c)
            if (QTableWidgetItem *cell = item(row, c))
                cell->setBackground(playing ? QBrush(kPlayingColour) : QBrush());
    }
}

} // namespace tav
