// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "chips/datasheet.h"
#include "sim/models/expander_pins.h"
#include "sim/models/pin_contacts.h"
#include "sim/models/reading.h"

namespace varnel::sim {

/// The time that a board's chips live in: zero when power came on, never running backwards.
class board_clock {
  public:
    virtual ~board_clock() = default;
    [[nodiscard]] virtual std::chrono::nanoseconds now() const = 0;
    /// The time of the day, as time(2) gives it to programs on the board.
    [[nodiscard]] virtual std::time_t wall_time() const { return std::time(nullptr); }
};

enum class direction { write, read };

/// Read by a master that wants to know who asserts SMBALERT#.
inline constexpr uint8_t alert_response_address = 0x0C;

/// One connection of a chip to an I2C bus, byte by byte as the wire has it. The bus calls these only for
/// transfers that carry the chip's address.
class bus_port {
  public:
    virtual ~bus_port() = default;

    /// The 7-bit address that the board gives this connection, before its first transfer. Only packet error codes depend
    /// on it.
    virtual void set_address(uint8_t address);

    /// START or repeated START with the chip's address. Returns whether the chip acknowledges.
    virtual bool start(direction way) = 0;
    /// A byte from the master. Returns whether the chip acknowledges it.
    virtual bool write(uint8_t byte) = 0;
    /// A byte to the master.
    virtual uint8_t read() = 0;
    /// STOP: what the chip does at the end of a transfer happens here.
    virtual void stop() = 0;

    /// Whether the chip waits for a read of the alert response address, because it asserts SMBALERT# (SMBus 3.2, appendix A).
    [[nodiscard]] virtual bool alerts() const;
    /// START of that read. The chip sends its address, and its alert is over.
    virtual void start_alert_response();

    /// Whether downstream segment `segment` can be reached through this port now. Changes only at stop().
    [[nodiscard]] virtual bool connects(std::size_t segment) const;
};

/// A setting that the chip does not have, or a value it cannot take; what() is one line for the user.
class bad_setting : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A chip on the board: what it does on its buses, and what the world around it can see and change.
class chip {
  public:
    virtual ~chip() = default;

    /// The facts of its datasheet.
    [[nodiscard]] virtual const chips::datasheet &sheet() const = 0;
    /// Type name as in a board description, such as "pca9555".
    [[nodiscard]] std::string_view type() const { return sheet().type; }

    /// Bus connections: one for most chips, two for a selector of two masters.
    [[nodiscard]] virtual std::size_t ports() const { return 1; }
    virtual bus_port &port(std::size_t index) = 0;
    /// Downstream bus segments: 0 for most chips, the number of channels for a multiplexer.
    [[nodiscard]] virtual std::size_t segments() const { return 0; }

    /// The pins, for Linux's driver of the GPIO expanders that have registers; null for other chips.
    [[nodiscard]] virtual const expander_pins *pins() const { return nullptr; }
    /// The pins, for the board's wires; null for chips without.
    [[nodiscard]] virtual pin_contacts *contacts() { return nullptr; }

    /// Lines beside the buses that a board file can wire. Outputs are open-drain, and low when they are asserted.
    [[nodiscard]] virtual std::vector<std::string_view> outputs() const { return {}; }
    /// Whether an output, by its place among outputs(), is asserted.
    [[nodiscard]] virtual bool asserts(std::size_t output) const;
    /// Inputs are settings with the values "high" and "low".
    [[nodiscard]] virtual std::vector<std::string_view> inputs() const { return {}; }

    /// State in the order that a user wants to see it.
    [[nodiscard]] virtual std::vector<reading> readings() const = 0;
    /// Changes what surrounds the chip: a level on a pin, a load, a temperature. Throws bad_setting; nothing
    /// is changed then.
    virtual void set(std::string_view name, std::string_view value) = 0;

    /// Power comes on: when the board description's settings are in place, and whenever the chip is plugged in again.
    /// Registers get their power-on values; what is kept without power stays. What surrounds the chip now is
    /// what it starts with: pin levels are no changes, a supply is as warm as its surroundings.
    virtual void power_on() = 0;
};

/// Type names of the chips that make_chip() knows, in alphabetical order: "pca9555".
[[nodiscard]] std::vector<std::string_view> chip_types();

/// A chip at power-on. A type with a slash is the file of a plug-in. Throws bad_setting for an unknown type. `clock` must
/// outlive the chip.
[[nodiscard]] std::unique_ptr<chip> make_chip(std::string_view type, const board_clock &clock);

} // namespace varnel::sim
