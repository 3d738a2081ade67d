// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tools {

/// A command code: a number in C notation, or a name of PMBus 1.2 Part II, Appendix I, in any case. Throws
/// bad_usage.
[[nodiscard]] uint8_t pmbus_command(const std::string &text);

/// A status register of PMBus 1.2 Part II, 17: what its bits mean, in words, from bit 0 up; reserved ones are
/// empty.
struct status_register {
    std::string_view name;
    uint8_t command;
    std::vector<std::string_view> bits;
};

extern const status_register status_word;
/// The registers that say more than STATUS_WORD.
[[nodiscard]] const std::vector<status_register> &status_details();

/// The bits that are set, the highest first; those without a meaning by their number: "bit 3".
[[nodiscard]] std::vector<std::string> words_for(const status_register &status, unsigned int value);

} // namespace varnel::tools
