#pragma once

#include <QDateTime>

namespace tav {

// Where every piece of logic gets the time from, so the schedule can be
// driven by a fake clock in tests.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

} // namespace tav
