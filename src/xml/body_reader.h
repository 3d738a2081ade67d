// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

// Each reads the content of a node after its opening, with what ends it. Errors are reported to the input.

/// Continues a text after the "&" that ended it so far. `bytes` is null when a bad entity ended it.
token read_entities(input &in, token text);

/// A text without the spaces and tabs at its end, up to "<", which is left to be read. `bytes` is null when a
/// bad entity ended it.
inline token read_text(input &in) {
    token text = in.read_token(bytes_until{'<', in.raw() ? '<' : '&'}, no_limit);
    if (text.stop == '&') {
        text = apart(in, [text](input &copy) { return read_entities(copy, text); });
    }
    if (text.stop == '<') {
        in.unget(text.stop);
    }
    while (text.length > 0 &&
           (text.bytes[text.length - 1] == '\t' || (text.bytes[text.length - 1] == ' ' && text.length > 1))) {
        --text.length;
    }
    return text;
}
/// Up to "-->".
token read_comment(input &in);
/// Up to "?>".
token read_instruction(input &in);
/// Up to ">".
token read_declaration(input &in);

} // namespace varnel::xml
