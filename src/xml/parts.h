// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/entity.h"
#include "xml/tree_memory.h"

namespace varnel::xml {

// Each reads the part of a node after its opening, with what ends it. Errors are reported to the input.

/// A text without the spaces and tabs at its end, up to "<", which is left to be read.
/// A bad entity ends it as too_long.
inline token read_text(input &in) {
    token text = read_decoded(in, '<', no_limit);
    if (text.stop == '<') {
        in.unget(text.stop);
    }
    while (text.length > 0 &&
           (text.bytes[text.length - 1] == '\t' || (text.bytes[text.length - 1] == ' ' && text.length > 1))) {
        --text.length;
    }
    return text;
}

/// Up to "-->"; what turned out not to be that is part of the body.
inline token read_comment(input &in) {
    text_buffer &body = in.copy();
    body.clear();
    while (in.read_more(bytes_until{'-', '-'}, no_limit).stop == '-') {
        body.append('-');
        int c = in.get();
        if (c == '-') {
            c = in.get();
            if (c == '>') {
                body.cut_to(body.length() - 1);
                break;
            }
            if (c == end_of_input) {
                body.append('-');
            }
        }
        if (c == end_of_input) {
            break;
        }
        in.unget(c);
    }
    return in.copied(0);
}

/// Up to "?>".
inline token read_instruction(input &in) {
    text_buffer &body = in.copy();
    body.clear();
    int c = in.get();
    while (c == ' ') {
        c = in.get();
    }
    while (c != end_of_input) {
        if (c == '?') {
            c = in.get();
            if (c == '>') {
                break;
            }
            body.append('?');
        } else {
            body.append(static_cast<char>(c));
            c = in.read_more(bytes_until{'?', '?'}, no_limit).stop;
        }
    }
    return in.copied(0);
}

/// Up to ">".
inline token read_declaration(input &in) {
    const int c = in.get_after_white_space();
    if (c == '>' || c == end_of_input) {
        in.copy().clear();
        return in.copied(0);
    }
    return in.read_token_from(c, bytes_until{'>', '>'}, no_limit);
}

inline constexpr std::size_t attribute_name_limit = 128;
inline constexpr std::size_t value_limit = 256;

/// Reports the first error of an attribute; an earlier one of the document stays.
inline int fail_attribute(input &in, int status) {
    if (in.status() == 0) {
        in.report(status);
    }
    return in.status();
}

inline int fail_attribute_at(input &in, int c, int status) {
    if (c != end_of_input) {
        in.report(status);
    }
    return fail_attribute(in, xml_status_bad_attribute);
}

/// Reads what follows an attribute's name, up to the end of its value, which is stored.
inline int read_after_name(input &in, tree_memory &memory, int c, xml_attribute &to) {
    c = is_white_space(c) ? in.get_after_white_space() : c;
    const int quote = c == '=' ? in.get_after_white_space() : c;
    if (c != '=' || (quote != '"' && quote != '\'')) {
        return fail_attribute_at(in, quote, xml_status_bad_attribute);
    }
    const token value = read_decoded(in, quote, value_limit); // its closing quote ends it, or an error
    if (value.stop != quote) {
        return fail_attribute(in, value.length > value_limit ? xml_status_value_too_long
                                                             : xml_status_bad_attribute);
    }
    // After an earlier error nothing is stored.
    char *const string = in.status() == 0 ? memory.string(in, value) : nullptr;
    to.value = string != nullptr ? string : to.value;
    return in.status();
}

/// xml_attribute_read(), with strings from `memory`.
inline int read_attribute(input &in, tree_memory &memory, xml_attribute &attribute) {
    const int c = in.get_after_white_space();
    if (!is_letter(c)) {
        return c == '/' || c == '>' ? 0 : fail_attribute_at(in, c, xml_status_bad_attribute_start);
    }
    const token name = in.read_token_from(c, name_bytes{}, attribute_name_limit);
    if (name.stop == too_long) {
        return fail_attribute(in, xml_status_attribute_too_long);
    }
    char *const string = memory.string(in, name);
    const int result = read_after_name(in, memory, name.stop, attribute);
    if (result == 0) {
        attribute.name = string;
    } else {
        delete_string(string);
    }
    return result;
}

} // namespace varnel::xml
