// SPDX-License-Identifier: Apache-2.0
#include "sim/models/rtc_calendar.h"

namespace varnel::sim {

namespace {

constexpr uint8_t last_of_sixty = 0x59;
constexpr uint8_t eleven_pm = rtc_calendar::twelve_hour_form | rtc_calendar::pm | 0x11;
constexpr uint8_t hour_of_twelve = 0x1F;

/// Counts a BCD field on. Returns whether it started again from `first`.
bool count(uint8_t &field, uint8_t first, uint8_t last) {
    if (field >= last) {
        field = first;
        return true;
    }
    field = static_cast<uint8_t>((field & 0x0FU) >= 9 ? (field & 0xF0U) + 0x10 : field + 1U);
    return false;
}

bool is_bcd(unsigned int byte, unsigned int least, unsigned int most) {
    return (byte & 0x0FU) <= 9 && byte >= least && byte <= most;
}

/// Whether a day whose hours have the form of `now` has this hour.
bool hour_exists(uint8_t hour, uint8_t now) {
    if (((hour ^ now) & rtc_calendar::twelve_hour_form) != 0) {
        return false;
    }
    return (now & rtc_calendar::twelve_hour_form) != 0 ? is_bcd(hour & hour_of_twelve, 0x01, 0x12)
                                                       : is_bcd(hour, 0x00, 0x23);
}

} // namespace

void rtc_calendar::tick() {
    if (count(seconds, 0x00, last_of_sixty) && count(minutes, 0x00, last_of_sixty) && count_hour()) {
        count_day();
    }
}

/// Returns whether a day ended.
bool rtc_calendar::count_hour() {
    if ((hours & twelve_hour_form) == 0) {
        return count(hours, 0x00, 0x23);
    }
    const bool day_ends = hours == eleven_pm;
    const auto half = static_cast<uint8_t>((hours & pm) ^ ((hours & hour_of_twelve) == 0x11 ? pm : 0));
    auto hour = static_cast<uint8_t>(hours & hour_of_twelve);
    count(hour, 0x01, 0x12);
    hours = static_cast<uint8_t>(twelve_hour_form | half | hour);
    return day_ends;
}

void rtc_calendar::count_day() {
    count(day, 1, 7);
    if (!count(date, 0x01, last_date())) {
        return;
    }
    auto month_alone = static_cast<uint8_t>(month & ~century);
    const bool year_ends = count(month_alone, 0x01, 0x12);
    auto flag = static_cast<uint8_t>(month & century);
    if (year_ends && count(year, 0x00, 0x99)) {
        flag ^= century;
    }
    month = flag | month_alone;
}

uint8_t rtc_calendar::last_date() const {
    switch (month & ~century) {
    case 0x02:
        return from_bcd(year) % 4 == 0 ? 0x29 : 0x28;
    case 0x04:
    case 0x06:
    case 0x09:
    case 0x11:
        return 0x30;
    default:
        return 0x31;
    }
}

time_span rtc_calendar::span_within(uint64_t limit) const {
    const bool minute = seconds == 0;
    const bool hour = minute && minutes == 0;
    if (hour && hours == 0 && limit >= seconds_in(time_span::day)) {
        return time_span::day;
    }
    if (hour && limit >= seconds_in(time_span::hour)) {
        return time_span::hour;
    }
    return minute && limit >= seconds_in(time_span::minute) ? time_span::minute : time_span::second;
}

void rtc_calendar::run_to_end(time_span span) {
    if (span >= time_span::minute) {
        seconds = last_of_sixty;
    }
    if (span >= time_span::hour) {
        minutes = last_of_sixty;
    }
    if (span == time_span::day) {
        hours = 0x23;
    }
}

bool rtc_alarm::fires_during(const rtc_calendar &start, time_span span) const {
    const auto agrees = [](uint8_t field, bool all_pass, bool exists, uint8_t now) {
        return (field & ignored) != 0 || (all_pass ? exists : field == now);
    };
    const bool wants_day = (day_or_date & by_day) != 0;
    const auto day_field = static_cast<uint8_t>(day_or_date & ~by_day);
    return agrees(seconds, span > time_span::second, is_bcd(seconds, 0x00, last_of_sixty), start.seconds) &&
           agrees(minutes, span > time_span::minute, is_bcd(minutes, 0x00, last_of_sixty), start.minutes) &&
           agrees(hours, span > time_span::hour, hour_exists(hours, start.hours), start.hours) &&
           agrees(day_field, false, false, wants_day ? start.day : start.date);
}

} // namespace varnel::sim
