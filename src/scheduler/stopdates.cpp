#include "scheduler/stopdates.h"

#include "core/ini.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "platform/prompt.h"

using namespace Qt::StringLiterals;

namespace tav {

namespace {
const QString kCountSection = u"The number of Date"_s;
const QString kCountKey = u"quantity"_s;
const QString kDatesSection = u"Holiday"_s;
} // namespace

void StopDates::load()
{
    const auto doc = IniFile(m_path).read();
    m_dates.clear();
    const int count = qBound(0, doc->value(kCountSection, kCountKey).toInt(), 32767);
    for (int i = 0; i < count; ++i)
        m_dates.append(doc->value(kDatesSection, u"Date"_s + QString::number(i)));
}

bool StopDates::save() const
{
    IniDocument doc;
    for (qsizetype i = 0; i < m_dates.size(); ++i)
        doc.setValue(kDatesSection, u"Date"_s + QString::number(i), m_dates.at(i));
    doc.setValue(kCountSection, kCountKey, QString::number(m_dates.size()));
    return IniFile(m_path).write(doc);
}

StopDates::AddResult StopDates::add(QDate date, Prompt &prompt)
{
    const QString text = zh::shortDate(date);
    if (m_dates.contains(text)) {
        prompt.inform(u"提示"_s, u"日期有重复，无法添加！"_s);
        return AddResult::Duplicate;
    }
    if (!prompt.ask(u"添加不需要定时播放的日期"_s,
                    u"确实要添加"_s + text + u"这个日期为不播放的日期吗？"_s, false))
        return AddResult::Declined;
    m_dates.append(text);
    save();
    return AddResult::Added;
}

void StopDates::remove(qsizetype index)
{
    if (index < 0 || index >= m_dates.size())
        return;
    m_dates.removeAt(index);
    save();
}

StopDates::Stop StopDates::stopReason(QDate date, const Settings &settings) const
{
    if (m_dates.contains(zh::shortDate(date)))
        return Stop::Date;
    return settings.isWeekdayStopped(date) ? Stop::Weekday : Stop::No;
}

} // namespace tav
