// SPDX-License-Identifier: Apache-2.0
#include "sim/models/ds3232.h"

#include <array>

#include <fmt/format.h>

#include "sim/models/command_port.h"
#include "sim/models/ds3232_registers.h"
#include "sim/models/rtc_text.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

constexpr quantity temperature_range{"C", -40, 85};

class ds3232 : public chip, private command_port {
  public:
    explicit ds3232(const board_clock &clock) : clock_(clock), rtc_(clock.now()) {}

    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::ds3232; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    [[nodiscard]] std::vector<std::string_view> outputs() const override { return {"interrupt"}; }
    [[nodiscard]] bool asserts(std::size_t /*output*/) const override {
        return !current().square_wave() && current().alarm_asserted();
    }
    void power_on() override { current().power_on(clock_.now()); }

  private:
    bool start(direction way) override;
    bool select(uint8_t command) override;
    bool write_data(uint8_t data) override;
    uint8_t read() override;

    rtc &current() const;
    void advance_pointer();
    [[nodiscard]] std::string pin() const;

    const board_clock &clock_;
    mutable rtc rtc_;      ///< catches up whenever it is looked at: when that is makes no difference
    rtc_calendar latched_; ///< the time of the last START, for reads
    uint8_t pointer_ = 0;
};

rtc &ds3232::current() const {
    rtc_.catch_up(clock_.now());
    return rtc_;
}

bool ds3232::start(direction way) {
    latched_ = current().time;
    return command_port::start(way);
}

bool ds3232::select(uint8_t command) {
    pointer_ = command;
    return true;
}

bool ds3232::write_data(uint8_t data) {
    current().write(pointer_, data, clock_.now());
    advance_pointer();
    return true;
}

uint8_t ds3232::read() {
    const uint8_t byte = current().read(pointer_, latched_);
    advance_pointer();
    return byte;
}

void ds3232::advance_pointer() {
    if (++pointer_ == 0) {
        latched_ = current().time;
    }
}

/// The INT/SQW pin: alarms, or a square wave.
std::string ds3232::pin() const {
    constexpr std::array<std::string_view, 4> rates{"1 Hz", "1.024 kHz", "4.096 kHz", "8.192 kHz"};
    if (const auto rate = current().square_wave()) {
        return fmt::format("square wave {}", rates.at(*rate));
    }
    return current().alarm_asserted() ? "asserted" : "idle";
}

std::vector<reading> ds3232::readings() const {
    const rtc &now = current();
    return {{"time", text_of(now.time), true},
            {"temperature", measurement{now.sensor.surroundings, unit::celsius, 2}, true},
            {"measured-temperature", measurement{now.sensor.measured() / 4.0, unit::celsius, 2}, false},
            {"oscillator-stopped", now.oscillator_stopped() ? "yes" : "no", false},
            {"interrupt", pin(), false}};
}

void ds3232::set(std::string_view name, std::string_view value) {
    if (name == "temperature") {
        const double degrees = parse_quantity(name, value, temperature_range);
        current().sensor.surroundings = degrees;
    } else if (name == "time") {
        const auto time = value == "now" ? local_time(clock_.wall_time()) : parse_time(value);
        if (!time) {
            refuse_value(name, value, "now, or a time such as 2026-11-21 08:00:00 from 2000 to 2199");
        }
        current().set_time(*time, clock_.now());
    } else {
        refuse_name(name, "time, temperature");
    }
}

} // namespace

std::unique_ptr<chip> make_ds3232(const board_clock &clock) { return std::make_unique<ds3232>(clock); }

} // namespace varnel::sim
