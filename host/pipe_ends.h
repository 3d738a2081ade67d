// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "host/descriptor.h"

namespace varnel::host {

/// The ends of a pipe, which close when a program is executed.
struct pipe_ends {
    descriptor reading;
    descriptor writing;
};

/// Throws std::system_error.
inline pipe_ends make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {descriptor(ends[0]), descriptor(ends[1])};
}

} // namespace varnel::host
