// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/numbers.h"

namespace varnel::host {

/// Two hexadecimal digits a byte: "01 ff" with " " between them.
[[nodiscard]] inline std::string hex(std::span<const uint8_t> bytes, std::string_view between = "") {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += text.empty() ? std::string_view() : between;
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

[[nodiscard]] inline std::string hex(uint8_t byte) { return hex(std::span(&byte, 1)); }

/// The byte that two hexadecimal digits are.
[[nodiscard]] inline std::optional<uint8_t> byte_from_hex(std::string_view digits) {
    return digits.size() == 2 ? digits_as<uint8_t>(digits, 16) : std::nullopt;
}

/// The bytes of "01ff", "01 ff" or "0x01 0xFF"; nothing for other text.
[[nodiscard]] inline std::optional<std::vector<uint8_t>> bytes_from_hex(std::string_view text) {
    std::vector<uint8_t> bytes;
    for (std::string_view rest = text; !rest.empty();) {
        if (rest.front() == ' ') {
            rest.remove_prefix(1);
            continue;
        }
        rest.remove_prefix(rest.starts_with("0x") ? 2 : 0);
        const auto byte = byte_from_hex(rest.substr(0, 2));
        if (!byte) {
            return std::nullopt;
        }
        bytes.push_back(*byte);
        rest.remove_prefix(2);
    }
    return bytes;
}

} // namespace varnel::host
