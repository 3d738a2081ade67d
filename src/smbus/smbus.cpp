// SPDX-License-Identifier: Apache-2.0
#include "varnel/smbus.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/assertion.h"
#include "smbus/device_address.h"
#include "varnel/platform.h"

using varnel::device_address;

namespace {

constexpr const char *source = "smbus.c";

constexpr unsigned int block_limit = 32; // block size of SMBus 2.0, which most chips still use

using write_frame = std::array<uint8_t, 2 + block_limit>;  // command, count, data
using block_answer = std::array<uint8_t, 1 + block_limit>; // count, data
using word_frame = std::array<uint8_t, 3>;                 // command, low byte, high byte
using word_answer = std::array<uint8_t, 2>;                // low byte, high byte

// Only the low 16 bits of the primitives' results count, whatever is in the upper half.
constexpr int status(bool succeeded) { return succeeded ? 0 : -1; }
constexpr bool transferred(int result, int length) { return static_cast<int16_t>(result) == length; }
constexpr bool succeeded(int result) { return static_cast<uint16_t>(result) == 0; }

constexpr unsigned int limited_count(unsigned int count) { return std::min(count & 0xFFU, block_limit); }

constexpr word_frame word_frame_of(uint8_t command, uint16_t word) {
    return {command, static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8)};
}

constexpr uint16_t word_of(const word_answer &bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

int write(device_address to, const uint8_t *bytes, unsigned int length) {
    const int result = i2c_master_write_on_bus(to.bus, to.slave, bytes, static_cast<uint16_t>(length));
    return status(transferred(result, static_cast<int>(length)));
}

int read(device_address from, uint8_t *bytes, unsigned int length) {
    const int result = i2c_master_read_on_bus(from.bus, from.slave, bytes, static_cast<uint16_t>(length));
    return status(transferred(result, static_cast<int>(length)));
}

int write_read(device_address with, const uint8_t *written, unsigned int write_length, uint8_t *answer,
               unsigned int read_length) {
    return status(succeeded(i2c_writeread_on_bus(with.bus, with.slave, written, answer,
                                                 static_cast<uint16_t>(write_length),
                                                 static_cast<uint16_t>(read_length))));
}

} // namespace

int smbus_quick_to_device(uint32_t device, unsigned int read_flag) {
    uint8_t scratch = 0;
    const device_address chip(device);
    return read_flag != 0 ? read(chip, &scratch, 0) : write(chip, &scratch, 0);
}

int smbus_send_byte_to_device(uint32_t device, uint8_t byte) {
    return write(device_address(device), &byte, 1);
}

int smbus_recv_byte_to_device(uint32_t device, uint8_t *byte) {
    varnel::require(byte != nullptr, "byte != ((void *)0)", source);
    return read(device_address(device), byte, 1);
}

int smbus_write_byte_to_device(uint32_t device, uint8_t command, uint8_t data) {
    const std::array<uint8_t, 2> frame{command, data};
    return write(device_address(device), frame.data(), frame.size());
}

int smbus_read_byte_to_device(uint32_t device, uint8_t command, uint8_t *byte) {
    varnel::require(byte != nullptr, "byte != ((void *)0)", source);
    return write_read(device_address(device), &command, 1, byte, 1);
}

int smbus_write_word_to_device(uint32_t device, uint8_t command, uint16_t word) {
    const word_frame frame = word_frame_of(command, word);
    return write(device_address(device), frame.data(), frame.size());
}

int smbus_read_word_to_device(uint32_t device, uint8_t command, uint16_t *word) {
    varnel::require(word != nullptr, "word != ((void *)0)", source);
    word_answer answer{};
    if (write_read(device_address(device), &command, 1, answer.data(), answer.size()) != 0) {
        return -1;
    }
    *word = word_of(answer);
    return 0;
}

int smbus_write_block_to_device(uint32_t device, uint8_t command, unsigned int count, const uint8_t *data) {
    const unsigned int n = limited_count(count);
    write_frame frame{command, static_cast<uint8_t>(n)};
    if (n != 0) {
        std::memcpy(frame.data() + 2, data, n);
    }
    return write(device_address(device), frame.data(), n + 2);
}

int smbus_read_block_to_device(uint32_t device, uint8_t command, unsigned int count, uint8_t *block) {
    varnel::require(block != nullptr, "block != ((void *)0)", source);
    const unsigned int n = limited_count(count);
    block_answer answer{static_cast<uint8_t>(n)};
    if (write_read(device_address(device), &command, 1, answer.data(), n + 1) != 0) {
        return -1;
    }
    std::memcpy(block, answer.data() + 1, n);
    return 0;
}

int smbus_process_call_to_device(uint32_t device, uint8_t command, uint16_t word, uint16_t *process_ret_val) {
    varnel::require(process_ret_val != nullptr, "process_ret_val != ((void *)0)", source);
    const word_frame frame = word_frame_of(command, word);
    word_answer answer{};
    if (write_read(device_address(device), frame.data(), frame.size(), answer.data(), answer.size()) != 0) {
        return -1;
    }
    *process_ret_val = word_of(answer);
    return 0;
}

int smbus_block_write_block_read_process_call_to_device(uint32_t device, uint8_t command,
                                                        unsigned int write_count, const uint8_t *write_data,
                                                        uint8_t read_count, uint8_t *process_ret_vals) {
    varnel::require(process_ret_vals != nullptr, "process_ret_vals != ((void *)0)", source);
    const unsigned int w = write_count & 0xFFU;
    if (w == 0 || read_count == 0 || w + read_count > block_limit) {
        return -1;
    }
    write_frame frame{command, static_cast<uint8_t>(w)};
    std::memcpy(frame.data() + 2, write_data, w);
    block_answer answer{read_count};
    if (write_read(device_address(device), frame.data(), w + 2, answer.data(), read_count + 1U) != 0) {
        return -1;
    }
    std::memcpy(process_ret_vals, answer.data() + 1, read_count);
    return 0;
}

int smbus_flexible_write_read_to_device(uint32_t device, uint8_t /*command*/, unsigned int write_length,
                                        const uint8_t *write_data, uint8_t read_length, uint8_t *read_data) {
    varnel::require(write_data != nullptr || read_data != nullptr,
                    "(write_data != ((void *)0)) || (read_data != ((void *)0))", source);
    const device_address chip(device);
    if (write_data == nullptr) {
        return read(chip, read_data, read_length);
    }
    if (read_data == nullptr) {
        return write(chip, write_data, write_length & 0xFFU);
    }
    return write_read(chip, write_data, write_length & 0xFFU, read_data, read_length);
}

int printf_buf(const uint8_t *buffer, int length) {
    std::putchar('\n');
    for (int i = 0; i < length; ++i) {
        std::printf("0x%x ", buffer[i]);
    }
    return std::putchar('\n');
}
