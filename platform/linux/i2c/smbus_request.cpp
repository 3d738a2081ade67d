// SPDX-License-Identifier: Apache-2.0
#include "i2c/smbus_request.h"

#include <algorithm>
#include <cerrno>

namespace varnel::platform {

namespace {

using bytes = std::span<const uint8_t>;
using request = std::optional<smbus_request>;

constexpr std::size_t block_max = I2C_SMBUS_BLOCK_MAX;

/// What an adapter offers.
class offer {
  public:
    explicit offer(unsigned long functionality) : functionality_(functionality) {}
    [[nodiscard]] bool has(unsigned long function) const { return (functionality_ & function) == function; }

  private:
    unsigned long functionality_;
};

smbus_request plain(uint8_t read_write, uint8_t command, uint32_t size) {
    return {read_write, command, size, {}};
}

smbus_request with_byte(bytes frame) {
    smbus_request made = plain(I2C_SMBUS_WRITE, frame[0], I2C_SMBUS_BYTE_DATA);
    made.data.byte = frame[1];
    return made;
}

smbus_request with_word(bytes frame, uint32_t size) {
    smbus_request made = plain(I2C_SMBUS_WRITE, frame[0], size);
    made.data.word = static_cast<uint16_t>(frame[1] | frame[2] << 8);
    return made;
}

/// The frame contains its own count, as an SMBus block does.
bool is_block(bytes frame) {
    return frame.size() >= 3 && frame[1] == frame.size() - 2 && frame[1] <= block_max;
}

smbus_request with_block(bytes frame, uint32_t size) {
    smbus_request made = plain(I2C_SMBUS_WRITE, frame[0], size);
    std::copy(frame.begin() + 1, frame.end(), made.data.block);
    return made;
}

/// A block without a count on the wire; the kernel still expects the count first.
smbus_request with_raw_block(bytes frame) {
    smbus_request made = plain(I2C_SMBUS_WRITE, frame[0], I2C_SMBUS_I2C_BLOCK_DATA);
    made.data.block[0] = static_cast<uint8_t>(frame.size() - 1);
    std::copy(frame.begin() + 1, frame.end(), made.data.block + 1);
    return made;
}

request write_request(bytes frame, offer adapter) {
    const std::size_t n = frame.size();
    if (n == 0 && adapter.has(I2C_FUNC_SMBUS_QUICK)) {
        return plain(I2C_SMBUS_WRITE, 0, I2C_SMBUS_QUICK);
    }
    if (n == 1 && adapter.has(I2C_FUNC_SMBUS_WRITE_BYTE)) {
        return plain(I2C_SMBUS_WRITE, frame[0], I2C_SMBUS_BYTE);
    }
    if (n == 2 && adapter.has(I2C_FUNC_SMBUS_WRITE_BYTE_DATA)) {
        return with_byte(frame);
    }
    if (n == 3 && adapter.has(I2C_FUNC_SMBUS_WRITE_WORD_DATA)) {
        return with_word(frame, I2C_SMBUS_WORD_DATA);
    }
    if (is_block(frame) && adapter.has(I2C_FUNC_SMBUS_WRITE_BLOCK_DATA)) {
        return with_block(frame, I2C_SMBUS_BLOCK_DATA);
    }
    if (n >= 2 && n - 1 <= block_max && adapter.has(I2C_FUNC_SMBUS_WRITE_I2C_BLOCK)) {
        return with_raw_block(frame);
    }
    return {};
}

request read_request(std::size_t n, offer adapter) {
    if (n == 0 && adapter.has(I2C_FUNC_SMBUS_QUICK)) {
        return plain(I2C_SMBUS_READ, 0, I2C_SMBUS_QUICK);
    }
    if (n == 1 && adapter.has(I2C_FUNC_SMBUS_READ_BYTE)) {
        return plain(I2C_SMBUS_READ, 0, I2C_SMBUS_BYTE);
    }
    return {};
}

/// Command, then n bytes. The raw block is exact; in an SMBus block read the chip decides how many bytes
/// come.
request command_read_request(uint8_t command, std::size_t n, offer adapter) {
    if (n == 1 && adapter.has(I2C_FUNC_SMBUS_READ_BYTE_DATA)) {
        return plain(I2C_SMBUS_READ, command, I2C_SMBUS_BYTE_DATA);
    }
    if (n == 2 && adapter.has(I2C_FUNC_SMBUS_READ_WORD_DATA)) {
        return plain(I2C_SMBUS_READ, command, I2C_SMBUS_WORD_DATA);
    }
    if (n >= 1 && n <= block_max && adapter.has(I2C_FUNC_SMBUS_READ_I2C_BLOCK)) {
        smbus_request made = plain(I2C_SMBUS_READ, command, I2C_SMBUS_I2C_BLOCK_DATA);
        made.data.block[0] = static_cast<uint8_t>(n);
        return made;
    }
    if (n >= 2 && n - 1 <= block_max && adapter.has(I2C_FUNC_SMBUS_READ_BLOCK_DATA)) {
        return plain(I2C_SMBUS_READ, command, I2C_SMBUS_BLOCK_DATA);
    }
    return {};
}

request write_read_request(bytes frame, std::size_t n, offer adapter) {
    if (frame.size() == 1) {
        return command_read_request(frame[0], n, adapter);
    }
    if (frame.size() == 3 && n == 2 && adapter.has(I2C_FUNC_SMBUS_PROC_CALL)) {
        return with_word(frame, I2C_SMBUS_PROC_CALL);
    }
    if (is_block(frame) && n >= 2 && n - 1 <= block_max && adapter.has(I2C_FUNC_SMBUS_BLOCK_PROC_CALL)) {
        return with_block(frame, I2C_SMBUS_BLOCK_PROC_CALL);
    }
    return {};
}

/// Fills the answer from the `available` bytes at `from`; returns `if_short` when they are too few.
int copy_answer(const uint8_t *from, std::size_t available, std::span<uint8_t> answer, int if_short) {
    if (available < answer.size()) {
        return if_short;
    }
    std::copy_n(from, answer.size(), answer.begin());
    return 0;
}

} // namespace

request smbus_request_for(const transfer &wanted, unsigned long functionality) {
    const offer adapter(functionality);
    switch (wanted.kind) {
    case phases::write:
        return write_request(wanted.written, adapter);
    case phases::read:
        return read_request(wanted.answer.size(), adapter);
    case phases::write_read:
        return write_read_request(wanted.written, wanted.answer.size(), adapter);
    }
    return {};
}

int store_answer(const smbus_request &done, std::span<uint8_t> answer) {
    if (answer.empty()) {
        return 0;
    }
    switch (done.size) {
    case I2C_SMBUS_BYTE:
    case I2C_SMBUS_BYTE_DATA:
        answer[0] = done.data.byte;
        return 0;
    case I2C_SMBUS_WORD_DATA:
    case I2C_SMBUS_PROC_CALL:
        answer[0] = static_cast<uint8_t>(done.data.word);
        answer[1] = static_cast<uint8_t>(done.data.word >> 8);
        return 0;
    case I2C_SMBUS_I2C_BLOCK_DATA:
        return copy_answer(done.data.block + 1, done.data.block[0], answer, EIO);
    default: // the chip's count is part of the answer
        return copy_answer(done.data.block, done.data.block[0] + 1U, answer, EPROTO);
    }
}

} // namespace varnel::platform
