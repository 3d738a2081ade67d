// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/supervisor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <exception>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/json.h"
#include "sim/device_files/calling_process.h"
#include "sim/device_files/dev_folder.h"

namespace varnel::sim::device_files {

namespace {

constexpr const char *dev_folder = "/dev";
constexpr uint64_t largest_listing = 65536;

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

supervisor::supervisor(call_listener calls, const board_files &files, virtual_time::turn *holder,
                       std::function<void(const std::string &)> say)
    : calls_(std::move(calls)), nodes_(files.nodes), power_(files.board.connect()), sys_(files.name, nodes_),
      buses_(files.board), gpios_(files.board) {
    power_.send({{"command", "run"}});
    (void)power_.receive_control();
    if (holder != nullptr) {
        const auto answer = [this](const system_call &call) { answer_for_board(call); };
        time_.emplace(calls_, files.board,
                      virtual_time::keeper::surroundings{answer, std::move(say), *holder});
    }
}

std::vector<pollfd> supervisor::watched() const {
    std::vector<pollfd> watched;
    for (const int end : buses_.our_ends()) {
        watched.push_back({end, 0, 0});
    }
    gpios_.add_watched(watched);
    if (time_) {
        watched.push_back({time_->get(), POLLIN, 0});
    }
    return watched;
}

void supervisor::attend(const pollfd &seen) {
    if (time_ && seen.fd == time_->get()) {
        return time_->hear();
    }
    buses_.forget(seen.fd);
    gpios_.attend(seen);
}

bool supervisor::has_programs() const {
    pollfd state{calls(), POLLIN, 0};
    return poll(&state, 1, 0) <= 0 || (state.revents & POLLHUP) == 0;
}

void supervisor::answer() {
    const auto call = calls_.receive();
    if (call && !(time_ && time_->takes(*call))) {
        answer_for_board(*call);
    }
}

void supervisor::answer_for_board(const system_call &call) {
    try {
        const path_call *const shape = shape_of(call);
        if (shape != nullptr) {
            answer_for_path(call, *shape);
        } else {
            answer_for_descriptor(call);
        }
    } catch (const std::exception &) { // out of memory or descriptors: the board is not there for this call
        calls_.fail(call, ENXIO);
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
    if (path && path->empty() && shape.folder && shape.flags) {
        const auto node = node_of(call, call.arguments[*shape.folder]);
        return node ? finish(call, store_status(call, shape, status_of(*node))) : calls_.pass_on(call);
    }
    const bool opening = opens(shape.use);
    const uint64_t flags = opening && path ? open_flags(call, shape) : 0;
    if (path && (path == dev_folder || *path == "/dev/") && (flags & O_DIRECTORY) != 0) {
        return open_dev_folder(call, flags);
    }
    if (!path || !(device_named(*path) || sys_.real_name(*path))) {
        return calls_.pass_on(call);
    }
    if (opening) {
        open_path(call, *path, flags);
    } else if (shape.use == path_use::readlink) {
        read_link(call, shape, *path);
    } else {
        look_up(call, shape, *path);
    }
}

bool supervisor::exists(const device_node &node) const {
    return std::ranges::find(nodes_, node) != nodes_.end();
}

/// The bus or GPIO chip that a descriptor is.
std::optional<device_node> supervisor::node_of(const system_call &call, uint64_t number) {
    const std::string object = object_of(call.thread, number);
    if (const open_bus *const bus = buses_.find(object)) {
        return device_node{node_kind::bus, bus->bus()};
    }
    const open_gpio *const gpio = gpios_.find(object);
    return gpio != nullptr && !gpio->has_lines()
               ? std::optional(device_node{node_kind::gpiochip, gpio->chip()})
               : std::nullopt;
}

void supervisor::open_path(const system_call &call, const std::string &path, uint64_t flags) {
    if (const auto node = device_named(path)) {
        if (!exists(*node)) {
            return calls_.fail(call, ENOENT);
        }
        if ((flags & O_DIRECTORY) != 0) {
            return calls_.fail(call, ENOTDIR);
        }
        return (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0 ? calls_.fail(call, EEXIST)
                                                               : open_node(call, *node, flags);
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

/// Gives the program a file under one of the numbers that are looked at, or, without a free one, under any.
void supervisor::give(const system_call &call, const descriptor &file, bool close_on_exec) const {
    const auto number = free_device_descriptor(call.thread, 0);
    if (!calls_.succeed_with_file(call, file.get(), close_on_exec, number) &&
        !calls_.succeed_with_file(call, file.get(), close_on_exec, std::nullopt)) {
        calls_.fail(call, EMFILE);
    }
}

void supervisor::open_node(const system_call &call, const device_node &node, uint64_t flags) {
    const bool close_on_exec = (flags & O_CLOEXEC) != 0;
    if (node.kind == node_kind::bus) {
        return give(call, buses_.open(static_cast<uint8_t>(node.number), call.thread, flags), close_on_exec);
    }
    const open_gpios::opened chip = gpios_.open(node.number, call.thread);
    if (chip.file.opened() != 0) {
        const int error = -chip.file.opened();
        gpios_.forget(chip.file);
        return calls_.fail(call, error);
    }
    fcntl(chip.programs_end.get(), F_SETFL, static_cast<int>(flags & O_NONBLOCK));
    give(call, chip.programs_end, close_on_exec);
}

void supervisor::open_dev_folder(const system_call &call, uint64_t flags) {
    const descriptor folder(open(dev_folder, static_cast<int>(flags) | O_CLOEXEC));
    if (!folder.is_open()) {
        return calls_.fail(call, errno);
    }
    give(call, folder, (flags & O_CLOEXEC) != 0);
}

void supervisor::look_up(const system_call &call, const path_call &shape, const std::string &path) {
    struct stat status {};
    if (const auto node = device_named(path)) {
        if (!exists(*node)) {
            return calls_.fail(call, ENOENT);
        }
        status = status_of(*node);
    } else {
        const std::string real = *sys_.real_name(path);
        if ((follows_links(call, shape) ? stat(real.c_str(), &status) : lstat(real.c_str(), &status)) != 0) {
            return calls_.fail(call, errno);
        }
    }
    finish(call, shape.use == path_use::access ? 0 : store_status(call, shape, status));
}

void supervisor::read_link(const system_call &call, const path_call &shape, const std::string &path) const {
    if (const auto node = device_named(path)) {
        return calls_.fail(call, exists(*node) ? EINVAL : ENOENT);
    }
    std::vector<uint8_t> target(
        static_cast<std::size_t>(std::min<uint64_t>(call.arguments[shape.result + 1], PATH_MAX)));
    const ssize_t size =
        readlink(sys_.real_name(path)->c_str(), reinterpret_cast<char *>(target.data()), target.size());
    if (size < 0) {
        return calls_.fail(call, errno);
    }
    const auto read = std::span(target).first(static_cast<std::size_t>(size));
    finish(call, process_memory(call.thread).write(call.arguments[shape.result], read) ? size : -EFAULT);
}

void supervisor::answer_for_descriptor(const system_call &call) {
    const std::string object = object_of(call.thread, call.arguments[0]);
    if (open_bus *const bus = buses_.find(object)) {
        answer_bus(call, *bus);
    } else if (open_gpio *const gpio = gpios_.find(object)) {
        answer_gpio(call, *gpio);
    } else if (object == dev_folder) {
        answer_dev_folder(call);
    } else {
        calls_.pass_on(call);
    }
}

void supervisor::answer_bus(const system_call &call, open_bus &file) {
    switch (call.number) {
    case SYS_ioctl:
    case SYS_read:
    case SYS_write:
        return finish(call, file.perform(call));
    case SYS_fstat:
        return finish(call, store(call, 1, status_of({node_kind::bus, file.bus()})) ? 0 : -EFAULT);
    default:
        return duplicate(call);
    }
}

void supervisor::answer_dev_folder(const system_call &call) {
    switch (call.number) {
    case SYS_getdents64:
        return list_dev_folder(call);
    case SYS_dup:
    case SYS_fcntl:
        return duplicate(call);
    default:
        return calls_.pass_on(call);
    }
}

void supervisor::list_dev_folder(const system_call &call) {
    const descriptor folder = copy_of_descriptor(call.thread, call.arguments[0]);
    const auto size = static_cast<std::size_t>(std::min<uint64_t>(call.arguments[2], largest_listing));
    const auto entries = read_dev_folder(folder.get(), size, nodes_);
    if (!entries) {
        return calls_.pass_on(call); // the kernel refuses again
    }
    finish(call, process_memory(call.thread).write(call.arguments[1], *entries)
                     ? static_cast<int64_t>(entries->size())
                     : -EFAULT);
}

/// Reading is the kernel's: the program has the end of a pipe.
void supervisor::answer_gpio(const system_call &call, open_gpio &file) {
    switch (call.number) {
    case SYS_ioctl: {
        const int64_t result = perform_gpio(call, file);
        gpios_.forward_events(); // that the request has caused
        return finish(call, result);
    }
    case SYS_fstat:
        return file.has_lines()
                   ? calls_.pass_on(call)
                   : finish(call,
                            store(call, 1, status_of({node_kind::gpiochip, file.chip()})) ? 0 : -EFAULT);
    case SYS_dup:
    case SYS_fcntl:
        return duplicate(call);
    default:
        return calls_.pass_on(call);
    }
}

int64_t supervisor::perform_gpio(const system_call &call, open_gpio &file) {
    const auto request = static_cast<uint32_t>(call.arguments[1]);
    const process_memory memory(call.thread);
    std::vector<uint8_t> data(_IOC_SIZE(request));
    if (!memory.read(call.arguments[2], data)) {
        data.clear();
    }
    if (requests_lines(request) && !file.has_lines()) {
        return request_lines(call, file.chip(), data);
    }
    const int result = file.ioctl(call.thread, request, data);
    return result == 0 && !memory.write(call.arguments[2], data) ? -EFAULT : result;
}

/// The lines become a file of their own, whose number is the last field of each of the structures.
int64_t supervisor::request_lines(const system_call &call, unsigned int chip, std::vector<uint8_t> &data) {
    const process_memory memory(call.thread);
    const open_gpios::opened lines = gpios_.open(chip, call.thread);
    int64_t result = lines.file.opened();
    if (result == 0) {
        result = lines.file.ioctl(call.thread, static_cast<uint32_t>(call.arguments[1]), data);
    }
    if (result == 0 && !memory.write(call.arguments[2], data)) {
        result = -EFAULT;
    }
    const auto number = result == 0 ? calls_.add_file(call, lines.programs_end.get()) : std::nullopt;
    if (!number) {
        gpios_.forget(lines.file);
        return result != 0 ? result : -EMFILE;
    }
    std::memcpy(data.data() + data.size() - sizeof(int), &*number, sizeof(int));
    return memory.write(call.arguments[2], data) ? 0 : -EFAULT;
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
    const auto number = free_device_descriptor(call.thread, by_dup ? 0 : static_cast<int>(call.arguments[2]));
    if (!copy.is_open() || !number ||
        !calls_.succeed_with_file(call, copy.get(), command == F_DUPFD_CLOEXEC, number)) {
        calls_.pass_on(call);
    }
}

} // namespace varnel::sim::device_files
