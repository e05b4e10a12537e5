#pragma once

#include <cstdio>
#include <cstdlib>

/// A property that holds for every input. Aborts, so that the fuzzer keeps the input.
inline void require(bool holds, const char* property) {
    if (!holds) {
        fprintf(stderr, "does not hold: %s\n", property);
        abort();
    }
}
