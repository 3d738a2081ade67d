// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace varnel::xml {

/// Text of unknown length, gathered piece by piece. It needs the heap only when it gets long.
class text_buffer {
  public:
    text_buffer() = default;
    ~text_buffer() { std::free(heap_); }
    text_buffer(const text_buffer &) = delete;
    text_buffer &operator=(const text_buffer &) = delete;

    void append(const char *bytes, std::size_t length) {
        if (memory_ran_out_ || !reserve(length_ + length)) {
            memory_ran_out_ = true;
            return;
        }
        std::memcpy(data_ + length_, bytes, length);
        length_ += length;
    }
    void append(char c) { append(&c, 1); }
    void cut_to(std::size_t length) { length_ = length; }
    void clear() {
        length_ = 0;
        memory_ran_out_ = false;
    }

    [[nodiscard]] const char *data() const { return data_; }
    [[nodiscard]] std::size_t length() const { return length_; }

    /// Whether an append() failed since clear(); what came after it is not here.
    [[nodiscard]] bool memory_ran_out() const { return memory_ran_out_; }
    [[nodiscard]] bool is_on_heap() const { return heap_ != nullptr; }

    /// For text on the heap: its block, cut to `length` bytes and a terminator; null when memory ran
    /// out.
    [[nodiscard]] char *release(std::size_t length) {
        char *const block = static_cast<char *>(std::realloc(heap_, length + 1));
        if (block != nullptr) {
            block[length] = '\0';
            heap_ = nullptr;
            data_ = first_.data();
            capacity_ = first_.size();
        }
        return block;
    }

  private:
    [[nodiscard]] bool reserve(std::size_t capacity) {
        if (capacity <= capacity_) {
            return true;
        }
        capacity = std::max(capacity, 2 * capacity_);
        auto *const grown =
            static_cast<char *>(capacity <= UINT32_MAX ? std::realloc(heap_, capacity) : nullptr);
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

    std::size_t length_ = 0;
    std::size_t capacity_ = 2048;
    char *heap_ = nullptr;
    bool memory_ran_out_ = false;
    std::array<char, 2048> first_;
    char *data_ = first_.data();
};

} // namespace varnel::xml
