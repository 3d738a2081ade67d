// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/device_node.h"

#include <array>

#include <fmt/format.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "host/numbers.h"

namespace varnel::sim::device_files {

namespace {

constexpr unsigned int i2c_major = 89; // Linux, Documentation/admin-guide/devices.txt
constexpr std::string_view folder = "/dev/";

struct naming {
    node_kind kind;
    std::string_view start;
};
constexpr std::array names{naming{node_kind::bus, "i2c-"}, naming{node_kind::gpiochip, "gpiochip"}};

} // namespace

std::string name_of(const device_node &node) {
    return fmt::format("{}{}", names[static_cast<std::size_t>(node.kind)].start, node.number);
}

std::optional<device_node> device_named(std::string_view path) {
    if (!path.starts_with(folder)) {
        return std::nullopt;
    }
    const std::string_view name = path.substr(folder.size());
    for (const auto &[kind, start] : names) {
        const auto number =
            name.starts_with(start) ? host::digits_as<unsigned int>(name.substr(start.size())) : std::nullopt;
        if (number && name == name_of({kind, *number})) { // "i2c-00" is none
            return device_node{kind, *number};
        }
    }
    return std::nullopt;
}

bool names_device(std::string_view name) {
    return device_named(fmt::format("{}{}", folder, name)).has_value();
}

struct stat status_of(const device_node &node) {
    const bool is_bus = node.kind == node_kind::bus;
    struct stat status {};
    status.st_mode = S_IFCHR | S_IRUSR | S_IWUSR;
    status.st_nlink = 1;
    status.st_ino = 1 + node.number + (is_bus ? 0 : 256);
    status.st_uid = getuid();
    status.st_gid = getgid();
    status.st_rdev = makedev(is_bus ? i2c_major : gpio_major, node.number);
    status.st_blksize = 4096;
    return status;
}

struct statx extended(const struct stat &status) {
    struct statx to {};
    to.stx_mask = STATX_BASIC_STATS;
    to.stx_mode = static_cast<uint16_t>(status.st_mode);
    to.stx_nlink = static_cast<uint32_t>(status.st_nlink);
    to.stx_ino = status.st_ino;
    to.stx_uid = status.st_uid;
    to.stx_gid = status.st_gid;
    to.stx_rdev_major = major(status.st_rdev);
    to.stx_rdev_minor = minor(status.st_rdev);
    to.stx_blksize = static_cast<uint32_t>(status.st_blksize);
    to.stx_size = static_cast<uint64_t>(status.st_size);
    return to;
}

} // namespace varnel::sim::device_files
