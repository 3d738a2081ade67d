// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <linux/i2c.h>

#include "sim/device_files/adapter.h"

namespace varnel::test {

/// Keeps what it was asked for as text, and answers reads with given bytes.
class scripted_adapter : public sim::device_files::adapter {
  public:
    int transfer_part(std::span<sim::device_files::i2c_message> messages, place where) override {
        asked += where.continues ? "... " : "";
        for (auto &message : messages) {
            asked += (message.flags & I2C_M_TEN) != 0 ? "ten bits " : "";
            if (message.reads()) {
                asked += fmt::format("{:02x}R{}{} ", message.address, message.bytes.size(),
                                     message.counted() ? "+" : "");
                message.bytes = answer;
            } else {
                asked += fmt::format("{:02x}W[{:02x}] ", message.address, fmt::join(message.bytes, " "));
            }
        }
        asked += where.goes_on ? "... " : "";
        if (!first_errors.empty()) {
            const int first = first_errors.front();
            first_errors.pop_front();
            return first;
        }
        return error;
    }

    std::string asked;
    std::vector<uint8_t> answer;
    std::deque<int> first_errors; ///< of the first transfers
    int error = 0;                ///< of all others
};

} // namespace varnel::test
