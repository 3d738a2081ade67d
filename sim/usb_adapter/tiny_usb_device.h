// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sim/usb_adapter/i2c_messages.h"

namespace varnel::sim {

/// The eight bytes that open a control transfer (USB 2.0 section 9.3).
struct usb_setup {
    uint8_t request_type;
    uint8_t request;
    uint16_t value;
    uint16_t index;
    uint16_t length;

    [[nodiscard]] bool to_host() const { return (request_type & 0x80U) != 0; }
};

/// A USB device that Linux's driver i2c-tiny-usb takes for its adapter, with a bus of the board behind it.
class tiny_usb_device {
  public:
    static constexpr uint16_t vendor = 0x0403;
    static constexpr uint16_t product = 0xC631;
    static constexpr uint8_t control_packet_size = 64;

    explicit tiny_usb_device(device_files::adapter &bus) : messages_(bus) {}

    /// Answers a control transfer. `data` is what the host sends with it. Returns what the host gets, nothing
    /// when the device stalls.
    [[nodiscard]] std::optional<std::vector<uint8_t>> control(const usb_setup &setup,
                                                              std::span<const uint8_t> data);

  private:
    using answer = std::optional<std::vector<uint8_t>>;

    answer transfer(const usb_setup &setup, std::span<const uint8_t> data);
    [[nodiscard]] answer note(i2c_reply reply, std::vector<uint8_t> data);

    i2c_messages messages_;
    uint8_t status_ = 0;
};

} // namespace varnel::sim
