// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "chips/datasheet.h"

namespace varnel::chips {

/// How a register holds a number.
struct number_format {
    std::string_view name; ///< "LINEAR11", "LINEAR16", "high byte first", or empty
    std::string_view unit; ///< empty where the number is none of something
};
[[nodiscard]] number_format format_of(const chip_register &each);

/// The exponent of LINEAR16 numbers, where VOUT_MODE is the same always; 0 otherwise.
[[nodiscard]] int linear16_exponent(const datasheet &sheet);

} // namespace varnel::chips
