// SPDX-License-Identifier: Apache-2.0
// SMBus and chip drivers over primitives that are safe to call in parallel: one chip for each thread, one
// clock for all.
#include <array>
#include <cstdint>
#include <ctime>
#include <map>
#include <mutex>

#include <gtest/gtest.h>

#include "threads/in_parallel.h"
#include "varnel/platform.h"
#include "varnel/varnel.h"

namespace {

using namespace varnel::test;

/// Chips of 256 byte registers: the first byte written is the register, further bytes go to the next ones.
class register_chips {
  public:
    void write(uint8_t slave, const uint8_t *bytes, unsigned size) {
        const std::scoped_lock one_transfer(mutex_);
        for (unsigned i = 1; i < size; ++i) {
            chips_[slave][static_cast<uint8_t>(bytes[0] + i - 1)] = bytes[i];
        }
    }
    void read(uint8_t slave, uint8_t from, uint8_t *bytes, unsigned size) {
        const std::scoped_lock one_transfer(mutex_);
        for (unsigned i = 0; i < size; ++i) {
            bytes[i] = chips_[slave][static_cast<uint8_t>(from + i)];
        }
    }

  private:
    std::mutex mutex_;
    std::map<uint8_t, std::array<uint8_t, 256>> chips_;
};

register_chips chips;

} // namespace

int i2c_master_write_on_bus(uint8_t /*bus*/, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    chips.write(slave, buffer, length);
    return length;
}

int i2c_master_read_on_bus(uint8_t /*bus*/, uint8_t slave, uint8_t *buffer, uint16_t length) {
    chips.read(slave, 0, buffer, length);
    return length;
}

int i2c_writeread_on_bus(uint8_t /*bus*/, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t /*write_length*/, uint16_t read_length) {
    chips.read(slave, write_buffer[0], read_buffer, read_length);
    return 0;
}

namespace {

constexpr int rounds = 100;

TEST(bus_threads, each_thread_reads_back_the_registers_of_its_own_chip) {
    in_parallel(4, [](int thread) {
        const auto device = static_cast<uint32_t>(0x20 + thread) << 8;
        for (int round = 0; round < rounds; ++round) {
            const auto value = static_cast<uint16_t>(thread * 1000 + round);
            uint16_t word = 0;
            uint8_t byte = 0;
            ASSERT_EQ(smbus_write_word_to_device(device, 0x40, value), 0);
            ASSERT_EQ(smbus_read_word_to_device(device, 0x40, &word), 0);
            EXPECT_EQ(word, value);
            ASSERT_EQ(smbus_write_byte_to_device(device, 0x50, static_cast<uint8_t>(round)), 0);
            ASSERT_EQ(smbus_read_byte_to_device(device, 0x50, &byte), 0);
            EXPECT_EQ(byte, static_cast<uint8_t>(round));
        }
    });
}

TEST(bus_threads, each_thread_can_drive_its_own_chip) {
    in_parallel(4, [](int thread) {
        const auto device = static_cast<uint32_t>(0x30 + thread) << 8;
        for (int round = 0; round < rounds; ++round) {
            const auto bank = static_cast<uint8_t>(round + thread);
            uint8_t back = 0;
            ASSERT_EQ(pca9555_set_bank_dir(device, 0, bank), 0);
            ASSERT_EQ(pca9555_set_port_output(device, 15), 0); // no other thread uses this chip
            ASSERT_EQ(pca9555_get_bank_dir(device, 0, &back), 0);
            EXPECT_EQ(back, bank);
            ASSERT_EQ(pca9548_enable_channel(device + 0x1000, bank), 0);
            uint16_t reading[CAR2512_READINGS];
            ASSERT_EQ(car2512_getall(device + 0x2000, reading), 0);
        }
    });
}

TEST(bus_threads, all_threads_read_the_clock_while_others_use_localtime) {
    static constexpr std::time_t midsummer = 1782000000;
    ASSERT_EQ(ds3232_set_time(midsummer), 0);
    in_parallel(3, [](int thread) {
        for (int round = 0; round < rounds; ++round) {
            std::time_t now = 0;
            std::tm local{};
            if (thread == 0) {
                tzset();
                ASSERT_NE(localtime_r(&midsummer, &local), nullptr);
            } else {
                ASSERT_EQ(ds3232_get_time(&now), 0);
                EXPECT_EQ(now, midsummer);
            }
        }
    });
}

TEST(bus_threads, all_threads_can_use_bit_fields) {
    in_parallel(4, [](int thread) {
        for (unsigned round = 0; round < rounds; ++round) {
            uint64_t integer = 0;
            set_bits_value(&integer, 8, 15, round);
            EXPECT_EQ(get_bits_value(integer, 8, 15), round) << thread;
        }
    });
}

} // namespace
