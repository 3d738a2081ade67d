// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>

namespace varnel::test {

/// Unless `holds`, prints the broken promise and aborts, so that libFuzzer reports the input.
inline void require(bool holds, const char *what) {
    if (!holds) {
        (void)std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

} // namespace varnel::test
