// SPDX-License-Identifier: Apache-2.0
// What an open /dev/i2c-N returns, over this process's own memory.
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/device_files/i2c_file.h"
#include "sim/models/packet_error_code.h"
#include "tests/sim/device_files/scripted_adapter.h"

namespace varnel::test {

namespace {

using sim::device_files::caller_memory;
using sim::device_files::i2c_file;

uint64_t address_of(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

/// Nothing is at addresses below a page.
class own_memory : public caller_memory {
  public:
    bool read(uint64_t address, std::span<uint8_t> to) const override {
        return there(address, to.size()) && copy(to.data(), pointer(address), to.size());
    }
    bool write(uint64_t address, std::span<const uint8_t> from) const override {
        return there(address, from.size()) &&
               std::memcpy(pointer(address), from.data(), from.size()) != nullptr;
    }

  private:
    static bool there(uint64_t address, std::size_t size) { return size == 0 || address >= 4096; }
    static bool copy(void *to, const void *from, std::size_t size) {
        if (size != 0) {
            std::memcpy(to, from, size);
        }
        return true;
    }
    static void *pointer(uint64_t address) { return reinterpret_cast<void *>(address); }
};

class open_bus : public ::testing::Test {
  public:
    int64_t ioctl(uint32_t request, uint64_t argument) { return file.ioctl(bus, memory, request, argument); }
    int64_t ioctl(uint32_t request, void *argument) { return ioctl(request, address_of(argument)); }
    int64_t smbus(uint8_t read_write, uint32_t size, i2c_smbus_data *data) {
        i2c_smbus_ioctl_data request{read_write, 0x10, size, data};
        return ioctl(I2C_SMBUS, &request);
    }
    int64_t transfer(std::span<i2c_msg> messages) {
        i2c_rdwr_ioctl_data request{messages.data(), static_cast<uint32_t>(messages.size())};
        return ioctl(I2C_RDWR, &request);
    }

    scripted_adapter bus;
    own_memory memory;
    i2c_file file;
    std::array<uint8_t, 64> buffer{};
};

TEST_F(open_bus, address_has_seven_bits_or_ten_when_asked) {
    EXPECT_EQ(ioctl(I2C_SLAVE, uint64_t{0x7F}), 0);
    EXPECT_EQ(ioctl(I2C_SLAVE_FORCE, uint64_t{0x7F}), 0);
    EXPECT_EQ(ioctl(I2C_SLAVE, uint64_t{0x80}), -EINVAL);
    EXPECT_EQ(ioctl(I2C_TENBIT, uint64_t{1}), 0);
    EXPECT_EQ(ioctl(I2C_SLAVE, uint64_t{0x3FF}), 0);
    EXPECT_EQ(ioctl(I2C_SLAVE, uint64_t{0x400}), -EINVAL);
}

TEST_F(open_bus, read_and_write_use_the_address_and_return_the_length) {
    ioctl(I2C_SLAVE, uint64_t{0x50});
    buffer = {1, 2, 3};
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 3), 3);
    bus.answer = {9, 8};
    EXPECT_EQ(file.read(bus, memory, address_of(buffer.data()), 2), 2);
    EXPECT_EQ(bus.asked, "50W[01 02 03] 50R2 ");
    EXPECT_EQ(buffer[0], 9);
}

TEST_F(open_bus, read_and_write_return_the_error_of_the_bus) {
    bus.error = ENXIO;
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 1), -ENXIO);
    EXPECT_EQ(file.read(bus, memory, address_of(buffer.data()), 1), -ENXIO);
}

TEST_F(open_bus, write_from_nowhere_does_not_reach_the_bus) {
    EXPECT_EQ(file.write(bus, memory, 0, 1), -EFAULT);
    EXPECT_EQ(bus.asked, "");
}

TEST_F(open_bus, read_is_cut_to_8192_bytes) {
    std::vector<uint8_t> large(9000);
    bus.answer.assign(8192, 7);
    EXPECT_EQ(file.read(bus, memory, address_of(large.data()), large.size()), 8192);
    EXPECT_EQ(bus.asked, "00R8192 ");
}

