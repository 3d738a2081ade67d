// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel::host {

/// The number that the whole text is, in digits of a base.
template <typename Number, typename... Base>
[[nodiscard]] std::optional<Number> digits_as(std::string_view text, Base... base) {
    Number number{};
    const char *const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number, base...);
    return error == std::errc{} && end == last ? std::optional(number) : std::nullopt;
}

/// A whole number: "226" or "0xe2". Leading zeros mean nothing: "010" is ten.
template <std::integral Number>
[[nodiscard]] std::optional<Number> whole_number(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const auto digits = text.substr(hexadecimal ? 2 : 0);
    // After 0x there is no sign.
    return digits.starts_with('-') && hexadecimal ? std::nullopt
                                                  : digits_as<Number>(digits, hexadecimal ? 16 : 10);
}

/// A decimal number, such as "0.25".
[[nodiscard]] inline std::optional<double> real_number(std::string_view text) {
    return digits_as<double>(text);
}

/// The numbers from `least`, or 0, to `most`.
struct range {
    constexpr range(uint64_t last) : most(last) {}
    constexpr range(uint64_t first, uint64_t last) : least(first), most(last) {}

    uint64_t least = 0;
    uint64_t most;
};

/// A whole number as above. Throws bad_usage: "WHAT: 'TEXT' is not a number from LEAST to MOST".
[[nodiscard]] uint64_t c_number(std::string_view text, range allowed, std::string_view what);

/// "4096", "64K", "2M", "1G": powers of 1024. Throws bad_usage, which names `what`.
[[nodiscard]] uint64_t size_in_bytes(std::string_view text, std::string_view what);

} // namespace varnel::host
