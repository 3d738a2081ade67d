// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/tiny_usb_device.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <linux/i2c.h>
#include <linux/usb/ch9.h>

#include "tests/sim/device_files/scripted_adapter.h"

namespace {

using namespace varnel::sim;
using namespace varnel::test;
using ::testing::IsEmpty;
using ::testing::Optional;
using bytes = std::vector<uint8_t>;

constexpr uint8_t to_host = USB_DIR_IN | USB_TYPE_VENDOR;
constexpr uint8_t to_device = USB_DIR_OUT | USB_TYPE_VENDOR;
enum place : uint8_t { middle = 4, first = 5, last = 6, only = 7 };

class tiny_usb : public ::testing::Test {
  public:
    using answer_of_device = std::optional<bytes>;

    answer_of_device asks(uint8_t type, uint8_t request, uint16_t value, uint16_t length) {
        return device_.control({type, request, value, 0, length}, {});
    }
    answer_of_device writes(place where, uint16_t slave, const bytes &data) {
        return device_.control({to_device, where, 0, slave, static_cast<uint16_t>(data.size())}, data);
    }
    answer_of_device reads(place where, uint16_t slave, uint16_t length, uint16_t flags = 0) {
        return device_.control({to_host, where, static_cast<uint16_t>(I2C_M_RD | flags), slave, length}, {});
    }
    unsigned int status() { return asks(to_host, 3, 0, 1).value().at(0); }

    scripted_adapter bus;

  private:
    tiny_usb_device device_{bus};
};

TEST_F(tiny_usb, descriptors_are_cut_to_the_requested_length) {
    const auto type = [](unsigned int descriptor) { return static_cast<uint16_t>(descriptor << 8U); };
    constexpr uint8_t standard_in = USB_DIR_IN | USB_TYPE_STANDARD;
    EXPECT_THAT(asks(standard_in, USB_REQ_GET_DESCRIPTOR, type(USB_DT_DEVICE), 64),
                Optional(bytes{18, 1, 0, 2, 0xFF, 0, 0, 64, 0x03, 0x04, 0x31, 0xC6, 0, 1, 0, 0, 0, 1}));
    EXPECT_THAT(asks(standard_in, USB_REQ_GET_DESCRIPTOR, type(USB_DT_DEVICE), 8),
                Optional(bytes{18, 1, 0, 2, 0xFF, 0, 0, 64}));
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
    EXPECT_EQ(bus.asked, "");
}

TEST_F(tiny_usb, single_writes_and_reads_reach_the_bus) {
    bus.answer = {7, 8};
    EXPECT_THAT(writes(only, 0x20, {1, 2, 3}), Optional(IsEmpty()));
    EXPECT_THAT(writes(only, 0x20, {}), Optional(IsEmpty()));
    EXPECT_THAT(reads(only, 0x21, 2), Optional(bytes{7, 8}));
    EXPECT_EQ(status(), 1U);
    EXPECT_EQ(bus.asked, "20W[01 02 03] 20W[] 21R2 ");
}

TEST_F(tiny_usb, write_before_a_read_is_passed_on_with_the_read) {
    bus.answer = {9};
    EXPECT_THAT(writes(first, 0x68, {5}), Optional(IsEmpty()));
    EXPECT_EQ(status(), 1U);
    EXPECT_EQ(bus.asked, "");
    EXPECT_THAT(reads(last, 0x68, 1), Optional(bytes{9}));
    EXPECT_EQ(status(), 1U);
    EXPECT_EQ(bus.asked, "68W[05] 68R1 ");
}

// "..." at the end: without a STOP; at the beginning: after such a part.
TEST_F(tiny_usb, messages_in_the_middle_are_passed_on_without_a_stop) {
    bus.answer = {9};
    ASSERT_TRUE(writes(first, 0x20, {1}));
    ASSERT_TRUE(writes(middle, 0x21, {2}));
    EXPECT_THAT(reads(middle, 0x21, 1), Optional(bytes{9}));
    ASSERT_TRUE(writes(last, 0x22, {3}));
    EXPECT_EQ(bus.asked, "20W[01] ... ... 21W[02] 21R1 ... ... 22W[03] ");
}

TEST_F(tiny_usb, counted_reads_get_the_bytes_that_were_asked_for) {
    bus.answer = {3};
    EXPECT_THAT(reads(only, 0x50, 1, I2C_M_RECV_LEN), Optional(bytes{3}));
    EXPECT_EQ(bus.asked, "50R1 ");
}

TEST_F(tiny_usb, addresses_of_ten_bits_are_passed_on_as_such) {
    bus.answer = {3};
    EXPECT_TRUE(reads(only, 0x120, 1, I2C_M_TEN));
    EXPECT_EQ(bus.asked, "ten bits 120R1 ");
}

TEST_F(tiny_usb, missing_acknowledge_sets_the_nak_status) {
    for (const int error : {ENXIO, EREMOTEIO}) {
        bus.error = error;
        EXPECT_THAT(writes(only, 0x20, {1}), Optional(IsEmpty()));
        EXPECT_EQ(status(), 2U);
        EXPECT_THAT(reads(only, 0x20, 3), Optional(bytes{0, 0, 0}));
        EXPECT_EQ(status(), 2U);
        ASSERT_TRUE(writes(first, 0x20, {1}));
        EXPECT_THAT(reads(last, 0x20, 1), Optional(bytes{0}));
        EXPECT_EQ(status(), 2U);
        ASSERT_TRUE(writes(first, 0x20, {1}));
        EXPECT_THAT(writes(middle, 0x20, {1}), Optional(IsEmpty()));
        EXPECT_EQ(status(), 2U);
    }
}

TEST_F(tiny_usb, other_failures_stall_the_request) {
    bus.error = EIO;
    EXPECT_EQ(writes(only, 0x20, {1}), std::nullopt);
    EXPECT_EQ(status(), 0U);
    EXPECT_EQ(reads(only, 0x20, 2), std::nullopt);
    ASSERT_TRUE(writes(first, 0x20, {1}));
    bus.error = ETIMEDOUT;
    EXPECT_EQ(reads(last, 0x20, 1), std::nullopt);
}

TEST_F(tiny_usb, messages_that_continue_nothing_stall_the_request) {
    EXPECT_EQ(writes(last, 0x20, {2}), std::nullopt);
    EXPECT_EQ(reads(middle, 0x20, 1), std::nullopt);
    bus.answer = {9};
    ASSERT_TRUE(reads(first, 0x20, 1));
    bus.error = ENXIO;
    ASSERT_TRUE(reads(middle, 0x21, 1));
    EXPECT_EQ(reads(last, 0x20, 1), std::nullopt);
    EXPECT_EQ(bus.asked, "20R1 ... ... 21R1 ... ");
}

TEST_F(tiny_usb, waiting_write_is_dropped_by_a_new_transfer) {
    bus.answer = {9};
    ASSERT_TRUE(writes(first, 0x20, {1}));
    EXPECT_TRUE(reads(only, 0x21, 1));
    EXPECT_EQ(bus.asked, "21R1 ");
}

} // namespace
