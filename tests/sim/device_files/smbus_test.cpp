// SPDX-License-Identifier: Apache-2.0
// SMBus transactions as I2C messages: the bytes of SMBus 3.2 section 6.5, with and without PEC.
#include <cerrno>

#include <gtest/gtest.h>

#include "sim/device_files/smbus.h"
#include "sim/models/packet_error_code.h"
#include "tests/sim/device_files/scripted_adapter.h"

namespace varnel::test {

namespace {

using sim::crc8;
using sim::device_files::perform;
using sim::device_files::smbus_request;

class smbus_transaction : public ::testing::Test {
  public:
    int run(uint32_t size, uint8_t read_write, bool pec = false) {
        return perform(bus, smbus_request{address, ten_bits, pec, read_write, 0x8B, size}, data);
    }
    int write(uint32_t size, bool pec = false) { return run(size, I2C_SMBUS_WRITE, pec); }
    int read(uint32_t size, std::vector<uint8_t> answer, bool pec = false) {
        bus.answer = std::move(answer);
        return run(size, I2C_SMBUS_READ, pec);
    }

    scripted_adapter bus;
    i2c_smbus_data data{};
    uint16_t address = 0x58;
    bool ten_bits = false;
};

TEST_F(smbus_transaction, quick_command_has_no_bytes) {
    EXPECT_EQ(write(I2C_SMBUS_QUICK), 0);
    EXPECT_EQ(read(I2C_SMBUS_QUICK, {}), 0);
    EXPECT_EQ(bus.asked, "58W[] 58R0 ");
}

TEST_F(smbus_transaction, byte_is_the_command_or_one_byte_read) {
    EXPECT_EQ(write(I2C_SMBUS_BYTE), 0);
    EXPECT_EQ(read(I2C_SMBUS_BYTE, {0x42}), 0);
    EXPECT_EQ(bus.asked, "58W[8b] 58R1 ");
    EXPECT_EQ(data.byte, 0x42);
}

TEST_F(smbus_transaction, byte_data_follows_the_command) {
    data.byte = 0x17;
    EXPECT_EQ(write(I2C_SMBUS_BYTE_DATA), 0);
    EXPECT_EQ(read(I2C_SMBUS_BYTE_DATA, {0x99}), 0);
    EXPECT_EQ(bus.asked, "58W[8b 17] 58W[8b] 58R1 ");
    EXPECT_EQ(data.byte, 0x99);
}

TEST_F(smbus_transaction, word_goes_low_byte_first) {
    data.word = 0x1234;
    EXPECT_EQ(write(I2C_SMBUS_WORD_DATA), 0);
    EXPECT_EQ(read(I2C_SMBUS_WORD_DATA, {0x78, 0x56}), 0);
    EXPECT_EQ(bus.asked, "58W[8b 34 12] 58W[8b] 58R2 ");
    EXPECT_EQ(data.word, 0x5678);
}

TEST_F(smbus_transaction, process_call_writes_and_reads_whatever_the_direction) {
    data.word = 0x1234;
    bus.answer = {0x78, 0x56};
    EXPECT_EQ(write(I2C_SMBUS_PROC_CALL), 0);
    EXPECT_EQ(bus.asked, "58W[8b 34 12] 58R2 ");
    EXPECT_EQ(data.word, 0x5678);
}

TEST_F(smbus_transaction, block_write_sends_its_length) {
    data = {.block = {3, 1, 2, 3}};
    EXPECT_EQ(write(I2C_SMBUS_BLOCK_DATA), 0);
    EXPECT_EQ(bus.asked, "58W[8b 03 01 02 03] ");
}

TEST_F(smbus_transaction, block_read_stores_length_and_bytes) {
    EXPECT_EQ(read(I2C_SMBUS_BLOCK_DATA, {2, 0xAA, 0xBB}), 0);
    EXPECT_EQ(bus.asked, "58W[8b] 58R1+ ");
    EXPECT_EQ(data.block[0], 2);
    EXPECT_EQ(data.block[1], 0xAA);
    EXPECT_EQ(data.block[2], 0xBB);
    EXPECT_EQ(data.block[3], 0);
}

TEST_F(smbus_transaction, block_process_call_writes_a_block_and_reads_one) {
    data = {.block = {1, 7}};
    bus.answer = {1, 9};
    EXPECT_EQ(run(I2C_SMBUS_BLOCK_PROC_CALL, I2C_SMBUS_WRITE), 0);
    EXPECT_EQ(bus.asked, "58W[8b 01 07] 58R1+ ");
    EXPECT_EQ(data.block[1], 9);
}

TEST_F(smbus_transaction, i2c_block_has_no_length_on_the_wire) {
    data = {.block = {2, 5, 6}};
    EXPECT_EQ(write(I2C_SMBUS_I2C_BLOCK_DATA), 0);
    EXPECT_EQ(read(I2C_SMBUS_I2C_BLOCK_DATA, {8, 9}), 0);
    EXPECT_EQ(bus.asked, "58W[8b 05 06] 58W[8b] 58R2 ");
    EXPECT_EQ(data.block[0], 2);
    EXPECT_EQ(data.block[2], 9);
}

TEST_F(smbus_transaction, address_may_have_ten_bits) {
    address = 0x158;
    ten_bits = true;
    EXPECT_EQ(write(I2C_SMBUS_QUICK), 0);
    EXPECT_EQ(write(I2C_SMBUS_BYTE_DATA), 0);
    EXPECT_EQ(read(I2C_SMBUS_BYTE_DATA, {0x99}), 0);
    EXPECT_EQ(bus.asked, "ten bits 158W[] ten bits 158W[8b 00] ten bits 158W[8b] ten bits 158R1 ");
}

TEST_F(smbus_transaction, block_above_32_bytes_is_refused_before_the_bus) {
    data.block[0] = 33;
    EXPECT_EQ(write(I2C_SMBUS_BLOCK_DATA), EINVAL);
    EXPECT_EQ(write(I2C_SMBUS_I2C_BLOCK_DATA), EINVAL);
    EXPECT_EQ(write(I2C_SMBUS_BLOCK_PROC_CALL), EINVAL);
    EXPECT_EQ(bus.asked, "");
}

TEST_F(smbus_transaction, error_of_the_bus_is_returned_and_stores_nothing) {
    bus.error = ENXIO;
    data.byte = 0x11;
    EXPECT_EQ(read(I2C_SMBUS_BYTE_DATA, {0x99}), ENXIO);
    EXPECT_EQ(data.byte, 0x11);
}

// The check byte of SMBus is the CRC-8 with polynomial 0x07: its check value for "123456789" is 0xF4.
TEST(smbus_crc, has_the_published_check_value) {
    uint8_t crc = 0;
    for (const char digit : std::string("123456789")) {
        crc = crc8(crc, static_cast<uint8_t>(digit));
    }
    EXPECT_EQ(crc, 0xF4);
}

uint8_t pec_of(const std::vector<uint8_t> &bytes) {
    uint8_t crc = 0;
    for (const uint8_t byte : bytes) {
        crc = crc8(crc, byte);
    }
    return crc;
}

TEST_F(smbus_transaction, pec_follows_what_is_written) {
    data.byte = 0x17;
    EXPECT_EQ(write(I2C_SMBUS_BYTE_DATA, true), 0);
    EXPECT_EQ(bus.asked, fmt::format("58W[8b 17 {:02x}] ", pec_of({0xB0, 0x8B, 0x17})));
}

TEST_F(smbus_transaction, pec_of_a_read_covers_both_messages) {
    const uint8_t pec = pec_of({0xB0, 0x8B, 0xB1, 0x78, 0x56});
    EXPECT_EQ(read(I2C_SMBUS_WORD_DATA, {0x78, 0x56, pec}, true), 0);
    EXPECT_EQ(bus.asked, "58W[8b] 58R3 ");
    EXPECT_EQ(data.word, 0x5678);
}

TEST_F(smbus_transaction, wrong_pec_is_ebadmsg) {
    EXPECT_EQ(read(I2C_SMBUS_WORD_DATA, {0x78, 0x56, 0}, true), EBADMSG);
    EXPECT_EQ(data.word, 0);
}

TEST_F(smbus_transaction, block_read_with_pec_asks_for_one_byte_more) {
    const uint8_t pec = pec_of({0xB0, 0x8B, 0xB1, 1, 0xAA});
    EXPECT_EQ(read(I2C_SMBUS_BLOCK_DATA, {1, 0xAA, pec}, true), 0);
    EXPECT_EQ(bus.asked, "58W[8b] 58R2+ ");
    EXPECT_EQ(data.block[1], 0xAA);
}

TEST_F(smbus_transaction, quick_and_i2c_block_have_no_pec) {
    data = {.block = {1, 5}};
    EXPECT_EQ(write(I2C_SMBUS_QUICK, true), 0);
    EXPECT_EQ(write(I2C_SMBUS_I2C_BLOCK_DATA, true), 0);
    EXPECT_EQ(bus.asked, "58W[] 58W[8b 05] ");
}

} // namespace

} // namespace varnel::test
