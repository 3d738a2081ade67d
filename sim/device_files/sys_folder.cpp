// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/sys_folder.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fmt/format.h>

namespace varnel::sim::device_files {

namespace fs = std::filesystem;

namespace {

constexpr std::array bus_folders{"/sys/class/i2c-dev", "/sys/class/i2c-adapter", "/sys/bus/i2c/devices"};
constexpr const char *gpio_folder = "/sys/bus/gpio";

} // namespace

sys_folder::sys_folder(const std::string &board_name, const std::vector<device_node> &nodes)
    : root_(fs::temp_directory_path() / "varnel-sim-XXXXXX"),
      folders_(bus_folders.begin(), bus_folders.end()) {
    if (mkdtemp(root_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), root_);
    }
    folders_.emplace_back(gpio_folder);
    for (const std::string &folder : folders_) {
        fs::create_directories(root_ + folder);
    }
    fs::create_directories(fmt::format("{}{}/devices", root_, gpio_folder));
    for (const device_node &node : nodes) {
        if (node.kind == node_kind::bus) {
            make_bus(board_name, node.number);
        } else {
            make_gpiochip(node.number);
        }
    }
}

void sys_folder::make_bus(const std::string &board_name, unsigned int number) {
    for (const char *const folder : bus_folders) {
        const std::string here = fmt::format("{}{}/i2c-{}", root_, folder, number);
        fs::create_directories(here + "/device");
        const std::string name = fmt::format("varnel-sim {} bus {}\n", board_name, number);
        std::ofstream(here + "/name") << name;
        std::ofstream(here + "/device/name") << name;
        std::ofstream(here + "/dev") << fmt::format("89:{}\n", number);
    }
}

/// libgpiod 1 reads the file "dev" of the chip, libgpiod 2 follows the link "subsystem" of the device.
void sys_folder::make_gpiochip(unsigned int number) {
    const std::string device = fmt::format("{}:{}", gpio_major, number);
    const std::string chip = fmt::format("{}{}/devices/gpiochip{}", root_, gpio_folder, number);
    fs::create_directories(chip);
    std::ofstream(chip + "/dev") << device << '\n';
    folders_.push_back("/sys/dev/char/" + device);
    fs::create_directories(root_ + folders_.back());
    fs::create_symlink("../../../bus/gpio", root_ + folders_.back() + "/subsystem");
}

sys_folder::~sys_folder() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

std::optional<std::string> sys_folder::real_name(std::string_view path) const {
    for (const std::string_view folder : folders_) {
        if (path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/')) {
            return fmt::format("{}{}", root_, path);
        }
    }
    return std::nullopt;
}

} // namespace varnel::sim::device_files
