#pragma once

#include <cstdio>
#include <cstdlib>

// A broken rule stops the run where libFuzzer (or the replay) sees it.
#define FUZZ_CHECK(condition)                                                                              \
    do {                                                                                                   \
        if (!(condition)) {                                                                                \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);             \
            std::abort();                                                                                  \
        }                                                                                                  \
    } while (false)
