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

constexpr std::array folders{"/sys/class/i2c-dev", "/sys/class/i2c-adapter", "/sys/bus/i2c/devices"};

} // namespace

sys_folder::sys_folder(const std::string &board_name, const std::vector<uint8_t> &buses)
    : root_(fs::temp_directory_path() / "varnel-sim-XXXXXX") {
    if (mkdtemp(root_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), root_);
    }
    for (const char *const folder : folders) {
        fs::create_directories(root_ + folder);
        for (const uint8_t bus : buses) {
            const std::string here = fmt::format("{}{}/i2c-{}", root_, folder, bus);
            fs::create_directories(here + "/device");
            const std::string name = fmt::format("varnel-sim {} bus {}\n", board_name, bus);
            std::ofstream(here + "/name") << name;
            std::ofstream(here + "/device/name") << name;
            std::ofstream(here + "/dev") << fmt::format("89:{}\n", bus);
        }
    }
}

sys_folder::~sys_folder() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

std::optional<std::string> sys_folder::real_name(std::string_view path) const {
    for (const std::string_view folder : folders) {
        if (path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/')) {
            return fmt::format("{}{}", root_, path);
        }
    }
    return std::nullopt;
}

} // namespace varnel::sim::device_files
