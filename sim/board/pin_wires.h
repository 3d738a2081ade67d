// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/ini_file.h"
#include "sim/board/bus.h"
#include "sim/board/description.h"

namespace varnel::sim {

/// The board's wires beside the buses: between pins of expanders and what chips have beside their buses. Several
/// outputs may be wired to one pin, which is low while any of them is asserted.
class pin_wires {
  public:
    /// Takes the wires of all chips out of the settings in `description`, where both look alike: "interrupt = exp0.4",
    /// "wp = high". `chips` are those of the description, in its order, and have their settings. Throws
    /// host::bad_line.
    pin_wires(const board_description &description, const std::vector<std::unique_ptr<board_chip>> &chips);
    pin_wires() = default;

    /// Whether an entry of a chip's section is a wire, not a setting.
    [[nodiscard]] static bool is_wire(const chip &model, const host::ini_entry &entry);

    /// Passes on all levels until none changes any more, or until it is clear that wires go round in a circle.
    void settle();

    [[nodiscard]] bool empty() const { return pins_.empty() && inputs_.empty(); }
    /// The wire of a chip's input, as its board file has it: "exp0.3"; nothing when it has none.
    [[nodiscard]] std::optional<std::string> source_of(const board_chip &part, std::string_view input) const;
    /// The chips that are plugged in and unplugged with this one: those with the same presence pin, or only this one.
    [[nodiscard]] std::vector<board_chip *> module_of(board_chip &part) const;

  private:
    friend class pin_wire_builder;

    using level = std::optional<bool>; ///< true is high, nothing is what pull-ups make of it
    using pin = std::pair<const board_chip *, std::size_t>;

    struct driven_pin {
        std::vector<std::function<level()>> drivers = {};
        level now = std::nullopt;
    };
    struct driven_input {
        board_chip *part;
        std::string name;
        std::string source;
        std::function<bool()> level;
        std::optional<bool> now = std::nullopt;
    };

    static bool follow(const pin &at, driven_pin &driven);
    static bool follow(driven_input &input);

    std::map<pin, driven_pin> pins_ = {};
    std::vector<driven_input> inputs_ = {};
    std::map<pin, std::vector<board_chip *>> modules_ = {}; ///< by the pins that show their presence
};

} // namespace varnel::sim
