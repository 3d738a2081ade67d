// SPDX-License-Identifier: Apache-2.0
#include "sim/server/combined.h"

#include <stdexcept>

namespace varnel::sim {

namespace {

/// The kind of a message as the board names it.
operation operation_of(message_kind kind) {
    switch (kind) {
    case message_kind::write:
        return operation::write;
    case message_kind::read:
        return operation::read;
    case message_kind::write_read:
        return operation::write_read;
    default:
        throw std::runtime_error("malformed part");
    }
}

/// Takes the first bytes off a message.
std::span<const uint8_t> cut(std::span<const uint8_t> &message, std::size_t size) {
    if (message.size() < size) {
        throw std::runtime_error("truncated combined transfer");
    }
    const auto first = message.first(size);
    message = message.subspan(size);
    return first;
}

} // namespace

std::vector<transfer_request> decode_combined(std::span<const uint8_t> message) {
    const transfer_header header = decode_transfer(cut(message, transfer_header::size).data());
    if (header.version != protocol_version || header.write_length == 0) {
        throw std::runtime_error("malformed combined transfer");
    }
    std::vector<transfer_request> requests;
    for (std::size_t i = 0; i < header.write_length; ++i) {
        const part_header part = decode_part(cut(message, part_header::size).data());
        requests.push_back({operation_of(part.kind), header.adapter, part.address,
                            cut(message, part.write_length), part.read_length, part.counted});
    }
    return requests;
}

combined_reply encode_combined(std::span<const transfer_request> requests,
                               std::span<const transfer_outcome> outcomes) {
    std::vector<uint8_t> body;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        if (const int error = error_of(requests[i], outcomes[i]); error != 0) {
            return {encode(reply_header{message_kind::reply, protocol_version, -1, error, 0}), {}};
        }
        if (requests[i].kind != operation::write) {
            const auto &read = outcomes[i].read;
            body.push_back(wire::byte_of(static_cast<uint32_t>(read.size()), 0));
            body.push_back(wire::byte_of(static_cast<uint32_t>(read.size()), 1));
            body.insert(body.end(), read.begin(), read.end());
        }
    }
    const auto done = static_cast<int32_t>(outcomes.size());
    return {encode(reply_header{message_kind::reply, protocol_version, done, 0, 0}), body};
}

} // namespace varnel::sim
