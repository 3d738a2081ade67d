// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "host/descriptor.h"

namespace varnel::sim::device_files {

/// The process that a thread belongs to.
[[nodiscard]] pid_t process_of(pid_t thread);

/// What the thread's descriptor `number` is, as /proc names it: "socket:[123]", "pipe:[123]", or a path. Empty when it
/// is not open.
[[nodiscard]] std::string object_of(pid_t thread, uint64_t number);

/// The lowest number from `least` on that is free in the process and that is one of a device file (filter.h).
[[nodiscard]] std::optional<int> free_device_descriptor(pid_t thread, int least);

/// A copy of the thread's descriptor `number`; not open when it cannot be copied.
[[nodiscard]] host::descriptor copy_of_descriptor(pid_t thread, uint64_t number);

} // namespace varnel::sim::device_files
