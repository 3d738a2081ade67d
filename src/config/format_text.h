// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "config/bounded_text.h"

namespace varnel {

/// Appends what printf would print for `format` if every argument were a zero of the type that its conversion
/// takes: 0, 0.0, a null pointer. %n stores nothing. A format cut off inside a conversion ends there.
void print_with_zeros(bounded_text &out, const char *format);

} // namespace varnel
