#pragma once

#include "core/agenda.h"

#include <QHash>
#include <QStringList>

namespace tav {

class Settings;
class StopDates;
class TaskStore;

// The timed media tasks of any day, by the rules the scheduler applies on
// that day: the play days, the timed switch, the stop dates and weekday
// stops, the working hours and their early end, the daily shutdown, the
// later of two tasks starting in the same second winning, and the task's
// media list (empty, or every file missing).
class TaskAgendaLane final : public AgendaLane
{
public:
    static inline const QString kTitle = QStringLiteral("定时任务");

    TaskAgendaLane(const TaskStore &store, const Settings &settings, const StopDates &stopDates);

    QString title() const override { return kTitle; }
    // Reads every task's media list once and looks for its files.
    void refresh() override;
    QList<AgendaItem> itemsOn(QDate date) const override;

private:
    struct Media
    {
        int count = 0;
        QStringList missing; // file names of the listed files that are not there
    };

    const TaskStore &m_store;
    const Settings &m_settings;
    const StopDates &m_stopDates;
    QHash<QString, Media> m_media;
};

} // namespace tav
