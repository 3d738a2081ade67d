// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

// Each reads the content of a node after its opening, with what ends it. Errors are reported to the input.

/// A text without the spaces and tabs at its end, up to "<", which is left to be read. `bytes` is null when a
/// bad entity ended it.
token read_text(input &in);
/// Up to "-->".
token read_comment(input &in);
/// Up to "?>".
token read_instruction(input &in);
/// Up to ">".
token read_declaration(input &in);

} // namespace varnel::xml
