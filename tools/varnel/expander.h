// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/varnel/board_pins.h"
#include "tools/varnel/device_address.h"

namespace varnel::tools {

/// How the pins of a model are reached.
struct expander_model;

/// Throws bad_usage.
[[nodiscard]] const expander_model *expander_model_from(const std::string &name);
[[nodiscard]] const expander_model *default_expander_model();
[[nodiscard]] std::vector<std::string> expander_model_names();
/// The numbers of the banks: "pca9555: 0 to 1; pca9554: 0; ...".
[[nodiscard]] std::string expander_banks();
/// Of the models with interrupt masks.
[[nodiscard]] std::string maskable_banks();

/// Groups of registers, one register a bank. Direction: 1 is an input.
enum class registers { level, output, direction };

struct expander_pin {
    unsigned int bank;
    unsigned int bit;
};

/// A GPIO expander, whichever of the models it is. Single pins are changed in the register that holds them,
/// so that the other pins of the bank keep what they are set to. Throws failed when the chip does not answer.
class expander {
  public:
    expander(const device_address &chip, const expander_model &model)
        : chip_(chip), model_(model), names_(board_pin_names(chip)) {}

    [[nodiscard]] unsigned int banks() const;

    /// "11" or "1.3", the same pin; or its name (board_pins.h). Throws bad_usage for one that the model has not.
    [[nodiscard]] expander_pin pin_from(const std::string &text) const;
    /// As the model's datasheet counts: "11"; of a PCA9505 "1.3".
    [[nodiscard]] std::string name(const expander_pin &pin) const;

    [[nodiscard]] bool has_names() const { return !names_.empty(); }
    [[nodiscard]] bool has_pin_named(const std::string &text) const;
    /// Its name on the board; empty when it has none.
    [[nodiscard]] std::string given_name(const expander_pin &pin) const;

    [[nodiscard]] uint8_t read_bank(registers which, unsigned int bank) const;
    void write_bank(registers which, unsigned int bank, uint8_t value) const;

    [[nodiscard]] bool read(registers which, const expander_pin &pin) const;
    void write(registers which, const expander_pin &pin, bool value) const;

    /// These pins get `value`, all others the opposite.
    void write_all(registers which, const std::vector<expander_pin> &pins, bool value) const;

    /// Throws bad_usage on models without interrupt masks.
    void clear_interrupt_mask(unsigned int bank) const;

  private:
    [[nodiscard]] expander_pin numbered_pin(const std::string &text) const;

    device_address chip_;
    const expander_model &model_;
    std::vector<pin_name> names_;
};

} // namespace varnel::tools
