// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/pmbus.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include <fmt/format.h>

#include "chips/car2512.h"
#include "host/command_line.h"
#include "host/numbers.h"

namespace varnel::tools {

namespace {

bool is_number(const std::string &text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
}

} // namespace

uint8_t pmbus_command(const std::string &text) {
    if (is_number(text)) {
        return static_cast<uint8_t>(host::c_number(text, UINT8_MAX, "REGISTER"));
    }
    std::string name = text;
    std::ranges::transform(name, name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto *const found = std::ranges::find(chips::pmbus_commands, name, &chips::chip_register::name);
    if (found == chips::pmbus_commands.end()) {
        throw host::bad_usage(
            fmt::format("REGISTER: '{}' is neither a number from 0 to 255 (0xff) nor a PMBus command such "
                        "as STATUS_WORD",
                        text));
    }
    return found->code;
}

std::span<const chips::chip_register> status_details() {
    const auto place = [](uint8_t code) {
        return std::ranges::find(chips::car2512_registers, code, &chips::chip_register::code);
    };
    return {place(chips::pmbus::status_vout), std::next(place(chips::pmbus::status_fans_1_2))};
}

std::vector<std::string> words_for(const chips::chip_register &status, unsigned int value) {
    std::vector<std::string> words;
    for (unsigned int bit = 16; bit-- > 0;) {
        if ((value >> bit & 1U) != 0) {
            const bool known = bit < status.bits.size() && !status.bits[bit].empty();
            words.push_back(known ? std::string(status.bits[bit]) : fmt::format("bit {}", bit));
        }
    }
    return words;
}

} // namespace varnel::tools
