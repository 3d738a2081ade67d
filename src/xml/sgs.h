// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "varnel/xml_sgs.h"

namespace varnel::xml {

/// Appends bytes with the growth that appending them one by one has. 0, or 2 after the byte that failed.
int append_one_by_one(xml_sgs &string, const char *bytes, std::size_t length);

} // namespace varnel::xml
