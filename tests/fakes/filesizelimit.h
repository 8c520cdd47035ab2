#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <csignal>

// Lowers the largest file this process may write, as a full disk would stop
// it, for the object's lifetime: a write past it fails (EFBIG) instead of
// killing the process.
struct FileSizeLimit
{
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &old);
        oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limited{std::min(bytes, old.rlim_max), old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, oldHandler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

    rlimit old{};
    void (*oldHandler)(int) = nullptr;
};

// What `work` returns when run under a FileSizeLimit of `bytes`.
template <typename Work>
auto withFileSizeLimit(rlim_t bytes, Work work)
{
    const FileSizeLimit limit(bytes);
    return work();
}
