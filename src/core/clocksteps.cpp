#include "core/clocksteps.h"

#include "core/clock.h"

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// Milliseconds of local wall time on one line: days and time of day as the
// clock on the wall shows them, whatever the zone's offset.
qint64 wallMs(const QDateTime &t)
{
    return t.date().toJulianDay() * 86'400'000LL + t.time().msecsSinceStartOfDay();
}

} // namespace

QString stepSizeText(qint64 ms)
{
    ms = std::llabs(ms);
    if (ms < 59'950) { // from there it rounds to a whole minute
        const bool whole = ms % 1000 < 50 || ms % 1000 >= 950;
        return QString::number(double(ms) / 1000.0, 'f', whole ? 0 : 1) + u"秒"_s;
    }
    const qint64 s = (ms + 500) / 1000;
    QString text;
    if (s >= 3600)
        text += QString::number(s / 3600) + u"小时"_s;
    if (s % 3600 >= 60)
        text += QString::number(s % 3600 / 60) + u"分"_s;
    if (s % 60)
        text += QString::number(s % 60) + u"秒"_s;
    return text;
}

QString ClockStep::text() const
{
    const QString way = isForward() ? u"向前"_s : u"向后"_s;
    const QString what = daylightSaving ? u"夏令时切换：本地时间"_s + way + u"调整"_s
                                        : u"系统时钟"_s + way + u"跳变"_s;
    QString rule;
    if (isCorrection())
        rule = u"，超过3小时，按新时间继续"_s;
    else if (isForward())
        rule = u"，跳过的开播立即补上"_s;
    else
        rule = u"，已开播的任务不再重复开播"_s;
    return what + stepSizeText(ms) + rule;
}

ClockStep ClockStepWatch::observe(const QDateTime &now)
{
    const qint64 mono = m_clock.monotonicMs();
    ClockStep step;
    if (m_seen) {
        const qint64 passed = mono - m_mono;
        const qint64 wall = wallMs(now) - wallMs(m_wall) - passed;
        if (std::llabs(wall) >= kMinStepMs) {
            const qint64 utc = m_wall.msecsTo(now) - passed;
            step.ms = wall;
            step.from = m_wall;
            step.daylightSaving =
                std::llabs(utc) < kMinStepMs && now.offsetFromUtc() != m_wall.offsetFromUtc();
        }
    }
    m_seen = true;
    m_wall = now;
    m_mono = mono;
    return step;
}

} // namespace tav
