// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9541.h"

#include <cstdint>

#include "support/captured_output.h"
#include "support/scripted_bus.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;

constexpr uint32_t device = 0xABCD7401; // bus 1, slave 0x74, upper half ignored

transfer written(uint8_t reg, uint8_t data) { return write_of(1, 0x74, {reg, data}); }
transfer register_read(uint8_t reg, uint8_t preset) { return write_read_of(1, 0x74, {reg}, {preset}); }

using pca9541 = scripted_bus;

TEST_F(pca9541, registers_are_written_and_read_by_number) {
    answers({{}, {{0x4A}}, {{0x5B}}, {}});
    uint8_t control = 0xEE;
    uint8_t status = 0xEE;
    EXPECT_EQ(pca9541_set_intmask(device, 0x3C), 0);
    EXPECT_EQ(pca9541_read_ctrl(device, &control), 0);
    EXPECT_EQ(pca9541_get_intstatus(device, &status), 0);
    EXPECT_EQ(pca9541_clear_intstatus(device), 0);
    EXPECT_EQ(control, 0x4A);
    EXPECT_EQ(status, 0x5B);
    EXPECT_THAT(calls, ElementsAre(written(0, 0x3C), register_read(1, 0xEE), register_read(2, 0xEE),
                                   written(2, 0x00)));
}

TEST_F(pca9541, take_bus_derives_its_bits_from_those_of_the_other_master) {
    for (unsigned int now = 0; now < 256; ++now) {
        calls.clear();
        answers({{{static_cast<uint8_t>(now)}}, {}});
        const unsigned int my_bus = now >> 1 & 1U;
        const unsigned int bus_on = (now >> 3 & 1U) ^ 1U;
        ASSERT_EQ(pca9541_take_bus(device), 0);
        ASSERT_THAT(calls, ElementsAre(register_read(1, 0),
                                       written(1, static_cast<uint8_t>(my_bus | bus_on << 2 | 0x10))));
    }
}

TEST_F(pca9541, take_bus_writes_the_tabulated_control_bytes) {
    const uint8_t table[][2] = {{0x00, 0x14}, {0x02, 0x15}, {0x0A, 0x11}, {0xFF, 0x11}, {0x08, 0x10}};
    for (const auto &[now, expected] : table) {
        calls.clear();
        answers({{{now}}, {}});
        EXPECT_EQ(pca9541_take_bus(device), 0);
        ASSERT_EQ(calls.size(), 2U);
        EXPECT_EQ(calls[1], written(1, expected));
    }
}

TEST_F(pca9541, take_bus_stops_when_the_control_byte_cannot_be_read) {
    fail_call(0);
    EXPECT_EQ(pca9541_take_bus(device), -1);
    EXPECT_EQ(calls.size(), 1U);
}

TEST_F(pca9541, failures_are_returned_and_not_printed) {
    answers({{{}, -1}, {{}, -1}, {{}, -1}, {{}, -1}, {}, {{}, -1}});
    uint8_t byte = 0;
    captured_output output;
    EXPECT_EQ(pca9541_set_intmask(device, 1), -1);
    EXPECT_EQ(pca9541_read_ctrl(device, &byte), -1);
    EXPECT_EQ(pca9541_get_intstatus(device, &byte), -1);
    EXPECT_EQ(pca9541_clear_intstatus(device), -1);
    EXPECT_EQ(pca9541_take_bus(device), -1);
    EXPECT_EQ(output.text(), "");
}

} // namespace
