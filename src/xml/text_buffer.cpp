// SPDX-License-Identifier: Apache-2.0
#include "xml/text_buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "xml/memory.h"

namespace varnel::xml {

text_buffer::~text_buffer() { free(heap_); }

bool text_buffer::reserve(size_t capacity) {
    if (capacity <= capacity_) {
        return true;
    }
    capacity = std::max(capacity, 2 * capacity_);
    char *const grown = static_cast<char *>(capacity <= UINT32_MAX ? realloc(heap_, capacity) : nullptr);
    if (grown == nullptr) {
        return false;
    }
    if (heap_ == nullptr) {
        memcpy(grown, first_.data(), length_);
    }
    heap_ = data_ = grown;
    capacity_ = capacity;
    return true;
}

void text_buffer::append(const char *bytes, size_t length) {
    if (memory_ran_out_ || !reserve(length_ + length)) {
        memory_ran_out_ = true;
        return;
    }
    memcpy(data_ + length_, bytes, length);
    length_ += length;
}

char *text_buffer::release() {
    if (memory_ran_out_) {
        return nullptr;
    }
    if (heap_ == nullptr) {
        return copied(data_, length_);
    }
    char *const block = static_cast<char *>(realloc(heap_, length_ + 1));
    if (block != nullptr) {
        heap_ = nullptr;
        block[length_] = '\0';
    }
    return block;
}

} // namespace varnel::xml
