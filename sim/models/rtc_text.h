// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "sim/models/rtc_calendar.h"

namespace varnel::sim {

/// "2026-11-21 08:00:00", 2000 to 2199, in 24-hour form and with the day of the week (Sunday = 1).
[[nodiscard]] std::optional<rtc_calendar> parse_time(std::string_view text);
/// The host's local time.
[[nodiscard]] rtc_calendar local_time(std::time_t now);
/// The same form, for either form of hours. Digits that are no BCD are printed as they are.
[[nodiscard]] std::string text_of(const rtc_calendar &time);

} // namespace varnel::sim
