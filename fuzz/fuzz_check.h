// What every fuzzer does when an invariant breaks: say which, then abort so that libFuzzer keeps
// the input as a reproducer.
#ifndef ZAV_FUZZ_FUZZ_CHECK_H
#define ZAV_FUZZ_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>

inline void fuzz_check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

#endif
