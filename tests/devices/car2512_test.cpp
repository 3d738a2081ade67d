// SPDX-License-Identifier: Apache-2.0
#include "varnel/car2512.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "support/captured_output.h"
#include "support/scripted_bus.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr uint32_t device = 0xABCD5804; // bus 4, slave 0x58, upper half ignored

transfer sent(bytes frame) { return write_of(4, 0x58, std::move(frame)); }
transfer byte_read(uint8_t command, uint8_t preset) { return write_read_of(4, 0x58, {command}, {preset}); }
transfer word_read(uint8_t command) { return write_read_of(4, 0x58, {command}, {0, 0}); }

using car2512 = scripted_bus;

struct byte_reading {
    int (*function)(uint32_t, uint8_t *);
    uint8_t command;
};

struct word_reading {
    int (*function)(uint32_t, uint16_t *);
    uint8_t command;
};

const std::vector<byte_reading> byte_readings{
    {car2512_get_vout_status, 0x7A},    {car2512_get_status_input, 0x7C},   {car2512_get_CML, 0x7E},
    {car2512_get_mfr_specific, 0x80},   {car2512_get_fan_1_2_status, 0x81}, {car2512_get_frw_version, 0xD0},
    {car2512_get_fan_duty_cycle, 0xD6},
};

const std::vector<word_reading> word_readings{{car2512_get_status, 0x79},      {car2512_get_vprog, 0xD8},
                                              {car2512_get_output_volt, 0xE0}, {car2512_get_temp, 0xE2},
                                              {car2512_get_fan_speed, 0xE9},   {car2512_get_input_volt, 0xED},
                                              {car2512_get_input_power, 0xEF}};

TEST_F(car2512, byte_readings_return_the_raw_byte) {
    for (const byte_reading &row : byte_readings) {
        calls.clear();
        answers({{{0x9A}}});
        uint8_t byte = 0xEE;
        EXPECT_EQ(row.function(device, &byte), 0);
        EXPECT_EQ(byte, 0x9A);
        EXPECT_THAT(calls, ElementsAre(byte_read(row.command, 0xEE)));
    }
}

TEST_F(car2512, word_readings_return_the_raw_word_low_byte_first) {
    for (const word_reading &row : word_readings) {
        calls.clear();
        answers({{{0x34, 0x92}}});
        uint16_t word = 0xEEEE;
        EXPECT_EQ(row.function(device, &word), 0);
        EXPECT_EQ(word, 0x9234);
        EXPECT_THAT(calls, ElementsAre(word_read(row.command)));
    }
}

TEST_F(car2512, failed_readings_return_minus_1_and_leave_words_untouched) {
    for (const byte_reading &row : byte_readings) {
        answers({{{0x77}, -1}});
        uint8_t byte = 0xEE;
        EXPECT_EQ(row.function(device, &byte), -1);
        EXPECT_EQ(byte, 0x77);
    }
    for (const word_reading &row : word_readings) {
        answers({{{0x77, 0x77}, 1}});
        uint16_t word = 0xEEEE;
        EXPECT_EQ(row.function(device, &word), -1);
        EXPECT_EQ(word, 0xEEEE);
    }
}

const bytes unprotect{0x10, 0x00};

struct setting {
    std::function<int()> function;
    bytes frame;
};

const std::vector<setting> settings{
    {[] { return car2512_set_power_on(device); }, {0x01, 0x80}},
    {[] { return car2512_set_power_off(device); }, {0x01, 0x00}},
    {[] { return car2512_set_fan_speed(device, 0xA1B2); }, {0x3B, 0xB2, 0xA1}},
    {[] { return car2512_set_fan_duty_cycle(device, 200); }, {0xD7, 200}},
    {[] { return car2512_set_output_volt(device, 0x04D2); }, {0xD4, 0xD2, 0x04}},
};

TEST_F(car2512, settings_cancel_write_protection_first) {
    for (const setting &s : settings) {
        calls.clear();
        EXPECT_EQ(s.function(), 0);
        EXPECT_THAT(calls, ElementsAre(sent(unprotect), sent(s.frame)));
    }
}

TEST_F(car2512, settings_are_not_sent_when_unprotecting_fails) {
    for (const setting &s : settings) {
        calls.clear();
        fail_call(0);
        EXPECT_EQ(s.function(), -1);
        EXPECT_THAT(calls, ElementsAre(sent(unprotect)));
    }
}

