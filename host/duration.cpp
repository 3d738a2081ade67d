// SPDX-License-Identifier: Apache-2.0
#include "host/duration.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "host/numbers.h"

namespace varnel::host {

namespace {

constexpr std::chrono::milliseconds longest_duration = std::chrono::hours(24);

} // namespace

std::optional<std::chrono::milliseconds> duration(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, double>, 3> units{
        {{"ms", 1}, {"s", 1000}, {"m", 60'000}}};
    const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto number = real_number(text.substr(0, digits));
    const auto *const unit =
        std::ranges::find(units, text.substr(digits), &std::pair<std::string_view, double>::first);
    const double milliseconds = number && unit != units.end() ? *number * unit->second : 0;
    if (!(milliseconds >= 1 && milliseconds <= static_cast<double>(longest_duration.count()))) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(static_cast<int64_t>(milliseconds));
}

} // namespace varnel::host
