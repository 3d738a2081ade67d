// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "sim/device_files/call_shape.h"
#include "sim/device_files/i2c_file.h"
#include "sim/device_files/notification.h"
#include "sim/device_files/sys_folder.h"
#include "sim/protocol/meeting_point.h"

namespace varnel::sim::device_files {

/// What programs are to find under the names of device files.
struct board_files {
    meeting_point board;
    std::string name; ///< of the board
    std::vector<uint8_t> buses;
};

/// Answers the system calls of programs that concern the board's device files: /dev/i2c-N exists for the board's
/// buses and for no other, whatever the machine has. Everything else is the kernel's.
class supervisor {
  public:
    supervisor(call_listener calls, board_files files);

    [[nodiscard]] int calls() const { return calls_.get(); }
    /// Whether any program is left whose calls come here.
    [[nodiscard]] bool has_programs() const;
    /// The other ends of the open buses, to be watched for being hung up.
    [[nodiscard]] std::vector<int> open_buses() const;
    /// Answers the next call.
    void answer();
    /// Forgets the bus, because no program has it open any more.
    void close_bus(int our_end);

  private:
    /// An open file of a bus. Programs have one end of a pair of sockets, which the kernel hands on as any other
    /// descriptor; the other end is hung up when the last of them is closed.
    struct open_bus {
        ino_t inode; ///< of the programs' end
        descriptor our_end;
        uint8_t bus;
        pid_t user; ///< thread that called last
        channel to_server;
        i2c_file file = {};
    };

    void answer(const system_call &call);
    void open_path(const system_call &call, const std::string &path, uint64_t flags);
    void open_bus_file(const system_call &call, uint8_t bus, uint64_t flags);
    void look_up(const system_call &call, const path_call &shape, const std::string &path);
    void use_descriptor(const system_call &call, open_bus &bus);
    void duplicate(const system_call &call);
    void finish(const system_call &call, int64_t result) const;
    [[nodiscard]] open_bus *find(const system_call &call, uint64_t number);
    [[nodiscard]] bool exists(unsigned int bus) const;
    static void act_for(open_bus &bus, pid_t thread);

    call_listener calls_;
    board_files files_;
    channel power_; ///< keeps the board on
    sys_folder sys_;
    std::list<open_bus> open_buses_ = {};
};

} // namespace varnel::sim::device_files
