// SPDX-License-Identifier: Apache-2.0
#include "sim/server/combined.h"

#include <cerrno>
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

combined_request decode_combined(std::span<const uint8_t> message) {
    const transfer_header header = decode_transfer(cut(message, transfer_header::size).data());
    if (header.version != protocol_version) {
        throw std::runtime_error("malformed combined transfer");
    }
    combined_request request{header.adapter, (header.address & continues_transfer) != 0,
                             (header.address & does_not_end_transfer) != 0};
    for (std::size_t i = 0; i < header.write_length; ++i) {
        const part_header part = decode_part(cut(message, part_header::size).data());
        request.parts.push_back({operation_of(part.kind), header.adapter, part.address,
                                 cut(message, part.write_length), part.read_length, part.counted});
    }
    if (request.parts.empty() && (!request.continues || request.goes_on)) {
        throw std::runtime_error("malformed combined transfer");
    }
    return request;
}

std::vector<transfer_outcome> perform(transaction *wire, const combined_request &request) {
    if (request.parts.empty()) {
        return {};
    }
    if (wire == nullptr) {
        return {{-1, request.continues ? ETIMEDOUT : ENODEV}};
    }
    return perform(*wire, request.parts);
}

bool all_done(std::span<const transfer_request> requests, std::span<const transfer_outcome> outcomes) {
    return outcomes.size() == requests.size() && error_of(requests.back(), outcomes.back()) == 0;
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
