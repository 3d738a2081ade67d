// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "chips/datasheet.h"

namespace varnel::tools {

/// A command code: a number in C notation, or a name of PMBus 1.2 Part II, Appendix I, in any case. Throws
/// bad_usage.
[[nodiscard]] uint8_t pmbus_command(const std::string &text);

/// The status registers of a CAR2512 that say more than STATUS_WORD.
[[nodiscard]] std::span<const chips::chip_register> status_details();

/// The bits that are set, in words, the highest first; those without a meaning by their number: "bit 3".
[[nodiscard]] std::vector<std::string> words_for(const chips::chip_register &status, unsigned int value);

} // namespace varnel::tools
