// SPDX-License-Identifier: Apache-2.0
#pragma once

// Contract checks stay in every build, whatever NDEBUG says.
#undef NDEBUG
#include <cassert>

namespace varnel {

/// Ends the process through the C library's own assertion failure when a caller broke the contract. The
/// message names the line and the function of the call, in a source of the given name.
inline void require(bool holds, const char *expression, const char *source,
                    const char *function = __builtin_FUNCTION(), unsigned line = __builtin_LINE()) {
    if (!holds) [[unlikely]] {
        // Death tests run it, but the counters end with the process.
        __assert_fail(expression, source, line, function); // GCOVR_EXCL_LINE
    }
}

} // namespace varnel
