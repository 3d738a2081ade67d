// SPDX-License-Identifier: Apache-2.0
// The operations of a contender: one SMBus transaction with one of many devices. Each function returns
// whether it succeeded and, for a read, got the bytes of the null bus.
#pragma once

#include <cstdint>

namespace varnel::bench {

/// Devices are spread over adapters, up to this many on each.
constexpr unsigned int devices_per_bus = 100;
constexpr unsigned int first_slave = 0x08;
constexpr uint8_t command = 0x8B;
constexpr unsigned int block_length = 32;

/// Byte n of any answer, from 0.
constexpr uint8_t answer_byte(unsigned int n) { return static_cast<uint8_t>(0x20 + n); }
constexpr uint16_t answer_word = answer_byte(0) | answer_byte(1) << 8;

struct chip {
    uint8_t bus;
    uint8_t slave;
};

bool read_byte(chip with);
bool read_word(chip with);
bool write_word(chip with);
bool read_block(chip with);

} // namespace varnel::bench
