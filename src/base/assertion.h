// SPDX-License-Identifier: Apache-2.0
#pragma once

// Contract checks stay in every build, whatever NDEBUG says.
#undef NDEBUG
#include <cassert>

namespace varnel {

/// Where a contract check stands, in the words its message uses.
struct checked_function {
    const char *source;
    const char *function;
};

/// Ends the process through the C library's own assertion failure when a caller broke the contract.
inline void require(bool holds, const char *expression, checked_function where,
                    unsigned line = __builtin_LINE()) {
    if (!holds) [[unlikely]] {
        // Death tests run it, but the counters end with the process.
        __assert_fail(expression, where.source, line, where.function); // GCOVR_EXCL_LINE
    }
}

} // namespace varnel
