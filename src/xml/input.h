// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>

#include "varnel/xml_reader.h"
#include "varnel/xml_refiller.h"
#include "varnel/xml_tree.h"
#include "xml/character.h"
#include "xml/memory.h"
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

// What a token can be made of. scan() finds the end of a run of such bytes; accepts() decides about one
// character.

struct name_bytes {
    static scanned scan(const char *at, const char *end) {
        while (at != end && is(*at, name_part)) {
            ++at;
        }
        return {at, 0};
    }
    static bool accepts(int c) { return is_name_part(c); }
};

/// All bytes up to one of two.
struct bytes_until {
    int a, b;
    [[nodiscard]] scanned scan(const char *at, const char *end) const {
        return scan_until(at, end, static_cast<char>(a), static_cast<char>(b));
    }
    [[nodiscard]] bool accepts(int c) const { return c != end_of_input && c != a && c != b; }
};

/// All bytes up to ">", in runs of no more than an end tag may have: what has none is not looked through
/// again for each tag.
struct end_tag_bytes {
    static constexpr std::size_t limit = 128;
    static scanned scan(const char *at, const char *end) {
        const bool far = static_cast<std::size_t>(end - at) > limit + 1;
        return scan_until(at, far ? at + limit + 1 : end, '>', '>');
    }
    static bool accepts(int c) { return c != end_of_input && c != '>'; }
};

/// What all parts of the reader work on: characters, and tokens made of them, with the newlines counted. The
/// refiller is asked for more only when a character is needed and none is left in its buffer; it and its
/// function then see everything consumed so far.
class input {
  public:
    input(xml_refiller &source, xml_document &document, unsigned flags)
        : source_(source), document_(document), raw_((flags & xml_flag_raw) != 0) {
        look_into_buffer();
    }
    ~input() { report_position(); }
    input(const input &) = delete;
    input &operator=(const input &) = delete;

    [[nodiscard]] int get() {
        if (at_ == end_) {
            return get_beyond_buffer();
        }
        const int c = static_cast<unsigned char>(*at_++);
        if (c == '\n') {
            ++document_.line;
        }
        return c;
    }

    /// The next character that is not white space.
    [[nodiscard]] int get_after_white_space() {
        for (;;) {
            consume(skip_white_space(at_, end_));
            if (at_ != end_) {
                return static_cast<unsigned char>(*at_++);
            }
            const int c = get_beyond_buffer();
            if (!is_white_space(c)) {
                return c;
            }
        }
    }

    /// Gives back what get() just returned, or what a token ended with. It overwrites what a refill function
    /// has pushed back.
    void unget(int c) {
        if (c == '\n') {
            --document_.line;
        }
        if (at_ != begin_) {
            --at_;
        } else {
            push_back(c);
        }
    }

    /// Reads bytes of a kind, at most one more than `limit`, and what follows them.
    template <class Bytes>
    [[nodiscard]] token read_token(Bytes wanted, std::size_t limit) {
        const char *const begin = at_;
        const scanned run = wanted.scan(begin, end_);
        const auto length = static_cast<std::size_t>(run.end - begin);
        if (run.end != end_ && is_ascii(*run.end) && length <= limit) {
            consume({run.end + 1, run.newlines + (*run.end == '\n' ? 1U : 0U)});
            return {begin, length, *run.end};
        }
        copy_.clear();
        return read_more(wanted, limit);
    }

    /// The same for a token whose first byte is consumed already: get() returned it.
    template <class Bytes>
    [[nodiscard]] token read_token_from(int first, Bytes wanted, std::size_t limit) {
        if (at_ != begin_) {
            --at_; // it is no newline
            return read_token(wanted, limit);
        }
        copy_.clear();
        copy_.append(static_cast<char>(first));
        return read_more(wanted, limit);
    }

