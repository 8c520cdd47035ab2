#pragma once

#include <QDateTime>
#include <QString>

namespace tav {

// Sets the computer's clock, and tells whether the system keeps it in step
// by itself.
class ClockSetter
{
public:
    struct SyncState
    {
        bool known = false;        // the system's time service answered
        bool automatic = false;    // it synchronises the clock itself (NTP on)
        bool synchronised = false; // and says the clock is in step now
    };

    virtual ~ClockSetter() = default;
    // Sets the clock to `when` (a moment: its time zone is honoured). False
    // with the reason when the system refuses (no right, or its automatic
    // synchronisation is on).
    virtual bool setTime(const QDateTime &when, QString *error) = 0;
    // May wait on the system (a few seconds at most); called off the clockwork's thread.
    virtual SyncState syncState() const = 0;
};

// Through systemd's time service (org.freedesktop.timedate1 on the system
// bus), which asks for the administrator's consent where needed; where that
// service is absent, clock_settime() when the process has the right.
class SystemClockSetter final : public ClockSetter
{
public:
    bool setTime(const QDateTime &when, QString *error) override;
    SyncState syncState() const override;
};

} // namespace tav
