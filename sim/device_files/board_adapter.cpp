// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/board_adapter.h"

#include <algorithm>
#include <cerrno>
#include <exception>

#include <linux/i2c.h>

#include "sim/protocol/message.h"

namespace varnel::sim::device_files {

namespace {

/// A packet to the server must fit into a socket's buffer, which is 208 KiB.
constexpr std::size_t largest_request = std::size_t{192} * 1024;

void append(std::vector<uint8_t> &to, std::span<const uint8_t> bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

/// A write and a read of one chip are one part, as they are one call of a primitive.
bool belong_together(const i2c_message &first, const i2c_message &second) {
    return !first.reads() && second.reads() && first.address == second.address && !first.bytes.empty() &&
           !second.bytes.empty();
}

void append_part(std::vector<uint8_t> &request, message_kind kind, const i2c_message &message,
                 std::span<const uint8_t> written, std::size_t read) {
    append(request, encode(part_header{kind, message.counted(), static_cast<uint8_t>(message.address),
                                       static_cast<uint16_t>(written.size()), static_cast<uint16_t>(read)}));
    append(request, written);
}

/// Appends the parts, and returns how many they are.
uint16_t append_parts(std::vector<uint8_t> &request, std::span<const i2c_message> messages) {
    uint16_t count = 0;
    for (std::size_t i = 0; i < messages.size(); ++i, ++count) {
        const i2c_message &message = messages[i];
        if (i + 1 < messages.size() && belong_together(message, messages[i + 1])) {
            append_part(request, message_kind::write_read, messages[i + 1], message.bytes,
                        messages[i + 1].bytes.size());
            ++i;
        } else if (message.reads()) {
            append_part(request, message_kind::read, message, {}, message.bytes.size());
        } else {
            append_part(request, message_kind::write, message, message.bytes, 0);
        }
    }
    return count;
}

/// Gives each message that reads its bytes of the reply. Returns whether they were all there.
bool distribute(std::span<const uint8_t> reply, std::span<i2c_message> messages) {
    for (i2c_message &message : messages) {
        if (!message.reads()) {
            continue;
        }
        const std::size_t size = reply.size() < 2 ? SIZE_MAX - 2 : wire::number16(reply.data());
        if (reply.size() < size + 2) {
            return false;
        }
        message.bytes.assign(reply.begin() + 2, reply.begin() + 2 + static_cast<std::ptrdiff_t>(size));
        reply = reply.subspan(size + 2);
    }
    return true;
}

uint8_t bits_of(adapter::place where) {
    return static_cast<uint8_t>((where.continues ? continues_transfer : 0) |
                                (where.goes_on ? does_not_end_transfer : 0));
}

/// No chip of the board has an address of ten bits.
bool addressable(const i2c_message &message) {
    return (message.flags & I2C_M_TEN) == 0 && message.address <= 0x7F;
}

} // namespace

int board_adapter::transfer_part(std::span<i2c_message> messages, place where) {
    if (!std::ranges::all_of(messages, addressable)) {
        if (where.continues) {
            (void)perform({}, {true, false}); // the STOP
        }
        return ENXIO;
    }
    return perform(messages, where);
}

int board_adapter::perform(std::span<i2c_message> messages, place where) {
    std::vector<uint8_t> parts;
    const uint16_t count = append_parts(parts, messages);
    if (parts.size() > largest_request) {
        return ENOMEM;
    }
    try {
        to_server_.send(
            encode(transfer_header{message_kind::combined, protocol_version, bus_, bits_of(where), count, 0}),
            parts);
        const std::vector<uint8_t> reply = to_server_.receive();
        if (reply.size() < reply_header::size || message_kind{reply[0]} != message_kind::reply) {
            return ENODEV;
        }
        const reply_header header = decode_reply(reply.data());
        const auto read = std::span(reply).subspan(reply_header::size);
        return header.result < 0 ? header.error : distribute(read, messages) ? 0 : EIO;
    } catch (const std::exception &) {
        return ENODEV; // the server has ended
    }
}

} // namespace varnel::sim::device_files
