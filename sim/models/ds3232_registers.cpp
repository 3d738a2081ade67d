// SPDX-License-Identifier: Apache-2.0
#include "sim/models/ds3232_registers.h"

namespace varnel::sim {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

enum register_number : uint8_t {
    reg_seconds,
    reg_minutes,
    reg_hours,
    reg_day,
    reg_date,
    reg_month,
    reg_year,
    reg_alarm_1_seconds,
    reg_alarm_1_minutes,
    reg_alarm_1_hours,
    reg_alarm_1_day,
    reg_alarm_2_minutes,
    reg_alarm_2_hours,
    reg_alarm_2_day,
    reg_control,
    reg_status,
    reg_aging,
    reg_temperature_msb,
    reg_temperature_lsb,
    reg_test,
    reg_sram
};

/// Registers 00 to 06: bits that are not there read 0.
struct time_field {
    uint8_t rtc_calendar::*place;
    uint8_t bits;
};
constexpr std::array time_fields{
    time_field{&rtc_calendar::seconds, 0x7F}, time_field{&rtc_calendar::minutes, 0x7F},
    time_field{&rtc_calendar::hours, 0x7F},   time_field{&rtc_calendar::day, 0x07},
    time_field{&rtc_calendar::date, 0x3F},    time_field{&rtc_calendar::month, 0x9F},
    time_field{&rtc_calendar::year, 0xFF},
};

// Control register; bits 0 and 1 enable the alarms that the same bits of the status register tell of.
constexpr unsigned int conv = 0x20;
constexpr unsigned int rs_shift = 3;
constexpr unsigned int intcn = 0x04;
// Status register.
constexpr unsigned int osf = 0x80;
constexpr unsigned int crate_shift = 4;
constexpr unsigned int bsy = 0x04;
constexpr unsigned int a2f = 0x02;
constexpr unsigned int a1f = 0x01;
constexpr unsigned int cleared_by_zero = osf | a2f | a1f;
constexpr unsigned int plain_status_bits = 0x78; // BB32kHz, CRATE1, CRATE0, EN32kHz

constexpr auto conversion_time = 200ms;

} // namespace

void temperature_sensor::catch_up(nanoseconds now, unsigned int crate) {
    if (forced_ && now >= *forced_ + conversion_time) {
        forced_.reset();
        measure();
    }
    if (unfinished_ && now >= last_ + conversion_time) {
        unfinished_ = false;
        measure();
    }
    const nanoseconds period = std::chrono::seconds(64) * (1U << crate);
    const auto begun = (now - last_) / period;
    if (begun > 0) {
        last_ += begun * period;
        unfinished_ = now < last_ + conversion_time;
        if (begun > 1 || !unfinished_) {
            measure();
        }
    }
}

void rtc::catch_up(nanoseconds now) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - second_began_);
    second_began_ += seconds;
    count_seconds(static_cast<uint64_t>(seconds.count()));
    sensor.catch_up(now, status_ >> crate_shift & 3U);
}

/// Whole minutes, hours and days in one step each: years pass quickly, and no alarm is missed.
void rtc::count_seconds(uint64_t seconds) {
    const rtc_alarm first = alarm(reg_alarm_1_minutes, memory_[reg_alarm_1_seconds]);
    const rtc_alarm second = alarm(reg_alarm_2_minutes, 0x00);
    while (seconds > 0) {
        time.tick();
        const time_span span = time.span_within(seconds);
        status_ |= (first.fires_during(time, span) ? a1f : 0) | (second.fires_during(time, span) ? a2f : 0);
        time.run_to_end(span);
        seconds -= seconds_in(span);
    }
}

rtc_alarm rtc::alarm(uint8_t reg_of_minutes, uint8_t seconds) const {
    return {seconds, memory_[reg_of_minutes], memory_.at(reg_of_minutes + 1U),
            memory_.at(reg_of_minutes + 2U)};
}

void rtc::set_time(const rtc_calendar &new_time, nanoseconds now) {
    time = new_time;
    second_began_ = now;
    status_ &= ~osf;
}

bool rtc::oscillator_stopped() const { return (status_ & osf) != 0; }

bool rtc::alarm_asserted() const { return (status_ & control_ & (a1f | a2f)) != 0; }

std::optional<unsigned int> rtc::square_wave() const {
    return (control_ & intcn) != 0 ? std::nullopt : std::optional(control_ >> rs_shift & 3U);
}

void rtc::write(uint8_t reg, uint8_t data, nanoseconds now) {
    switch (reg) {
    case reg_control:
        control_ = data & ~conv;
        if ((data & conv) != 0) {
            sensor.force(now);
        }
        break;
    case reg_status:
        status_ = (data & plain_status_bits) | (status_ & data & cleared_by_zero);
        break;
    case reg_temperature_msb:
    case reg_temperature_lsb:
    case reg_test:
        break;        // read-only
    case reg_seconds: // also restarts the divider chain: the next second is a whole one
        second_began_ = now;
        [[fallthrough]];
    default:
        write_memory(reg, data);
        break;
    }
}

void rtc::write_memory(uint8_t reg, uint8_t data) {
    if (reg < time_fields.size()) {
        const time_field &field = time_fields.at(reg);
        time.*field.place = data & field.bits;
    } else {
        memory_.at(reg) = data;
    }
}

uint8_t rtc::read(uint8_t reg, const rtc_calendar &shown) const {
    switch (reg) {
    case reg_control:
        return static_cast<uint8_t>(control_ | (sensor.forced() ? conv : 0));
    case reg_status:
        return static_cast<uint8_t>(status_ | (sensor.busy() ? bsy : 0));
    case reg_temperature_msb:
        return static_cast<uint8_t>(static_cast<unsigned int>(sensor.measured()) >> 2U);
    case reg_temperature_lsb:
        return static_cast<uint8_t>(static_cast<unsigned int>(sensor.measured()) << 6U);
    default:
        return reg < time_fields.size() ? shown.*time_fields.at(reg).place : memory_.at(reg);
    }
}

} // namespace varnel::sim
