// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "varnel/iniparser.h"

namespace varnel {

/// Text built piece by piece, without the heap. After a piece that does not fit, the whole text is refused.
class bounded_text {
  public:
    static constexpr std::size_t limit = INIPARSER_CONTENT_MAX;

    void append(std::initializer_list<std::string_view> pieces) {
        for (const std::string_view piece : pieces) {
            append(piece);
        }
    }

    void append(std::string_view piece) {
        if (piece.size() > room()) {
            refuse();
        } else {
            std::memcpy(end(), piece.data(), piece.size());
            length_ += piece.size();
        }
    }

    /// Prints one conversion. A NUL that it prints is omitted.
    template <typename... Arguments>
    void print(const char *format, Arguments... arguments) {
        const int printed = std::snprintf(end(), room() + 1, format, arguments...);
        if (static_cast<std::size_t>(printed) > room()) { // also when it is negative
            refuse();
        } else {
            length_ += static_cast<std::size_t>(std::remove(end(), end() + printed, '\0') - end());
        }
    }

    /// Removes the last byte.
    void drop_last() { length_ -= fits() ? 1 : 0; }

    /// The text is refused, whatever is appended later.
    void refuse() { refused_ = true; }

    /// Fills the text up to `length` bytes, which may be one more than the limit.
    void fill_up(std::size_t length, char byte) {
        if (length > length_) {
            std::memset(end(), byte, length - length_);
            length_ = length;
        }
    }

    [[nodiscard]] bool fits() const { return !refused_; }
    [[nodiscard]] std::string_view text() const { return {bytes_.data(), length_}; }

  private:
    [[nodiscard]] char *end() { return bytes_.data() + length_; }
    [[nodiscard]] std::size_t room() const { return limit - length_; }

    std::array<char, limit + 1> bytes_; // one more for the NUL of snprintf()
    std::size_t length_ = 0;
    bool refused_ = false;
};

} // namespace varnel
