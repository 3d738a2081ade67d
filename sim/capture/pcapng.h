// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "sim/capture/wire.h"

namespace varnel::sim::capture {

/// LINKTYPE_I2C_LINUX: each packet begins with the bus and 32 bits of flags, high byte first.
inline constexpr uint16_t i2c_linux = 209;

/// Bits of the flags of a message. The lower half is that of i2c_msg.flags in linux/i2c.h; the upper half, unused
/// there, is ours.
namespace message_flag {
inline constexpr uint32_t read = 0x0001;
inline constexpr uint32_t stop = 0x8000; ///< follows; otherwise a repeated START
inline constexpr uint32_t not_acknowledged =
    0x0001'0000; ///< the address if there is no byte, else the last byte written
inline constexpr uint32_t arbitration_lost = 0x0002'0000;
} // namespace message_flag

/// Set in the bus, it makes a packet an event, without address and data; which one is in the flags.
inline constexpr uint8_t is_event = 0x80;
namespace event {
inline constexpr uint32_t data_low = 0x0040;
inline constexpr uint32_t clock_low = 0x0100;
} // namespace event

/// Makes a capture in the format pcapng: a packet for each message, an interface for each bus. The first packet of a
/// transfer has the line of the trace as its comment.
class pcapng {
  public:
    /// What the file begins with.
    [[nodiscard]] static std::string beginning();

    /// The blocks of a transfer; empty if nothing was on the wire.
    [[nodiscard]] std::string blocks_of(const transfer_record &record);

    /// Transfers that are missing before the next one.
    void lose(uint64_t transfers) { lost_ += transfers; }

  private:
    struct packet {
        uint8_t bus;
        uint32_t flags;
        std::string data = {};      ///< address and bytes
        std::size_t uncaptured = 0; ///< bytes after those
    };
    /// What is said of a packet beside its bytes.
    struct remarks {
        std::string comment;
        uint64_t lost = 0;
    };

    [[nodiscard]] static packet packet_of(const transfer_record &record, const wire_message &message,
                                          bool arbitration_lost);
    [[nodiscard]] std::string interface_of(uint8_t bus);
    [[nodiscard]] std::string block_of(const packet &packed, const transfer_record &record,
                                       const remarks &said) const;

    std::map<uint8_t, uint32_t> interfaces_ = {}; ///< number of each bus that was seen
    uint64_t lost_ = 0;
};

} // namespace varnel::sim::capture