TEST_F(open_bus, functionality_is_that_of_an_adapter_that_performs_any_messages) {
    unsigned long functions = 0;
    EXPECT_EQ(ioctl(I2C_FUNCS, &functions), 0);
    EXPECT_EQ(functions, I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL | I2C_FUNC_SMBUS_READ_BLOCK_DATA |
                             I2C_FUNC_SMBUS_BLOCK_PROC_CALL);
    EXPECT_EQ(ioctl(I2C_FUNCS, uint64_t{0}), -EFAULT);
}

TEST_F(open_bus, messages_are_one_transfer_and_are_counted) {
    std::array<uint8_t, 1> command{0x10};
    std::array<i2c_msg, 2> messages{{{0x50, 0, 1, command.data()}, {0x50, I2C_M_RD, 2, buffer.data()}}};
    bus.answer = {5, 6};
    EXPECT_EQ(transfer(messages), 2);
    EXPECT_EQ(bus.asked, "50W[10] 50R2 ");
    EXPECT_EQ(buffer[1], 6);
}

TEST_F(open_bus, more_than_42_messages_or_none_are_refused) {
    std::vector<i2c_msg> messages(43, i2c_msg{0x50, 0, 1, buffer.data()});
    EXPECT_EQ(transfer(messages), -EINVAL);
    EXPECT_EQ(transfer(std::span(messages).first(42)), 42);
    EXPECT_EQ(transfer(std::span(messages).first(0)), -EINVAL);
    i2c_rdwr_ioctl_data nothing{nullptr, 1};
    EXPECT_EQ(ioctl(I2C_RDWR, &nothing), -EINVAL);
    EXPECT_EQ(ioctl(I2C_RDWR, uint64_t{0}), -EFAULT);
}

TEST_F(open_bus, message_above_8192_bytes_is_refused) {
    i2c_msg large{0x50, 0, 8193, buffer.data()};
    EXPECT_EQ(transfer({&large, 1}), -EINVAL);
}

TEST_F(open_bus, counted_message_needs_room_for_a_block) {
    buffer[0] = 1;
    i2c_msg counted{0x50, I2C_M_RD | I2C_M_RECV_LEN, 33, buffer.data()};
    bus.answer = {2, 7, 8};
    EXPECT_EQ(transfer({&counted, 1}), 1);
    EXPECT_EQ(bus.asked, "50R1+ ");
    EXPECT_EQ(buffer[2], 8);
    buffer[0] = 1;
    counted.len = 32;
    EXPECT_EQ(transfer({&counted, 1}), -EINVAL);
    buffer[0] = 0;
    counted.len = 33;
    EXPECT_EQ(transfer({&counted, 1}), -EINVAL);
}

TEST_F(open_bus, smbus_requests_are_checked_before_the_bus) {
    i2c_smbus_data data{};
    EXPECT_EQ(smbus(2, I2C_SMBUS_BYTE_DATA, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 9, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, I2C_SMBUS_BYTE_DATA, nullptr), -EINVAL);
    EXPECT_EQ(ioctl(I2C_SMBUS, uint64_t{0}), -EFAULT);
    EXPECT_EQ(bus.asked, "");
}

TEST_F(open_bus, smbus_without_data_needs_no_pointer) {
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, I2C_SMBUS_QUICK, nullptr), 0);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, I2C_SMBUS_BYTE, nullptr), 0);
}

TEST_F(open_bus, smbus_uses_ten_bits_when_asked) {
    i2c_smbus_data data{};
    ioctl(I2C_TENBIT, uint64_t{1});
    ioctl(I2C_SLAVE, uint64_t{0x158});
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(bus.asked, "ten bits 158W[10 00] ");
}

