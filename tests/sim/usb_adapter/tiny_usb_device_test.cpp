// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/tiny_usb_device.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <vector>

#include <linux/i2c.h>
#include <linux/usb/ch9.h>

#include "support/scripted_bus.h"

namespace {

using namespace varnel::sim;
using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr uint8_t bus = 3;
constexpr uint8_t to_host = USB_DIR_IN | USB_TYPE_VENDOR;
constexpr uint8_t to_device = USB_DIR_OUT | USB_TYPE_VENDOR;
enum place : uint8_t { middle = 4, first = 5, last = 6, only = 7 };

class tiny_usb : public scripted_bus {
  public:
    using answer_of_device = std::optional<bytes>;

    answer_of_device asks(uint8_t type, uint8_t request, uint16_t value, uint16_t length) {
        return device_.control({type, request, value, 0, length}, {});
    }
    answer_of_device writes(place where, uint8_t slave, const bytes &data) {
        return device_.control({to_device, where, 0, slave, static_cast<uint16_t>(data.size())}, data);
    }
    answer_of_device reads(place where, uint8_t slave, uint16_t length) {
        return device_.control({to_host, where, I2C_M_RD, slave, length}, {});
    }
    /// A read of two bytes with any flags and address.
    answer_of_device asks_slave(uint16_t flags, uint16_t slave) {
        return device_.control({to_host, only, flags, slave, 2}, {});
    }
    /// The next call of a primitive fails with this error.
    void fails_with(int error) {
        fail_call(0);
        errno = error;
    }
    unsigned int status() { return asks(to_host, 3, 0, 1).value().at(0); }

