// SPDX-License-Identifier: Apache-2.0
#include "varnel/numeral.h"

#include <algorithm>
#include <cstdint>

#include "base/assertion.h"

namespace {

constexpr unsigned int top_bit = 63;

/// Bits `lower` to `lower + width - 1`; `mask` begins at bit 0. A mask of 0 selects nothing.
struct bit_field {
    unsigned int lower = 0;
    uint64_t mask = 0;

    constexpr bit_field(uint8_t index_a, uint8_t index_b) {
        const unsigned int low = std::min(index_a, index_b);
        const unsigned int high = std::min<unsigned int>(std::max(index_a, index_b), top_bit);
        if (low <= high) {
            lower = low;
            mask = ~uint64_t{0} >> (top_bit - (high - low));
        }
    }
};

constexpr uint64_t size_mask(uint32_t size_code) {
    return size_code < 3 ? (uint64_t{1} << (8U << size_code)) - 1 : ~uint64_t{0};
}

/// The lowest 1, 2, 4 or 8 bytes in reverse order. A size code without a width gives only byte 0.
constexpr uint64_t reversed(uint64_t value, uint32_t size_code) {
    const unsigned int size = size_code <= 3 ? 1U << size_code : 1;
    return __builtin_bswap64(value) >> (64 - 8 * size);
}

} // namespace

uint32_t get_host_byte_order() { return 0; }

uint64_t numeral_value_byte_order_convert(uint64_t value, uint32_t from_order, uint32_t to_order,
                                          uint32_t size_code) {
    return from_order == to_order ? value & size_mask(size_code) : reversed(value, size_code);
}

void set_bits_value(uint64_t *operated_integer, uint8_t bit_index_a, uint8_t bit_index_b, uint64_t value) {
    varnel::require(operated_integer != nullptr, "operated_integer != ((void *)0)", "numeral.c");
    const bit_field field(bit_index_a, bit_index_b);
    if (field.mask != 0) {
        *operated_integer = (*operated_integer & ~(field.mask << field.lower)) | value << field.lower;
    }
}

uint64_t get_bits_value(uint64_t integer, uint8_t bit_index_a, uint8_t bit_index_b) {
    const bit_field field(bit_index_a, bit_index_b);
    return integer >> field.lower & field.mask;
}
