// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cmath>
#include <optional>

#include "sim/models/rtc_calendar.h"

namespace varnel::sim {

/// The temperature sensor: converts every 64 s (or slower, as CRATE says), and when it is told to.
class temperature_sensor {
  public:
    double surroundings = 25; // degrees Celsius

    void catch_up(std::chrono::nanoseconds now, unsigned int crate);
    void power_on(std::chrono::nanoseconds now) {
        last_ = now;
        measure();
    }

    /// A conversion that is asked for during another one is not done.
    void force(std::chrono::nanoseconds now) { forced_ = busy() ? forced_ : now; }
    [[nodiscard]] bool forced() const { return forced_.has_value(); }
    [[nodiscard]] bool busy() const { return forced_ || unfinished_; }
    /// Quarters of a degree.
    [[nodiscard]] int measured() const { return measured_; }

  private:
    void measure() { measured_ = static_cast<int>(std::lround(surroundings * 4)); }

    int measured_ = 25 * 4;
    std::chrono::nanoseconds last_{0}; ///< when the last conversion of the regular series began
    bool unfinished_ = false;
    std::optional<std::chrono::nanoseconds> forced_; ///< when the conversion that was asked for began
};

/// Registers that are plain memory, and those that count. Everything here is as of the last catch_up().
class rtc {
  public:
    explicit rtc(std::chrono::nanoseconds now) : second_began_(now) { power_on(now); }

    void catch_up(std::chrono::nanoseconds now);
    void power_on(std::chrono::nanoseconds now) { sensor.power_on(now); }
    void write(uint8_t reg, uint8_t data, std::chrono::nanoseconds now);
    /// Of the time registers, `shown` is read: the copy that the chip keeps for a transfer.
    [[nodiscard]] uint8_t read(uint8_t reg, const rtc_calendar &shown) const;
    /// Time as it would be had the battery kept it.
    void set_time(const rtc_calendar &time, std::chrono::nanoseconds now);
    [[nodiscard]] bool oscillator_stopped() const;
    /// Whether an alarm that is enabled has come. The INT/SQW pin shows it, unless it carries a square wave.
    [[nodiscard]] bool alarm_asserted() const;
    /// Number of the square wave's rate, 0 (1 Hz) to 3 (8.192 kHz).
    [[nodiscard]] std::optional<unsigned int> square_wave() const;

    rtc_calendar time;
    temperature_sensor sensor;

  private:
    void count_seconds(uint64_t seconds);
    void write_memory(uint8_t reg, uint8_t data);
    [[nodiscard]] rtc_alarm alarm(uint8_t reg_of_minutes, uint8_t seconds) const;

    unsigned int control_ = 0x1C; // RS2, RS1, INTCN; CONV is the sensor's
    unsigned int status_ = 0x88;  // OSF, EN32kHz; BSY is the sensor's
    std::array<uint8_t, 256> memory_{};
    std::chrono::nanoseconds second_began_;
};

} // namespace varnel::sim
