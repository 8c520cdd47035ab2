#pragma once

#include <QtGlobal>

#include <mutex>

// The shell's style sheets and help page live in its static library's
// resources; whoever looks one up first registers them, once.
inline void registerShellResources()
{
    static std::once_flag once;
    std::call_once(once, [] { Q_INIT_RESOURCE(shell); });
}
