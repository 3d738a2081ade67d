// SPDX-License-Identifier: Apache-2.0
#include "chips/datasheet.h"

#include <algorithm>

#include <fmt/format.h>

namespace varnel::chips {

namespace {

uint8_t without_flags(const datasheet &sheet, uint8_t command) {
    return static_cast<uint8_t>(command & ~sheet.flags);
}

} // namespace

const chip_register *find_register(const datasheet &sheet, uint8_t command) {
    const uint8_t code = without_flags(sheet, command);
    const auto found = std::ranges::find_if(sheet.registers, [code](const chip_register &each) {
        return code >= each.code && code - each.code < static_cast<int>(each.count);
    });
    return found == sheet.registers.end() ? nullptr : &*found;
}

std::string register_name(const datasheet &sheet, uint8_t command) {
    const chip_register *const found = find_register(sheet, command);
    if (found == nullptr) {
        return "";
    }
    const uint8_t code = without_flags(sheet, command);
    switch (found->numbers) {
    case numbering::from_zero:
        return fmt::format("{} {}", found->name, code - found->code);
    case numbering::by_code:
        return fmt::format("{} 0x{:02x}", found->name, code);
    default:
        return std::string(found->name);
    }
}

} // namespace varnel::chips
