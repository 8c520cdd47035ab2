#pragma once

#include <QDateTime>

#include <chrono>

namespace tav {

// Where every piece of logic gets the time from, so the schedule can be
// driven by a fake clock in tests.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // Milliseconds of a clock that nobody sets: it only counts the time that
    // really passed, so comparing it with now() shows when the wall clock
    // was stepped (a time service, an operator, daylight saving).
    virtual qint64 monotonicMs() const = 0;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
    qint64 monotonicMs() const override
    {
        using namespace std::chrono;
        return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    }
};

} // namespace tav
