// SPDX-License-Identifier: Apache-2.0
#include "xml/body_reader.h"

#include "xml/entity.h"

namespace varnel::xml {

namespace {

std::size_t trimmed_length(const char *text, std::size_t length) {
    while (length > 0 && (text[length - 1] == '\t' || (text[length - 1] == ' ' && length > 1))) {
        --length;
    }
    return length;
}

/// Goes on with a text behind the "&" that ended it so far.
[[gnu::noinline]] token read_entities(input &in, token text) {
    while (text.stop == '&') {
        in.copy(text).append('&');
        if (read_entity(in, 0, no_limit) != entity_end::decoded) {
            return {nullptr, 0, 0};
        }
        text = in.read_more(bytes_until{'<', '&'}, no_limit);
    }
    return text;
}

token copied_so_far(input &in) { return {in.copy().data(), in.copy().length(), 0}; }

} // namespace

token read_text(input &in) {
    token text = in.read_token(bytes_until{'<', in.raw() ? '<' : '&'}, no_limit);
    if (text.stop == '&') {
        text = read_entities(in, text);
    }
    if (text.stop == '<') {
        in.unget(text.stop);
    }
    text.length = trimmed_length(text.bytes, text.length);
    return text;
}

// What "-->" turned out not to be is part of the body.
token read_comment(input &in) {
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
    return copied_so_far(in);
}

token read_instruction(input &in) {
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
    return copied_so_far(in);
}

token read_declaration(input &in) {
    const int c = in.get_after_white_space();
    if (c == '>' || c == end_of_input) {
        in.copy().clear();
        return copied_so_far(in);
    }
    return in.read_token_from(c, bytes_until{'>', '>'}, no_limit);
}

} // namespace varnel::xml
