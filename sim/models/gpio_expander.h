// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "sim/models/command_port.h"
#include "sim/models/pin_bank.h"

namespace varnel::sim {

/// The registers of eight pins. In every byte, bit n is pin n.
struct gpio_bank {
    uint8_t output = 0xFF;
    uint8_t polarity = 0x00;
    uint8_t configuration = 0xFF; ///< 1 = input
    uint8_t mask = 0x00;          ///< 1 = cannot interrupt

    uint8_t seen = 0xFF; ///< levels when the input register was last read

    [[nodiscard]] constexpr pin_drive drive() const { return {configuration, output}; }
};

enum class gpio_register { input, output, polarity, configuration, mask };

/// Where a command byte points.
struct gpio_location {
    gpio_register kind;
    std::size_t bank;
};

/// What the GPIO expanders with registers have in common: registers per bank. Register numbers and their order
/// belong to the chip.
class gpio_expander : public chip, private expander_pins, private pin_contacts, private command_port {
  public:
    [[nodiscard]] const chips::datasheet &sheet() const final { return sheet_; }
    bus_port &port(std::size_t /*index*/) final { return *this; }
    [[nodiscard]] const expander_pins *pins() const final { return this; }
    [[nodiscard]] pin_contacts *contacts() final { return this; }
    [[nodiscard]] std::vector<std::string_view> outputs() const final { return {"interrupt"}; }
    [[nodiscard]] bool asserts(std::size_t /*output*/) const final { return interrupts(); }
    [[nodiscard]] std::vector<reading> readings() const final;
    void set(std::string_view name, std::string_view value) final { pins_.set(name, value); }
    void power_on() final;

  protected:
    gpio_expander(const chips::datasheet &sheet, std::vector<gpio_bank> banks, pin_bank::labels style,
                  uint8_t first_command);

  private:
    /// Nothing for a reserved register: it reads FF, and writing it changes nothing.
    [[nodiscard]] virtual std::optional<gpio_location> locate(uint8_t command) const = 0;
    /// The command byte that the chip continues with after a data byte.
    [[nodiscard]] virtual uint8_t next(uint8_t command) const = 0;

    [[nodiscard]] std::vector<std::string> pin_names() const final { return pins_.names(); }
    [[nodiscard]] bool interrupts() const final;
    [[nodiscard]] std::optional<std::size_t> pin_named(std::string_view label_or_name) const final {
        return pins_.pin_named(label_or_name);
    }
    [[nodiscard]] bool is_high(std::size_t pin) const final { return (levels(pin / 8) >> pin % 8 & 1U) != 0; }
    void drive(std::size_t pin, std::optional<bool> high) final { pins_.drive(pin, high); }

    bool select(uint8_t command) final;
    bool write_data(uint8_t data) final;
    uint8_t read() final;

    [[nodiscard]] uint8_t levels(std::size_t bank) const { return pins_.levels(bank, banks_[bank].drive()); }
    [[nodiscard]] uint8_t read_register(const gpio_location &location);
    [[nodiscard]] bool bank_interrupts(std::size_t bank) const;

    const chips::datasheet &sheet_;
    const std::vector<gpio_bank> banks_at_power_on_;
    const uint8_t first_command_;
    std::vector<gpio_bank> banks_;
    pin_bank pins_;
    uint8_t command_ = 0;
};

} // namespace varnel::sim
