// What must hold, whatever the input. A fuzzer that finds it broken ends, and its input is kept.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void Check(bool holds, const char* call, const char* rule, unsigned long result = 0)
{
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "RULE BROKEN: %s: %s (0x%lx)\n", call, rule, result));
        std::abort();
    }
}

} // namespace fuzz
