// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/call_shape.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

namespace varnel::sim::device_files {

namespace {

constexpr auto path_calls = std::to_array<path_call>({
#ifdef SYS_open
    {SYS_open, path_use::open, std::nullopt, 0, 1},
    {SYS_creat, path_use::creat, std::nullopt, 0, 1},
    {SYS_access, path_use::access, std::nullopt, 0, 1},
    {SYS_stat, path_use::stat, std::nullopt, 0, 1},
    {SYS_lstat, path_use::lstat, std::nullopt, 0, 1},
    {SYS_readlink, path_use::readlink, std::nullopt, 0, 1},
#endif
    {SYS_openat, path_use::open, 0, 1, 2},
    {SYS_openat2, path_use::openat2, 0, 1, 2},
#ifdef SYS_newfstatat
    {SYS_newfstatat, path_use::fstatat, 0, 1, 2, 3},
#endif
    {SYS_statx, path_use::statx, 0, 1, 4, 2},
    {SYS_readlinkat, path_use::readlink, 0, 1, 2},
    {SYS_faccessat, path_use::access, 0, 1, 2},
    {SYS_faccessat2, path_use::access, 0, 1, 2},
});

/// The folder that a relative path of the call starts at.
std::string start_of(const system_call &call, const path_call &shape) {
    const int folder = shape.folder ? static_cast<int>(call.arguments[*shape.folder]) : AT_FDCWD;
    const std::string link = folder == AT_FDCWD ? fmt::format("/proc/{}/cwd", call.thread)
                                                : fmt::format("/proc/{}/fd/{}", call.thread, folder);
    std::error_code none;
    return std::filesystem::read_symlink(link, none);
}

} // namespace

const path_call *shape_of(const system_call &call) {
    const auto *const found = std::ranges::find(path_calls, call.number, &path_call::number);
    return found == path_calls.end() ? nullptr : found;
}

std::optional<std::string> path_of(const system_call &call, const path_call &shape) {
    const auto given = process_memory(call.thread).read_path(call.arguments[shape.path]);
    if (!given || given->empty() || given->front() == '/') {
        return given && !given->empty() ? std::filesystem::path(*given).lexically_normal().string() : given;
    }
    return (std::filesystem::path(start_of(call, shape)) / *given).lexically_normal();
}

bool opens(path_use use) {
    return use == path_use::open || use == path_use::creat || use == path_use::openat2;
}

uint64_t open_flags(const system_call &call, const path_call &shape) {
    if (shape.use == path_use::creat) {
        return O_CREAT | O_WRONLY | O_TRUNC;
    }
    if (shape.use == path_use::open) {
        return call.arguments[shape.result];
    }
    open_how how{};
    const bool known =
        process_memory(call.thread)
            .read(call.arguments[shape.result], {reinterpret_cast<uint8_t *>(&how), sizeof how});
    return known ? how.flags : 0;
}

bool follows_links(const system_call &call, const path_call &shape) {
    return shape.use != path_use::lstat &&
           (!shape.flags || (call.arguments[*shape.flags] & AT_SYMLINK_NOFOLLOW) == 0);
}

} // namespace varnel::sim::device_files
