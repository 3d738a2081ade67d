// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/bus_node.h"

#include <fmt/format.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "host/numbers.h"

namespace varnel::sim::device_files {

namespace {

constexpr unsigned int i2c_major = 89; // Linux, Documentation/admin-guide/devices.txt
constexpr std::string_view name_start = "/dev/i2c-";

} // namespace

std::optional<unsigned int> bus_named(std::string_view path) {
    if (!path.starts_with(name_start)) {
        return std::nullopt;
    }
    const auto bus = host::digits_as<unsigned int>(path.substr(name_start.size()));
    return bus && path == fmt::format("{}{}", name_start, *bus) ? bus : std::nullopt; // "i2c-00" is none
}

struct stat status_of_bus(unsigned int bus) {
    struct stat status {};
    status.st_mode = S_IFCHR | S_IRUSR | S_IWUSR;
    status.st_nlink = 1;
    status.st_ino = 1 + bus;
    status.st_uid = getuid();
    status.st_gid = getgid();
    status.st_rdev = makedev(i2c_major, bus);
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
