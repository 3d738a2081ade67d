// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace varnel::sim::device_files {

enum class node_kind { bus, gpiochip };

/// "/dev/i2c-3" or "/dev/gpiochip0", whether it exists or not.
struct device_node {
    node_kind kind;
    unsigned int number;

    bool operator==(const device_node &) const = default;
};

/// The major number of the GPIO chips; the kernel has no fixed one, and takes this first.
inline constexpr unsigned int gpio_major = 254;

/// The device that a path names; nothing for other names.
[[nodiscard]] std::optional<device_node> device_named(std::string_view path);

/// Its name below /dev.
[[nodiscard]] std::string name_of(const device_node &node);

/// Whether this is such a name, of the board's or the machine's devices.
[[nodiscard]] bool names_device(std::string_view name);

/// What stat(2) finds under such a name: a character device of the user's.
[[nodiscard]] struct stat status_of(const device_node &node);

/// The same as statx(2) stores it.
[[nodiscard]] struct statx extended(const struct stat &status);

} // namespace varnel::sim::device_files
