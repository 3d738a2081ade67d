// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/open_buses.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/json.h"
#include "sim/device_files/board_adapter.h"
#include "sim/device_files/calling_process.h"

namespace varnel::sim::device_files {

namespace {

/// The caller's memory; nothing of it is needed for a message without bytes, whatever its address.
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

} // namespace

open_bus::open_bus(uint8_t bus, repetition &kept, pid_t opener, uint64_t access, std::string programs_end,
                   descriptor our_end, channel to_server)
    : bus_(bus), repeated_(kept), access_(access), programs_end_(std::move(programs_end)),
      our_end_(std::move(our_end)), to_server_(std::move(to_server)), user_(opener) {
    act_for_user();
}

int64_t open_bus::perform(const system_call &call) {
    if (user_ != call.thread) {
        user_ = call.thread;
        act_for_user();
    }
    board_adapter adapter(to_server_, bus_, repeated_);
    const memory_of_caller memory(call.thread);
    switch (call.number) {
    case SYS_read:
        return access_ == O_WRONLY ? -EBADF
                                   : file_.read(adapter, memory, call.arguments[1], call.arguments[2]);
    case SYS_write:
        return access_ == O_RDONLY ? -EBADF
                                   : file_.write(adapter, memory, call.arguments[1], call.arguments[2]);
    default:
        return file_.ioctl(adapter, memory, static_cast<uint32_t>(call.arguments[1]), call.arguments[2]);
    }
}

/// The server names transfers after the process that they are for.
void open_bus::act_for_user() {
    to_server_.send({{"command", "act-for"}, {"pid", process_of(user_)}});
    if (!to_server_.receive_control()) {
        throw std::runtime_error("the board's server has ended");
    }
}

/// A packet without bytes makes the program's end readable for poll(2), as a device file always is.
descriptor open_buses::open(uint8_t bus, pid_t thread, uint64_t flags) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    descriptor theirs(ends[0]);
    descriptor ours(ends[1]);
    std::string object = object_of(getpid(), static_cast<uint64_t>(theirs.get()));
    if (send(ours.get(), nullptr, 0, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "send");
    }
    files_.emplace_back(bus, repeated_[bus], thread, flags & O_ACCMODE, std::move(object), std::move(ours),
                        channel(board_.connect()));
    return theirs;
}

open_bus *open_buses::find(const std::string &socket) {
    const auto found = std::ranges::find(files_, socket, &open_bus::programs_end);
    return found == files_.end() ? nullptr : &*found;
}

std::vector<int> open_buses::our_ends() const {
    std::vector<int> ends;
    ends.reserve(files_.size());
    std::ranges::transform(files_, std::back_inserter(ends), &open_bus::our_end);
    return ends;
}

void open_buses::forget(int our_end) {
    files_.remove_if([our_end](const open_bus &file) { return file.our_end() == our_end; });
}

} // namespace varnel::sim::device_files
