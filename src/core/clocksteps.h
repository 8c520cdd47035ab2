#pragma once

#include <QDateTime>
#include <QString>

namespace tav {

class Clock;

// How far the local wall clock moved between two ticks beyond the time that
// really passed (measured on the monotonic clock). A time service or an
// operator setting the clock steps UTC and local time alike; a daylight
// saving change steps local time only. Both are steps of the station's
// clock, since tasks are kept in local wall time.
struct ClockStep
{
    // Steps of three hours or more are corrections: the new time is used as
    // it is. Smaller ones are made good (see Scheduler).
    static constexpr qint64 kCorrectionMs = 3LL * 3600 * 1000;

    qint64 ms = 0;               // > 0 forward, < 0 back, 0 no step
    bool daylightSaving = false; // the zone's offset changed; UTC did not step
    QDateTime from;              // the wall time of the tick before the step

    bool isStep() const { return ms != 0; }
    bool isForward() const { return ms > 0; }
    bool isCorrection() const { return ms >= kCorrectionMs || ms <= -kCorrectionMs; }
    // The message-log text: what moved, by how much, and what the station does.
    QString text() const;
};

// Watches the wall clock against the monotonic clock, one reading a tick.
class ClockStepWatch
{
public:
    // Below this a difference is the tick's own jitter or a time service's
    // slewing, not a step.
    static constexpr qint64 kMinStepMs = 500;

    explicit ClockStepWatch(const Clock &clock) : m_clock(clock) {}
    // Compares `now` (this tick's reading of the wall clock) with the
    // previous call's; the first call sees no step.
    ClockStep observe(const QDateTime &now);

private:
    const Clock &m_clock;
    bool m_seen = false;
    QDateTime m_wall;
    qint64 m_mono = 0;
};

// A duration in words: "0.6秒", "60秒", "1小时", "2小时5分3秒".
QString stepSizeText(qint64 ms);

} // namespace tav