  private:
    tiny_usb_device device_{bus};
};

TEST_F(tiny_usb, descriptors_are_cut_to_the_requested_length) {
    const auto type = [](unsigned int descriptor) { return static_cast<uint16_t>(descriptor << 8U); };
    constexpr uint8_t standard_in = USB_DIR_IN | USB_TYPE_STANDARD;
    EXPECT_THAT(asks(standard_in, USB_REQ_GET_DESCRIPTOR, type(USB_DT_DEVICE), 64),
                Optional(bytes{18, 1, 0x10, 1, 0xFF, 0, 0, 64, 0x03, 0x04, 0x31, 0xC6, 0, 1, 0, 0, 0, 1}));
    EXPECT_THAT(asks(standard_in, USB_REQ_GET_DESCRIPTOR, type(USB_DT_DEVICE), 8),
                Optional(bytes{18, 1, 0x10, 1, 0xFF, 0, 0, 64}));
    EXPECT_THAT(asks(standard_in, USB_REQ_GET_DESCRIPTOR, type(USB_DT_CONFIG), 255),
                Optional(bytes{9, 2, 18, 0, 1, 1, 0, 0x80, 50, 9, 4, 0, 0, 0, 0xFF, 0, 0, 0}));
    EXPECT_EQ(asks(standard_in, USB_REQ_GET_DESCRIPTOR, type(USB_DT_STRING), 255), std::nullopt);
    EXPECT_THAT(asks(standard_in, USB_REQ_GET_STATUS, 0, 2), Optional(bytes{0, 0}));
    EXPECT_EQ(asks(standard_in, USB_REQ_SYNCH_FRAME, 0, 2), std::nullopt);
}

TEST_F(tiny_usb, functionality_is_i2c_and_emulated_smbus) {
    constexpr uint32_t functions = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
    EXPECT_THAT(asks(to_host, 1, 0, 4), Optional(bytes{functions & 0xFF, functions >> 8 & 0xFF,
                                                       functions >> 16 & 0xFF, functions >> 24}));
    EXPECT_THAT(asks(to_host, 0, 0x1234, 2), Optional(bytes{0x34, 0x12}));
    EXPECT_THAT(asks(to_device, 2, 10, 0), Optional(IsEmpty()));
    EXPECT_EQ(asks(to_host, 8, 0, 1), std::nullopt);
    EXPECT_EQ(asks(to_host, 255, 0, 1), std::nullopt);
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(tiny_usb, single_writes_and_reads_reach_the_bus) {
    answers({{}, {}, {{7, 8}}, {}});
    EXPECT_THAT(writes(only, 0x20, {1, 2, 3}), Optional(IsEmpty()));
    EXPECT_THAT(writes(only, 0x20, {}), Optional(IsEmpty()));
    EXPECT_THAT(reads(only, 0x21, 2), Optional(bytes{7, 8}));
    EXPECT_EQ(status(), 1U);
    EXPECT_THAT(calls, ElementsAre(write_of(bus, 0x20, {1, 2, 3}), write_of(bus, 0x20, {}),
                                   read_of(bus, 0x21, {0, 0})));
}

TEST_F(tiny_usb, write_before_a_read_is_one_combined_transfer) {
    answers({{{9}}});
    EXPECT_THAT(writes(first, 0x68, {5}), Optional(IsEmpty()));
    EXPECT_EQ(status(), 1U);
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(reads(last, 0x68, 1), Optional(bytes{9}));
    EXPECT_EQ(status(), 1U);
    EXPECT_THAT(calls, ElementsAre(write_read_of(bus, 0x68, {5}, {0})));
}

TEST_F(tiny_usb, missing_acknowledge_sets_the_nak_status) {
    for (const int error : {ENXIO, EREMOTEIO}) {
        fails_with(error);
        EXPECT_THAT(writes(only, 0x20, {1}), Optional(IsEmpty()));
        EXPECT_EQ(status(), 2U);
        fails_with(error);
        EXPECT_THAT(reads(only, 0x20, 3), Optional(bytes{0, 0, 0}));
        EXPECT_EQ(status(), 2U);
        ASSERT_TRUE(writes(first, 0x20, {1}));
        fails_with(error);
        EXPECT_THAT(reads(last, 0x20, 1), Optional(bytes{0}));
        EXPECT_EQ(status(), 2U);
    }
}

TEST_F(tiny_usb, addresses_of_more_than_seven_bits_are_not_acknowledged) {
    EXPECT_THAT(asks_slave(I2C_M_RD | I2C_M_TEN, 0x20), Optional(bytes{0, 0}));
    EXPECT_EQ(status(), 2U);
    EXPECT_THAT(asks_slave(I2C_M_RD, 0xA0), Optional(bytes{0, 0}));
    EXPECT_EQ(status(), 2U);
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(tiny_usb, other_failures_stall_the_request) {
    fails_with(EIO);
    EXPECT_EQ(writes(only, 0x20, {1}), std::nullopt);
    EXPECT_EQ(status(), 0U);
    answers({{{}, 1}}); // of two
    errno = 0;
    EXPECT_EQ(reads(only, 0x20, 2), std::nullopt);
    ASSERT_TRUE(writes(first, 0x20, {1}));
    fails_with(ETIMEDOUT);
    EXPECT_EQ(reads(last, 0x20, 1), std::nullopt);
}

TEST_F(tiny_usb, unsupported_message_sequences_stall_the_request) {
    ASSERT_TRUE(writes(first, 0x20, {1}));
    EXPECT_EQ(writes(last, 0x20, {2}), std::nullopt);
    EXPECT_EQ(reads(last, 0x20, 1), std::nullopt); // and what was written is forgotten
    ASSERT_TRUE(writes(first, 0x20, {1}));
    EXPECT_EQ(reads(last, 0x21, 1), std::nullopt);
    ASSERT_TRUE(writes(first, 0x20, {1}));
    EXPECT_EQ(reads(middle, 0x20, 1), std::nullopt);
    EXPECT_EQ(reads(first, 0x20, 1), std::nullopt);
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(tiny_usb, pending_write_is_dropped_by_a_new_transfer) {
    ASSERT_TRUE(writes(first, 0x20, {1}));
    EXPECT_TRUE(reads(only, 0x20, 1));
    EXPECT_THAT(calls, ElementsAre(read_of(bus, 0x20, {0})));
}

} // namespace
