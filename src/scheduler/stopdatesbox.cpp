#include "scheduler/stopdatesbox.h"

#include "core/named.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"

#include <QDateEdit>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

StopDatesBox::StopDatesBox(StopDates &dates, Scheduler &scheduler, Prompt &prompt, QWidget *parent)
    : QGroupBox(u"停播日期"_s, parent), m_dates(dates), m_scheduler(scheduler), m_prompt(prompt)
{
    auto *layout = new QVBoxLayout(this);
    m_list = named(new QListWidget, "ListDateNoPlay");
    layout->addWidget(m_list, 1);
    auto *row = new QHBoxLayout;
    m_date = named(new QDateEdit, "DTPNoPlayDate");
    m_date->setDisplayFormat(u"yyyy/M/d"_s);
    m_date->setCalendarPopup(true);
    auto *add = named(new QPushButton(u"添加"_s), "cmdAddNoPlayDate");
    auto *remove = named(new QPushButton(u"删除"_s), "cmdDelNoPlayDate");
    row->addWidget(m_date, 1);
    row->addWidget(add);
    row->addWidget(remove);
    layout->addLayout(row);
    connect(add, &QPushButton::clicked, this, &StopDatesBox::add);
    connect(remove, &QPushButton::clicked, this, &StopDatesBox::removeSelected);
}

void StopDatesBox::refresh()
{
    m_list->clear();
    m_list->addItems(m_dates.dates());
}

void StopDatesBox::setDate(QDate date)
{
    m_date->setDate(date);
}

void StopDatesBox::add()
{
    if (m_dates.add(m_date->date(), m_prompt) == StopDates::AddResult::Added)
        m_scheduler.reviewDay();
    refresh();
}

void StopDatesBox::removeSelected()
{
    m_dates.remove(m_list->currentRow());
    m_scheduler.reviewDay();
    refresh();
}

} // namespace tav
