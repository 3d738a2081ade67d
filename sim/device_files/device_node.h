// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include <sys/stat.h>

namespace varnel::sim::device_files {

/// The bus of "/dev/i2c-3"; nothing for other names.
[[nodiscard]] std::optional<unsigned int> bus_named(std::string_view path);

/// What stat(2) finds under such a name: a character device of the user's.
[[nodiscard]] struct stat status_of_bus(unsigned int bus);

/// The same as statx(2) stores it.
[[nodiscard]] struct statx extended(const struct stat &status);

} // namespace varnel::sim::device_files
