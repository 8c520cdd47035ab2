#pragma once

#include "core/datadir.h"

#include <QDate>
#include <QStringList>

namespace tav {

class Prompt;
class Settings;

// Holidays on which nothing plays: "【DATE】.ini", written whole on every change.
class StopDates
{
public:
    explicit StopDates(const DataDir &dir) : m_path(dir.stopDates()) {}

    void load();
    bool save() const;
    const QStringList &dates() const { return m_dates; }

    enum class AddResult { Duplicate, Declined, Added };
    // Asks the operator first; a date already listed is refused with a message.
    AddResult add(QDate date, Prompt &prompt);
    void remove(qsizetype index);

    // A stopped weekday or a listed date.
    bool isStopDay(QDate date, const Settings &settings) const
    {
        return stopReason(date, settings) != Stop::No;
    }
    enum class Stop { No, Weekday, Date };
    // A listed date is named before a stopped weekday.
    Stop stopReason(QDate date, const Settings &settings) const;

private:
    QString m_path;
    QStringList m_dates;
};

} // namespace tav
