// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::host {

/// A decimal number that is the whole text.
template <typename Number>
std::optional<Number> whole_number(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// A whole number as in C, "226" or "0xe2", up to `most`. Throws bad_usage: "WHAT: 'TEXT' is not a number
/// from 0 to MOST".
[[nodiscard]] uint64_t c_number(std::string_view text, uint64_t most, std::string_view what);

/// "4096", "64K", "2M", "1G": powers of 1024. Throws bad_usage.
[[nodiscard]] uint64_t size_in_bytes(std::string_view text);

/// "500ms", "1s", "2m", "1.5s": more than nothing, up to a day. Throws bad_usage.
[[nodiscard]] std::chrono::milliseconds duration(std::string_view text);

} // namespace varnel::host