TEST_F(car2512, settings_return_minus_1_when_their_own_write_fails) {
    for (const setting &s : settings) {
        calls.clear();
        fail_call(1);
        EXPECT_EQ(s.function(), -1);
        EXPECT_THAT(calls, ElementsAre(sent(unprotect), sent(s.frame)));
    }
}

TEST_F(car2512, cancel_write_protect_and_clear_fault_are_single_commands) {
    EXPECT_EQ(car2512_cancel_write_protect(device), 0);
    EXPECT_EQ(car2512_clear_fault(device), 0);
    EXPECT_THAT(calls, ElementsAre(sent(unprotect), sent({0x03})));
    fail_call(0);
    EXPECT_EQ(car2512_cancel_write_protect(device), -1);
    fail_call(0);
    EXPECT_EQ(car2512_clear_fault(device), -1);
}

TEST_F(car2512, fan_duty_cycle_is_only_raised) {
    struct row {
        uint8_t now;
        uint8_t wanted;
        bool raised;
    };
    for (const row &r : std::vector<row>{{60, 60, false},
                                         {61, 60, false},
                                         {255, 60, false},
                                         {200, 100, false},
                                         {0, 0, false},
                                         {59, 60, true},
                                         {0, 1, true},
                                         {127, 128, true},
                                         {254, 255, true}}) {
        calls.clear();
        answers({{{r.now}}});
        EXPECT_EQ(car2512_set_fan_duty_cycle_upto_percent(device, r.wanted), 0);
        std::vector<transfer> expected{byte_read(0xD6, 0)};
        if (r.raised) {
            expected.insert(expected.end(), {sent(unprotect), sent({0xD7, r.wanted})});
        }
        EXPECT_THAT(calls, ElementsAreArray(expected));
    }
}

TEST_F(car2512, fan_raise_stops_at_the_first_failure) {
    for (unsigned int failing = 0; failing < 3; ++failing) {
        calls.clear();
        fail_call(failing);
        EXPECT_EQ(car2512_set_fan_duty_cycle_upto_percent(device, 60), -1);
        EXPECT_EQ(calls.size(), failing + 1);
    }
}

TEST_F(car2512, get_all_reads_four_words_in_order) {
    answers({{{1, 2}}, {{3, 4}}, {{5, 6}}, {{7, 8}}});
    std::array<uint16_t, CAR2512_READINGS + 1> record{};
    record.fill(0xEEEE);
    EXPECT_EQ(car2512_getall(device, record.data()), 0);
    EXPECT_THAT(record, ElementsAre(0x0201, 0x0403, 0x0605, 0x0807, 0xEEEE));
    EXPECT_THAT(calls, ElementsAre(word_read(0xEF), word_read(0xE2), word_read(0xED), word_read(0xE9)));
    EXPECT_EQ(record[CAR2512_INPUT_POWER], 0x0201);
    EXPECT_EQ(record[CAR2512_TEMPERATURE], 0x0403);
    EXPECT_EQ(record[CAR2512_INPUT_VOLT], 0x0605);
    EXPECT_EQ(record[CAR2512_FAN_SPEED], 0x0807);
}

TEST_F(car2512, get_all_keeps_what_it_read_before_a_failure) {
    for (unsigned int failing = 0; failing < CAR2512_READINGS; ++failing) {
        calls.clear();
        fail_call(failing, 0x11);
        std::array<uint16_t, CAR2512_READINGS> record{};
        record.fill(0xEEEE);
        EXPECT_EQ(car2512_getall(device, record.data()), -1);
        EXPECT_EQ(calls.size(), failing + 1);
        for (unsigned int i = 0; i < CAR2512_READINGS; ++i) {
            EXPECT_EQ(record[i], i < failing ? 0x0011 : 0xEEEE) << failing << " " << i;
        }
    }
}

TEST_F(car2512, nothing_is_printed) {
    answers({{{}, -1}, {{}, -1}, {{}, -1}});
    uint8_t byte = 0;
    std::array<uint16_t, CAR2512_READINGS> record{};
    captured_output output;
    EXPECT_EQ(car2512_get_CML(device, &byte), -1);
    EXPECT_EQ(car2512_set_power_on(device), -1);
    EXPECT_EQ(car2512_getall(device, record.data()), -1);
    EXPECT_EQ(output.text(), "");
}

} // namespace
