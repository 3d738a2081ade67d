// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

// Each reads what belongs to a node behind its opening, up to and with its end, and stores it as the node's
// value. Errors are reported to the input; a node whose text has one stays without a value.

/// Up to "<", which is left to be read.
void read_text(input &in, xml_node &text);
/// Up to "-->".
void read_comment(input &in, xml_node &comment);
/// Up to "?>".
void read_instruction(input &in, xml_node &instruction);
/// Up to ">".
void read_declaration(input &in, xml_node &declaration);

/// The length of a text without the blanks and tabs at its end.
size_t trimmed_length(const char *text, size_t length);

} // namespace varnel::xml
