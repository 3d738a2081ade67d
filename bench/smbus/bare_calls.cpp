// SPDX-License-Identifier: Apache-2.0
// The port's functions with frames made by hand: what no library can go below.
#include <array>
#include <cstdint>

#include "smbus/transactions.h"
#include "varnel/platform.h"

namespace varnel::bench {

namespace {

template <std::size_t size>
bool command_and_answer(chip with, std::array<uint8_t, size> &answer) {
    return i2c_writeread_on_bus(with.bus, with.slave, &command, answer.data(), 1, size) == 0;
}

} // namespace

bool read_byte(chip with) {
    std::array<uint8_t, 1> answer;
    return command_and_answer(with, answer) && answer[0] == answer_byte(0);
}

bool read_word(chip with) {
    std::array<uint8_t, 2> answer;
    return command_and_answer(with, answer) && (answer[0] | answer[1] << 8) == answer_word;
}

bool write_word(chip with) {
    const std::array<uint8_t, 3> frame{command, 0x34, 0x12};
    return i2c_master_write_on_bus(with.bus, with.slave, frame.data(), frame.size()) == frame.size();
}

bool read_block(chip with) {
    std::array<uint8_t, 1 + block_length> answer;
    return command_and_answer(with, answer) && answer[1] == answer_byte(1) &&
           answer.back() == answer_byte(block_length);
}

} // namespace varnel::bench
