// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

#include "varnel/xml_reader.h"
#include "varnel/xml_refiller.h"
#include "varnel/xml_tree.h"
#include "xml/character.h"
#include "xml/text_buffer.h"

namespace varnel::xml {

inline constexpr int end_of_input = -256;
inline constexpr int nothing_pushed = -256;

/// What ends a token instead of a character when it has more bytes than it may.
inline constexpr int too_long = INT_MIN;
inline constexpr std::size_t no_limit = SIZE_MAX - 1;

/// Bytes that belong together, and what came after them (and was consumed): a character, `end_of_input` or
/// `too_long`. They are in the refill buffer, or in a copy if a refill came between them; the next token
/// invalidates them.
struct token {
    const char *bytes;
    std::size_t length;
    int stop;
};

// What a token can be made of. accepts() decides about one character; skip() passes over accepted bytes, but also ends
// where the token may go on. ends_at() is false there.

struct name_bytes {
    static bool ends_at(char c) { return is_ascii(c); } // the locale decides about other letters
    static const char *skip(const char *at, const char *end) { return varnel::xml::skip<name_part>(at, end); }
    static bool accepts(int c) { return is_name_part(c); }
};

/// All bytes up to one of two.
struct bytes_until {
    int a, b;
    static bool ends_at(char c) { return c != '\n'; }
    [[nodiscard]] const char *skip(const char *at, const char *end) const {
        return skip_others(at, end, static_cast<char>(a), static_cast<char>(b));
    }
    [[nodiscard]] bool accepts(int c) const { return c != end_of_input && c != a && c != b; }
};

/// Calls `slow` with a copy of `state`, which continues where the copy ends. The address of `state` is not taken,
/// so a function that does all else inline can keep it in registers: the stores of each copied string would
/// otherwise make the compiler load it anew.
template <class State, class Slow>
inline auto apart(State &state, Slow slow) {
    State copy(state);
    const auto result = slow(copy);
    state.resume(copy);
    return result;
}

/// What one call of the reader reads from, and what it reports to.
struct reading {
    reading(xml_refiller &source, xml_document &its_document, unsigned flags)
        : refiller(source), document(its_document), raw((flags & xml_flag_raw) != 0) {}

    xml_refiller &refiller;
    xml_document &document;
    const bool raw;
    bool memory_ran_out = false;
    int failure = 0;
    const char *begin = nullptr; // a byte at or after this can be read again by stepping back
    text_buffer copy;
};

/// What all parts of the reader work on: characters, and tokens made of them, with the newlines counted. The
/// refiller is asked for more only when a character is needed and none is left in its buffer; it and its
/// function then see everything consumed so far. finish() must be called at the end.
class input {
  public:
    explicit input(reading &from) : from_(from) { look_into_buffer(); }
    /// Continues where a copy of this ended.
    void resume(const input &copy) {
        at_ = copy.at_;
        end_ = copy.end_;
    }
    void finish() { from_.refiller.position = static_cast<unsigned>(at_ - from_.refiller.buffer); }

    [[nodiscard]] int get() {
        if (at_ == end_) {
            return apart(*this, [](input &in) { return in.refill(); });
        }
        const int c = static_cast<unsigned char>(*at_++);
        if (c == '\n') {
            ++from_.document.line;
        }
        return c;
    }

    /// The next character that is not white space.
    [[nodiscard]] int get_after_white_space() {
        int c = get();
        while (c <= ' ' && is_white_space(c)) {
            at_ = skip<blank>(at_, end_);
            c = get();
        }
        return c;
    }

    /// Gives back what get() just returned, or what a token ended with. It overwrites what a refill function
    /// has pushed back.
    void unget(int c) {
        if (c == '\n') {
            --from_.document.line;
        }
        if (at_ != from_.begin) {
            --at_;
        } else {
            apart(*this, [c](input &in) { return in.push_back(c); });
        }
    }

    /// Whether so many bytes lie ready in the buffer, from ready() on.
    [[nodiscard]] bool is_ready(std::ptrdiff_t size) const { return end_ - at_ >= size; }
    [[nodiscard]] const char *ready() const { return at_; }
    void consume_to(const char *at, unsigned newlines) {
        at_ = at;
        from_.document.line += newlines;
    }

    /// Whether these bytes, without a newline among them, are the next in the buffer, and then ">". If so, they
    /// are consumed.
    [[nodiscard]] bool consume_tag(const char *bytes, std::size_t length) {
        if (static_cast<std::size_t>(end_ - at_) <= length || at_[length] != '>' ||
            std::memcmp(at_, bytes, length) != 0) {
            return false;
        }
        at_ += length + 1;
        return true;
    }

