#include "timesync/timehealth.h"

#include "core/datadir.h"
#include "core/ini.h"
#include "core/zhtext.h"
#include "timesync/daytime.h"

using namespace Qt::StringLiterals;

namespace tav {

namespace {
const QString kSection = u"netTime"_s;
const QString kLastCheck = u"LastCheck"_s;
const QString kLastOffset = u"LastOffset"_s;

QDateTime parseStamp(const QString &text)
{
    const qsizetype blank = text.indexOf(u' ');
    if (blank < 0)
        return {};
    const QDate date = zh::parseShortDate(text.left(blank));
    const int seconds = zh::secondsOfDay(text.mid(blank + 1));
    if (!date.isValid() || seconds < 0)
        return {};
    return QDateTime(date, QTime(0, 0).addSecs(seconds));
}
} // namespace

TimeHealth::TimeHealth(const DataDir &dir) : m_path(dir.control()) {}

void TimeHealth::load()
{
    const IniFile file(m_path);
    m_lastCheck = parseStamp(file.value(kSection, kLastCheck));
    m_offsetMs = qint64(file.value(kSection, kLastOffset).toDouble() * 1000);
}

bool TimeHealth::record(const DaytimeAnswer &answer, QString *error)
{
    m_lastCheck = answer.target;
    m_offsetMs = 0;
    m_refusal.clear();
    IniDocument doc = *IniFile(m_path).read();
    doc.setValue(kSection, kLastCheck, zh::dateTime(m_lastCheck));
    doc.setValue(kSection, kLastOffset, QString::number(m_offsetMs / 1000.0, 'f', 1));
    return IniFile(m_path).write(doc, error);
}

void TimeHealth::refused(const DaytimeAnswer &answer, const QString &why)
{
    m_refusal = why.isEmpty() ? u"原因不明"_s : why;
    m_refusedOffsetMs = answer.offsetMs;
}

TimeHealth::Status TimeHealth::status(const QDateTime &now, bool systemKeepsTime) const
{
    if (systemKeepsTime)
        return {u"时钟：系统自动同步"_s, false};
    if (isRefused())
        return {u"时钟：无法设置系统时间（%1），偏差%2秒"_s.arg(
                    m_refusal, QString::number(m_refusedOffsetMs / 1000.0, 'f', 1)),
                true};
    if (!m_lastCheck.isValid())
        return {u"时钟：从未校时"_s, true};
    const qint64 age = m_lastCheck.secsTo(now);
    const QString offset = QString::number(m_offsetMs / 1000.0, 'f', 1);
    if (qAbs(m_offsetMs) > kMaxOffsetMs)
        return {u"时钟：偏差%1秒（%2 校时未能校正）"_s.arg(offset, zh::dateTime(m_lastCheck)), true};
    if (age > kMaxAgeSeconds || age < -kMaxAgeSeconds)
        return {u"时钟：超过24小时未校时（上次 %1）"_s.arg(zh::dateTime(m_lastCheck)), true};
    return {u"时钟：%1 已校时"_s.arg(zh::dateTime(m_lastCheck)), false};
}

} // namespace tav
