// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/i2c_messages.h"

#include <cerrno>
#include <cstddef>
#include <utility>

#include <varnel/platform.h>

namespace varnel::sim {

namespace {

i2c_reply reply_to(bool succeeded) {
    if (succeeded) {
        return i2c_reply::done;
    }
    return errno == ENXIO || errno == EREMOTEIO ? i2c_reply::not_acknowledged : i2c_reply::failed;
}

} // namespace

i2c_reply i2c_messages::write(const i2c_message &message, std::span<const uint8_t> data) {
    kept_.reset();
    if (!message.first) {
        return i2c_reply::failed;
    }
    if (!message.last) {
        kept_ = {message.address, {data.begin(), data.end()}};
        return i2c_reply::done;
    }
    const auto length = static_cast<uint16_t>(data.size());
    return reply_to(i2c_master_write_on_bus(bus_, message.address, data.data(), length) == length);
}

i2c_reply i2c_messages::read(const i2c_message &message, std::span<uint8_t> data) {
    const auto before = std::exchange(kept_, std::nullopt);
    const auto length = static_cast<uint16_t>(data.size());
    if (message.first && message.last) {
        return reply_to(i2c_master_read_on_bus(bus_, message.address, data.data(), length) == length);
    }
    if (!message.last || !before || before->address != message.address) {
        return i2c_reply::failed;
    }
    return reply_to(i2c_writeread_on_bus(bus_, message.address, before->data.data(), data.data(),
                                         static_cast<uint16_t>(before->data.size()), length) == 0);
}

} // namespace varnel::sim
