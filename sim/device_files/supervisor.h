// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/device_files/call_shape.h"
#include "sim/device_files/notification.h"
#include "sim/device_files/open_buses.h"
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
    supervisor(call_listener calls, const board_files &files);

    [[nodiscard]] int calls() const { return calls_.get(); }
    /// Whether any program is left whose calls come here.
    [[nodiscard]] bool has_programs() const;
    [[nodiscard]] open_buses &buses() { return open_; }
    /// Answers the next call.
    void answer();

  private:
    void answer_for_path(const system_call &call, const path_call &shape);
    void answer_for_descriptor(const system_call &call);
    void open_path(const system_call &call, const std::string &path, uint64_t flags);
    void open_bus_file(const system_call &call, uint8_t bus, uint64_t flags);
    void look_up(const system_call &call, const path_call &shape, const std::string &path);
    void duplicate(const system_call &call);
    void finish(const system_call &call, int64_t result) const;
    [[nodiscard]] bool exists(unsigned int bus) const;

    call_listener calls_;
    std::vector<uint8_t> numbers_; ///< of the board's buses
    channel power_;                ///< keeps the board on
    sys_folder sys_;
    open_buses open_;
};

} // namespace varnel::sim::device_files
