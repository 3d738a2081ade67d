// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/notification.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/uio.h>

namespace varnel::sim::device_files {

namespace {

/// Since Linux 6.6, and in linux/seccomp.h since then: the program and its supervisor take turns on one processor, which
/// saves half of a call's time.
constexpr uint64_t sync_wake_up = 1;
constexpr unsigned long set_flags = _IOW(SECCOMP_IOC_MAGIC, 4, uint64_t);

void respond(int listener, seccomp_notif_resp response) {
    ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

iovec in_caller(uint64_t address, std::size_t size) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel gives addresses as numbers
    return {reinterpret_cast<void *>(address), size};
}

} // namespace

call_listener::call_listener(descriptor listener) : listener_(std::move(listener)) {
    ioctl(get(), set_flags, sync_wake_up); // older kernels refuse it, and are slower
}

std::optional<system_call> call_listener::receive() const {
    seccomp_notif notification{};
    if (ioctl(get(), SECCOMP_IOCTL_NOTIF_RECV, &notification) != 0) {
        return std::nullopt;
    }
    system_call call{notification.id, static_cast<pid_t>(notification.pid), notification.data.nr, {}};
    std::ranges::copy(notification.data.args, call.arguments.begin());
    return call;
}

bool call_listener::waits(const system_call &call) const {
    uint64_t id = call.id;
    return ioctl(get(), SECCOMP_IOCTL_NOTIF_ID_VALID, &id) == 0;
}

void call_listener::pass_on(const system_call &call) const {
    respond(get(), {call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE});
}

void call_listener::succeed(const system_call &call, int64_t result) const {
    respond(get(), {call.id, result, 0, 0});
}

void call_listener::fail(const system_call &call, int error) const {
    respond(get(), {call.id, 0, -error, 0});
}

std::optional<int> call_listener::add_file(const system_call &call, int file) const {
    seccomp_notif_addfd added{};
    added.id = call.id;
    added.srcfd = static_cast<uint32_t>(file);
    added.newfd_flags = O_CLOEXEC;
    const int number = ioctl(get(), SECCOMP_IOCTL_NOTIF_ADDFD, &added);
    return number >= 0 ? std::optional(number) : std::nullopt;
}

bool call_listener::succeed_with_file(const system_call &call, int file, bool close_on_exec,
                                      std::optional<int> wanted) const {
    seccomp_notif_addfd added{};
    added.id = call.id;
    added.flags = SECCOMP_ADDFD_FLAG_SEND | (wanted ? SECCOMP_ADDFD_FLAG_SETFD : 0U);
    added.srcfd = static_cast<uint32_t>(file);
    added.newfd = static_cast<uint32_t>(wanted.value_or(0));
    added.newfd_flags = close_on_exec ? O_CLOEXEC : 0;
    return ioctl(get(), SECCOMP_IOCTL_NOTIF_ADDFD, &added) >= 0 || errno == ENOENT; // the thread is gone
}

bool process_memory::read(uint64_t address, std::span<uint8_t> to) const {
    iovec here{to.data(), to.size()};
    const iovec there = in_caller(address, to.size());
    return process_vm_readv(thread_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(to.size());
}

bool process_memory::write(uint64_t address, std::span<const uint8_t> from) const {
    iovec here{const_cast<uint8_t *>(from.data()), from.size()};
    const iovec there = in_caller(address, from.size());
    return process_vm_writev(thread_, &here, 1, &there, 1, 0) == static_cast<ssize_t>(from.size());
}

/// By pieces that do not cross a page: what follows the text may not be mapped.
std::optional<std::string> process_memory::read_path(uint64_t address) const {
    constexpr uint64_t page = 4096;
    std::string path;
    while (path.size() < PATH_MAX) {
        std::array<uint8_t, 256> piece{};
        const uint64_t from = address + path.size();
        const auto size = static_cast<std::size_t>(std::min<uint64_t>(piece.size(), page - from % page));
        if (!read(from, std::span(piece).first(size))) {
            return std::nullopt;
        }
        const std::string_view text(reinterpret_cast<const char *>(piece.data()), size);
        const std::size_t end = text.find('\0');
        path.append(text.substr(0, end));
        if (end != std::string_view::npos) {
            return path;
        }
    }
    return std::nullopt;
}

} // namespace varnel::sim::device_files
