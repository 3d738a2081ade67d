// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

/// Decodes the entity whose "&" ended a text or a value so far, or takes the "&" as it is in raw mode, reads on up to
/// `closing`, "<" of a text or the quote of a value, and so on. An error, which is reported, ends it as too_long.
token read_entities(input &in, token text, int closing, std::size_t limit);

/// A text up to "<", or a value of at most `limit` bytes up to its quote, with what closes it; entities are decoded.
inline token read_decoded(input &in, int closing, std::size_t limit) {
    token text = in.read_token(bytes_until{closing, '&'}, limit);
    if (text.stop == '&') {
        text = apart(in, [=](input &copy) { return read_entities(copy, text, closing, limit); });
    }
    return text;
}

} // namespace varnel::xml
