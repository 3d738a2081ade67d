// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace varnel::platform {

enum class phases { write, read, write_read };

/// One bus transaction with one slave. A phase without bytes is only the address.
struct transfer {
    phases kind;
    uint8_t slave;
    std::span<const uint8_t> written;
    std::span<uint8_t> answer;

    [[nodiscard]] bool is_quick() const {
        return kind != phases::write_read && written.empty() && answer.empty();
    }
    [[nodiscard]] bool has_empty_phase() const {
        return (kind != phases::read && written.empty()) || (kind != phases::write && answer.empty());
    }
};

} // namespace varnel::platform
