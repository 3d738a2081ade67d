// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace varnel::sim {

/// A stretch of whole seconds that begins where its unit begins.
enum class time_span { second, minute, hour, day };

[[nodiscard]] constexpr uint64_t seconds_in(time_span span) {
    constexpr std::array<uint64_t, 4> lengths{1, 60, 60UL * 60, 24UL * 60 * 60};
    return lengths.at(static_cast<std::size_t>(span));
}

/// The timekeeping registers, counted in their own BCD: what was written is what is counted on from, sensible
/// or not. Every fourth year is a leap year (also 2100), and the century flag toggles when year 99 ends.
struct rtc_calendar {
    uint8_t seconds = 0x00;
    uint8_t minutes = 0x00;
    uint8_t hours = 0x00; ///< 24-hour form; or, with bit 6, 12-hour form with bit 5 for PM
    uint8_t day = 0x01;   ///< of the week
    uint8_t date = 0x01;
    uint8_t month = 0x01; ///< bit 7: century flag
    uint8_t year = 0x00;

    static constexpr uint8_t twelve_hour_form = 0x40;
    static constexpr uint8_t pm = 0x20;
    static constexpr uint8_t century = 0x80;

    void tick();
    /// The longest span that begins now and is no longer than `seconds`; days in 24-hour form only.
    [[nodiscard]] time_span span_within(uint64_t seconds) const;
    /// From the first to the last second of `span`.
    void run_to_end(time_span span);

  private:
    [[nodiscard]] bool count_hour();
    void count_day();
    [[nodiscard]] uint8_t last_date() const;
};

/// An alarm's registers. Bit 7 of each takes its field out of the comparison.
struct rtc_alarm {
    uint8_t seconds = 0x00;
    uint8_t minutes = 0x00;
    uint8_t hours = 0x00;
    uint8_t day_or_date = 0x00; ///< bit 6: day of the week

    static constexpr uint8_t ignored = 0x80;
    static constexpr uint8_t by_day = 0x40;

    /// Whether a second of `span`, whose first is `start`, agrees in all fields that are compared.
    [[nodiscard]] bool fires_during(const rtc_calendar &start, time_span span) const;
};

/// BCD of 0 to 99, and back.
[[nodiscard]] constexpr uint8_t to_bcd(unsigned int value) {
    return static_cast<uint8_t>(value / 10 * 16 + value % 10);
}
[[nodiscard]] constexpr unsigned int from_bcd(unsigned int byte) {
    return (byte >> 4U) * 10 + (byte & 0x0FU);
}

} // namespace varnel::sim
