// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::sim {

/// What a driver of a GPIO expander gets from the board, beside the registers on the bus.
class expander_pins {
  public:
    virtual ~expander_pins() = default;

    /// The names that the board gives to the pins, in their order; empty for a pin without.
    [[nodiscard]] virtual std::vector<std::string> pin_names() const = 0;
    /// Whether the interrupt output is asserted.
    [[nodiscard]] virtual bool interrupts() const = 0;
};

} // namespace varnel::sim
