// SPDX-License-Identifier: Apache-2.0
#include "xml/body_reader.h"

namespace varnel::xml {

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
    return in.copied(0);
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
    return in.copied(0);
}

token read_declaration(input &in) {
    const int c = in.get_after_white_space();
    if (c == '>' || c == end_of_input) {
        in.copy().clear();
        return in.copied(0);
    }
    return in.read_token_from(c, bytes_until{'>', '>'}, no_limit);
}

} // namespace varnel::xml
