// SPDX-License-Identifier: Apache-2.0
#include "sim/board/pin_wires.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace varnel::sim {

namespace {

std::optional<std::size_t> place_of(std::string_view name, const std::vector<std::string_view> &names) {
    const auto found = std::ranges::find(names, name);
    return found == names.end() ? std::nullopt : std::optional<std::size_t>(found - names.begin());
}

/// Nobody drives the pins of an expander that is not there, so that pull-ups make them high.
bool is_high(const board_chip &expander, std::size_t pin) {
    return !expander.plugged || expander.model->contacts()->is_high(pin);
}

bool asserts(const board_chip &part, std::size_t output) {
    return part.plugged && part.model->asserts(output);
}

} // namespace

/// Adds the wires of one chip after the other.
class pin_wire_builder {
  public:
    pin_wire_builder(pin_wires &wires, const board_description &description,
                     const std::vector<std::unique_ptr<board_chip>> &chips)
        : wires_(wires), description_(description), chips_(chips) {}

    void add(const chip_description &description, board_chip &part) {
        if (description.presence) {
            add_presence(*description.presence, part);
        }
        for (const host::ini_entry &entry : description.settings) {
            if (const auto output = place_of(entry.key, part.model->outputs())) {
                add_output(entry, part, *output);
            } else if (pin_wires::is_wire(*part.model, entry)) {
                add_input(entry, part);
            }
        }
    }

  private:
    using pin = pin_wires::pin;
    using level = pin_wires::level;

    [[noreturn]] void fail(const host::ini_entry &entry, const std::string &message) const {
        throw host::bad_line(description_.file, entry.line,
                             fmt::format("{} '{}': {}", entry.key, entry.value, message));
    }

    /// While the chip is there, the pin has the level that the entry gives: low, when it gives none.
    void add_presence(const host::ini_entry &entry, board_chip &part) {
        const std::size_t end = entry.value.find(' ');
        const std::string_view level_there =
            end == std::string::npos ? "low" : std::string_view(entry.value).substr(end + 1);
        if (level_there != "low" && level_there != "high") {
            fail(entry, "the level while the chip is there is low or high");
        }
        const bool high = level_there == "high";
        const pin at = pin_of(entry, entry.value.substr(0, end), part);
        wires_.modules_[at].push_back(&part);
        wires_.pins_[at].drivers.emplace_back([&part, high]() -> level {
            return part.plugged ? level(high) : high ? level(false) : std::nullopt;
        });
    }

    void add_output(const host::ini_entry &entry, board_chip &part, std::size_t output) {
        wires_.pins_[pin_of(entry, entry.value, part)].drivers.emplace_back(
            [&part, output]() -> level { return asserts(part, output) ? level(false) : std::nullopt; });
    }

    void add_input(const host::ini_entry &entry, board_chip &part) {
        wires_.inputs_.push_back({&part, entry.key, entry.value, level_of(entry, part)});
    }

    /// Of a pin, or of an output of another chip.
    std::function<bool()> level_of(const host::ini_entry &entry, const board_chip &part) const {
        const auto [chip, line] = split(entry, entry.value, part);
        if (const auto output = place_of(line, chip->model->outputs())) {
            return [source = chip, output] { return !asserts(*source, *output); };
        }
        return [at = pin_of(entry, entry.value, part)] { return is_high(*at.first, at.second); };
    }

    [[nodiscard]] pin pin_of(const host::ini_entry &entry, std::string_view text,
                             const board_chip &part) const {
        const auto [expander, name] = split(entry, text, part);
        pin_contacts *const contacts = expander->model->contacts();
        if (contacts == nullptr) {
            fail(entry, fmt::format("'{}', a {}, has no pins", expander->name, expander->model->type()));
        }
        const auto number = contacts->pin_named(name);
        if (!number) {
            fail(entry, fmt::format("'{}' has no pin '{}'", expander->name, name));
        }
        return {expander, *number};
    }

    /// "exp0.3" is the chip and "3".
    [[nodiscard]] std::pair<const board_chip *, std::string_view>
    split(const host::ini_entry &entry, std::string_view text, const board_chip &part) const {
        const std::size_t dot = text.find('.');
        if (dot == std::string_view::npos) {
            fail(entry, "not CHIP.PIN");
        }
        const std::string_view name = text.substr(0, dot);
        const auto found = std::ranges::find(chips_, name, [](const auto &chip) { return chip->name; });
        if (found == chips_.end()) {
            fail(entry, fmt::format("there is no chip '{}'", name));
        }
        if (found->get() == &part) {
            fail(entry, "a chip cannot be wired to itself");
        }
        return {found->get(), text.substr(dot + 1)};
    }

    pin_wires &wires_;
    const board_description &description_;
    const std::vector<std::unique_ptr<board_chip>> &chips_;
};

pin_wires::pin_wires(const board_description &description,
                     const std::vector<std::unique_ptr<board_chip>> &chips) {
    pin_wire_builder builder(*this, description, chips);
    for (std::size_t i = 0; i < chips.size(); ++i) {
        builder.add(description.chips[i], *chips[i]);
    }
}

bool pin_wires::is_wire(const chip &model, const host::ini_entry &entry) {
    return place_of(entry.key, model.outputs()) ||
           (place_of(entry.key, model.inputs()) && entry.value.find('.') != std::string::npos);
}

void pin_wires::settle() {
    bool moves = !empty();
    for (std::size_t round = 0; moves && round <= pins_.size() + inputs_.size(); ++round) {
        moves = false;
        for (auto &[at, driven] : pins_) {
            moves = follow(at, driven) || moves;
        }
        for (driven_input &input : inputs_) {
            moves = follow(input) || moves;
        }
    }
}

/// Low wins. Returns whether the level has changed.
bool pin_wires::follow(const pin &at, driven_pin &driven) {
    level wanted = std::nullopt;
    for (const auto &driver : driven.drivers) {
        if (const level one = driver()) {
            wanted = *one && wanted.value_or(true);
        }
    }
    if (wanted == driven.now) {
        return false;
    }
    driven.now = wanted;
    at.first->model->contacts()->drive(at.second, wanted);
    return true;
}

bool pin_wires::follow(driven_input &input) {
    const bool high = input.level();
    if (input.now == high) {
        return false;
    }
    input.now = high;
    input.part->model->set(input.name, high ? "high" : "low");
    return true;
}

std::optional<std::string> pin_wires::source_of(const board_chip &part, std::string_view input) const {
    const auto found = std::ranges::find_if(
        inputs_, [&](const driven_input &each) { return each.part == &part && each.name == input; });
    return found == inputs_.end() ? std::nullopt : std::optional(found->source);
}

std::vector<board_chip *> pin_wires::module_of(board_chip &part) const {
    for (const auto &[at, chips] : modules_) {
        if (std::ranges::find(chips, &part) != chips.end()) {
            return chips;
        }
    }
    return {&part};
}

} // namespace varnel::sim
