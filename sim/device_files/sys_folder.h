// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::sim::device_files {

/// The folders of /sys that list I2C buses, as far as i2cdetect(8) and libraries look: real files in a folder for
/// temporary files, which is removed at the end.
class sys_folder {
  public:
    sys_folder(const std::string &board_name, const std::vector<uint8_t> &buses);
    ~sys_folder();
    sys_folder(const sys_folder &) = delete;
    sys_folder &operator=(const sys_folder &) = delete;

    /// The real name of what a program calls /sys/class/i2c-dev... or /sys/bus/i2c/devices...
    [[nodiscard]] std::optional<std::string> real_name(std::string_view path) const;

  private:
    std::string root_;
};

} // namespace varnel::sim::device_files
