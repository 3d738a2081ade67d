// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9505.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/reporting_driver.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;

constexpr uint32_t device = 0xABCD2402; // bus 2, slave 0x24, upper half ignored

transfer selected(uint8_t reg) { return write_of(2, 0x24, {reg}); }
transfer written(uint8_t reg, uint8_t value) { return write_of(2, 0x24, {reg, value}); }
transfer byte_read(uint8_t preset) { return read_of(2, 0x24, {preset}); }

const std::string select_call = "i2c_master_write_on_bus(device.bus, device.slave_addr, &temp, 1)";
const std::string read_call = "i2c_master_read_on_bus(device.bus, device.slave_addr, data, 1)";
const std::string read_old_call = "i2c_master_read_on_bus(device.bus, device.slave_addr, &old_data, 1)";
const std::string write_call = "i2c_master_write_on_bus(device.bus, device.slave_addr, data, 2)";

std::string line(int number, const std::string &function, const std::string &call) {
    return "pca9505.c:" + std::to_string(number) + ":" + function + "():" + call;
}

class pca9505 : public reporting_driver {};

TEST_F(pca9505, register_read_writes_the_register_number_then_reads) {
    for (const uint8_t reg : {0x00, 0x04, 0x18, 0xFF}) {
        calls.clear();
        answers({{}, {{0x5A}}});
        uint8_t data = 0xEE;
        EXPECT_EQ(pca9505_get_reg_data(device, reg, &data), 0);
        EXPECT_EQ(data, 0x5A);
        EXPECT_THAT(calls, ElementsAre(selected(reg), byte_read(0xEE)));
    }
    uint8_t data = 0;
    fails_with([&] { return pca9505_get_reg_data(device, 3, &data); },
               {line(20, "pca9505_get_reg_data", select_call), line(21, "pca9505_get_reg_data", read_call)});
}

TEST_F(pca9505, port_read_returns_one_bit_of_the_register) {
    for (unsigned int bit = 0; bit < 256; ++bit) {
        for (const unsigned int value : {0x80U, 0x01U, 0xFFU, 0x00U, 0x5AU}) {
            calls.clear();
            answers({{}, {{static_cast<uint8_t>(value)}}});
            uint8_t data = 0xEE;
            ASSERT_EQ(pca9505_get_port_data(device, 3, static_cast<uint8_t>(bit), &data), 0);
            ASSERT_EQ(data, bit < 8 ? value >> bit & 1U : 0U)
                << bit; // bits the register does not have read 0
            ASSERT_THAT(calls, ElementsAre(selected(3), byte_read(0xEE)));
        }
    }
    uint8_t data = 0;
    fails_with(
        [&] { return pca9505_get_port_data(device, 3, 7, &data); },
        {line(103, "pca9505_get_port_data", select_call), line(104, "pca9505_get_port_data", read_call)});
}

TEST_F(pca9505, failed_read_leaves_what_the_transfer_stored) {
    answers({{}, {{0x40}, -1}, {}, {{0x41}, -1}});
    uint8_t reg_data = 0xEE;
    uint8_t port_data = 0xEE;
    EXPECT_EQ(pca9505_get_reg_data(device, 3, &reg_data), -1);
    EXPECT_EQ(pca9505_get_port_data(device, 3, 0, &port_data), -1);
    EXPECT_EQ(reg_data, 0x40);
    EXPECT_EQ(port_data, 0x41);
}

struct pin_row {
    const char *name;
    int (*function)(uint32_t, uint8_t, uint8_t);
    unsigned int base;
    bool sets;
    int select_line, read_line, write_line;
};

const std::vector<pin_row> pin_rows{
    {"pca9505_set_port_input", pca9505_set_port_input, 0x18, true, 33, 38, 41},
    {"pca9505_set_port_output", pca9505_set_port_output, 0x18, false, 69, 73, 77},
    {"pca9505_set_port_high", pca9505_set_port_high, 0x08, true, 117, 121, 124},
    {"pca9505_set_port_low", pca9505_set_port_low, 0x08, false, 137, 141, 144},
};

