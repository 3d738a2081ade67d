// SPDX-License-Identifier: Apache-2.0
#include "xml/text_buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace varnel::xml {

text_buffer::~text_buffer() { std::free(heap_); }

bool text_buffer::reserve(std::size_t capacity) {
    if (capacity <= capacity_) {
        return true;
    }
    capacity = std::max(capacity, 2 * capacity_);
    char *const grown = static_cast<char *>(capacity <= UINT32_MAX ? std::realloc(heap_, capacity) : nullptr);
    if (grown == nullptr) {
        return false;
    }
    if (heap_ == nullptr) {
        std::memcpy(grown, first_.data(), length_);
    }
    heap_ = data_ = grown;
    capacity_ = capacity;
    return true;
}

void text_buffer::append(const char *bytes, std::size_t length) {
    if (memory_ran_out_ || !reserve(length_ + length)) {
        memory_ran_out_ = true;
        return;
    }
    std::memcpy(data_ + length_, bytes, length);
    length_ += length;
}

void text_buffer::clear() {
    length_ = 0;
    memory_ran_out_ = false;
}

char *text_buffer::release(std::size_t length) {
    char *const block = memory_ran_out_ ? nullptr : static_cast<char *>(std::realloc(heap_, length + 1));
    if (block != nullptr) {
        block[length] = '\0';
        heap_ = nullptr;
        data_ = first_.data();
        capacity_ = first_.size();
    }
    return block;
}

} // namespace varnel::xml
