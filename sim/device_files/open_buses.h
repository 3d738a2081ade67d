// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

#include "sim/device_files/i2c_file.h"
#include "sim/device_files/notification.h"
#include "sim/protocol/meeting_point.h"

namespace varnel::sim::device_files {

/// An open file of a bus. Programs have one end of a pair of sockets, which the kernel hands on as any other
/// descriptor; the other end is hung up when the last of them is closed.
class open_bus {
  public:
    /// `kept` is that of the bus. `access` is O_RDONLY, O_WRONLY or O_RDWR; `programs_end` is that socket as /proc names it; `to_server` is a
    /// connection for this file only. Throws std::exception when the server does not accept it.
    open_bus(uint8_t bus, repetition &kept, pid_t opener, uint64_t access, std::string programs_end,
             descriptor our_end, channel to_server);

    [[nodiscard]] uint8_t bus() const { return bus_; }
    [[nodiscard]] const std::string &programs_end() const { return programs_end_; }
    [[nodiscard]] int our_end() const { return our_end_.get(); }

    /// Performs a read(), write() or ioctl() of this file. Returns its result, or a negative errno. Throws
    /// std::runtime_error when the board's server has ended.
    [[nodiscard]] int64_t perform(const system_call &call);

  private:
    void act_for_user();

    uint8_t bus_;
    repetition &repeated_;
    uint64_t access_;
    std::string programs_end_;
    descriptor our_end_;
    channel to_server_;
    pid_t user_; ///< thread that called last
    i2c_file file_ = {};
};

/// The open files of all buses of a board.
class open_buses {
  public:
    explicit open_buses(meeting_point board) : board_(std::move(board)) {}

    /// Opens a bus for a thread, with the flags of open(2): the program's end. The file exists until all copies of it
    /// are closed. Throws std::exception when there are no more descriptors, or the board has ended.
    [[nodiscard]] descriptor open(uint8_t bus, pid_t thread, uint64_t flags);
    /// The file whose end in programs is this socket, as /proc names it; null when there is none.
    [[nodiscard]] open_bus *find(const std::string &socket);
    /// Our ends, to be watched for being hung up.
    [[nodiscard]] std::vector<int> our_ends() const;
    /// Forgets the file, because no program has it open any more.
    void forget(int our_end);

  private:
    meeting_point board_;
    std::map<uint8_t, repetition> repeated_ = {}; ///< on each bus
    std::list<open_bus> files_ = {};
};

} // namespace varnel::sim::device_files