TEST_F(pca9505, changing_a_pin_reads_and_writes_the_same_register) {
    for (const pin_row &row : pin_rows) {
        for (const unsigned int bank : {0U, 2U, 4U, 5U, 231U, 247U, 255U}) {
            for (unsigned int bit = 0; bit < 8; ++bit) {
                for (const unsigned int old : {0x00U, 0xFFU, 0xA5U}) {
                    calls.clear();
                    answers({{}, {{static_cast<uint8_t>(old)}}, {}});
                    ASSERT_EQ(row.function(device, static_cast<uint8_t>(bank), static_cast<uint8_t>(bit)), 0);
                    const auto reg = static_cast<uint8_t>(row.base + bank); // modulo 256
                    const auto changed =
                        static_cast<uint8_t>(row.sets ? old | 1U << bit : old & ~(1U << bit));
                    ASSERT_THAT(calls, ElementsAre(selected(reg), byte_read(0), written(reg, changed)));
                }
            }
        }
    }
}

TEST_F(pca9505, bit_above_7_writes_the_register_back_unchanged) {
    for (const pin_row &row : pin_rows) {
        for (const uint8_t bit : {8, 31, 32, 40, 255}) {
            calls.clear();
            answers({{}, {{0xA5}}, {}});
            EXPECT_EQ(row.function(device, 1, bit), 0);
            const auto reg = static_cast<uint8_t>(row.base + 1);
            EXPECT_THAT(calls, ElementsAre(selected(reg), byte_read(0), written(reg, 0xA5)));
        }
    }
}

TEST_F(pca9505, changing_a_pin_stops_at_the_first_failure_and_prints_it) {
    for (const pin_row &row : pin_rows) {
        fails_with([&] { return row.function(device, 1, 2); }, {line(row.select_line, row.name, select_call),
                                                                line(row.read_line, row.name, read_old_call),
                                                                line(row.write_line, row.name, write_call)});
    }
}

struct bank_row {
    const char *name;
    int (*function)(uint32_t, uint8_t);
    unsigned int base;
    uint8_t value;
    int select_line, write_line;
};

const std::vector<bank_row> bank_rows{
    {"pca9505_set_bank_input", pca9505_set_bank_input, 0x18, 0xFF, 53, 56},
    {"pca9505_set_bank_output", pca9505_set_bank_output, 0x18, 0x00, 89, 92},
    {"pca9505_clear_bank_mask", pca9505_clear_bank_mask, 0x20, 0x00, 155, 158},
};

TEST_F(pca9505, bank_write_selects_the_register_before_writing_it) {
    for (const bank_row &row : bank_rows) {
        for (const unsigned int bank : {0U, 4U, 223U, 231U, 255U}) {
            calls.clear();
            EXPECT_EQ(row.function(device, static_cast<uint8_t>(bank)), 0);
            const auto reg = static_cast<uint8_t>(row.base + bank);
            EXPECT_THAT(calls, ElementsAre(selected(reg), written(reg, row.value)));
        }
        fails_with([&] { return row.function(device, 1); }, {line(row.select_line, row.name, select_call),
                                                             line(row.write_line, row.name, write_call)});
    }
}

TEST_F(pca9505, bus_results_are_compared_as_whole_ints) {
    for (const int result : {0x10001, 0x10000, 0, 2, -1, -0xFFFF}) {
        answers({{{}, result}});
        captured_output output;
        EXPECT_EQ(pca9505_set_bank_input(device, 0), -1) << result;
        EXPECT_EQ(output.text(), line(53, "pca9505_set_bank_input", select_call) + "\n");
    }
    uint8_t data = 0;
    answers({{}, {{1}, 0x10001}});
    captured_output output;
    EXPECT_EQ(pca9505_get_reg_data(device, 0, &data), -1);
    answers({{}, {{}, 0x10002}});
    EXPECT_EQ(pca9505_set_bank_input(device, 0), -1);
    EXPECT_EQ(output.text(), line(21, "pca9505_get_reg_data", read_call) + "\n" +
                                 line(56, "pca9505_set_bank_input", write_call) + "\n");
}

TEST_F(pca9505, success_prints_nothing) {
    uint8_t data = 0;
    captured_output output;
    EXPECT_EQ(pca9505_get_reg_data(device, 0, &data), 0);
    EXPECT_EQ(pca9505_set_port_high(device, 2, 5), 0);
    EXPECT_EQ(output.text(), "");
}

TEST_F(pca9505, set_port_high_of_bank_2_writes_register_0x0a) {
    answers({{}, {{0x01}}, {}});
    EXPECT_EQ(pca9505_set_port_high(device, 2, 5), 0);
    EXPECT_THAT(calls, ElementsAre(selected(0x0A), byte_read(0), written(0x0A, 0x21)));
}

} // namespace
