// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/hexadecimal.h"

#include <charconv>
#include <cstdint>
#include <optional>

#include <fmt/format.h>

#include "host/command_line.h"

namespace varnel::tools {

namespace {

constexpr std::size_t digits_of_a_byte = 2;

std::optional<char> byte_from(std::string_view digits) {
    uint8_t byte = 0;
    const char *const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, byte, 16);
    const bool whole = digits.size() == digits_of_a_byte && error == std::errc() && end == last;
    return whole ? std::optional(static_cast<char>(byte)) : std::nullopt;
}

} // namespace

std::string bytes_from_hex(std::string_view text, const char *what) {
    std::string bytes;
    for (std::string_view rest = text; !rest.empty();) {
        if (rest.front() == ' ') {
            rest.remove_prefix(1);
            continue;
        }
        rest.remove_prefix(rest.starts_with("0x") ? 2 : 0);
        const auto byte = byte_from(rest.substr(0, digits_of_a_byte));
        if (!byte) {
            throw host::bad_usage(fmt::format("{}: '{}' is not hexadecimal, two digits a byte", what, text));
        }
        bytes += *byte;
        rest.remove_prefix(digits_of_a_byte);
    }
    return bytes;
}

std::string hex_from_bytes(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += fmt::format("{:02x}", static_cast<uint8_t>(byte));
    }
    return text;
}

} // namespace varnel::tools
