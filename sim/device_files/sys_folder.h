// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/device_files/device_node.h"

namespace varnel::sim::device_files {

/// The folders of /sys that list I2C buses and GPIO chips, as far as i2cdetect(8), gpiodetect(1) and libraries look: real files in a folder for
/// temporary files, which is removed at the end.
class sys_folder {
  public:
    sys_folder(const std::string &board_name, const std::vector<device_node> &nodes);
    ~sys_folder();
    sys_folder(const sys_folder &) = delete;
    sys_folder &operator=(const sys_folder &) = delete;

    /// The real name of what a program calls /sys/class/i2c-dev... or /sys/bus/i2c/devices...
    [[nodiscard]] std::optional<std::string> real_name(std::string_view path) const;

  private:
    void make_bus(const std::string &board_name, unsigned int number);
    void make_gpiochip(unsigned int number);

    std::string root_;
    std::vector<std::string> folders_;
};

} // namespace varnel::sim::device_files
