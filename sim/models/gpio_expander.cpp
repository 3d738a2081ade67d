// SPDX-License-Identifier: Apache-2.0
#include "sim/models/gpio_expander.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

constexpr std::size_t bits = 8;
constexpr std::string_view name_prefix = "name.";

constexpr uint8_t bit_of(std::size_t pin) { return static_cast<uint8_t>(1U << pin % bits); }
constexpr uint8_t with(uint8_t byte, uint8_t bit, bool on) {
    return static_cast<uint8_t>(on ? byte | bit : byte & ~bit);
}

bool can_be_name(std::string_view name) {
    const auto allowed = [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; };
    return std::all_of(name.begin(), name.end(), allowed) &&
           std::any_of(name.begin(), name.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
}

uint8_t read_register(gpio_bank &bank, gpio_register kind) {
    switch (kind) {
    case gpio_register::input:
        return bank.read_input();
    case gpio_register::output:
        return bank.output;
    case gpio_register::polarity:
        return bank.polarity;
    case gpio_register::configuration:
        return bank.configuration;
    case gpio_register::mask:
        break;
    }
    return bank.mask;
}

void write_register(gpio_bank &bank, gpio_register kind, uint8_t data) {
    switch (kind) {
    case gpio_register::input: // follows the pins, whatever is written
        break;
    case gpio_register::output:
        bank.output = data;
        break;
    case gpio_register::polarity:
        bank.polarity = data;
        break;
    case gpio_register::configuration:
        bank.configuration = data;
        break;
    case gpio_register::mask:
        bank.mask = data;
        break;
    }
}

} // namespace

uint8_t gpio_bank::levels() const {
    const unsigned int inside = configuration | output; // an input is pulled up
    return static_cast<uint8_t>((driven & outside_level) | (~driven & inside));
}

uint8_t gpio_bank::read_input() {
    seen = levels();
    return seen ^ polarity;
}

bool gpio_bank::interrupts() const { return ((levels() ^ seen) & configuration & ~mask) != 0; }

gpio_expander::gpio_expander(const chips::datasheet &sheet, std::vector<gpio_bank> banks, labels style,
                             uint8_t first_command)
    : sheet_(sheet), banks_(std::move(banks)), command_(first_command) {
    for (std::size_t i = 0; i < banks_.size() * bits; ++i) {
        const std::string bank = style == labels::by_bank ? std::to_string(i / bits) + "." : "";
        pins_.push_back({bank + std::to_string(style == labels::by_bank ? i % bits : i), ""});
    }
    gpio_expander::power_on();
}

void gpio_expander::power_on() {
    for (gpio_bank &bank : banks_) {
        bank.seen = bank.levels();
    }
}

bool gpio_expander::select(uint8_t command) {
    command_ = command;
    return true;
}

bool gpio_expander::store(uint8_t data) {
    if (const auto location = locate(command_)) {
        write_register(banks_[location->bank], location->kind, data);
    }
    command_ = next(command_);
    return true;
}

uint8_t gpio_expander::read() {
    const auto location = locate(command_);
    command_ = next(command_);
    return location ? read_register(banks_[location->bank], location->kind) : 0xFF;
}

std::string gpio_expander::describe(std::size_t pin) const {
    const gpio_bank &bank = banks_[pin / bits];
    const uint8_t bit = bit_of(pin);
    const auto level = [bit](uint8_t byte) { return (byte & bit) != 0 ? "high" : "low"; };
    const bool driven = (bank.driven & bit) != 0;
    if ((bank.configuration & bit) != 0) {
        return std::string("input ") + level(bank.levels()) + (driven ? " (driven)" : " (pulled up)");
    }
    const bool overruled = ((bank.levels() ^ bank.output) & bit) != 0;
    return std::string("output ") + level(bank.output) +
           (overruled ? std::string(" (held ") + level(bank.levels()) + " from outside)" : "");
}

std::vector<reading> gpio_expander::readings() const {
    std::vector<reading> all;
    for (std::size_t i = 0; i < pins_.size(); ++i) {
        all.push_back({pins_[i].name.empty() ? pins_[i].label : pins_[i].name, describe(i), true});
    }
    const bool asserted =
        std::any_of(banks_.begin(), banks_.end(), [](const gpio_bank &bank) { return bank.interrupts(); });
    all.push_back({"interrupt", asserted ? "asserted" : "idle", false});
    return all;
}

void gpio_expander::set(std::string_view name, std::string_view value) {
    if (name.starts_with(name_prefix)) {
        name_pin(name, name.substr(name_prefix.size()), value);
        return;
    }
    const std::size_t pin = find_pin(name);
    const std::size_t choice = parse_choice(name, value, {"low", "high", "float"});
    gpio_bank &bank = banks_[pin / bits];
    bank.driven = with(bank.driven, bit_of(pin), choice < 2);
    bank.outside_level = with(bank.outside_level, bit_of(pin), choice == 1);
}

std::optional<std::size_t> gpio_expander::find_label(std::string_view label) const {
    const auto found = std::find_if(pins_.begin(), pins_.end(),
                                    [label](const pin_identity &each) { return each.label == label; });
    return found == pins_.end() ? std::nullopt
                                : std::optional(static_cast<std::size_t>(found - pins_.begin()));
}

std::size_t gpio_expander::find_pin(std::string_view label_or_name) const {
    if (const auto labelled = find_label(label_or_name)) {
        return *labelled;
    }
    const auto named = std::find_if(pins_.begin(), pins_.end(), [label_or_name](const pin_identity &each) {
        return !each.name.empty() && each.name == label_or_name;
    });
    if (named == pins_.end()) {
        refuse_name(label_or_name, known_settings());
    }
    return static_cast<std::size_t>(named - pins_.begin());
}

void gpio_expander::name_pin(std::string_view setting, std::string_view label, std::string_view name) {
    const auto pin_index = find_label(label);
    if (!pin_index) {
        refuse_name(setting, known_settings());
    }
    const bool taken =
        name == "interrupt" || std::any_of(pins_.begin(), pins_.end(), [&](const pin_identity &each) {
            return each.name == name && each.label != label;
        });
    if (taken || !can_be_name(name)) {
        refuse_value(setting, name, "a name of its own: letters, digits, - and _, at least one letter");
    }
    pins_[*pin_index].name = name;
}

std::string gpio_expander::known_settings() const {
    const std::string first = pins_.front().label;
    const std::string last = pins_.back().label;
    std::string known = first + " to " + last + ", name." + first + " to name." + last;
    for (const pin_identity &each : pins_) {
        known += each.name.empty() ? "" : ", " + each.name;
    }
    return known;
}

} // namespace varnel::sim
