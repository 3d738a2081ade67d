// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sim/device_files/device_node.h"

namespace varnel::sim::device_files {

/// The next entries of /dev, as getdents64(2) stores them in `size` bytes: the machine's without its I2C buses and GPIO
/// chips, but with those of the board. `folder` is an open descriptor of /dev, whose position moves. Empty at the
/// end; nothing when the kernel refuses, for example so small a buffer.
[[nodiscard]] std::optional<std::vector<uint8_t>> read_dev_folder(int folder, std::size_t size,
                                                                  std::span<const device_node> nodes);

} // namespace varnel::sim::device_files
