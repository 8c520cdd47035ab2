#pragma once

#include "scheduler/taskstore.h"

#include <QTableWidget>

namespace tav {

// The task grid "MSHFlexGrid1": one row per task, column 0 the row number,
// 1 to 7 the task's keys, 8 (hidden) the section number that ties a row,
// filtered or not, to its record. The volume column is hidden too. The task
// that is playing has its row coloured while it plays, whatever the filter.
class TaskGrid final : public QTableWidget
{
    Q_OBJECT
public:
    static constexpr int kSectionColumn = 8;
    static constexpr int kVolumeColumn = 4;
    static const QColor kPlayingColour;

    explicit TaskGrid(QWidget *parent = nullptr);

    void showTasks(const QList<TaskRecord> &rows);
    // Section number of the selected row, -1 when none is selected.
    int selectedSection() const;
    void selectSection(int section);

    // Colours the rows of the task now playing; an empty name clears.
    void PlayTaskColor(const QString &taskName);
    const QString &playingTask() const { return m_playing; }
    bool isColoured(int row) const;

private:
    void colourRows();

    QString m_playing;
};

} // namespace tav
