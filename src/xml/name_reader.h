// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

/// Reads a name into a block of its own and leaves what ends it to be read. 0, or the status that it set; the
/// name is null then.
int read_name(input &in, char *&name);

} // namespace varnel::xml
