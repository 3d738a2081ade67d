// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include "tests/sim/models/chip_bench.h"
#include "tests/sim/models/pmbus_codes.h"

namespace varnel::sim::test {
namespace {

using namespace pmbus_code;

enum : uint8_t {
    firmware_version = 0xD0,
    set_output_volt = 0xD4,
    fan_duty_cycle = 0xD6,
    set_fan_duty_cycle = 0xD7,
    programmed_volt = 0xD8,
    output_volt = 0xE0,
    temperature = 0xE2,
    fan_speed = 0xE9,
    input_volt = 0xED,
    input_power = 0xEF
};

constexpr uint8_t pec_of_11_volts = 0xA7; // after set_output_volt, 0x4C, 0x04

constexpr auto long_enough = 1h; // for all to settle

class sim_car2512 : public chip_bench {
  public:
    sim_car2512() : chip_bench("car2512") {
        part->power_on();
        part->port(0).set_address(0x58);
    }

    unsigned int word_at(uint8_t command) {
        const bytes data = read_from(command, 2);
        return data[0] | data[1] * 256U;
    }
    void unprotect() { EXPECT_EQ(write({write_protect, 0x00}), 2); }
    void set_duty(uint8_t percent) { EXPECT_EQ(write({set_fan_duty_cycle, percent}), 2); }
    void clear() { EXPECT_EQ(write({clear_faults}), 1); }
    unsigned int settled_temperature() {
        clock.pass(long_enough);
        return word_at(temperature);
    }
};

TEST_F(sim_car2512, registers_have_their_power_on_values) {
    EXPECT_EQ(byte_at(operation), 0x80);
    EXPECT_EQ(byte_at(write_protect), 0x80);
    EXPECT_EQ(word_at(fan_command_1), 0U);
    EXPECT_EQ(word_at(status_word), 0x0000U);
    EXPECT_EQ(byte_at(status_byte), 0x00);
    for (const uint8_t reg : {status_vout, status_iout, status_input, status_temperature, status_cml,
                              status_mfr_specific, status_fans_1_2}) {
        EXPECT_EQ(byte_at(reg), 0x00);
    }
    EXPECT_EQ(byte_at(capability), 0x80);
    EXPECT_EQ(byte_at(0x98), 0x22);
    EXPECT_EQ(byte_at(firmware_version), 0x10);
    EXPECT_EQ(byte_at(fan_duty_cycle), 50);
    EXPECT_EQ(word_at(programmed_volt), 1200U);
    EXPECT_EQ(word_at(output_volt), 1200U);
    EXPECT_EQ(word_at(temperature), 250U);
    EXPECT_EQ(word_at(fan_speed), 10000U);
    EXPECT_EQ(word_at(input_volt), 2300U);
    EXPECT_EQ(word_at(status_word), 0x0000U) << "all of this is no fault";
}

TEST_F(sim_car2512, standard_readings_are_the_same_in_linear_formats) {
    part->set("input", "115V");
    EXPECT_EQ(byte_at(vout_mode), 0x17); // LINEAR16, 2^-9
    EXPECT_EQ(word_at(read_vout), 12U << 9);
    EXPECT_EQ(word_at(read_vin), 0xEB98U);           // 920 * 2^-3
    EXPECT_EQ(word_at(read_temperature_1), 0xDB20U); // 800 * 2^-5
    EXPECT_EQ(byte_at(fan_config_1_2), 0xC0);
    EXPECT_EQ(word_at(read_fan_speed_1), 0x2271U); // 625 * 2^4
    EXPECT_EQ(word_at(read_pin), 0xD3C0U);         // 960 * 2^-6
    EXPECT_EQ(word_at(input_power), 150U);
    unprotect();
    write({operation, 0});
    EXPECT_EQ(word_at(read_vout), 0U);
}

TEST_F(sim_car2512, words_are_low_byte_first) { EXPECT_EQ(read_from(output_volt, 2), (bytes{0xB0, 0x04})); }

// --- Write protection ---

TEST_F(sim_car2512, protected_write_is_acknowledged_ignored_and_sets_status_cml) {
    EXPECT_EQ(write({operation, 0x00}), 2);
    EXPECT_EQ(write({set_output_volt, 0x4C, 0x04}), 3);
    EXPECT_EQ(byte_at(operation), 0x80);
    EXPECT_EQ(word_at(programmed_volt), 1200U);
    EXPECT_EQ(byte_at(status_cml), 0x40);
    EXPECT_EQ(word_at(status_word), 0x0002U);
}

TEST_F(sim_car2512, each_write_protect_level_allows_its_commands) {
    const auto accepts = [this](const bytes &data) {
        clear();
        EXPECT_EQ(write(data), static_cast<int>(data.size()));
        const bool accepted = byte_at(status_cml) == 0;
        return accepted;
    };
    const auto allowed = [&](uint8_t level) {
        EXPECT_TRUE(accepts({write_protect, level})) << "WRITE_PROTECT itself can always be written";
        EXPECT_EQ(byte_at(write_protect), level);
        std::string all;
        all += accepts({operation, 0x80}) ? "operation " : "";
        all += accepts({set_output_volt, 0xB0, 0x04}) ? "voltage " : "";
        all += accepts({set_fan_duty_cycle, 50}) ? "duty " : "";
        all += accepts({fan_command_1, 0, 0}) ? "fan " : "";
        all += accepts({status_input, 0}) ? "status" : "";
        return all;
    };
    EXPECT_EQ(allowed(0x80), "");
    EXPECT_EQ(allowed(0x40), "operation ");
    EXPECT_EQ(allowed(0x20), "operation voltage ");
    EXPECT_EQ(allowed(0x00), "operation voltage duty fan status");
    EXPECT_FALSE(accepts({write_protect, 0x10}));
    EXPECT_EQ(byte_at(write_protect), 0x00);
}

TEST_F(sim_car2512, clear_faults_works_under_write_protection) {
    write({operation, 0x00});
    EXPECT_NE(byte_at(status_cml), 0);
    clear();
    EXPECT_EQ(byte_at(status_cml), 0);
}

// --- Transfers that are no good ---

TEST_F(sim_car2512, an_unsupported_command_is_not_acknowledged) {
    for (const uint8_t code :
         {uint8_t{0x00}, uint8_t{0x02}, uint8_t{0x21}, uint8_t{0x7F}, uint8_t{0x8C}, uint8_t{0xFF}}) {
        clear();
        EXPECT_EQ(write({code, 0x00}), 0);
        EXPECT_EQ(byte_at(status_cml), 0x80);
        EXPECT_EQ(register_name(code), "");
    }
}

TEST_F(sim_car2512, reading_a_write_only_command_is_unsupported) {
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(set_output_volt));
    EXPECT_FALSE(port.start(direction::read));
    port.stop();
    EXPECT_EQ(byte_at(status_cml), 0x80);
}

TEST_F(sim_car2512, writing_a_read_only_command_is_unsupported) {
    unprotect();
    EXPECT_EQ(write({fan_duty_cycle, 10}), 1);
    EXPECT_EQ(byte_at(status_cml), 0x80);
    EXPECT_EQ(byte_at(fan_duty_cycle), 50);
}

TEST_F(sim_car2512, write_of_a_wrong_length_only_sets_status_cml) {
    unprotect();
    const auto told = [this] {
        const bool other_fault = byte_at(status_cml) == 0x02;
        clear();
        return other_fault;
    };
    EXPECT_EQ(write({set_output_volt, 0x4C}), 2);
    EXPECT_TRUE(told());
    EXPECT_EQ(write({set_output_volt}), 1);
    EXPECT_TRUE(told());
    EXPECT_EQ(write({set_output_volt, 0x4C, 0x04, pec_of_11_volts, 0x00}), 4) << "one byte too many";
    EXPECT_TRUE(told());
    EXPECT_EQ(word_at(programmed_volt), 1200U);
    EXPECT_EQ(write({clear_faults, 0x46, 0x00}), 2);
    EXPECT_TRUE(told());
    EXPECT_EQ(write({status_word}), 1) << "named, and then not read";
    EXPECT_TRUE(told());
}

TEST_F(sim_car2512, reading_past_the_pec_returns_0xff_and_sets_status_cml) {
    EXPECT_EQ(read_from(output_volt, 5), (bytes{0xB0, 0x04, 0x77, 0xFF, 0xFF}));
    EXPECT_EQ(byte_at(status_cml), 0x02);
}

TEST_F(sim_car2512, read_without_a_command_returns_0xff_and_sets_status_cml) {
    EXPECT_EQ(read(1), bytes{0xFF});
    EXPECT_EQ(byte_at(status_cml), 0x02);
}

TEST_F(sim_car2512, an_address_alone_is_no_fault) {
    EXPECT_EQ(write({}), 0);
    EXPECT_EQ(byte_at(status_cml), 0x00);
}

TEST_F(sim_car2512, values_out_of_range_are_ignored_and_set_status_cml) {
    unprotect();
    const std::vector<bytes> bad{{operation, 0x01},
                                 {operation, 0xC0},
                                 {set_output_volt, 0x37, 0x04}, // 10.79 V
                                 {set_output_volt, 0x29, 0x05}, // 13.21 V
                                 {set_fan_duty_cycle, 101},
                                 {fan_command_1, 0x21, 0x4E}}; // 20001 rpm
    for (const bytes &data : bad) {
        EXPECT_EQ(write(data), static_cast<int>(data.size()));
        EXPECT_EQ(byte_at(status_cml), 0x40);
        clear();
    }
    EXPECT_EQ(word_at(status_word), 0U);
    EXPECT_EQ(word_at(programmed_volt), 1200U);
    EXPECT_EQ(byte_at(fan_duty_cycle), 50);
}

TEST_F(sim_car2512, written_ones_clear_bits_of_a_status_register) {
    unprotect();
    write({0x02});
    write({operation});
    EXPECT_EQ(byte_at(status_cml), 0x82);
    write({status_cml, 0x80});
    EXPECT_EQ(byte_at(status_cml), 0x02);
}

// --- PEC: of address 0x58, computed by another program ---

TEST_F(sim_car2512, data_read_is_followed_by_its_pec) {
    EXPECT_EQ(read_from(status_word, 3), (bytes{0x00, 0x00, 0xD4}));
    EXPECT_EQ(read_from(output_volt, 3), (bytes{0xB0, 0x04, 0x77}));
    EXPECT_EQ(read_from(status_byte, 2), (bytes{0x00, 0xF4}));
    EXPECT_EQ(byte_at(status_cml), 0x00);
}

TEST_F(sim_car2512, pec_covers_the_address) {
    part->port(0).set_address(0x59);
    EXPECT_NE(read_from(status_word, 3), (bytes{0x00, 0x00, 0xD4}));
}

TEST_F(sim_car2512, write_with_its_pec_is_performed) {
    EXPECT_EQ(write({write_protect, 0x00, 0xBD}), 3);
    EXPECT_EQ(byte_at(write_protect), 0x00);
    EXPECT_EQ(write({set_output_volt, 0x4C, 0x04, pec_of_11_volts}), 4);
    EXPECT_EQ(word_at(programmed_volt), 1100U);
    EXPECT_EQ(write({0x02}), 0);
    EXPECT_EQ(write({clear_faults, 0x46}), 2);
    EXPECT_EQ(byte_at(status_cml), 0x00);
}

TEST_F(sim_car2512, write_with_a_wrong_pec_is_refused_and_sets_status_cml) {
    for (const bytes &data : {bytes{write_protect, 0x00, 0xBC}, bytes{write_protect, 0x01, 0xBD},
                              bytes{set_output_volt, 0x4C, 0x04, 0x00}, bytes{operation, 0x00, 0x00}}) {
        EXPECT_EQ(write(data), static_cast<int>(data.size()) - 1);
        EXPECT_EQ(byte_at(status_cml), 0x20);
        EXPECT_EQ(word_at(status_word), 0x0002U);
        clear();
    }
    EXPECT_EQ(byte_at(write_protect), 0x80);
    EXPECT_EQ(byte_at(operation), 0x80);
    EXPECT_EQ(word_at(programmed_volt), 1200U);
    EXPECT_EQ(write({clear_faults, 0x00}), 1);
    EXPECT_EQ(byte_at(status_cml), 0x20);
}

TEST_F(sim_car2512, nothing_is_acknowledged_after_a_wrong_pec) {
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    ASSERT_TRUE(port.write(write_protect));
    ASSERT_TRUE(port.write(0x00));
    EXPECT_FALSE(port.write(0x00));
    EXPECT_FALSE(port.write(0xBD));
    port.stop();
    EXPECT_EQ(byte_at(write_protect), 0x80);
}

// --- Output ---

TEST_F(sim_car2512, operation_switches_the_output_off_and_on) {
    unprotect();
    part->set("load", "500W");
    write({operation, 0x00});
    EXPECT_EQ(word_at(output_volt), 0U);
    EXPECT_EQ(word_at(status_word), 0x0840U) << "off, power not good";
    EXPECT_EQ(shown("output"), "off");
    clock.pass(long_enough);
    EXPECT_EQ(word_at(input_power), 150U) << "12 W of its own, 3 W for the fan";
    write({operation, 0x80});
    EXPECT_EQ(word_at(output_volt), 1200U);
    EXPECT_EQ(word_at(status_word), 0U);
    write({operation, 0x40});
    EXPECT_EQ(word_at(output_volt), 0U);
}

TEST_F(sim_car2512, output_has_the_programmed_voltage) {
    unprotect();
    write({set_output_volt, 0x4C, 0x04});
    EXPECT_EQ(word_at(programmed_volt), 1100U);
    EXPECT_EQ(word_at(output_volt), 1100U);
    EXPECT_EQ(shown("output"), "11.00 V");
    write({operation, 0x00});
    EXPECT_EQ(word_at(programmed_volt), 1100U);
    EXPECT_EQ(word_at(output_volt), 0U);
}

TEST_F(sim_car2512, input_power_is_load_losses_and_fan) {
    part->set("load", "920W");
    EXPECT_EQ(word_at(input_power), 10150U); // 920 / 0.92 + 12 + 24 / 8
}

// --- Fan ---

TEST_F(sim_car2512, fan_speed_follows_the_duty_cycle_exponentially) {
    unprotect();
    set_duty(100);
    EXPECT_EQ(byte_at(fan_duty_cycle), 100);
    EXPECT_EQ(word_at(fan_speed), 10000U);
    clock.pass(1s);
    EXPECT_NEAR(word_at(fan_speed), 20000 - 10000 * std::exp(-1), 5);
    clock.pass(long_enough);
    EXPECT_EQ(word_at(fan_speed), 20000U);
    set_duty(0);
    clock.pass(long_enough);
    EXPECT_EQ(word_at(fan_speed), 0U);
}

TEST_F(sim_car2512, fan_command_overrides_the_duty_cycle_until_it_is_0) {
    unprotect();
    write({fan_command_1, 0x98, 0x3A}); // 15000 rpm
    clock.pass(long_enough);
    EXPECT_EQ(word_at(fan_speed), 15000U);
    EXPECT_EQ(byte_at(fan_duty_cycle), 75);
    EXPECT_EQ(word_at(fan_command_1), 15000U);
    set_duty(30);
    clock.pass(long_enough);
    EXPECT_EQ(word_at(fan_speed), 15000U);
    write({fan_command_1, 0, 0});
    clock.pass(long_enough);
    EXPECT_EQ(word_at(fan_speed), 6000U);
    EXPECT_EQ(byte_at(fan_duty_cycle), 30);
}

// --- Temperature ---

TEST_F(sim_car2512, temperature_rises_with_load) {
    unsigned int last = 0;
    for (const std::string_view load : {"0W", "100W", "500W", "1kW", "2kW", "2.5kW"}) {
        part->set("load", load);
        const unsigned int now = settled_temperature();
        EXPECT_GT(now, last) << load;
        last = now;
    }
    EXPECT_EQ(word_at(status_word), 0U) << "full load at half fan is no trouble";
}

TEST_F(sim_car2512, temperature_falls_with_fan_duty_cycle) {
    unprotect();
    part->set("load", "1kW");
    unsigned int last = 1000;
    for (const unsigned int duty : {20U, 40U, 60U, 80U, 100U}) {
        set_duty(static_cast<uint8_t>(duty));
        const unsigned int now = settled_temperature();
        EXPECT_LT(now, last) << duty;
        last = now;
    }
}

TEST_F(sim_car2512, temperature_follows_the_ambient_temperature) {
    const unsigned int cool = settled_temperature();
    part->set("ambient", "35C");
    EXPECT_EQ(settled_temperature(), cool + 100);
    part->set("ambient", "-30C");
    const auto signed_word = static_cast<int16_t>(settled_temperature());
    EXPECT_EQ(signed_word, static_cast<int>(cool) - 550) << "two's complement";
    EXPECT_LT(signed_word, 0);
}

TEST_F(sim_car2512, temperature_approaches_its_target_exponentially) {
    part->set("load", "2kW");
    const unsigned int start = word_at(temperature);
    EXPECT_EQ(start, 250U);
    clock.pass(60s);
    const unsigned int after_a_minute = word_at(temperature);
    const unsigned int end = settled_temperature();
    EXPECT_NEAR(after_a_minute - start, (end - start) * (1 - std::exp(-1)), 2);
}

TEST_F(sim_car2512, number_of_readings_does_not_change_the_temperature) {
    const auto other = make_chip("car2512", clock);
    part->set("load", "2kW");
    other->set("load", "2kW");
    for (int i = 0; i < 500; ++i) {
        clock.pass(237ms);
        (void)other->readings();
    }
    EXPECT_EQ(shown("temperature"), text_of(other->readings()[4].value));
    EXPECT_EQ(other->readings()[4].name, "temperature");
}

TEST_F(sim_car2512, step_of_a_century_keeps_the_settled_temperature) {
    part->set("load", "1kW");
    const unsigned int settled = settled_temperature();
    clock.pass(std::chrono::hours(24) * 36525);
    EXPECT_EQ(word_at(temperature), settled);
}

TEST_F(sim_car2512, temperature_at_power_on_is_the_ambient_temperature) {
    part->set("ambient", "40C");
    EXPECT_EQ(word_at(temperature), 250U);
    part->power_on();
    EXPECT_EQ(word_at(temperature), 400U);
}

// --- Trouble ---

TEST_F(sim_car2512, stopped_fan_sets_status_and_overheats) {
    part->set("load", "300W");
    const unsigned int before = settled_temperature();
    part->set("fan", "stopped");
    EXPECT_EQ(word_at(fan_speed), 0U);
    EXPECT_EQ(byte_at(status_fans_1_2), 0x80);
    EXPECT_EQ(word_at(status_word), 0x0401U) << "FANS, and nothing in the low byte for it";
    clock.pass(10s);
    EXPECT_GT(word_at(temperature), before);
    clear();
    EXPECT_EQ(byte_at(status_fans_1_2), 0x80) << "still stopped";
    part->set("fan", "ok");
    EXPECT_EQ(byte_at(status_fans_1_2), 0x80) << "latched";
    clear();
    EXPECT_EQ(byte_at(status_fans_1_2), 0x00);
    clock.pass(long_enough);
    EXPECT_EQ(word_at(fan_speed), 10000U);
    EXPECT_EQ(word_at(status_word), 0U);
}

TEST_F(sim_car2512, over_temperature_warns_then_trips_until_operation_is_toggled) {
    unprotect();
    part->set("load", "300W");
    part->set("fan", "stopped");
    while (word_at(temperature) < 750) {
        EXPECT_EQ(byte_at(status_temperature), 0x00);
        clock.pass(1s);
    }
    EXPECT_EQ(byte_at(status_temperature), 0x40);
    EXPECT_EQ(word_at(status_word), 0x0405U);
    EXPECT_EQ(word_at(output_volt), 1200U) << "a warning only";
    clock.pass(10min);
    EXPECT_EQ(byte_at(status_temperature), 0xC0);
    EXPECT_EQ(word_at(status_word), 0x0C45U);
    EXPECT_EQ(word_at(output_volt), 0U);
    EXPECT_EQ(shown("output"), "off (tripped)");

    part->set("fan", "ok");
    clock.pass(long_enough);
    EXPECT_LT(word_at(temperature), 400U);
    EXPECT_EQ(byte_at(status_temperature), 0xC0) << "latched";
    clear();
    EXPECT_EQ(word_at(status_word), 0x0840U) << "faults cleared, output still off";
    write({operation, 0x80});
    EXPECT_EQ(word_at(output_volt), 0U) << "was on and stays tripped";
    write({operation, 0x00});
    write({operation, 0x80});
    EXPECT_EQ(word_at(output_volt), 1200U);
    EXPECT_EQ(word_at(status_word), 0x0000U);
}

TEST_F(sim_car2512, toggling_operation_trips_again_while_too_hot) {
    unprotect();
    part->set("ambient", "95C");
    clock.pass(long_enough);
    EXPECT_EQ(shown("output"), "off (tripped)");
    write({operation, 0x00});
    write({operation, 0x80});
    EXPECT_EQ(word_at(output_volt), 0U) << "still too hot";
    EXPECT_EQ(byte_at(status_temperature), 0xC0) << "back at once";
    part->set("ambient", "25C");
    clock.pass(long_enough);
    write({operation, 0x00});
    write({operation, 0x80});
    EXPECT_EQ(word_at(output_volt), 1200U);
    EXPECT_EQ(byte_at(status_temperature), 0x00);
}

TEST_F(sim_car2512, an_output_that_is_off_does_not_trip) {
    unprotect();
    write({operation, 0x00});
    part->set("ambient", "95C");
    clock.pass(long_enough);
    EXPECT_EQ(byte_at(status_temperature), 0xC0);
    EXPECT_EQ(shown("output"), "off");
}

TEST_F(sim_car2512, lost_input_switches_the_output_off_until_it_returns) {
    part->set("load", "300W");
    part->set("input", "lost");
    EXPECT_EQ(word_at(input_volt), 0U);
    EXPECT_EQ(word_at(input_power), 0U);
    EXPECT_EQ(word_at(output_volt), 0U);
    EXPECT_EQ(byte_at(status_input), 0x38) << "undervoltage warning and fault, unit off for it";
    EXPECT_EQ(word_at(status_word), 0x2849U);
    EXPECT_EQ(shown("input"), "lost");
    clear();
    EXPECT_EQ(byte_at(status_input), 0x38);
    part->set("input", "120V");
    EXPECT_EQ(word_at(output_volt), 1200U) << "on again by itself";
    EXPECT_EQ(word_at(input_volt), 1200U);
    EXPECT_EQ(word_at(status_word), 0x2009U) << "latched";
    clear();
    EXPECT_EQ(word_at(status_word), 0x0000U);
}

TEST_F(sim_car2512, low_input_warns_and_high_input_switches_off) {
    part->set("input", "85V");
    EXPECT_EQ(byte_at(status_input), 0x20);
    EXPECT_EQ(word_at(output_volt), 1200U);
    part->set("input", "290V");
    EXPECT_EQ(byte_at(status_input), 0xA0);
    EXPECT_EQ(word_at(output_volt), 0U);
}

TEST_F(sim_car2512, overload_warns_and_then_switches_off) {
    unprotect();
    part->set("load", "2.6kW");
    EXPECT_EQ(byte_at(status_iout), 0x20);
    EXPECT_EQ(word_at(status_word), 0x4001U);
    EXPECT_EQ(word_at(output_volt), 1200U);
    part->set("load", "3kW");
    EXPECT_EQ(byte_at(status_iout), 0xA0);
    EXPECT_EQ(word_at(status_word), 0x4851U);
    EXPECT_EQ(word_at(output_volt), 0U);
    part->set("load", "1kW");
    EXPECT_EQ(word_at(output_volt), 0U);
    write({operation, 0x00});
    write({operation, 0x80});
    EXPECT_EQ(word_at(output_volt), 1200U);
    EXPECT_EQ(word_at(status_word), 0x0000U);
}

// --- Settings and readings ---

TEST_F(sim_car2512, readings_show_values_with_units) {
    part->set("load", "180W");
    part->set("firmware", "0x2A");
    EXPECT_EQ(shown("output"), "12.00 V");
    EXPECT_EQ(shown("load"), "180.0 W");
    EXPECT_EQ(shown("input"), "230.0 V");
    EXPECT_EQ(shown("input-power"), "210.7 W");
    EXPECT_EQ(shown("temperature"), "25.0 C");
    EXPECT_EQ(shown("ambient"), "25.0 C");
    EXPECT_EQ(shown("fan"), "ok");
    EXPECT_EQ(shown("fan-speed"), "10000 rpm");
    EXPECT_EQ(shown("fan-duty"), "50 %");
    EXPECT_EQ(shown("status"), "0x0000");
    EXPECT_EQ(shown("write-protect"), "0x80");
    EXPECT_EQ(shown("firmware"), "0x2a");
    EXPECT_EQ(byte_at(firmware_version), 0x2A);
}

TEST_F(sim_car2512, invalid_settings_are_refused_and_change_nothing) {
    EXPECT_EQ(refusal("lod", "1W"), "unknown setting 'lod' (has: load, ambient, fan, input, firmware)");
    EXPECT_EQ(refusal("load", "230V"), "load: cannot be '230V' (expected 0 to 5000W)");
    EXPECT_EQ(refusal("ambient", "200C"), "ambient: cannot be '200C' (expected -40 to 100C)");
    EXPECT_EQ(refusal("fan", "slow"), "fan: cannot be 'slow' (expected ok or stopped)");
    EXPECT_EQ(refusal("input", "gone"), "input: cannot be 'gone' (expected lost, or 0 to 300V)");
    EXPECT_EQ(refusal("firmware", "256"), "firmware: cannot be '256' (expected 0 to 255)");
    EXPECT_EQ(shown("load"), "0.0 W");
    EXPECT_EQ(shown("input"), "230.0 V");
}

TEST_F(sim_car2512, registers_have_their_pmbus_names) {
    EXPECT_EQ(register_name(0x01), "OPERATION");
    EXPECT_EQ(register_name(0x79), "STATUS_WORD");
    EXPECT_EQ(register_name(0xEF), "Input power");
}

TEST_F(sim_car2512, starts_again_with_its_commands_at_their_power_on_values) {
    write({write_protect, 0x00});
    write({operation, 0x00});
    part->set("load", "300W");
    part->power_on();
    EXPECT_EQ(byte_at(write_protect), 0x80);
    EXPECT_EQ(shown("output"), "12.00 V");
    EXPECT_EQ(shown("load"), "300.0 W");
}

} // namespace
} // namespace varnel::sim::test
