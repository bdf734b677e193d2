#pragma once

#include <cstdio>
#include <cstdlib>

// An invariant of the code under test. Unlike assert(), it holds in every build type;
// a failure aborts, which libFuzzer records as a crash with its input.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
