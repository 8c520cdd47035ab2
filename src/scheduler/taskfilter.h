#pragma once

#include "scheduler/taskstore.h"

#include <QDate>
#include <QList>

namespace tav {

class DataDir;

// Which tasks the grid shows. The filter walks "【SONG】.ini" in up to three
// passes, so today's tasks come first, then weekly tasks of other days, then
// tasks on specified dates after today within the day span:
//   本日  span 0, today's tasks only
//   本周  span 7
//   本月  span 31 (one more than its tooltip's 30 days, as stations know it)
//   全部  every task, unfiltered (TaskStore::load)
class TaskFilter
{
public:
    static constexpr int kMonthSpan = 31;
    static constexpr int kWeekSpan = 7;

    static QList<TaskRecord> filter(const DataDir &dir, QDate today, int daySpan, bool todayOnly);
    static QList<TaskRecord> thisDay(const DataDir &dir, QDate today) { return filter(dir, today, 0, true); }
    static QList<TaskRecord> thisWeek(const DataDir &dir, QDate today) { return filter(dir, today, kWeekSpan, false); }
    static QList<TaskRecord> thisMonth(const DataDir &dir, QDate today) { return filter(dir, today, kMonthSpan, false); }
};

} // namespace tav
