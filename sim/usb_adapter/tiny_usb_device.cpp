// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/tiny_usb_device.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include <linux/i2c.h>
#include <linux/usb/ch9.h>

namespace varnel::sim {

namespace {

// Linux, drivers/i2c/busses/i2c-tiny-usb.c
enum vendor_request : uint8_t { echo, get_functionality, set_delay, get_status, transfer_message };
constexpr uint8_t first_message = 1; // added to transfer_message
constexpr uint8_t last_message = 2;

enum adapter_status : uint8_t { idle, address_acknowledged, address_not_acknowledged };

constexpr uint8_t low(unsigned value) { return static_cast<uint8_t>(value & 0xFFU); }
constexpr uint8_t high(unsigned value) { return low(value >> 8U); }

// clang-format off
constexpr std::array<uint8_t, USB_DT_DEVICE_SIZE> device_descriptor{
    USB_DT_DEVICE_SIZE, USB_DT_DEVICE,
    0x00, 0x02, // USB 2.0
    USB_CLASS_VENDOR_SPEC, 0, 0,
    tiny_usb_device::control_packet_size,
    low(tiny_usb_device::vendor), high(tiny_usb_device::vendor),
    low(tiny_usb_device::product), high(tiny_usb_device::product),
    0x00, 0x01, // release 1.0
    0, 0, 0,    // no strings
    1,          // configuration
};

constexpr uint8_t configuration_length = USB_DT_CONFIG_SIZE + USB_DT_INTERFACE_SIZE;
constexpr std::array<uint8_t, configuration_length> configuration_descriptor{
    USB_DT_CONFIG_SIZE, USB_DT_CONFIG,
    configuration_length, 0,
    1, // interface
    1, // this configuration's number
    0,
    USB_CONFIG_ATT_ONE,
    50, // 100 mA
    USB_DT_INTERFACE_SIZE, USB_DT_INTERFACE,
    0, 0,
    0, // endpoints beside the control endpoint
    USB_CLASS_VENDOR_SPEC, 0, 0, 0,
};
// clang-format on

std::vector<uint8_t> bytes(std::span<const uint8_t> all) { return {all.begin(), all.end()}; }

std::vector<uint8_t> functionality() {
    constexpr uint32_t functions = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
    return {low(functions), high(functions), low(functions >> 16U), low(functions >> 24U)};
}

std::optional<std::vector<uint8_t>> standard_request(const usb_setup &setup) {
    if (setup.request != USB_REQ_GET_DESCRIPTOR) {
        return setup.request == USB_REQ_GET_STATUS ? std::optional(std::vector<uint8_t>(2)) : std::nullopt;
    }
    switch (high(setup.value)) {
    case USB_DT_DEVICE:
        return bytes(device_descriptor);
    case USB_DT_CONFIG:
        return bytes(configuration_descriptor);
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<std::vector<uint8_t>> tiny_usb_device::control(const usb_setup &setup,
                                                             std::span<const uint8_t> data) {
    const auto answer_to = [&]() -> answer {
        if ((setup.request_type & USB_TYPE_MASK) == USB_TYPE_STANDARD) {
            return standard_request(setup);
        }
        switch (setup.request) {
        case echo:
            return {{low(setup.value), high(setup.value)}};
        case get_functionality:
            return functionality();
        case set_delay:
            return {{}};
        case get_status:
            return {{status_}};
        default:
            return transfer(setup, data);
        }
    };
    answer result = answer_to();
    if (result && result->size() > setup.length) {
        result->resize(setup.length);
    }
    return result;
}

tiny_usb_device::answer tiny_usb_device::transfer(const usb_setup &setup, std::span<const uint8_t> data) {
    const unsigned place = setup.request - unsigned{transfer_message};
    if (place > (first_message | last_message)) {
        return std::nullopt;
    }
    const message_header message{setup.index, setup.value, (place & first_message) != 0,
                                 (place & last_message) != 0};
    if ((setup.value & I2C_M_RD) == 0) {
        return note(messages_.write(message, data), {});
    }
    std::vector<uint8_t> read(setup.length);
    const i2c_reply reply = messages_.read(message, read);
    return note(reply, std::move(read));
}

/// The host asks for the status after each message; a message that failed for another reason than a missing
/// acknowledge has no status, and so the device stalls.
tiny_usb_device::answer tiny_usb_device::note(i2c_reply reply, std::vector<uint8_t> data) {
    if (reply == i2c_reply::failed) {
        status_ = idle;
        return std::nullopt;
    }
    status_ = reply == i2c_reply::done ? address_acknowledged : address_not_acknowledged;
    return data;
}

} // namespace varnel::sim
