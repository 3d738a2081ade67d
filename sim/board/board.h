// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sim/board/bus.h"
#include "sim/board/description.h"
#include "sim/board/pin_wires.h"
#include "sim/board/status.h"

namespace varnel::sim {

/// A request that names something the board does not have, or a value that a chip cannot take; what() is one
/// line for the user. Nothing has changed.
class bad_request : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A GPIO expander that programs find as /dev/gpiochipN.
struct gpiochip_place {
    uint8_t bus;
    uint8_t address;
    const board_chip *part;
};

using chip_factory = std::function<std::unique_ptr<chip>(std::string_view type, const board_clock &clock)>;

/// A powered board: chips, wires and faults. What wires carry follows after each transfer and change.
class board {
  public:
    /// Builds the board at power-on. Throws host::bad_line, with the line, for an unknown type, wrong wiring
    /// or a setting that a chip refuses. `clock` must outlive the board.
    board(board_description description, const board_clock &clock, chip_factory factory = make_chip);

    [[nodiscard]] const std::string &name() const { return description_.name; }

    /// The I2C adapters, in order.
    [[nodiscard]] std::vector<uint8_t> buses() const;

    /// In the order of their numbers: by bus, on a bus as in the description. They live as long as the board.
    [[nodiscard]] std::vector<gpiochip_place> gpiochips() const;

    transfer_outcome transfer(const transfer_request &request) {
        return transfer(std::span(&request, 1)).front();
    }
    /// Several, with one STOP at the end, up to the first that fails.
    std::vector<transfer_outcome> transfer(std::span<const transfer_request> requests);

    /// A transfer of an adapter that goes on until it is destroyed; null when there is no such adapter. The caller
    /// settles the wires after it.
    [[nodiscard]] std::unique_ptr<transaction> begin(uint8_t adapter);

    /// How long a transfer took, with the clock of its bus; 0 where the description gives none.
    [[nodiscard]] std::chrono::nanoseconds duration(const transfer_request &request,
                                                    const transfer_outcome &outcome) const;
    /// Whether transfers on any bus take time.
    [[nodiscard]] bool has_clocks() const { return !kilohertz_.empty(); }

    /// Lets wires carry what has changed by itself, with time.
    void settle() { pin_wires_.settle(); }
    [[nodiscard]] bool has_pin_wires() const { return !pin_wires_.empty(); }

    /// Changes what surrounds chips: all or, with bad_request, nothing.
    void set(const std::vector<assignment> &assignments);

    /// Plugs in or unplugs chips and what else is on their modules. One that was unplugged starts as at power-on.
    void plug(const std::vector<std::string> &chips, bool plugged);

    /// Gives a chip a fault, in place of one of the same kind. Throws bad_request for a chip that cannot have it, and for
    /// a parameter that the kind lacks or does not have.
    void inject(std::string_view chip, fault_kind kind, const fault &fault);
    void clear_faults(std::string_view chip);

    [[nodiscard]] board_status status() const;

  private:
    board_chip &find(std::string_view chip);
    void apply_settings(chip &model, const chip_description &description) const;
    void check_gpiochip(const chip_description &description, const chip &model) const;
    void set_clocks();
    void power_on(const std::vector<board_chip *> &parts);
    void refuse_if_wired(const assignment &change);
    void try_out(const board_chip &part, const std::vector<assignment> &assignments) const;

    board_description description_;
    const board_clock &clock_;
    chip_factory factory_;
    std::vector<std::unique_ptr<board_chip>> chips_ = {}; ///< one for each in the description
    wiring wiring_ = {};
    pin_wires pin_wires_ = {};
    std::map<uint8_t, double> kilohertz_ = {}; ///< of adapters that have a clock
};

} // namespace varnel::sim
