// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace varnel::xml {

/// Entities with fewer characters than this between "&" and ";" are an error.
inline constexpr size_t shortest_entity = 2;

/// The character that an entity stands for, or 0. `name` has `length` characters, of which the last is not
/// looked at; the others may be just the beginning of a known name, so "am" and "ampx" are "&", too.
char entity_character(const char *name, size_t length);

} // namespace varnel::xml
