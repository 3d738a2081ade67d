// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pca9555.h"

#include "sim/models/gpio_expander.h"

namespace varnel::sim {

namespace {

constexpr gpio_bank at_power_on{}; // outputs FF, polarity 00, configuration FF; no mask register

class pca9555 : public gpio_expander {
  public:
    pca9555() : gpio_expander(chips::pca9555, {at_power_on, at_power_on}, pin_bank::labels::by_number, 0) {}

  private:
    static constexpr unsigned int registers = 8;

    [[nodiscard]] std::optional<gpio_location> locate(uint8_t command) const override {
        if (command >= registers) {
            return std::nullopt;
        }
        return gpio_location{static_cast<gpio_register>(command / 2), command % 2U};
    }

    /// Data bytes alternate between the two registers of a pair.
    [[nodiscard]] uint8_t next(uint8_t command) const override { return command ^ 1U; }
};

class pca9554 : public gpio_expander {
  public:
    pca9554() : gpio_expander(chips::pca9554, {at_power_on}, pin_bank::labels::by_number, 0) {}

  private:
    static constexpr unsigned int registers = 4;

    [[nodiscard]] std::optional<gpio_location> locate(uint8_t command) const override {
        if (command >= registers) {
            return std::nullopt;
        }
        return gpio_location{static_cast<gpio_register>(command), 0};
    }

    /// The register stays selected.
    [[nodiscard]] uint8_t next(uint8_t command) const override { return command; }
};

} // namespace

std::unique_ptr<chip> make_pca9555(const board_clock & /*clock*/) { return std::make_unique<pca9555>(); }
std::unique_ptr<chip> make_pca9554(const board_clock & /*clock*/) { return std::make_unique<pca9554>(); }

} // namespace varnel::sim
