// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/supervisor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/openat2.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "sim/device_files/board_adapter.h"
#include "sim/device_files/call_shape.h"
#include "sim/device_files/filter.h"

namespace varnel::sim::device_files {

namespace {

constexpr unsigned int i2c_major = 89; // Linux, Documentation/admin-guide/devices.txt

/// The bus of "/dev/i2c-3"; nothing for other names.
std::optional<unsigned int> bus_named(std::string_view path) {
    constexpr std::string_view start = "/dev/i2c-";
    unsigned int bus = 0;
    if (!path.starts_with(start) || path.size() == start.size()) {
        return std::nullopt;
    }
    const char *const end = path.data() + path.size();
    const auto [rest, error] = std::from_chars(path.data() + start.size(), end, bus);
    return error == std::errc() && rest == end ? std::optional(bus) : std::nullopt;
}

std::string descriptor_name(pid_t thread, uint64_t number) {
    return fmt::format("/proc/{}/fd/{}", thread, static_cast<int>(number));
}

/// The socket that a descriptor of another process is; 0 when it is none.
ino_t socket_of(pid_t thread, uint64_t number) {
    std::array<char, 32> text{};
    const ssize_t size = readlink(descriptor_name(thread, number).c_str(), text.data(), text.size() - 1);
    constexpr std::string_view start = "socket:[";
    const std::string_view target(text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    ino_t inode = 0;
    if (target.starts_with(start)) {
        std::from_chars(target.data() + start.size(), target.data() + target.size(), inode);
    }
    return inode;
}

/// The lowest number from `least` on that is free in the process and that filter.h sends to us.
std::optional<int> free_number(pid_t thread, int least) {
    for (int number = std::max(least, first_bus_descriptor); number <= last_bus_descriptor; ++number) {
        struct stat ignored {};
        if (lstat(descriptor_name(thread, static_cast<uint64_t>(number)).c_str(), &ignored) != 0) {
            return number;
        }
    }
    return std::nullopt;
}

pid_t process_of(pid_t thread) {
    std::ifstream status(fmt::format("/proc/{}/status", thread));
    for (std::string word; status >> word;) {
        if (word == "Tgid:") {
            pid_t process = 0;
            status >> process;
            return process;
        }
    }
    return thread;
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

class memory_of_caller : public caller_memory {
  public:
    explicit memory_of_caller(pid_t thread) : memory_(thread) {}
    [[nodiscard]] bool read(uint64_t address, std::span<uint8_t> to) const override {
        return to.empty() || memory_.read(address, to);
    }
    [[nodiscard]] bool write(uint64_t address, std::span<const uint8_t> from) const override {
        return from.empty() || memory_.write(address, from);
    }

  private:
    process_memory memory_;
};

template <class Object>
bool store(const system_call &call, unsigned int argument, const Object &object) {
    return process_memory(call.thread)
        .write(call.arguments[argument], {reinterpret_cast<const uint8_t *>(&object), sizeof object});
}

/// Stores what stat(2) or statx(2) finds. Returns the call's result.
int64_t store_status(const system_call &call, const path_call &shape, const struct stat &status) {
    const bool stored = shape.use == path_use::statx ? store(call, shape.result, extended(status))
                                                     : store(call, shape.result, status);
    return stored ? 0 : -EFAULT;
}

bool follows_links(const system_call &call, const path_call &shape) {
    return shape.use != path_use::lstat &&
           (!shape.flags || (call.arguments[*shape.flags] & AT_SYMLINK_NOFOLLOW) == 0);
}

/// The flags that a file is to be opened with.
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

bool opens(path_use use) {
    return use == path_use::open || use == path_use::creat || use == path_use::openat2;
}

} // namespace

supervisor::supervisor(call_listener calls, board_files files)
    : calls_(std::move(calls)), files_(std::move(files)), power_(files_.board.connect()),
      sys_(files_.name, files_.buses) {
    power_.send({{"command", "run"}});
    (void)power_.receive_control();
}

bool supervisor::has_programs() const {
    pollfd state{calls(), POLLIN, 0};
    return poll(&state, 1, 0) <= 0 || (state.revents & POLLHUP) == 0;
}

std::vector<int> supervisor::open_buses() const {
    std::vector<int> ends;
    ends.reserve(open_buses_.size());
    for (const open_bus &bus : open_buses_) {
        ends.push_back(bus.our_end.get());
    }
    return ends;
}

void supervisor::close_bus(int our_end) {
    open_buses_.remove_if([our_end](const open_bus &bus) { return bus.our_end.get() == our_end; });
}

void supervisor::answer() {
    const auto call = calls_.receive();
    if (!call) {
        return;
    }
    try {
        answer(*call);
    } catch (const std::exception &) { // out of memory or descriptors: the board is not there for this call
        calls_.fail(*call, ENXIO);
    }
}

void supervisor::finish(const system_call &call, int64_t result) const {
    if (result < 0) {
        calls_.fail(call, static_cast<int>(-result));
    } else {
        calls_.succeed(call, result);
    }
}

void supervisor::answer(const system_call &call) {
    const path_call *const shape = shape_of(call);
    if (shape == nullptr) {
        open_bus *const bus = find(call, call.arguments[0]);
        return bus != nullptr ? use_descriptor(call, *bus) : calls_.pass_on(call);
    }
    const auto path = path_of(call, *shape);
    if (path && path->empty() && shape->folder) {
        const open_bus *const bus = find(call, call.arguments[*shape->folder]);
        return bus != nullptr && shape->flags
                   ? finish(call, store_status(call, *shape, status_of_bus(bus->bus)))
                   : calls_.pass_on(call);
    }
    if (!path || !(bus_named(*path) || sys_.real_name(*path))) {
        return calls_.pass_on(call);
    }
    if (opens(shape->use)) {
        open_path(call, *path, open_flags(call, *shape));
    } else {
        look_up(call, *shape, *path);
    }
}

bool supervisor::exists(unsigned int bus) const {
    return std::ranges::find(files_.buses, bus) != files_.buses.end();
}

void supervisor::open_path(const system_call &call, const std::string &path, uint64_t flags) {
    if (const auto bus = bus_named(path)) {
        if (!exists(*bus)) {
            return calls_.fail(call, ENOENT);
        }
        if ((flags & O_DIRECTORY) != 0) {
            return calls_.fail(call, ENOTDIR);
        }
        return (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0
                   ? calls_.fail(call, EEXIST)
                   : open_bus_file(call, static_cast<uint8_t>(*bus), flags);
    }
    const std::string real = *sys_.real_name(path);
    const descriptor file(open(real.c_str(), static_cast<int>(flags & ~uint64_t{O_CREAT}) | O_CLOEXEC));
    if (!file.is_open()) {
        return calls_.fail(call, errno);
    }
    if (!calls_.succeed_with_file(call, file.get(), (flags & O_CLOEXEC) != 0, std::nullopt)) {
        calls_.fail(call, EMFILE);
    }
}

void supervisor::open_bus_file(const system_call &call, uint8_t bus, uint64_t flags) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return calls_.fail(call, errno);
    }
    const descriptor theirs(ends[0]);
    descriptor ours(ends[1]);
    struct stat status {};
    fstat(theirs.get(), &status);
    channel to_server(files_.board.connect());
    open_buses_.push_back({status.st_ino, std::move(ours), bus, 0, std::move(to_server)});
    act_for(open_buses_.back(), call.thread);
    if (!calls_.succeed_with_file(call, theirs.get(), (flags & O_CLOEXEC) != 0,
                                  free_number(call.thread, 0)) &&
        !calls_.succeed_with_file(call, theirs.get(), (flags & O_CLOEXEC) != 0, std::nullopt)) {
        open_buses_.pop_back();
        calls_.fail(call, EMFILE);
    }
}

void supervisor::look_up(const system_call &call, const path_call &shape, const std::string &path) {
    struct stat status {};
    if (const auto bus = bus_named(path)) {
        if (!exists(*bus)) {
            return calls_.fail(call, ENOENT);
        }
        status = status_of_bus(*bus);
    } else {
        const std::string real = *sys_.real_name(path);
        if ((follows_links(call, shape) ? stat(real.c_str(), &status) : lstat(real.c_str(), &status)) != 0) {
            return calls_.fail(call, errno);
        }
    }
    finish(call, shape.use == path_use::access ? 0 : store_status(call, shape, status));
}

supervisor::open_bus *supervisor::find(const system_call &call, uint64_t number) {
    const ino_t inode = open_buses_.empty() ? 0 : socket_of(call.thread, number);
    const auto found = std::ranges::find(open_buses_, inode, &open_bus::inode);
    return found == open_buses_.end() ? nullptr : &*found;
}

/// The server names transfers after the process that they are for.
void supervisor::act_for(open_bus &bus, pid_t thread) {
    bus.user = thread;
    bus.to_server.send({{"command", "act-for"}, {"pid", process_of(thread)}});
    if (!bus.to_server.receive_control()) {
        throw std::runtime_error("the board's server has ended");
    }
}

void supervisor::use_descriptor(const system_call &call, open_bus &bus) {
    if (bus.user != call.thread) {
        act_for(bus, call.thread);
    }
    board_adapter adapter(bus.to_server, bus.bus);
    const memory_of_caller memory(call.thread);
    const auto &[file, second, third, fourth, fifth, sixth] = call.arguments;
    switch (call.number) {
    case SYS_ioctl:
        return finish(call, bus.file.ioctl(adapter, memory, static_cast<uint32_t>(second), third));
    case SYS_read:
        return finish(call, bus.file.read(adapter, memory, second, third));
    case SYS_write:
        return finish(call, bus.file.write(adapter, memory, second, third));
    case SYS_fstat:
        return finish(call, store(call, 1, status_of_bus(bus.bus)) ? 0 : -EFAULT);
    default:
        return duplicate(call);
    }
}

/// A copy must have one of our numbers, too. The copies of dup2() and dup3(), whose number the program chooses, serve
/// for ioctl() only.
void supervisor::duplicate(const system_call &call) {
    const bool by_dup = call.number == SYS_dup;
    const int command = by_dup ? F_DUPFD : static_cast<int>(call.arguments[1]);
    if (command != F_DUPFD && command != F_DUPFD_CLOEXEC) {
        return calls_.pass_on(call);
    }
    const descriptor process(static_cast<int>(syscall(SYS_pidfd_open, process_of(call.thread), 0)));
    const descriptor copy(
        static_cast<int>(syscall(SYS_pidfd_getfd, process.get(), static_cast<int>(call.arguments[0]), 0)));
    const auto number = free_number(call.thread, by_dup ? 0 : static_cast<int>(call.arguments[2]));
    if (!copy.is_open() || !number ||
        !calls_.succeed_with_file(call, copy.get(), command == F_DUPFD_CLOEXEC, number)) {
        calls_.pass_on(call);
    }
}

} // namespace varnel::sim::device_files
