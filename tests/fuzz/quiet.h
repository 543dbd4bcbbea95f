// A fuzz target's surroundings: nothing is logged, and standard output goes nowhere.
#ifndef TESTS_FUZZ_QUIET_H
#define TESTS_FUZZ_QUIET_H

#include <cstdio>
#include <cstdlib>

#include "api/frame/nprm_result.h"

inline void be_quiet() {
    static const bool once = [] {
        nprm_syslog_flag = 0;
        return std::freopen("/dev/null", "w", stdout) != nullptr;
    }();
    if (!once) std::abort();
}

// What must hold for every input.
inline void require(bool condition) {
    if (!condition) std::abort();
}

#endif
