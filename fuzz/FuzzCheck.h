// Invariants that a fuzz target checks after each run. A broken invariant is
// a finding like a sanitizer report: print where, then abort so that
// libFuzzer saves the input.
#ifndef VIREO_FUZZ_CHECK_H
#define VIREO_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>

#define VIREO_FUZZ_CHECK(condition)                                                                \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

#endif  // VIREO_FUZZ_CHECK_H
