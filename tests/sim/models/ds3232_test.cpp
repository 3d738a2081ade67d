// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <optional>
#include <ostream>

#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::test {
namespace {

enum : uint8_t { seconds = 0, minutes, hours, day, date, month, year, alarm_1 = 0x07, alarm_2 = 0x0B };
enum : uint8_t { control = 0x0E, status = 0x0F, aging, temperature, test_register = 0x13, sram };

constexpr unsigned int alarm_1_flag = 0x01;
constexpr unsigned int alarm_2_flag = 0x02;
constexpr uint8_t x = 0x80; // mask bit of an alarm register

class sim_ds3232 : public chip_bench {
  public:
    sim_ds3232() : chip_bench("ds3232") {}

    /// Registers 00 to 06 at once.
    void set_time(const bytes &registers) {
        bytes data{seconds};
        data.insert(data.end(), registers.begin(), registers.end());
        EXPECT_EQ(write(data), 8);
    }
    bytes time() { return read_from(seconds, 7); }

    void clear_alarms() { write({status, 0x00}); }
    unsigned int alarms() { return byte_at(status) & (alarm_1_flag | alarm_2_flag); }
};

TEST_F(sim_ds3232, registers_have_their_power_on_values) {
    EXPECT_EQ(time(), (bytes{0x00, 0x00, 0x00, 0x01, 0x01, 0x01, 0x00}));
    EXPECT_EQ(read_from(alarm_1, 7), bytes(7, 0x00));
    EXPECT_EQ(read_from(control, 2), (bytes{0x1C, 0x88}));
    EXPECT_EQ(read_from(aging, 4), (bytes{0x00, 25, 0x00, 0x00}));
    EXPECT_EQ(shown("oscillator-stopped"), "yes");
    EXPECT_EQ(shown("time"), "2000-01-01 00:00:00");
}

TEST_F(sim_ds3232, seconds_minutes_hours_and_days_advance) {
    clock.pass(999ms);
    EXPECT_EQ(byte_at(seconds), 0x00);
    clock.pass(1ms);
    EXPECT_EQ(byte_at(seconds), 0x01);
    clock.pass(9s);
    EXPECT_EQ(byte_at(seconds), 0x10);
    clock.pass(49s);
    EXPECT_EQ(read_from(seconds, 2), (bytes{0x59, 0x00}));
    clock.pass(1s);
    EXPECT_EQ(read_from(seconds, 2), (bytes{0x00, 0x01}));
    clock.pass(23h + 58min + 59s);
    EXPECT_EQ(time(), (bytes{0x59, 0x59, 0x23, 0x01, 0x01, 0x01, 0x00}));
    clock.pass(1s);
    EXPECT_EQ(time(), (bytes{0x00, 0x00, 0x00, 0x02, 0x02, 0x01, 0x00}));
}

TEST_F(sim_ds3232, writing_the_seconds_restarts_the_second) {
    clock.pass(900ms);
    write({seconds, 0x30});
    clock.pass(999ms);
    EXPECT_EQ(byte_at(seconds), 0x30);
    clock.pass(1ms);
    EXPECT_EQ(byte_at(seconds), 0x31);
}

TEST_F(sim_ds3232, writing_other_registers_does_not_restart_the_second) {
    clock.pass(900ms);
    write({minutes, 0x30});
    clock.pass(100ms);
    EXPECT_EQ(read_from(seconds, 2), (bytes{0x01, 0x30}));
}

struct rollover {
    bytes before; ///< the last second of a day, in 24-hour form
    bytes after;
};

void PrintTo(const rollover &dates, std::ostream *out) { *out << testing::PrintToString(dates.before); }

class sim_ds3232_rollover : public sim_ds3232, public testing::WithParamInterface<rollover> {};

TEST_P(sim_ds3232_rollover, date_advances_at_midnight) {
    set_time(GetParam().before);
    clock.pass(1s);
    EXPECT_EQ(time(), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    dates, sim_ds3232_rollover,
    testing::Values(
        rollover{{0x59, 0x59, 0x23, 7, 0x31, 0x01, 0x26}, {0, 0, 0, 1, 0x01, 0x02, 0x26}},
        rollover{{0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x26}, {0, 0, 0, 2, 0x01, 0x03, 0x26}},
        rollover{{0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x28}, {0, 0, 0, 2, 0x29, 0x02, 0x28}},
        rollover{{0x59, 0x59, 0x23, 1, 0x29, 0x02, 0x28}, {0, 0, 0, 2, 0x01, 0x03, 0x28}},
        rollover{{0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x00}, {0, 0, 0, 2, 0x29, 0x02, 0x00}},
        rollover{{0x59, 0x59, 0x23, 1, 0x28, 0x82, 0x00}, {0, 0, 0, 2, 0x29, 0x82, 0x00}}, // the chip's 2100
        rollover{{0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x10}, {0, 0, 0, 2, 0x01, 0x03, 0x10}}, // BCD 10, not 16
        rollover{{0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x12}, {0, 0, 0, 2, 0x29, 0x02, 0x12}},
        rollover{{0x59, 0x59, 0x23, 3, 0x30, 0x04, 0x26}, {0, 0, 0, 4, 0x01, 0x05, 0x26}},
        rollover{{0x59, 0x59, 0x23, 3, 0x30, 0x06, 0x26}, {0, 0, 0, 4, 0x01, 0x07, 0x26}},
        rollover{{0x59, 0x59, 0x23, 3, 0x30, 0x09, 0x26}, {0, 0, 0, 4, 0x01, 0x10, 0x26}},
        rollover{{0x59, 0x59, 0x23, 3, 0x31, 0x10, 0x26}, {0, 0, 0, 4, 0x01, 0x11, 0x26}},
        rollover{{0x59, 0x59, 0x23, 3, 0x30, 0x11, 0x26}, {0, 0, 0, 4, 0x01, 0x12, 0x26}},
        rollover{{0x59, 0x59, 0x23, 3, 0x09, 0x12, 0x26}, {0, 0, 0, 4, 0x10, 0x12, 0x26}},
        rollover{{0x59, 0x59, 0x23, 3, 0x31, 0x12, 0x26}, {0, 0, 0, 4, 0x01, 0x01, 0x27}},
        rollover{{0x59, 0x59, 0x23, 3, 0x31, 0x12, 0x99}, {0, 0, 0, 4, 0x01, 0x81, 0x00}},
        rollover{{0x59, 0x59, 0x23, 3, 0x31, 0x92, 0x99}, {0, 0, 0, 4, 0x01, 0x01, 0x00}}));

TEST_F(sim_ds3232, hours_advance_in_twelve_hour_form) {
    const auto hour_after = [this](uint8_t hour) {
        set_time({0x59, 0x59, hour, 1, 0x10, 0x05, 0x26});
        clock.pass(1s);
        return read_from(hours, 2);
    };
    EXPECT_EQ(hour_after(0x71), (bytes{0x52, 2})) << "11:59:59 PM: midnight, the next day";
    EXPECT_EQ(hour_after(0x52), (bytes{0x41, 1})) << "12 AM: 1 AM";
    EXPECT_EQ(hour_after(0x49), (bytes{0x50, 1})) << "9 AM: 10 AM";
    EXPECT_EQ(hour_after(0x51), (bytes{0x72, 1})) << "11 AM: noon";
    EXPECT_EQ(hour_after(0x72), (bytes{0x61, 1})) << "12 PM: 1 PM";
    EXPECT_EQ(hour_after(0x69), (bytes{0x70, 1})) << "9 PM: 10 PM";
}

TEST_F(sim_ds3232, long_steps_advance_days_in_twelve_hour_form) {
    set_time({0x00, 0x00, 0x61, 1, 0x10, 0x05, 0x26}); // 1 PM
    clock.pass(48h + 30min + 5s);
    EXPECT_EQ(time(), (bytes{0x05, 0x30, 0x61, 3, 0x12, 0x05, 0x26}));
    EXPECT_EQ(shown("time"), "2026-05-12 13:30:05");
    clock.pass(11h);
    EXPECT_EQ(shown("time"), "2026-05-13 00:30:05");
    clock.pass(12h);
    EXPECT_EQ(shown("time"), "2026-05-13 12:30:05");
}

TEST_F(sim_ds3232, step_of_a_century_is_exact) {
    part->set("time", "2026-11-21 08:00:01");
    clock.pass(std::chrono::hours(24) * 36525); // a century with 25 leap years, as the chip counts
    EXPECT_EQ(shown("time"), "2126-11-21 08:00:01");
    EXPECT_EQ(byte_at(month), 0x91);
}

TEST_F(sim_ds3232, one_long_step_equals_many_short_ones) {
    const auto other = make_chip("ds3232", clock);
    set_time({0x58, 0x59, 0x71, 6, 0x27, 0x02, 0x27});
    other->set("time", "2027-02-27 23:59:58");
    for (int i = 0; i < 100; ++i) {
        clock.pass(1h + 59min + 57s + 300ms);
        (void)other->readings();
    }
    EXPECT_EQ(shown("time"), text_of(other->readings().front().value));
    EXPECT_EQ(shown("time"), "2027-03-08 07:55:28");
}

TEST_F(sim_ds3232, invalid_values_lose_missing_bits_and_roll_over) {
    set_time({0xFF, 0xFF, 0x3F, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(time(), (bytes{0x7F, 0x7F, 0x3F, 0x07, 0x3F, 0x9F, 0xFF})) << "bits that are not there read 0";
    clock.pass(1s);
    EXPECT_EQ(time(), (bytes{0x00, 0x00, 0x00, 0x01, 0x01, 0x01, 0x00}));
}

TEST_F(sim_ds3232, a_transfer_reads_the_time_of_its_start) {
    set_time({0x59, 0x59, 0x23, 7, 0x31, 0x12, 0x26});
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(seconds));
    ASSERT_TRUE(port.start(direction::read));
    EXPECT_EQ(port.read(), 0x59);
    clock.pass(2s);
    for (const unsigned int old : {0x59, 0x23, 7, 0x31, 0x12, 0x26}) {
        EXPECT_EQ(port.read(), old);
    }
    port.stop();
    EXPECT_EQ(time(), (bytes{0x01, 0x00, 0x00, 1, 0x01, 0x01, 0x27}));
}

TEST_F(sim_ds3232, the_pointer_wraps_to_00_and_latches_the_time_again) {
    write({0xFF, 0xEE});
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(0xFF));
    ASSERT_TRUE(port.start(direction::read));
    clock.pass(5s);
    EXPECT_EQ(port.read(), 0xEE);
    EXPECT_EQ(port.read(), 0x05);
    port.stop();
    EXPECT_EQ(write({0xFF, 0x11, 0x22}), 3);
    EXPECT_EQ(read_from(0xFF, 2), (bytes{0x11, 0x22}));
}

TEST_F(sim_ds3232, a_read_without_register_continues) {
    write({sram, 1, 2, 3});
    EXPECT_EQ(read_from(sram, 1), bytes{1});
    EXPECT_EQ(read(2), (bytes{2, 3}));
}

TEST_F(sim_ds3232, sram_aging_and_alarm_registers_keep_what_is_written) {
    bytes all{sram};
    for (unsigned int i = 0; i < 236; ++i) {
        all.push_back(static_cast<uint8_t>(i ^ 0x5AU));
    }
    EXPECT_EQ(write(all), 237);
    EXPECT_EQ(read_from(sram, 236), bytes(all.begin() + 1, all.end()));
    write({alarm_1, 0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9});
    EXPECT_EQ(read_from(alarm_1, 7), (bytes{0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9}));
    write({aging, 0xF0});
    EXPECT_EQ(byte_at(aging), 0xF0);
}

TEST_F(sim_ds3232, temperature_registers_are_read_only) {
    write({temperature, 0x11, 0x22, 0x33});
    EXPECT_EQ(read_from(temperature, 3), (bytes{25, 0x00, 0x00}));
}

TEST_F(sim_ds3232, flags_are_cleared_by_writing_0_and_not_set_by_writing_1) {
    write({status, 0x7B});
    EXPECT_EQ(byte_at(status), 0x78) << "OSF cleared; BB32kHz, CRATE and EN32kHz kept; BSY and flags not set";
    write({status, 0x80});
    EXPECT_EQ(byte_at(status), 0x00);
}

struct alarm_case {
    const char *what;
    bytes registers;          ///< alarm 1: 4 of them; alarm 2: 3
    std::vector<int> matches; ///< seconds after 2026-11-21 23:59:57 (Saturday = 7), of the first 120
    std::optional<std::chrono::seconds> next; ///< the next match from there, counted from the start
};

void PrintTo(const alarm_case &alarm, std::ostream *out) { *out << alarm.what; }

class sim_ds3232_alarm : public sim_ds3232, public testing::WithParamInterface<alarm_case> {
  public:
    [[nodiscard]] static bool is_second() { return GetParam().registers.size() == 3; }
    [[nodiscard]] static unsigned int flag() { return is_second() ? alarm_2_flag : alarm_1_flag; }
    void arm() {
        bytes data{is_second() ? alarm_2 : alarm_1};
        data.insert(data.end(), GetParam().registers.begin(), GetParam().registers.end());
        write(data);
        part->set("time", "2026-11-21 23:59:57");
        clear_alarms();
    }
};

TEST_P(sim_ds3232_alarm, matches_the_expected_seconds) {
    arm();
    std::vector<int> matches;
    for (int second = 1; second <= 120; ++second) {
        clock.pass(1s);
        if ((alarms() & flag()) != 0) {
            matches.push_back(second);
        }
        clear_alarms();
    }
    EXPECT_EQ(matches, GetParam().matches);
}

TEST_P(sim_ds3232_alarm, fires_within_a_long_step) {
    if (!GetParam().next) {
        arm();
        clock.pass(std::chrono::hours(24) * 4000);
        EXPECT_EQ(alarms() & flag(), 0U);
        return;
    }
    arm();
    clock.pass(120s);
    byte_at(status);
    clear_alarms();
    clock.pass(*GetParam().next - 120s - 1s);
    EXPECT_EQ(alarms() & flag(), 0U) << "a second too early";
    clock.pass(1s);
    EXPECT_EQ(alarms() & flag(), flag());
    clear_alarms();
    arm();
    clock.pass(120s);
    clear_alarms();
    clock.pass(*GetParam().next - 120s + 5h + 7s);
    EXPECT_EQ(alarms() & flag(), flag()) << "passed on the way";
}

std::vector<int> every_second() {
    std::vector<int> all(120);
    for (int i = 0; i < 120; ++i) {
        all[static_cast<std::size_t>(i)] = i + 1;
    }
    return all;
}

// Start: 2026-11-21 23:59:57, a Saturday; day 22 (Sunday = 1) begins after 3 s.
INSTANTIATE_TEST_SUITE_P(
    masks, sim_ds3232_alarm,
    testing::Values(alarm_case{"1: each second", {x, x, x, x}, every_second(), 121s},
                    alarm_case{"1: seconds", {0x58, x, x, x}, {1, 61}, 121s},
                    alarm_case{"1: minutes and seconds", {0x01, 0x00, x, x}, {4}, 1h + 4s},
                    alarm_case{"1: hours, minutes and seconds", {0x02, 0x01, 0x00, x}, {65}, 24h + 65s},
                    alarm_case{"1: date", {0x00, 0x00, 0x00, 0x22}, {3}, 24h * 30 + 3s}, // December 22
                    alarm_case{"1: day", {0x00, 0x00, 0x00, 0x41}, {3}, 24h * 7 + 3s},
                    alarm_case{"1: any hour of a date", {0x30, 0x01, x, 0x22}, {93}, 1h + 93s},
                    alarm_case{"1: a date that November does not have",
                               {0x00, 0x00, 0x12, 0x31},
                               {},
                               24h * 39 + 12h + 3s},
                    alarm_case{"1: seconds that are none", {0x60, x, x, x}, {}, std::nullopt},
                    alarm_case{"1: no BCD", {0x0A, x, x, x}, {}, std::nullopt},
                    alarm_case{"1: an hour that is none", {0x00, 0x00, 0x24, x}, {}, std::nullopt},
                    alarm_case{"1: an hour in the other form", {0x00, 0x00, 0x52, x}, {}, std::nullopt},
                    alarm_case{"1: date 0", {0x00, 0x00, 0x00, 0x00}, {}, std::nullopt},
                    alarm_case{"2: each minute", {x, x, x}, {3, 63}, 123s},
                    alarm_case{"2: minutes", {0x01, x, x}, {63}, 1h + 63s},
                    alarm_case{"2: hours and minutes", {0x00, 0x00, x}, {3}, 24h + 3s},
                    alarm_case{"2: date", {0x01, 0x00, 0x22}, {63}, 24h * 30 + 63s},
                    alarm_case{"2: day", {0x01, 0x00, 0x41}, {63}, 24h * 7 + 63s}),
    [](const testing::TestParamInfo<alarm_case> &parameter) {
        std::string name = parameter.param.what;
        std::erase_if(name, [](char c) { return c == ':' || c == ','; });
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST_F(sim_ds3232, alarms_compare_hours_in_twelve_hour_form) {
    write({alarm_1, 0x00, 0x30, 0x61, x}); // 1:30 PM
    set_time({0x59, 0x29, 0x41, 1, 0x10, 0x05, 0x26});
    clear_alarms();
    clock.pass(1s); // 1:30 AM
    EXPECT_EQ(alarms(), 0U);
    clock.pass(12h);
    EXPECT_EQ(alarms(), alarm_1_flag);
    clear_alarms();
    clock.pass(24h * 3);
    EXPECT_EQ(alarms(), alarm_1_flag);
}

TEST_F(sim_ds3232, setting_an_alarm_to_the_present_second_does_not_fire_it) {
    part->set("time", "2026-11-21 08:00:00");
    write({alarm_1, 0x00, 0x00, 0x08, x});
    EXPECT_EQ(alarms(), 0U);
    clock.pass(24h);
    EXPECT_EQ(alarms(), alarm_1_flag);
}

TEST_F(sim_ds3232, interrupt_pin_shows_enabled_alarms_until_they_are_cleared) {
    write({alarm_1, x, x, x, x, x, x, x});
    clock.pass(60s);
    EXPECT_EQ(alarms(), alarm_1_flag | alarm_2_flag);
    EXPECT_EQ(shown("interrupt"), "idle") << "neither is enabled";
    write({control, 0x1D});
    EXPECT_EQ(shown("interrupt"), "asserted");
    write({status, 0xFE});
    EXPECT_EQ(shown("interrupt"), "idle") << "alarm 2 is not enabled";
    write({control, 0x1E});
    EXPECT_EQ(shown("interrupt"), "asserted");
    write({control, 0x02});
    EXPECT_EQ(shown("interrupt"), "square wave 1 Hz");
    write({control, 0x1A});
    EXPECT_EQ(shown("interrupt"), "square wave 8.192 kHz");
    write({control, 0x08});
    EXPECT_EQ(shown("interrupt"), "square wave 1.024 kHz");
}

TEST_F(sim_ds3232, temperature_is_converted_every_64_seconds) {
    part->set("temperature", "40.25C");
    EXPECT_EQ(read_from(temperature, 2), (bytes{25, 0x00}));
    EXPECT_EQ(shown("temperature"), "40.25 C");
    EXPECT_EQ(shown("measured-temperature"), "25.00 C");
    clock.pass(64s);
    EXPECT_EQ(byte_at(status) & 0x04, 0x04) << "busy";
    EXPECT_EQ(byte_at(temperature), 25);
    clock.pass(200ms);
    EXPECT_EQ(byte_at(status) & 0x04, 0x00);
    EXPECT_EQ(read_from(temperature, 2), (bytes{40, 0x40}));
    part->set("temperature", "-0.75");
    clock.pass(64s);
    EXPECT_EQ(read_from(temperature, 2), (bytes{0xFF, 0x40})) << "two's complement";
}

TEST_F(sim_ds3232, last_result_is_read_during_a_conversion) {
    part->set("temperature", "30");
    clock.pass(128s + 100ms);
    part->set("temperature", "50");
    EXPECT_EQ(byte_at(temperature), 30);
    clock.pass(100ms);
    EXPECT_EQ(byte_at(temperature), 50);
}

TEST_F(sim_ds3232, crate_1_converts_every_128_seconds) {
    write({status, 0x10}); // every 128 s
    part->set("temperature", "30");
    clock.pass(65s);
    EXPECT_EQ(byte_at(temperature), 25);
    clock.pass(64s);
    EXPECT_EQ(byte_at(temperature), 30);
}

TEST_F(sim_ds3232, conv_bit_starts_a_conversion) {
    part->set("temperature", "30");
    write({control, 0x3C});
    EXPECT_EQ(byte_at(control), 0x3C);
    EXPECT_EQ(byte_at(status) & 0x04, 0x04);
    write({control, 0x1C});
    EXPECT_EQ(byte_at(control), 0x3C) << "cannot be called off";
    clock.pass(199ms);
    EXPECT_EQ(byte_at(temperature), 25);
    clock.pass(1ms);
    EXPECT_EQ(byte_at(temperature), 30);
    EXPECT_EQ(byte_at(control), 0x1C);
    EXPECT_EQ(byte_at(status) & 0x04, 0x00);
}

TEST_F(sim_ds3232, ambient_temperature_is_converted_at_power_on) {
    part->set("temperature", "35.5C");
    part->power_on();
    EXPECT_EQ(read_from(temperature, 2), (bytes{35, 0x80}));
}

TEST_F(sim_ds3232, set_time_sets_the_registers_and_starts_the_oscillator) {
    clock.pass(300ms);
    part->set("time", "2026-11-21 08:09:10");
    EXPECT_EQ(time(), (bytes{0x10, 0x09, 0x08, 7, 0x21, 0x11, 0x26})) << "a Saturday";
    EXPECT_EQ(shown("oscillator-stopped"), "no");
    clock.pass(999ms);
    EXPECT_EQ(byte_at(seconds), 0x10);
    part->set("time", "2100-01-01 00:00:00");
    EXPECT_EQ(time(), (bytes{0x00, 0x00, 0x00, 6, 0x01, 0x81, 0x00}));
    EXPECT_EQ(shown("time"), "2100-01-01 00:00:00");
}

TEST_F(sim_ds3232, set_time_now_is_the_local_time_of_the_host) {
    const auto local_text = [](std::time_t moment) {
        std::tm local{};
        localtime_r(&moment, &local);
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
        return std::string(text);
    };
    const std::time_t before = std::time(nullptr);
    part->set("time", "now");
    const std::string set = shown("time");
    EXPECT_LE(local_text(before), set);
    EXPECT_LE(set, local_text(std::time(nullptr)));
}

TEST_F(sim_ds3232, invalid_settings_are_refused_and_change_nothing) {
    for (const std::string_view value :
         {"", "yesterday", "2026-11-21", "2026-11-21 08:00", "2026-11-21T08:00:00", "2026-13-01 00:00:00",
          "2026-02-29 00:00:00", "2026-11-31 00:00:00", "2026-11-21 24:00:00", "2026-11-21 08:60:00",
          "2026-11-21 08:00:60", "1999-12-31 23:59:59", "2200-01-01 00:00:00", "2026-11-21 08:00:0x"}) {
        EXPECT_EQ(refusal("time", value),
                  "time: cannot be '" + std::string(value) +
                      "' (expected now, or a time such as 2026-11-21 08:00:00 from 2000 to 2199)");
    }
    EXPECT_EQ(refusal("temperature", "86C"), "temperature: cannot be '86C' (expected -40 to 85C)");
    EXPECT_EQ(refusal("tine", "now"), "unknown setting 'tine' (has: time, temperature)");
    EXPECT_EQ(shown("time"), "2000-01-01 00:00:00");
}

TEST_F(sim_ds3232, registers_have_their_datasheet_names) {
    EXPECT_EQ(register_name(0x00), "Seconds");
    EXPECT_EQ(register_name(0x05), "Month/Century");
    EXPECT_EQ(register_name(0x0A), "Alarm 1 day/date");
    EXPECT_EQ(register_name(0x0F), "Control/status");
    EXPECT_EQ(register_name(0x13), "Reserved for test");
    EXPECT_EQ(register_name(0x14), "SRAM 0x14");
    EXPECT_EQ(register_name(0xFF), "SRAM 0xff");
}

} // namespace
} // namespace varnel::sim::test
