// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>

namespace varnel::xml {

/// Text of unknown length, gathered piece by piece. It needs the heap only when it gets long.
class text_buffer {
  public:
    text_buffer() = default;
    ~text_buffer();
    text_buffer(const text_buffer &) = delete;
    text_buffer &operator=(const text_buffer &) = delete;

    void append(const char *bytes, std::size_t length);
    void append(char c) { append(&c, 1); }
    void cut_to(std::size_t length) { length_ = length; }
    void clear();

    [[nodiscard]] const char *data() const { return data_; }
    [[nodiscard]] std::size_t length() const { return length_; }

    /// Whether an append() failed since clear(); what came after it is not here.
    [[nodiscard]] bool memory_ran_out() const { return memory_ran_out_; }
    [[nodiscard]] bool is_on_heap() const { return heap_ != nullptr; }

    /// For text on the heap: its block, cut to `length` bytes and a terminator; null when memory ran out, now
    /// or in an earlier append().
    [[nodiscard]] char *release(std::size_t length);

  private:
    [[nodiscard]] bool reserve(std::size_t capacity);

    std::size_t length_ = 0;
    std::size_t capacity_ = 2048;
    char *heap_ = nullptr;
    bool memory_ran_out_ = false;
    std::array<char, 2048> first_;
    char *data_ = first_.data();
};

} // namespace varnel::xml
