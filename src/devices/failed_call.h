// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdio>

namespace varnel {

/// The source file and function that a driver's diagnostic lines name.
struct driver {
    const char *source;
    const char *function;
};

/// Returns the result of a bus call; when it failed, first prints the line that operators' log filters match.
/// `line` is a fixed part of the message, not a position in this source. errno stays the bus call's.
[[nodiscard]] inline int reported(int result, driver from, int line, const char *call) {
    if (result != 0) {
        const int bus_error = errno;
        std::printf("%s:%d:%s():%s\n", from.source, line, from.function, call);
        errno = bus_error;
    }
    return result;
}

} // namespace varnel
