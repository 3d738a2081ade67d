// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/models/reading.h"

namespace varnel::sim {

/// What a chip does with eight of its pins. In every byte, bit n is pin n.
struct pin_drive {
    uint8_t inputs; ///< 1: the chip only pulls the pin up
    uint8_t output; ///< levels of the others

    [[nodiscard]] constexpr uint8_t levels() const { return inputs | output; }
};

/// The pins of a chip as their surroundings see them: their names, and the levels driven from outside.
class pin_bank {
  public:
    /// Pins are labelled "0", "1", ...; or "bank.bit".
    enum class labels { by_number, by_bank };

    pin_bank(std::size_t banks, labels style);

    /// Levels of eight pins. A level driven from outside wins, even over an output.
    [[nodiscard]] uint8_t levels(std::size_t bank, const pin_drive &chip) const;

    /// One reading a pin, and whether the chip's interrupt output is asserted. `chip` has one item a bank.
    [[nodiscard]] std::vector<reading> readings(std::span<const pin_drive> chip, bool interrupt) const;

    /// Names given by the user, one a pin; empty where there is none.
    [[nodiscard]] std::vector<std::string> names() const;

    /// As pin_contacts has them.
    [[nodiscard]] std::optional<std::size_t> pin_named(std::string_view label_or_name) const;
    void drive(std::size_t number, std::optional<bool> high) { pins_.at(number).wired = high; }

    /// Drives a pin ("3", high, low or float) or names it ("name.3"). Throws bad_setting.
    void set(std::string_view name, std::string_view value);

  private:
    struct pin {
        std::string label;
        std::string name;          ///< given by the user; empty when there is none
        std::optional<bool> set;   ///< the level that the user drives it to: true is high
        std::optional<bool> wired; ///< the level that the board's wires drive it to

        [[nodiscard]] std::optional<bool> outside() const { return set ? set : wired; }
    };

    [[nodiscard]] static std::string describe(const pin &each, bool is_input, bool output);
    [[nodiscard]] std::vector<pin>::iterator labelled(std::string_view label);
    [[nodiscard]] pin &find_pin(std::string_view label_or_name);
    void name_pin(std::string_view setting, std::string_view label, std::string_view name);
    [[nodiscard]] std::string known_settings() const;

    std::vector<pin> pins_;
};

} // namespace varnel::sim
