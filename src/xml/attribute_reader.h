// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"
#include "xml/tree_memory.h"

namespace varnel::xml {

/// xml_attribute_read(), with strings from `memory`.
int read_attribute(input &in, tree_memory &memory, xml_attribute &attribute);

} // namespace varnel::xml
