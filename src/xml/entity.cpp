// SPDX-License-Identifier: Apache-2.0
#include "xml/entity.h"

#include <cstring>

namespace varnel::xml {

namespace {

/// Entities with fewer characters than this between "&" and ";" are an error.
constexpr std::size_t shortest_entity = 2;

/// The character that an entity stands for, or 0. `name` has `length` characters, of which the last is not
/// looked at; the others may be just the beginning of a known name, so "am" and "ampx" are "&", too.
char character_of(const char *name, std::size_t length) {
    for (const entity &known : entities) {
        if (std::strncmp(name, known.name, length - 1) == 0) {
            return known.character;
        }
    }
    return '\0';
}

/// Replaces the name of an entity at the end of `text`, from `begin` on, and the "&" before it. An unknown
/// one stays in a text, and becomes a lone ";" in an attribute value. ";", or too_long after an error, which is reported.
int decode(input &in, text_buffer &text, std::size_t begin, bool in_value) {
    const std::size_t length = text.length() - begin;
    if (length < shortest_entity) {
        in.report(xml_status_short_entity);
        return too_long;
    }
    const char character = character_of(text.data() + begin, length);
    if (character != '\0' || in_value) {
        text.cut_to(begin - 1);
    }
    text.append(character != '\0' ? character : ';');
    return ';';
}

bool continues_entity(int c, bool in_value) {
    return in_value ? is_letter(c) : c != '<' && c != '&' && c != end_of_input;
}

/// Reads what follows an "&", which is the last character of the input's copy. What ends it: ";", when it is replaced
/// by its character; the quote of the value; or too_long after an error, which is reported.
int read_entity(input &in, int closing, std::size_t limit) {
    const bool in_value = closing != '<';
    text_buffer &text = in.copy();
    const std::size_t begin = text.length();
    for (;;) {
        const int c = in.get();
        if (c == ';') {
            return decode(in, text, begin, in_value);
        }
        if (in_value && c == closing) {
            return c;
        }
        if (!continues_entity(c, in_value)) {
            if (c == '<' && !in_value) {
                in.unget(c);
            }
            if (c != end_of_input || !in_value) { // the attribute reader reports the end of input
                in.report(xml_status_unterminated_entity);
            }
            return too_long;
        }
        text.append(static_cast<char>(c));
        if (text.length() > limit) {
            return too_long;
        }
    }
}

} // namespace

token read_entities(input &in, token text, int closing, std::size_t limit) {
    while (text.stop == '&') {
        in.copy(text).append('&');
        if (in.raw()) {
            return in.read_more(bytes_until{closing, closing}, limit);
        }
        const int end = text.length < limit ? read_entity(in, closing, limit) : too_long;
        text = end == ';' ? in.read_more(bytes_until{closing, '&'}, limit) : in.copied(end);
    }
    return text;
}

} // namespace varnel::xml
