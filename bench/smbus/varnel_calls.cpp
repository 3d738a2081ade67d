// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>

#include "smbus/transactions.h"
#include "varnel/smbus.h"

namespace varnel::bench {

namespace {

constexpr uint32_t handle_of(chip with) { return static_cast<uint32_t>(with.slave) << 8 | with.bus; }

} // namespace

bool read_byte(chip with) {
    uint8_t byte = 0;
    return smbus_read_byte_to_device(handle_of(with), command, &byte) == 0 && byte == answer_byte(0);
}

bool read_word(chip with) {
    uint16_t word = 0;
    return smbus_read_word_to_device(handle_of(with), command, &word) == 0 && word == answer_word;
}

bool write_word(chip with) { return smbus_write_word_to_device(handle_of(with), command, 0x1234) == 0; }

bool read_block(chip with) {
    std::array<uint8_t, block_length> block{};
    return smbus_read_block_to_device(handle_of(with), command, block_length, block.data()) == 0 &&
           block.front() == answer_byte(1) && block.back() == answer_byte(block_length);
}

} // namespace varnel::bench
