// SPDX-License-Identifier: Apache-2.0
#include "chips/number_format.h"

#include "chips/pmbus.h"

namespace varnel::chips {

/// The words about the values say it: "LINEAR11, V".
number_format format_of(const chip_register &each) {
    for (const std::string_view name : {"LINEAR11", "LINEAR16"}) {
        const std::string_view words = each.values;
        if (words.starts_with(name) && words.substr(name.size()).starts_with(", ")) {
            return {name, words.substr(name.size() + 2)};
        }
    }
    return {each.values == "high byte first" ? "high byte first" : "", each.unit};
}

int linear16_exponent(const datasheet &sheet) {
    const chip_register *const mode = find_register(sheet, pmbus::vout_mode);
    if (mode == nullptr || mode->name != "VOUT_MODE") {
        return 0;
    }
    constexpr unsigned int mask = 0x1F; // five bits, signed
    constexpr unsigned int sign = 0x10;
    return static_cast<int>((mode->power_on.value_or(0) & mask) ^ sign) - static_cast<int>(sign);
}

} // namespace varnel::chips
