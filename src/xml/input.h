// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "varnel/xml_reader.h"
#include "varnel/xml_refiller.h"
#include "varnel/xml_tree.h"
#include "xml/character.h"

namespace varnel::xml {

inline constexpr int end_of_input = -256;
inline constexpr int nothing_pushed = -256;

/// The bytes that lie ready in the refill buffer.
struct byte_range {
    const char *next;
    const char *end;
};

/// What all parts of the reader work on. Characters come through get(), one by one, with the line feeds
/// counted; or straight from the buffer through ready() and take_until(). A refill happens in get() alone, so
/// whatever finds all it needs in ready() can do its work in any order: nobody sees it at work.
class input {
  public:
    input(xml_refiller &source, xml_document &document, unsigned flags)
        : source_(source), document_(document), raw_((flags & xml_flag_raw) != 0) {}

    [[nodiscard]] int get() {
        const int c = source_.pushed == nothing_pushed && source_.position < source_.fill
                          ? static_cast<unsigned char>(source_.buffer[source_.position++])
                          : xml_refiller_get_char(&source_);
        document_.line += c == '\n' ? 1 : 0;
        return c;
    }

    /// Gives back what get() just returned.
    void unget(int c) {
        document_.line -= c == '\n' ? 1 : 0;
        // Stepping back is as good as pushing back, for the character is read again before anyone looks; only
        // after an error reading may end here, and then callers find it in its slot. It overwrites what a
        // refill function has pushed back.
        if (source_.error == 0 && source_.pushed == nothing_pushed && source_.position > 0 &&
            source_.position <= source_.fill &&
            static_cast<unsigned char>(source_.buffer[source_.position - 1]) == c) {
            --source_.position;
        } else {
            xml_refiller_set_char(&source_, c);
        }
    }

    [[nodiscard]] byte_range ready() const {
        const bool any = source_.pushed == nothing_pushed && source_.position < source_.fill;
        return any ? byte_range{source_.buffer + source_.position, source_.buffer + source_.fill}
                   : byte_range{nullptr, nullptr};
    }

    /// Consumes what lies ready before `end`, with the line feeds that the caller saw in it.
    void take_until(const char *end, unsigned line_feeds) {
        source_.position = static_cast<unsigned>(end - source_.buffer);
        document_.line += line_feeds;
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
    xml_refiller &source_;
    xml_document &document_;
    bool raw_;
    bool memory_ran_out_ = false;
};

/// The next character that is not white space.
[[nodiscard]] inline int get_behind_blanks(input &in) {
    const byte_range ready = in.ready();
    const scanned blanks = skip_blanks(ready.next, ready.end);
    if (blanks.end != ready.next) {
        in.take_until(blanks.end, blanks.line_feeds);
    }
    int c = in.get();
    while (is_blank(c)) {
        c = in.get();
    }
    return c;
}

} // namespace varnel::xml
