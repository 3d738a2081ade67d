// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace varnel::sim {

/// What a setting takes: numbers of one unit within limits.
struct quantity {
    std::string_view unit;
    double least;
    double most;
    std::string_view besides{}; ///< what else the setting takes, for its refusals
};

/// Reads "180W", "1.5 kW", "-5C" or a bare "180". The unit may carry an m (1/1000) or k (1000). Throws
/// bad_setting, which names `setting` and `value`.
[[nodiscard]] double parse_quantity(std::string_view setting, std::string_view value,
                                    const quantity &allowed);

/// Reads an integer from 0 to `most`, decimal or, after 0x, hexadecimal. Throws bad_setting.
[[nodiscard]] unsigned int parse_number(std::string_view setting, std::string_view value, unsigned int most);

/// Index of `value` among `choices`. Throws bad_setting, which lists them.
[[nodiscard]] std::size_t parse_choice(std::string_view setting, std::string_view value,
                                       std::initializer_list<std::string_view> choices);

/// The bad_setting for a value that a setting cannot take: `SETTING: cannot be 'VALUE' (expected ...)`.
[[noreturn]] void refuse_value(std::string_view setting, std::string_view value, std::string_view expected);

/// The bad_setting for a name that the chip does not have: `unknown setting 'NAME' (has: ...)`.
[[noreturn]] void refuse_name(std::string_view setting, std::string_view known);

/// Appends `item`, after `separator` when it is not the first.
void add_to_list(std::string &list, std::string_view separator, std::string_view item);

} // namespace varnel::sim
