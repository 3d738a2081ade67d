// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/i2c_messages.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <linux/i2c.h>

namespace varnel::sim {

namespace {

i2c_reply reply_to(int error) {
    if (error == 0) {
        return i2c_reply::done;
    }
    return error == ENXIO || error == EREMOTEIO ? i2c_reply::not_acknowledged : i2c_reply::failed;
}

} // namespace

/// Whether the message begins a transfer, or continues one that has not failed.
bool i2c_messages::belongs(const message_header &header) {
    if (header.first) {
        begun_ = true;
        continues_ = false;
        waiting_.clear();
    }
    return begun_;
}

i2c_reply i2c_messages::pass_on(bool goes_on) {
    const int error = bus_.transfer_part(waiting_, {continues_, goes_on});
    continues_ = true;
    begun_ = goes_on && error == 0;
    return reply_to(error);
}

i2c_reply i2c_messages::write(const message_header &header, std::span<const uint8_t> data) {
    if (!belongs(header)) {
        return i2c_reply::failed;
    }
    device_files::i2c_message message{header.address, header.flags, {data.begin(), data.end()}};
    if (!header.last && !waiting_.empty()) {
        if (const i2c_reply reply = pass_on(true); reply != i2c_reply::done) {
            return reply;
        }
        waiting_.clear();
    }
    waiting_.push_back(std::move(message));
    return header.last ? pass_on(false) : i2c_reply::done;
}

i2c_reply i2c_messages::read(const message_header &header, std::span<uint8_t> data) {
    if (!belongs(header)) {
        return i2c_reply::failed;
    }
    // Linux's driver gets as many bytes as it asks for, whatever the first one says.
    const auto flags = static_cast<uint16_t>(header.flags & ~I2C_M_RECV_LEN);
    waiting_.push_back({header.address, flags, std::vector<uint8_t>(data.size())});
    const i2c_reply reply = pass_on(!header.last);
    if (reply == i2c_reply::done) {
        std::ranges::copy(waiting_.back().bytes, data.begin());
    }
    waiting_.clear();
    return reply;
}

} // namespace varnel::sim
