// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace varnel::sim {

/// The pins of an expander where the board's wires end. They are numbered from 0 in the order of the readings.
class pin_contacts {
  public:
    virtual ~pin_contacts() = default;

    /// The pin with this label or name; nothing when there is none.
    [[nodiscard]] virtual std::optional<std::size_t> pin_named(std::string_view label_or_name) const = 0;
    [[nodiscard]] virtual bool is_high(std::size_t pin) const = 0;
    /// What the wires do to a pin: drive it high (true) or low, or nothing. A level that a user has set wins.
    virtual void drive(std::size_t pin, std::optional<bool> high) = 0;
};

} // namespace varnel::sim
