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
/// Up to "-->".
token read_comment(input &in);
/// Up to "?>".
token read_instruction(input &in);
/// Up to ">".
token read_declaration(input &in);

} // namespace varnel::xml
