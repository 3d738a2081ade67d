// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "chips/datasheet.h"

namespace varnel::chips {

inline constexpr datasheet pcf8574{
    .type = "pcf8574",
    .title = "GPIO expander, 8 pins, no registers",
    .source = "NXP PCF8574 datasheet, quasi-bidirectional I/Os",
};

} // namespace varnel::chips
