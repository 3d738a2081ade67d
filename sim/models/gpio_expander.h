// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "sim/models/command_port.h"

namespace varnel::sim {

/// Eight pins with pull-ups, and the registers that face them. In every byte, bit n is pin n.
struct gpio_bank {
    uint8_t output = 0xFF;
    uint8_t polarity = 0x00;
    uint8_t configuration = 0xFF; ///< 1 = input
    uint8_t mask = 0x00;          ///< 1 = cannot interrupt

    uint8_t driven = 0x00;        ///< pins that something outside pulls
    uint8_t outside_level = 0x00; ///< where it pulls them
    uint8_t seen = 0xFF;          ///< levels when the input register was last read

    /// Outside wins, even over an output.
    [[nodiscard]] uint8_t levels() const;
    /// The input register; reading it takes note of the levels.
    uint8_t read_input();
    /// Whether an unmasked input differs from what was last read.
    [[nodiscard]] bool interrupts() const;
};

enum class gpio_register { input, output, polarity, configuration, mask };

/// Where a command byte points.
struct gpio_location {
    gpio_register kind;
    std::size_t bank;
};

/// What the GPIO expanders have in common: pins, their names and levels, and registers per bank. Register
/// numbers and their order belong to the chip.
class gpio_expander : public chip, private command_port {
  public:
    [[nodiscard]] const chips::datasheet &sheet() const final { return sheet_; }
    bus_port &port(std::size_t /*index*/) final { return *this; }
    [[nodiscard]] std::vector<reading> readings() const final;
    void set(std::string_view name, std::string_view value) final;
    void power_on() final;

  protected:
    /// Pins are labelled "0", "1", ...; with several `labelled_banks`, "bank.bit".
    enum class labels { by_number, by_bank };

    gpio_expander(const chips::datasheet &sheet, std::vector<gpio_bank> banks, labels style,
                  uint8_t first_command);

  private:
    struct pin_identity {
        std::string label;
        std::string name; ///< given by the user; empty when there is none
    };

    /// Nothing for a reserved register: it reads FF, and writing it changes nothing.
    [[nodiscard]] virtual std::optional<gpio_location> locate(uint8_t command) const = 0;
    /// The command byte that the chip continues with after a data byte.
    [[nodiscard]] virtual uint8_t next(uint8_t command) const = 0;

    bool select(uint8_t command) final;
    bool store(uint8_t data) final;
    uint8_t read() final;

    [[nodiscard]] std::optional<std::size_t> find_label(std::string_view label) const;
    [[nodiscard]] std::size_t find_pin(std::string_view label_or_name) const;
    void name_pin(std::string_view setting, std::string_view label, std::string_view name);
    [[nodiscard]] std::string describe(std::size_t pin) const;
    [[nodiscard]] std::string known_settings() const;

    const chips::datasheet &sheet_;
    std::vector<gpio_bank> banks_;
    std::vector<pin_identity> pins_;
    uint8_t command_;
};

} // namespace varnel::sim
