// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace varnel::platform {

constexpr bool is_standard_stream(int descriptor) { return descriptor >= 0 && descriptor <= STDERR_FILENO; }

/// Moves a descriptor that must not pass for the standard output of a daemon that closed its own. -1 stays,
/// and is the result when there is no other descriptor; errno says why.
inline int above_standard_streams(int descriptor) {
    if (!is_standard_stream(descriptor)) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return moved;
}

} // namespace varnel::platform
