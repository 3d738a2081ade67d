// SPDX-License-Identifier: Apache-2.0
// The null bus: writes are discarded, and every read returns the same bytes at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "smbus/transactions.h"

namespace varnel::bench {

using answer_bytes = std::array<uint8_t, 64>;

constexpr answer_bytes made_answer() {
    answer_bytes bytes{};
    for (unsigned int n = 0; n < bytes.size(); ++n) {
        bytes[n] = answer_byte(n);
    }
    return bytes;
}
constexpr answer_bytes null_answer = made_answer();

/// Answers a read; `length` is at most 64. Stores bytes and words without a call, to cost as little as
/// possible.
inline void answer(uint8_t *buffer, std::size_t length) {
    if (length > 2) {
        std::memcpy(buffer, null_answer.data(), length);
        return;
    }
    if (length > 0) {
        buffer[0] = null_answer[0];
    }
    if (length > 1) {
        buffer[1] = null_answer[1];
    }
}

static_assert(block_length < null_answer.size());

} // namespace varnel::bench
