// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/board/trace.h"

namespace varnel::sim::capture {

/// Reads what Linux prints of the events of the group `i2c` (/sys/kernel/tracing/trace, include/trace/events/i2c.h), line by
/// line. A write that is followed by a read of the same address is a write-read. Calls of which events are missing are left out.
class kernel_trace {
  public:
    /// Whether a line says that the kernel had no room for further events.
    [[nodiscard]] static bool tells_of_loss(const std::string &line);

    /// The transfers that a line completes; none where it is of something else. The chips of a transfer and what it
    /// selects are unknown; of one that failed, nothing counts as having been on the wire but what it was to write. Linux prints no more than 64 bytes of each message.
    [[nodiscard]] std::vector<transfer_record> add(const std::string &line);

  private:
    struct message {
        long address = 0;
        long flags = 0;
        std::size_t length = 0;
        std::vector<uint8_t> bytes = {};
    };
    struct call {
        transfer_origin origin;
        std::map<long, message> messages = {}; ///< by their numbers
    };

    void add_message(call &made, const std::string &words, bool is_reply);
    [[nodiscard]] static std::vector<transfer_record> transfers_of(uint8_t bus, const call &made, int result);

    std::map<long, call> calls_ = {}; ///< of each adapter, the one that is going on
};

} // namespace varnel::sim::capture
