// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/supervisor.h"

#include <algorithm>
#include <cerrno>
#include <exception>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "sim/device_files/bus_node.h"
#include "sim/device_files/calling_process.h"

namespace varnel::sim::device_files {

namespace {

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

} // namespace

supervisor::supervisor(call_listener calls, const board_files &files)
    : calls_(std::move(calls)), numbers_(files.buses), power_(files.board.connect()),
      sys_(files.name, numbers_), open_(files.board) {
    power_.send({{"command", "run"}});
    (void)power_.receive_control();
}

bool supervisor::has_programs() const {
    pollfd state{calls(), POLLIN, 0};
    return poll(&state, 1, 0) <= 0 || (state.revents & POLLHUP) == 0;
}

void supervisor::answer() {
    const auto call = calls_.receive();
    if (!call) {
        return;
    }
    try {
        const path_call *const shape = shape_of(*call);
        if (shape != nullptr) {
            answer_for_path(*call, *shape);
        } else {
            answer_for_descriptor(*call);
        }
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

void supervisor::answer_for_path(const system_call &call, const path_call &shape) {
    const auto path = path_of(call, shape);
    if (path && path->empty() && shape.folder) {
        const open_bus *const file = open_.find(call.thread, call.arguments[*shape.folder]);
        return file != nullptr && shape.flags
                   ? finish(call, store_status(call, shape, status_of_bus(file->bus())))
                   : calls_.pass_on(call);
    }
    if (!path || !(bus_named(*path) || sys_.real_name(*path))) {
        return calls_.pass_on(call);
    }
    if (opens(shape.use)) {
        open_path(call, *path, open_flags(call, shape));
    } else {
        look_up(call, shape, *path);
    }
}

bool supervisor::exists(unsigned int bus) const { return std::ranges::find(numbers_, bus) != numbers_.end(); }

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
    const descriptor file = open_.open(bus, call.thread);
    const bool close_on_exec = (flags & O_CLOEXEC) != 0;
    const auto number = free_bus_descriptor(call.thread, 0);
    if (!calls_.succeed_with_file(call, file.get(), close_on_exec, number) &&
        !calls_.succeed_with_file(call, file.get(), close_on_exec, std::nullopt)) {
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

void supervisor::answer_for_descriptor(const system_call &call) {
    open_bus *const file = open_.find(call.thread, call.arguments[0]);
    if (file == nullptr) {
        return calls_.pass_on(call);
    }
    switch (call.number) {
    case SYS_ioctl:
    case SYS_read:
    case SYS_write:
        return finish(call, file->perform(call));
    case SYS_fstat:
        return finish(call, store(call, 1, status_of_bus(file->bus())) ? 0 : -EFAULT);
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
    const descriptor copy = copy_of_descriptor(call.thread, call.arguments[0]);
    const auto number = free_bus_descriptor(call.thread, by_dup ? 0 : static_cast<int>(call.arguments[2]));
    if (!copy.is_open() || !number ||
        !calls_.succeed_with_file(call, copy.get(), command == F_DUPFD_CLOEXEC, number)) {
        calls_.pass_on(call);
    }
}

} // namespace varnel::sim::device_files
