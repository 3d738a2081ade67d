// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/entity.h"

namespace varnel::xml {

// Each reads the content of a node after its opening, with what ends it. Errors are reported to the input.

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

} // namespace varnel::xml
