#pragma once

#include <QString>

namespace tav {

// Powers the station PC off one minute from now, or cancels that.
class Shutdown
{
public:
    virtual ~Shutdown() = default;
    virtual bool schedule(QString *error) = 0;
    virtual bool cancel(QString *error) = 0;
};

// Runs the system's "shutdown -h +1" / "shutdown -c" directly, without a shell.
class SystemShutdown final : public Shutdown
{
public:
    bool schedule(QString *error) override;
    bool cancel(QString *error) override;
};

} // namespace tav
