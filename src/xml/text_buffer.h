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

    void append(const char *bytes, size_t length);
    void append(char c) { append(&c, 1); }
    void cut_to(size_t length) { length_ = length; }

    [[nodiscard]] const char *data() const { return data_; }
    [[nodiscard]] size_t length() const { return length_; }

    /// Whether an append() failed; what came after it is not here.
    [[nodiscard]] bool memory_ran_out() const { return memory_ran_out_; }

    /// The text with a terminator in a malloc block of just that size; null when memory ran out, now or in an
    /// earlier append(). Ends the buffer's life.
    [[nodiscard]] char *release();

  private:
    [[nodiscard]] bool reserve(size_t capacity);

    size_t length_ = 0;
    size_t capacity_ = 2048;
    char *heap_ = nullptr;
    bool memory_ran_out_ = false;
    std::array<char, 2048> first_;
    char *data_ = first_.data();
};

} // namespace varnel::xml
