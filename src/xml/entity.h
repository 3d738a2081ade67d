// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

/// How reading an entity ended: replaced by its character; with the quote that closes the attribute value; or
/// with an error, which is reported.
enum class entity_end { decoded, value_closed, failed };

/// Reads what follows an "&", which is the last character of the input's copy. `quote` closes the attribute
/// value in which it is, of at most `limit` bytes; 0 in a text.
entity_end read_entity(input &in, int quote, std::size_t limit);

} // namespace varnel::xml
