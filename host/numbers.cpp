// SPDX-License-Identifier: Apache-2.0
#include "host/numbers.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "host/command_line.h"

namespace varnel::host {

namespace {

constexpr std::chrono::milliseconds longest_duration = std::chrono::hours(24);

std::optional<uint64_t> c_number(std::string_view text) {
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return whole_number<uint64_t>(text);
    }
    uint64_t number = 0;
    const char *const first = text.data() + 2;
    const char *const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(first, last, number, 16);
    return error == std::errc{} && end == last ? std::optional(number) : std::nullopt;
}

} // namespace

uint64_t c_number(std::string_view text, uint64_t most, std::string_view what) {
    const auto number = c_number(text);
    if (!number || *number > most) {
        throw bad_usage(fmt::format("{}: '{}' is not a number from 0 to {}{}", what, text, most,
                                    most > 9 ? fmt::format(" (0x{:x})", most) : ""));
    }
    return *number;
}

uint64_t size_in_bytes(std::string_view text) {
    static constexpr std::string_view units = "KMG";
    const std::size_t unit = text.empty() ? std::string_view::npos : units.find(text.back());
    const unsigned int shift =
        unit == std::string_view::npos ? 0 : 10 * (static_cast<unsigned int>(unit) + 1);
    const auto number = c_number(shift == 0 ? text : text.substr(0, text.size() - 1));
    if (!number || *number > (std::numeric_limits<uint64_t>::max() >> shift)) {
        throw bad_usage(fmt::format("'{}' is not a size, such as 4096, 64K or 1M", text));
    }
    return *number << shift;
}

std::chrono::milliseconds duration(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, double>, 3> units{
        {{"ms", 1}, {"s", 1000}, {"m", 60'000}}};
    const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto number = whole_number<double>(text.substr(0, digits));
    const auto *const unit =
        std::ranges::find(units, text.substr(digits), &std::pair<std::string_view, double>::first);
    const double milliseconds = number && unit != units.end() ? *number * unit->second : 0;
    if (!(milliseconds >= 1 && milliseconds <= static_cast<double>(longest_duration.count()))) {
        throw bad_usage(fmt::format("'{}' is not a time, such as 500ms, 1s or 2m", text));
    }
    return std::chrono::milliseconds(static_cast<int64_t>(milliseconds));
}

} // namespace varnel::host
