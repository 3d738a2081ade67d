// SPDX-License-Identifier: Apache-2.0
#include "sim/capture/wire.h"

#include <algorithm>
#include <cerrno>

namespace varnel::sim::capture {

namespace {

bool struck(const transfer_record &record, fault_kind kind) {
    return std::ranges::find(record.faults, kind) != record.faults.end();
}

/// The line that the adapter waited for in vain.
held_line held_in(const transfer_record &record) {
    if (record.error != ETIMEDOUT) {
        return held_line::none;
    }
    if (struck(record, fault_kind::stuck)) {
        return held_line::data;
    }
    const bool clock = struck(record, fault_kind::clock_held) || struck(record, fault_kind::stretch);
    return clock ? held_line::clock : held_line::none;
}

std::size_t length_of(const traced_data &data) {
    return data.bytes.size() == traced_bytes ? std::max(data.length, traced_bytes) : data.bytes.size();
}

/// A write-read of one byte that a fault has made one of none.
bool lost_its_only_byte(const transfer_record &record) {
    return record.kind == operation::write_read && record.read.length <= 1 &&
           struck(record, fault_kind::short_data);
}

wire_message written_by(const transfer_record &record) {
    const traced_data &data = record.written;
    wire_message message{direction::write, data.bytes, length_of(data)};
    message.address_acknowledged = record.error != ENXIO || !data.bytes.empty();
    message.last_acknowledged =
        record.error != EIO || !record.read.bytes.empty() || lost_its_only_byte(record);
    return message;
}

/// Whether a write-read came to its second START.
bool turned(const transfer_record &record, const wire_message &written) {
    const bool refused = !written.address_acknowledged || !written.last_acknowledged;
    return !refused && (record.error != ETIMEDOUT || !record.read.bytes.empty());
}

wire_message read_by(const transfer_record &record) {
    wire_message message{direction::read, record.read.bytes, length_of(record.read)};
    message.address_acknowledged = record.error != ENXIO;
    message.last_acknowledged = false;
    return message;
}

std::vector<wire_message> messages_of(const transfer_record &record) {
    std::vector<wire_message> messages;
    if (record.kind != operation::read) {
        messages.push_back(written_by(record));
    }
    if (record.kind == operation::read ||
        (record.kind == operation::write_read && turned(record, messages.front()))) {
        messages.push_back(read_by(record));
    }
    messages.front().stop = messages.size() == 1;
    messages.back().stop = record.stop;
    return messages;
}

wire_message lost_by(const transfer_record &record) {
    return {.way = record.kind == operation::read ? direction::read : direction::write,
            .bytes = {},
            .length = 0,
            .address_acknowledged = false};
}

} // namespace

wire_activity activity_of(const transfer_record &record) {
    const held_line held = held_in(record);
    const bool begun = !struck(record, fault_kind::stuck) && !struck(record, fault_kind::clock_held);
    if (record.error == ENODEV || (record.error == ETIMEDOUT && (held == held_line::none || !begun))) {
        return {.held = held};
    }
    if (record.error == EAGAIN) {
        return {.messages = {lost_by(record)}, .arbitration_lost = true};
    }
    return {.messages = messages_of(record), .held = held};
}

} // namespace varnel::sim::capture
