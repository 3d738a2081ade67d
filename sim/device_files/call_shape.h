// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sim/device_files/notification.h"

namespace varnel::sim::device_files {

/// What a system call with a path does.
enum class path_use { open, creat, openat2, stat, lstat, fstatat, statx, access, readlink };

/// A system call with a path, and which of its arguments are what.
struct path_call {
    int number;
    path_use use;
    std::optional<unsigned int>
        folder; ///< descriptor that a relative path starts at; else the working folder
    unsigned int path;
    unsigned int result; ///< where it stores what it finds, or its flags
    std::optional<unsigned int> flags = std::nullopt;
};

/// The kind of a call; nothing when it has no path.
[[nodiscard]] const path_call *shape_of(const system_call &call);

/// The absolute path that a call means, without "." and "..", not following symbolic links. Empty when it names its
/// descriptor itself; nothing when it cannot be read.
[[nodiscard]] std::optional<std::string> path_of(const system_call &call, const path_call &shape);

/// Whether the call opens a file.
[[nodiscard]] bool opens(path_use use);

/// The flags that a call opens a file with.
[[nodiscard]] uint64_t open_flags(const system_call &call, const path_call &shape);

/// Whether a call that looks a file up follows a symbolic link.
[[nodiscard]] bool follows_links(const system_call &call, const path_call &shape);

} // namespace varnel::sim::device_files
