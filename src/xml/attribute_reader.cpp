// SPDX-License-Identifier: Apache-2.0
#include "xml/attribute_reader.h"

#include <array>

#include "xml/character.h"
#include "xml/entity.h"
#include "xml/memory.h"

namespace varnel::xml {

namespace {

constexpr size_t name_limit = 128;
constexpr size_t value_limit = 256;

int store(input &in, xml_attribute &to, const char *name, size_t name_length, const char *value,
          size_t value_length) {
    char *const name_copy = copied(name, name_length);
    char *const value_copy = copied(value, value_length);
    if (name_copy == nullptr || value_copy == nullptr) {
        free(name_copy);
        free(value_copy);
        in.memory_ran_out();
        return xml_status_out_of_memory;
    }
    to.name = name_copy;
    to.value = value_copy;
    return 0;
}

/// Reads an attribute by character: any input, however it is cut into refills.
class attribute_reader {
  public:
    explicit attribute_reader(input &in) : in_(in) {}

    int read(xml_attribute &to) {
        const int c = get_behind_blanks(in_);
        if (c == '/' || c == '>') {
            return 0;
        }
        closed_ = read_name(c) && read_opening_quote() && read_value();
        return leave(to);
    }

  private:
    bool malformed(int c, int status) {
        if (c != end_of_input) {
            in_.report(status);
        }
        return false;
    }

    bool read_name(int c) {
        if (!is_letter(c)) {
            return malformed(c, xml_status_bad_attribute_start);
        }
        do {
            if (name_length_ == name_limit) {
                ++name_length_;
                return false;
            }
            name_[name_length_++] = static_cast<char>(c);
            c = in_.get();
        } while (is_name_part(c));
        if (is_blank(c)) {
            c = get_behind_blanks(in_);
        }
        return c == '=' || malformed(c, xml_status_bad_attribute);
    }

    bool read_opening_quote() {
        const int c = get_behind_blanks(in_);
        quote_ = c;
        return c == '"' || c == '\'' || malformed(c, xml_status_bad_attribute);
    }

    bool read_value() {
        bool inside = true;
        while (inside) {
            const int c = in_.get();
            if (c == quote_) {
                return true;
            }
            inside = c != end_of_input && append(c);
            if (inside && c == '&' && !in_.raw()) {
                switch (read_entity()) {
                case entity_end::decoded:
                    break;
                case entity_end::value_closed:
                    return true;
                case entity_end::stopped:
                    inside = false;
                }
            }
        }
        return false;
    }

    enum class entity_end { decoded, value_closed, stopped };

    /// What follows an "&" that is already stored.
    entity_end read_entity() {
        const size_t begin = value_length_;
        for (;;) {
            const int c = in_.get();
            if (c == quote_) {
                return entity_end::value_closed;
            }
            if (c == ';') {
                return decode(begin) ? entity_end::decoded : entity_end::stopped;
            }
            if (!is_letter(c)) {
                malformed(c, xml_status_unterminated_entity);
                return entity_end::stopped;
            }
            if (!append(c)) {
                return entity_end::stopped;
            }
        }
    }

    bool decode(size_t begin) {
        const size_t length = value_length_ - begin;
        if (length < shortest_entity) {
            in_.report(xml_status_short_entity);
            return false;
        }
        const char character = entity_character(&value_[begin], length);
        value_[begin - 1] = character != '\0' ? character : ';';
        value_length_ = begin;
        return true;
    }

    bool append(int c) {
        if (value_length_ == value_limit) {
            ++value_length_;
            return false;
        }
        value_[value_length_++] = static_cast<char>(c);
        return true;
    }

    int leave(xml_attribute &to) {
        if (in_.status() != 0) {
            return in_.status();
        }
        if (closed_) {
            return store(in_, to, name_.data(), name_length_, value_.data(), value_length_);
        }
        in_.report(name_length_ > name_limit     ? xml_status_attribute_too_long
                   : value_length_ > value_limit ? xml_status_value_too_long
                                                 : xml_status_bad_attribute);
        return in_.status();
    }

    input &in_;
    bool closed_ = false;
    int quote_ = 0;
    size_t name_length_ = 0;  // one past the limit for a name that is too long
    size_t value_length_ = 0; // likewise
    std::array<char, name_limit> name_;
    std::array<char, value_limit> value_;
};

/// An attribute in its usual form, all of which lies ready: name="value", without an entity.
struct plain_attribute {
    const char *name = nullptr;
    const char *name_end = nullptr;
    const char *value = nullptr;
    const char *value_end = nullptr;
    unsigned line_feeds = 0;
};

bool find_value(byte_range from, bool raw, plain_attribute &found) {
    if (from.end - from.next < 3 || from.next[0] != '=' || (from.next[1] != '"' && from.next[1] != '\'')) {
        return false;
    }
    const char closing = from.next[1];
    found.value = from.next + 2;
    const scanned run = scan_until(found.value, from.end, closing, raw ? closing : '&');
    found.value_end = run.end;
    found.line_feeds += run.line_feeds;
    return run.end != from.end && *run.end == closing &&
           static_cast<size_t>(run.end - found.value) <= value_limit;
}

bool find_plain_attribute(byte_range from, bool raw, plain_attribute &found) {
    if (from.next == from.end || !is(*from.next, letter)) {
        return false;
    }
    const char *at = found.name = from.next;
    while (at != from.end && is(*at, name_part)) {
        ++at;
    }
    found.name_end = at;
    return static_cast<size_t>(at - found.name) <= name_limit && find_value({at, from.end}, raw, found);
}

} // namespace

int read_attribute(input &in, xml_attribute &attribute) {
    const byte_range ready = in.ready();
    const scanned blanks = skip_blanks(ready.next, ready.end);
    if (blanks.end != ready.end && (*blanks.end == '>' || *blanks.end == '/')) {
        in.take_until(blanks.end + 1, blanks.line_feeds);
        return 0;
    }
    plain_attribute found{.line_feeds = blanks.line_feeds};
    if (in.status() == 0 && find_plain_attribute({blanks.end, ready.end}, in.raw(), found)) {
        in.take_until(found.value_end + 1, found.line_feeds);
        return store(in, attribute, found.name, static_cast<size_t>(found.name_end - found.name), found.value,
                     static_cast<size_t>(found.value_end - found.value));
    }
    return attribute_reader(in).read(attribute);
}

} // namespace varnel::xml

int xml_attribute_read(xml_refiller *r, xml_attribute *a, xml_document *doc, unsigned flags) {
    varnel::xml::input in(*r, *doc, flags);
    return varnel::xml::read_attribute(in, *a);
}
