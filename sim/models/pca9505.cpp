// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pca9505.h"

#include "sim/models/gpio_expander.h"

namespace varnel::sim {

namespace {

constexpr std::size_t banks = 5;
constexpr unsigned int register_kinds = 5;
constexpr unsigned int auto_increment = 0x80;
constexpr unsigned int must_be_zero = 0x40;

constexpr gpio_bank at_power_on{.output = 0x00, .mask = 0xFF};

/// Command byte: auto-increment flag, a zero, three bits of register kind, three bits of bank.
class pca9505 : public gpio_expander {
  public:
    pca9505()
        : gpio_expander(chips::pca9505, std::vector(banks, at_power_on), pin_bank::labels::by_bank,
                        auto_increment) {}

  private:
    [[nodiscard]] std::optional<gpio_location> locate(uint8_t command) const override {
        const unsigned int kind = command >> 3U & 7U;
        const unsigned int bank = command & 7U;
        if ((command & must_be_zero) != 0 || kind >= register_kinds || bank >= banks) {
            return std::nullopt;
        }
        return gpio_location{static_cast<gpio_register>(kind), bank};
    }

    /// With auto-increment: the next bank of the same kind, the first one after the last.
    [[nodiscard]] uint8_t next(uint8_t command) const override {
        const auto location = locate(command);
        if ((command & auto_increment) == 0 || !location) {
            return command;
        }
        return static_cast<uint8_t>(command - location->bank + (location->bank + 1) % banks);
    }
};

} // namespace

std::unique_ptr<chip> make_pca9505(const board_clock & /*clock*/) { return std::make_unique<pca9505>(); }

} // namespace varnel::sim
