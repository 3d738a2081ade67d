// SPDX-License-Identifier: Apache-2.0
#include "sim/models/rtc_text.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "host/hex.h"

namespace varnel::sim {

namespace {

constexpr std::string_view time_shape = "0000-00-00 00:00:00";

/// The number at `from`, of `length` digits; the shape has been checked.
unsigned int digits_at(std::string_view text, std::size_t from, std::size_t length) {
    return host::whole_number<unsigned int>(text.substr(from, length)).value_or(0);
}

bool has_time_shape(std::string_view text) {
    const auto fits = [](char shape, char c) { return shape == '0' ? c >= '0' && c <= '9' : c == shape; };
    bool all = text.size() == time_shape.size();
    for (std::size_t i = 0; all && i < text.size(); ++i) {
        all = fits(time_shape[i], text[i]);
    }
    return all;
}

rtc_calendar calendar_of(const std::chrono::year_month_day &date, unsigned int hour, unsigned int minute,
                         unsigned int second) {
    const auto year = static_cast<unsigned int>(static_cast<int>(date.year()));
    const auto month = static_cast<unsigned int>(date.month());
    const unsigned int sunday_is_one = std::chrono::weekday{std::chrono::sys_days{date}}.c_encoding() + 1;
    return {.seconds = to_bcd(second),
            .minutes = to_bcd(minute),
            .hours = to_bcd(hour),
            .day = static_cast<uint8_t>(sunday_is_one),
            .date = to_bcd(static_cast<unsigned int>(date.day())),
            .month = static_cast<uint8_t>(to_bcd(month) | (year >= 2100 ? rtc_calendar::century : 0)),
            .year = to_bcd(year % 100)};
}

/// The hours register in 24-hour form.
uint8_t hours_of_day(uint8_t hours) {
    if ((hours & rtc_calendar::twelve_hour_form) == 0) {
        return hours;
    }
    return to_bcd(from_bcd(hours & 0x1FU) % 12 + ((hours & rtc_calendar::pm) != 0 ? 12 : 0));
}

} // namespace

std::optional<rtc_calendar> parse_time(std::string_view text) {
    if (!has_time_shape(text)) {
        return std::nullopt;
    }
    const unsigned int year = digits_at(text, 0, 4);
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year)),
                                           std::chrono::month(digits_at(text, 5, 2)),
                                           std::chrono::day(digits_at(text, 8, 2))};
    const unsigned int hour = digits_at(text, 11, 2);
    const unsigned int minute = digits_at(text, 14, 2);
    const unsigned int second = digits_at(text, 17, 2);
    if (!date.ok() || year < 2000 || year > 2199 || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return calendar_of(date, hour, minute, second);
}

rtc_calendar local_time(std::time_t now) {
    std::tm local{};
    localtime_r(&now, &local);
    const auto in_range = [](int value) { return static_cast<unsigned int>(value); };
    return calendar_of({std::chrono::year(local.tm_year + 1900),
                        std::chrono::month(in_range(local.tm_mon + 1)),
                        std::chrono::day(in_range(local.tm_mday))},
                       in_range(local.tm_hour), in_range(local.tm_min), in_range(std::min(local.tm_sec, 59)));
}

std::string text_of(const rtc_calendar &time) {
    using host::hex;
    const auto month = static_cast<uint8_t>(time.month & 0x1FU);
    const bool second_century = (time.month & rtc_calendar::century) != 0;
    return (second_century ? "21" : "20") + hex(time.year) + '-' + hex(month) + '-' + hex(time.date) + ' ' +
           hex(hours_of_day(time.hours)) + ':' + hex(time.minutes) + ':' + hex(time.seconds);
}

} // namespace varnel::sim
