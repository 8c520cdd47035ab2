#pragma once

#include <QDate>
#include <QGroupBox>

class QDateEdit;
class QListWidget;

namespace tav {

class Prompt;
class Scheduler;
class StopDates;

// The stop dates on the console: the list (ListDateNoPlay), the date to add
// (DTPNoPlayDate) and 添加/删除. A change is saved at once and today's
// list is looked at again (today may have become, or stopped being, a stop
// date).
class StopDatesBox : public QGroupBox
{
    Q_OBJECT
public:
    StopDatesBox(StopDates &dates, Scheduler &scheduler, Prompt &prompt, QWidget *parent = nullptr);

    // The list as the file has it now.
    void refresh();
    void setDate(QDate date);
    void add();
    void removeSelected();

private:
    StopDates &m_dates;
    Scheduler &m_scheduler;
    Prompt &m_prompt;
    QListWidget *m_list;
    QDateEdit *m_date;
};

} // namespace tav
