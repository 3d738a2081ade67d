// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace varnel::sim {

enum class unit : uint8_t { volts, amperes, watts, celsius, rpm, percent };

/// The unit's name as in keys of JSON objects: "volts".
[[nodiscard]] std::string_view name_of(unit of);

/// A quantity, with as many decimals as the chip is worth.
struct measurement {
    double number;
    unit of;
    int decimals;

    bool operator==(const measurement &) const = default;
};

/// What a register holds; people read it as so many hexadecimal digits.
struct register_value {
    unsigned int bits;
    int digits;

    bool operator==(const register_value &) const = default;
};

/// Text where a reading is not a number: "input low (driven)".
using reading_value = std::variant<std::string, measurement, register_value>;

/// Something the board's user can look at, and perhaps set.
struct reading {
    std::string name; ///< as in `set CHIP.NAME`
    reading_value value;
    bool settable = false;
};

/// A value for people: "12.00 V", "0x0010", or the text itself.
[[nodiscard]] std::string text_of(const reading_value &value);

} // namespace varnel::sim
