// SPDX-License-Identifier: Apache-2.0
// Which SMBus request stands for a transfer, on adapters that offer any one of them, all, or none.
#include <cerrno>
#include <cstdint>
#include <numeric>
#include <optional>
#include <ostream>
#include <vector>

#include <linux/i2c.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "i2c/smbus_request.h"

namespace {

using namespace varnel::platform;
using bytes = std::vector<uint8_t>;

/// A request that would put the same bytes on the wire, and what an adapter must offer for it.
struct candidate {
    unsigned long function;
    uint8_t read_write;
    uint32_t size;
};

constexpr unsigned long every_function = ~0UL;
constexpr std::size_t longest_block = 32;

/// A register number, and the count of an SMBus block or another byte, then bytes.
bytes frame_of(std::size_t size, bool with_count) {
    bytes frame(size);
    std::iota(frame.begin(), frame.end(), uint8_t{0x61});
    if (size > 1) {
        frame[1] = static_cast<uint8_t>(with_count ? size - 2 : 0xEE);
    }
    return frame;
}

std::vector<candidate> for_write(std::size_t size, bool is_block) {
    std::vector<candidate> all;
    if (size == 0) {
        all.push_back({I2C_FUNC_SMBUS_QUICK, I2C_SMBUS_WRITE, I2C_SMBUS_QUICK});
    } else if (size == 1) {
        all.push_back({I2C_FUNC_SMBUS_WRITE_BYTE, I2C_SMBUS_WRITE, I2C_SMBUS_BYTE});
    } else if (size == 2) {
        all.push_back({I2C_FUNC_SMBUS_WRITE_BYTE_DATA, I2C_SMBUS_WRITE, I2C_SMBUS_BYTE_DATA});
    } else if (size == 3) {
        all.push_back({I2C_FUNC_SMBUS_WRITE_WORD_DATA, I2C_SMBUS_WRITE, I2C_SMBUS_WORD_DATA});
    }
    if (is_block) {
        all.push_back({I2C_FUNC_SMBUS_WRITE_BLOCK_DATA, I2C_SMBUS_WRITE, I2C_SMBUS_BLOCK_DATA});
    }
    if (size >= 2 && size <= 1 + longest_block) {
        all.push_back({I2C_FUNC_SMBUS_WRITE_I2C_BLOCK, I2C_SMBUS_WRITE, I2C_SMBUS_I2C_BLOCK_DATA});
    }
    return all;
}

std::vector<candidate> for_read(std::size_t size) {
    if (size > 1) {
        return {};
    }
    return {size == 0 ? candidate{I2C_FUNC_SMBUS_QUICK, I2C_SMBUS_READ, I2C_SMBUS_QUICK}
                      : candidate{I2C_FUNC_SMBUS_READ_BYTE, I2C_SMBUS_READ, I2C_SMBUS_BYTE}};
}

std::vector<candidate> for_register_read(std::size_t size) {
    std::vector<candidate> all;
    if (size == 1) {
        all.push_back({I2C_FUNC_SMBUS_READ_BYTE_DATA, I2C_SMBUS_READ, I2C_SMBUS_BYTE_DATA});
    } else if (size == 2) {
        all.push_back({I2C_FUNC_SMBUS_READ_WORD_DATA, I2C_SMBUS_READ, I2C_SMBUS_WORD_DATA});
    }
    if (size >= 1 && size <= longest_block) {
        all.push_back({I2C_FUNC_SMBUS_READ_I2C_BLOCK, I2C_SMBUS_READ, I2C_SMBUS_I2C_BLOCK_DATA});
    }
    if (size >= 2 && size <= 1 + longest_block) {
        all.push_back({I2C_FUNC_SMBUS_READ_BLOCK_DATA, I2C_SMBUS_READ, I2C_SMBUS_BLOCK_DATA});
    }
    return all;
}

std::vector<candidate> for_write_read(std::size_t written, bool is_block, std::size_t size) {
    if (written == 1) {
        return for_register_read(size);
    }
    std::vector<candidate> all;
    if (written == 3 && size == 2) {
        all.push_back({I2C_FUNC_SMBUS_PROC_CALL, I2C_SMBUS_WRITE, I2C_SMBUS_PROC_CALL});
    }
    if (is_block && size >= 2 && size <= 1 + longest_block) {
        all.push_back({I2C_FUNC_SMBUS_BLOCK_PROC_CALL, I2C_SMBUS_WRITE, I2C_SMBUS_BLOCK_PROC_CALL});
    }
    return all;
}

/// The data that the request sends, as the kernel expects it.
bytes data_sent(const smbus_request &request) {
    switch (request.size) {
    case I2C_SMBUS_BYTE_DATA:
        return {request.data.byte};
    case I2C_SMBUS_WORD_DATA:
    case I2C_SMBUS_PROC_CALL:
        return {static_cast<uint8_t>(request.data.word), static_cast<uint8_t>(request.data.word >> 8)};
    case I2C_SMBUS_I2C_BLOCK_DATA:
        return {request.data.block + 1, request.data.block + 1 + request.data.block[0]};
    case I2C_SMBUS_BLOCK_DATA:
    case I2C_SMBUS_BLOCK_PROC_CALL:
        return {request.data.block, request.data.block + 1 + request.data.block[0]};
    default:
        return {};
    }
}

void expect_request(const transfer &wanted, unsigned long functionality, const candidate &expected) {
    const std::optional<smbus_request> made = smbus_request_for(wanted, functionality);
    ASSERT_TRUE(made.has_value());
    EXPECT_EQ(made->read_write, expected.read_write);
    EXPECT_EQ(made->size, expected.size);
    EXPECT_EQ(made->command, wanted.written.empty() ? 0 : wanted.written[0]);
    if (expected.read_write == I2C_SMBUS_WRITE && wanted.written.size() > 1) {
        EXPECT_EQ(data_sent(*made), bytes(wanted.written.begin() + 1, wanted.written.end()));
    } else if (expected.size == I2C_SMBUS_I2C_BLOCK_DATA) {
        EXPECT_EQ(made->data.block[0], wanted.answer.size());
    }
}

/// The first candidate that an adapter offers is used, and no other request.
void expect_first_offered(const transfer &wanted, const std::vector<candidate> &candidates) {
    unsigned long others = every_function;
    for (const candidate &each : candidates) {
        expect_request(wanted, others, each);
        expect_request(wanted, each.function, each);
        others &= ~each.function;
    }
    EXPECT_FALSE(smbus_request_for(wanted, others).has_value());
    EXPECT_FALSE(smbus_request_for(wanted, 0).has_value());
}

bool is_block(std::size_t size, bool with_count) {
    return with_count && size >= 3 && size <= 2 + longest_block;
}

TEST(smbus_request, of_a_write_of_any_length_is_the_first_that_the_adapter_offers) {
    for (std::size_t size = 0; size <= 40; ++size) {
        for (const bool with_count : {false, true}) {
            SCOPED_TRACE(size);
            const bytes frame = frame_of(size, with_count);
            expect_first_offered({phases::write, 0x50, frame, {}},
                                 for_write(size, is_block(size, with_count)));
        }
    }
}

TEST(smbus_request, of_a_read_of_any_length_is_the_first_that_the_adapter_offers) {
    for (std::size_t size = 0; size <= 40; ++size) {
        SCOPED_TRACE(size);
        bytes answer(size);
        expect_first_offered({phases::read, 0x50, {}, answer}, for_read(size));
    }
}

TEST(smbus_request, of_a_combined_transfer_of_any_lengths_is_the_first_that_the_adapter_offers) {
    for (std::size_t written = 0; written <= 40; ++written) {
        for (std::size_t size = 0; size <= 40; ++size) {
            for (const bool with_count : {false, true}) {
                SCOPED_TRACE(std::to_string(written) + " and " + std::to_string(size));
                const bytes frame = frame_of(written, with_count);
                bytes answer(size);
                expect_first_offered({phases::write_read, 0x50, frame, answer},
                                     for_write_read(written, is_block(written, with_count), size));
            }
        }
    }
}

TEST(smbus_answer, of_a_byte_fills_one_byte) {
    smbus_request done{I2C_SMBUS_READ, 0, I2C_SMBUS_BYTE, {}};
    done.data.word = 0x2211;
    bytes answer{0xEE, 0xEE};
    EXPECT_EQ(store_answer(done, std::span(answer).first(1)), 0);
    EXPECT_EQ(answer, (bytes{0x11, 0xEE}));
}

TEST(smbus_answer, that_is_too_short_is_not_copied) {
    for (const auto &[size, error] :
         {std::pair{I2C_SMBUS_I2C_BLOCK_DATA, EIO}, {I2C_SMBUS_BLOCK_DATA, EPROTO}}) {
        smbus_request done{I2C_SMBUS_READ, 0, static_cast<uint32_t>(size), {}};
        done.data.block[0] = 2;
        bytes answer(4, 0xEE);
        EXPECT_EQ(store_answer(done, answer), error);
        EXPECT_EQ(answer, bytes(4, 0xEE));
    }
}

} // namespace
