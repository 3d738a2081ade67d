// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace varnel::sim {

/// The packet error code of SMBus (3.2, section 6.4) after one more byte: the CRC-8 x^8 + x^2 + x + 1, which starts at 0
/// and covers address bytes, too.
[[nodiscard]] constexpr uint8_t crc8(uint8_t crc, uint8_t byte) {
    constexpr uint8_t polynomial = 0x07;
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
        crc = static_cast<uint8_t>((crc & 0x80) != 0 ? crc << 1 ^ polynomial : crc << 1);
    }
    return crc;
}

} // namespace varnel::sim
