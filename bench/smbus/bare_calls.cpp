// SPDX-License-Identifier: Apache-2.0
// Calls the platform's functions with ready frames: the minimum for any library.
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "smbus/transactions.h"
#include "varnel/platform.h"

namespace varnel::bench {

namespace {

constexpr std::size_t block_answer_length = 1 + block_length; // the count goes first

bool command_and_answer(chip with, std::span<uint8_t> answer) {
    return i2c_writeread_on_bus(with.bus, with.slave, &command, answer.data(), 1,
                                static_cast<uint16_t>(answer.size())) == 0;
}

} // namespace

bool read_byte(chip with) {
    uint8_t byte = 0;
    return command_and_answer(with, {&byte, 1}) && byte == answer_byte(0);
}

bool read_word(chip with) {
    std::array<uint8_t, 2> word;
    return command_and_answer(with, word) && (word[0] | word[1] << 8) == answer_word;
}

bool write_word(chip with) {
    const std::array<uint8_t, 3> frame{command, 0x34, 0x12};
    return i2c_master_write_on_bus(with.bus, with.slave, frame.data(), frame.size()) == frame.size();
}

bool read_block(chip with) {
    std::array<uint8_t, block_answer_length> block;
    return command_and_answer(with, block) && block[1] == answer_byte(1) &&
           block[block_length] == answer_byte(block_length);
}

} // namespace varnel::bench