TEST_F(open_bus, smbus_answer_is_stored) {
    ioctl(I2C_SLAVE, uint64_t{0x58});
    i2c_smbus_data data{};
    bus.answer = {0x34, 0x12};
    EXPECT_EQ(smbus(I2C_SMBUS_READ, I2C_SMBUS_WORD_DATA, &data), 0);
    EXPECT_EQ(bus.asked, "58W[10] 58R2 ");
    EXPECT_EQ(data.word, 0x1234);
}

TEST_F(open_bus, old_block_request_reads_32_bytes) {
    i2c_smbus_data data{};
    bus.answer.assign(32, 3);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, I2C_SMBUS_I2C_BLOCK_BROKEN, &data), 0);
    EXPECT_EQ(bus.asked, "00W[10] 00R32 ");
    EXPECT_EQ(data.block[0], 32);
}

TEST_F(open_bus, pec_is_switched_for_the_open_file) {
    i2c_smbus_data data{.byte = 0x17};
    EXPECT_EQ(ioctl(I2C_PEC, uint64_t{1}), 0);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(ioctl(I2C_PEC, uint64_t{0}), 0);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, I2C_SMBUS_BYTE_DATA, &data), 0);
    uint8_t pec = 0;
    for (const uint8_t byte : {0x00, 0x10, 0x17}) {
        pec = sim::crc8(pec, byte);
    }
    EXPECT_EQ(bus.asked, fmt::format("00W[10 17 {:02x}] 00W[10 17] ", pec));
}

TEST_F(open_bus, retries_are_accepted_up_to_int_max) {
    EXPECT_EQ(ioctl(I2C_RETRIES, uint64_t{INT_MAX}), 0);
    EXPECT_EQ(ioctl(I2C_RETRIES, uint64_t{INT_MAX} + 1), -EINVAL);
}

TEST_F(open_bus, transfer_is_repeated_after_lost_arbitration_as_often_as_was_asked_for) {
    bus.first_errors = {EAGAIN, EAGAIN};
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 0), -EAGAIN) << "nobody has asked for it";
    EXPECT_EQ(ioctl(I2C_RETRIES, uint64_t{2}), 0);
    bus.asked.clear();
    bus.first_errors = {EAGAIN, EAGAIN};
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 0), 0);
    EXPECT_EQ(bus.asked, "00W[] 00W[] 00W[] ");
    bus.first_errors = {EAGAIN, EAGAIN, EAGAIN};
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 0), -EAGAIN);
    EXPECT_THAT(bus.first_errors, ::testing::IsEmpty());
}

TEST_F(open_bus, smbus_is_repeated_too) {
    i2c_smbus_data data{.byte = 0x17};
    EXPECT_EQ(ioctl(I2C_RETRIES, uint64_t{1}), 0);
    bus.first_errors = {EAGAIN};
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(bus.asked, "00W[10 17] 00W[10 17] ");
}

TEST_F(open_bus, other_failures_are_not_repeated) {
    EXPECT_EQ(ioctl(I2C_RETRIES, uint64_t{5}), 0);
    bus.error = ENXIO;
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 0), -ENXIO);
    EXPECT_EQ(bus.asked, "00W[] ");
}

TEST_F(open_bus, transfer_is_not_repeated_after_the_timeout) {
    EXPECT_EQ(ioctl(I2C_RETRIES, uint64_t{INT_MAX}), 0);
    EXPECT_EQ(ioctl(I2C_TIMEOUT, uint64_t{1}), 0); // 10 ms
    bus.error = EAGAIN;
    EXPECT_EQ(file.write(bus, memory, address_of(buffer.data()), 0), -EAGAIN);
}

TEST_F(open_bus, timeout_is_accepted_up_to_int_max_milliseconds) {
    EXPECT_EQ(ioctl(I2C_TIMEOUT, uint64_t{INT_MAX / 10}), 0);
    EXPECT_EQ(ioctl(I2C_TIMEOUT, uint64_t{INT_MAX / 10} + 1), -EINVAL);
}

TEST_F(open_bus, other_requests_are_enotty) { EXPECT_EQ(ioctl(0x0799, uint64_t{0}), -ENOTTY); }

} // namespace

} // namespace varnel::test
