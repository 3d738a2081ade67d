// SPDX-License-Identifier: Apache-2.0
// Blocks and options as in draft-ietf-opsawg-pcapng, the packets as in the description of LINKTYPE_I2C_LINUX at
// tcpdump.org. All numbers of the blocks have their low byte first.
#include "sim/capture/pcapng.h"

#include <utility>

#include <fmt/format.h>

namespace varnel::sim::capture {

namespace {

enum block_type : uint32_t { interface_block = 1, packet_block = 6, section_block = 0x0A0D0D0A };
enum option : uint16_t {
    end_of_options = 0,
    comment = 1,
    interface_name = 2,
    application = 4,
    drop_count = 4
};
constexpr uint32_t byte_order_magic = 0x1A2B3C4D;

template <class Number>
std::string low_first(Number value) {
    std::string bytes;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes.push_back(static_cast<char>(static_cast<uint64_t>(value) >> (8 * i)));
    }
    return bytes;
}

/// As long as a multiple of four.
std::string padded(std::string bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string option_of(option code, const std::string &value) {
    return low_first(static_cast<uint16_t>(code)) + low_first(static_cast<uint16_t>(value.size())) +
           padded(value);
}

std::string block(block_type type, const std::string &body) {
    constexpr uint32_t around_body = 12;
    const std::string length = low_first(static_cast<uint32_t>(body.size()) + around_body);
    return low_first(static_cast<uint32_t>(type)) + length + body + length;
}

} // namespace

std::string pcapng::beginning() {
    constexpr uint16_t major_version = 1;
    constexpr uint16_t minor_version = 0;
    constexpr uint64_t unknown_length = UINT64_MAX;
    return block(section_block, low_first(byte_order_magic) + low_first(major_version) +
                                    low_first(minor_version) + low_first(unknown_length) +
                                    option_of(application, "varnel-sim") + option_of(end_of_options, ""));
}

/// The description of a bus that was not seen before; else empty.
std::string pcapng::interface_of(uint8_t bus) {
    if (!interfaces_.try_emplace(bus, static_cast<uint32_t>(interfaces_.size())).second) {
        return "";
    }
    constexpr uint16_t reserved = 0;
    constexpr uint32_t unlimited = 0;
    return block(interface_block, low_first(i2c_linux) + low_first(reserved) + low_first(unlimited) +
                                      option_of(interface_name, fmt::format("i2c-{}", bus)) +
                                      option_of(end_of_options, ""));
}

pcapng::packet pcapng::packet_of(const transfer_record &record, const wire_message &message,
                                 bool arbitration_lost) {
    const bool reads = message.way == direction::read;
    const bool refused = !message.address_acknowledged || (!reads && !message.last_acknowledged);
    packet packed{record.bus, 0};
    packed.flags = (reads ? message_flag::read : 0) | (message.stop ? message_flag::stop : 0) |
                   (arbitration_lost ? message_flag::arbitration_lost
                    : refused        ? message_flag::not_acknowledged
                                     : 0);
    packed.data.push_back(static_cast<char>(record.address << 1 | (reads ? 1 : 0)));
    packed.data.append(message.bytes.begin(), message.bytes.end());
    packed.uncaptured = message.length - message.bytes.size();
    return packed;
}

std::string pcapng::block_of(const packet &packed, const transfer_record &record, const remarks &said) const {
    std::string data(1, static_cast<char>(packed.bus));
    for (int shift = 24; shift >= 0; shift -= 8) { // the high byte first
        data.push_back(static_cast<char>(packed.flags >> shift));
    }
    data += packed.data;
    const auto time = static_cast<uint64_t>(record.time.count());
    std::string body = low_first(interfaces_.at(record.bus)) + low_first(static_cast<uint32_t>(time >> 32)) +
                       low_first(static_cast<uint32_t>(time)) +
                       low_first(static_cast<uint32_t>(data.size())) +
                       low_first(static_cast<uint32_t>(data.size() + packed.uncaptured)) + padded(data);
    if (!said.comment.empty()) {
        body += option_of(comment, said.comment);
    }
    if (said.lost != 0) {
        body += option_of(drop_count, low_first(said.lost));
    }
    return block(packet_block, body + option_of(end_of_options, ""));
}

std::string pcapng::blocks_of(const transfer_record &record) {
    const wire_activity activity = activity_of(record);
    std::vector<packet> packets;
    for (const wire_message &message : activity.messages) {
        packets.push_back(packet_of(record, message, activity.arbitration_lost));
    }
    if (activity.held != held_line::none) {
        const uint32_t line = activity.held == held_line::data ? event::data_low : event::clock_low;
        packets.push_back({static_cast<uint8_t>(record.bus | is_event), line});
    }
    if (packets.empty()) {
        return "";
    }
    remarks said{trace_line(record), std::exchange(lost_, 0)};
    std::string blocks = interface_of(record.bus);
    for (const packet &packed : packets) {
        blocks += block_of(packed, record, std::exchange(said, {}));
    }
    return blocks;
}

} // namespace varnel::sim::capture
