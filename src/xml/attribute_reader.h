// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/input.h"

namespace varnel::xml {

/// xml_attribute_read().
int read_attribute(input &in, xml_attribute &attribute);

} // namespace varnel::xml