    /// Reads bytes of a kind, at most one more than `limit`, and what follows them.
    template <class Bytes>
    [[nodiscard]] token read_token(Bytes wanted, std::size_t limit) {
        const char *const begin = at_;
        const char *const end = wanted.skip(begin, end_);
        const auto length = static_cast<std::size_t>(end - begin);
        if (end == end_ || length > limit || !Bytes::ends_at(*end)) [[unlikely]] {
            return apart(*this, [wanted, limit](input &in) { return in.read_copied(wanted, limit); });
        }
        at_ = end + 1;
        if (*end == '\n') {
            ++from_.document.line;
        }
        return {begin, length, *end};
    }

    /// The same for a token whose first byte is consumed already: get() returned it.
    template <class Bytes>
    [[nodiscard]] token read_token_from(int first, Bytes wanted, std::size_t limit) {
        if (at_ != from_.begin) {
            --at_; // it is no newline
            return read_token(wanted, limit);
        }
        from_.copy.clear();
        from_.copy.append(static_cast<char>(first));
        return apart(*this, [wanted, limit](input &in) { return in.read_more(wanted, limit); });
    }

    /// Reads a token that a refill cuts, or with a newline in it, or that a letter beyond ASCII may continue.
    template <class Bytes>
    [[nodiscard, gnu::noinline]] token read_copied(Bytes wanted, std::size_t limit) {
        from_.copy.clear();
        return read_more(wanted, limit);
    }

    /// Continues a token that has been copied, and perhaps changed.
    template <class Bytes>
    [[nodiscard, gnu::noinline]] token read_more(Bytes wanted, std::size_t limit) {
        text_buffer &copy = from_.copy;
        while (copy.length() <= limit) {
            const std::size_t most = limit + 1 - copy.length();
            const bool far = static_cast<std::size_t>(end_ - at_) > most;
            const char *const end = wanted.skip(at_, far ? at_ + most : end_);
            copy.append(at_, static_cast<std::size_t>(end - at_));
            at_ = end;
            if (copy.length() > limit) {
                break;
            }
            const int c = get();
            if (!wanted.accepts(c)) {
                return copied(c);
            }
            copy.append(static_cast<char>(c));
        }
        return copied(too_long);
    }
    /// The copy as a token. That not all of it found memory is reported.
    [[nodiscard]] token copied(int stop) {
        if (from_.copy.memory_ran_out()) {
            memory_ran_out();
        }
        return {from_.copy.data(), from_.copy.length(), stop};
    }

    /// Copies a token, so that it can be changed and continued.
    text_buffer &copy(const token &of) {
        if (of.bytes != from_.copy.data()) {
            from_.copy.clear();
            from_.copy.append(of.bytes, of.length);
        }
        return from_.copy;
    }
    text_buffer &copy() { return from_.copy; }
    /// So many bytes from the begin of a token on may be read. (The copy has always more than are asked for.)
    [[nodiscard]] std::size_t readable(const token &of) const {
        return reinterpret_cast<std::uintptr_t>(end_) - reinterpret_cast<std::uintptr_t>(of.bytes);
    }

    [[nodiscard]] int error() const { return from_.refiller.error; }
    [[gnu::cold]] void memory_ran_out() {
        from_.memory_ran_out = true;
        note_failure();
        report(xml_status_out_of_memory);
    }
    /// What ends all reading: the refiller's error, or memory that ran out. 0 for neither.
    [[nodiscard]] int failure() const { return from_.failure; }
    [[nodiscard]] int status() const { return from_.document.status; }
    void report(int status) { from_.document.status = status; }
    [[nodiscard]] bool raw() const { return from_.raw; }

  private:
    [[nodiscard, gnu::noinline]] int refill() {
        finish();
        const int c = xml_refiller_get_char(&from_.refiller);
        look_into_buffer();
        from_.document.line += c == '\n' ? 1 : 0;
        return c;
    }
    [[gnu::noinline]] int push_back(int c) {
        finish();
        xml_refiller_set_char(&from_.refiller, c);
        look_into_buffer();
        return c;
    }
    // Without an error a character that is given back is read again before anyone looks, so stepping back is
    // as good as pushing back. After an error reading may end there, and callers find the character in its
    // slot.
    void look_into_buffer() {
        const xml_refiller &source = from_.refiller;
        const bool ready =
            source.position < source.fill && source.pushed == nothing_pushed && source.error == 0;
        from_.begin = at_ = source.buffer + source.position;
        end_ = ready ? source.buffer + source.fill : at_;
        note_failure();
    }
    void note_failure() {
        const int error = from_.refiller.error;
        from_.failure = error == 0 && from_.memory_ran_out ? int{xml_status_out_of_memory} : error;
    }

    reading &from_;
    // In the refill buffer; both the same while bytes must come from the refiller one by one.
    const char *at_ = nullptr;  // the next byte
    const char *end_ = nullptr; // after the last
};

} // namespace varnel::xml