    /// Goes on with a token that has been copied, and perhaps changed.
    template <class Bytes>
    [[nodiscard, gnu::noinline]] token read_more(Bytes wanted, std::size_t limit) {
        while (copy_.length() <= limit) {
            const scanned run = wanted.scan(at_, end_within(limit + 1 - copy_.length()));
            copy_.append(at_, static_cast<std::size_t>(run.end - at_));
            consume(run);
            if (copy_.length() > limit) {
                break;
            }
            const int c = get();
            if (!wanted.accepts(c)) {
                return {copy_.data(), copy_.length(), c};
            }
            copy_.append(static_cast<char>(c));
        }
        return {copy_.data(), copy_.length(), too_long};
    }

    /// Copies a token, so that it can be changed and be gone on with.
    text_buffer &copy(const token &of) {
        if (of.bytes != copy_.data()) {
            copy_.clear();
            copy_.append(of.bytes, of.length);
        }
        return copy_;
    }
    text_buffer &copy() { return copy_; }
    /// Whether a token is not complete because memory for its copy ran out.
    [[nodiscard]] bool is_cut(const token &of) const {
        return of.bytes == copy_.data() && copy_.memory_ran_out();
    }
    /// A token with a terminator in a block of malloc(), or null. It takes over the block of a copy that
    /// needed one.
    [[nodiscard]] char *copied(const token &of) {
        return of.bytes == copy_.data() && copy_.is_on_heap() ? copy_.release(of.length)
                                                              : xml::copied(of.bytes, of.length);
    }
    /// Bytes behind a token may be read up to here.
    [[nodiscard]] const char *readable_from(const token &of) const {
        return of.bytes == copy_.data() ? of.bytes + of.length : end_;
    }

    [[nodiscard]] int error() const { return source_.error; }
    void memory_ran_out() {
        memory_ran_out_ = true;
        report(xml_status_out_of_memory);
    }
    /// What ends all reading: the refiller's error, or memory that ran out. 0 for neither.
    [[nodiscard]] int failure() const {
        return source_.error == 0 && memory_ran_out_ ? int{xml_status_out_of_memory} : source_.error;
    }
    [[nodiscard]] int status() const { return document_.status; }
    void report(int status) { document_.status = status; }
    [[nodiscard]] bool raw() const { return raw_; }

  private:
    [[nodiscard, gnu::noinline]] int get_beyond_buffer() {
        report_position();
        const int c = xml_refiller_get_char(&source_);
        look_into_buffer();
        document_.line += c == '\n' ? 1 : 0;
        return c;
    }
    void push_back(int c) {
        report_position();
        xml_refiller_set_char(&source_, c);
        look_into_buffer();
    }
    // Without an error a character that is given back is read again before anyone looks, so stepping back is
    // as good as pushing back. After an error reading may end there, and callers find the character in its
    // slot.
    void look_into_buffer() {
        const bool ready =
            source_.position < source_.fill && source_.pushed == nothing_pushed && source_.error == 0;
        begin_ = at_ = source_.buffer + source_.position;
        end_ = ready ? source_.buffer + source_.fill : at_;
    }
    void report_position() { source_.position = static_cast<unsigned>(at_ - source_.buffer); }

    void consume(scanned run) {
        at_ = run.end;
        if (run.newlines != 0) {
            document_.line += run.newlines;
        }
    }
    /// Where a scan of at most `most` bytes ends.
    [[nodiscard]] const char *end_within(std::size_t most) const {
        return static_cast<std::size_t>(end_ - at_) > most ? at_ + most : end_;
    }

    xml_refiller &source_;
    xml_document &document_;
    // In the refill buffer; all the same while bytes must come from the refiller one by one.
    const char *begin_ = nullptr; // a byte at or behind this can be read again by stepping back
    const char *at_ = nullptr;    // the next byte
    const char *end_ = nullptr;   // behind the last
    bool raw_;
    bool memory_ran_out_ = false;
    text_buffer copy_;
};

} // namespace varnel::xml
