// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "config/bounded_text.h"

namespace varnel {

/// Appends what printf() would print for a format if every argument were a zero of its conversion's type: 0,
/// 0.0, a null pointer. %n stores nothing. A NUL ends a format; it is kept, and another format follows it. A
/// NUL must also follow `formats`.
void print_with_zeros(bounded_text &out, std::string_view formats);

} // namespace varnel
