#pragma once

#include <cstdio>
#include <cstdlib>

// A broken invariant is a finding: say which, and abort so that libFuzzer keeps the input.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "invariant failed at %s:%d: %s\n", __FILE__, __LINE__,            \
                         #condition);                                                              \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
