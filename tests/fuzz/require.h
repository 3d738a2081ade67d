// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>

namespace varnel::test {

/// Unless it holds, the input is a find: says what is broken and ends the run.
inline void require(bool holds, const char *what) {
    if (!holds) {
        (void)std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

} // namespace varnel::test
