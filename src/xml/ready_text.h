// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"
#include "xml/slab.h"

namespace varnel::xml {

/// Reads what nearly all start tags consist of, where it lies ready in the refill buffer: short names, and short values in
/// double quotes, without entities and newlines. There are `size` bytes, so nothing here looks for the end of the buffer.
/// What cannot be read so is left to the functions that read everything.
class ready_text {
  public:
#ifdef __OPTIMIZE_SIZE__
    static constexpr bool is_used = false;
#else
    static constexpr bool is_used = true;
#endif
    static constexpr std::ptrdiff_t size =
        4 * slab_filler::at_once; // of white space, name, value, and what is between

    explicit ready_text(const char *at) : at_(at) {}

    /// With one newline at most.
    void skip_white_space() {
        at_ = skip<blank>(at_, at_ + most / 2);
        if (*at_ == '\n') {
            ++newlines_;
            at_ = skip<blank>(at_ + 1, at_ + most / 2);
        }
    }
    [[nodiscard]] bool read_name(token &name) {
        const char *const end = skip<name_part>(at_, at_ + most);
        name = {at_, static_cast<std::size_t>(end - at_), *end};
        at_ = end;
        return is(*name.bytes, letter) && name.length < most;
    }
    /// Of an attribute, from the "=" to the closing quote.
    [[nodiscard]] bool read_value(token &value) {
        if (at_[0] != '=' || at_[1] != '"') {
            return false;
        }
        const char *const begin = at_ + 2;
        for (std::size_t i = 0; i < most; i += sizeof(chunk)) {
            const chunk::marks found = chunk(begin + i).any_of('"', '&', '\n');
            if (found != 0) {
                const char *const end = begin + i + chunk::first(found);
                value = {begin, static_cast<std::size_t>(end - begin), *end};
                at_ = end + 1;
                return *end == '"';
            }
        }
        return false;
    }
    /// "/", or the ">" of a tag without it.
    [[nodiscard]] bool read_end() {
        const bool ends = *at_ == '>' || *at_ == '/';
        at_ += ends ? 1 : 0;
        return ends;
    }

    [[nodiscard]] const char *at() const { return at_; }
    [[nodiscard]] unsigned newlines() const { return newlines_; }

  private:
    static constexpr std::size_t most = slab_filler::at_once;

    const char *at_;
    unsigned newlines_ = 0;
};

} // namespace varnel::xml
