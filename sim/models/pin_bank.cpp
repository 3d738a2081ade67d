// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pin_bank.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include <fmt/format.h>

#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

constexpr std::size_t bits = 8;
constexpr std::string_view name_prefix = "name.";

/// At least one letter, so that a name is no number of a pin.
bool can_be_name(std::string_view name) {
    const auto allowed = [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; };
    return std::ranges::all_of(name, allowed) &&
           std::ranges::any_of(name, [](unsigned char c) { return std::isalpha(c) != 0; });
}

constexpr std::string_view name_of(bool high) { return high ? "high" : "low"; }

} // namespace

std::string pin_bank::describe(const pin &each, bool is_input, bool output) {
    const std::optional<bool> outside = each.outside();
    if (is_input) {
        return fmt::format("input {} ({})", name_of(outside.value_or(true)),
                           each.set     ? "driven"
                           : each.wired ? "wired"
                                        : "pulled up");
    }
    return outside.value_or(output) == output
               ? fmt::format("output {}", name_of(output))
               : fmt::format("output {} (held {} from outside)", name_of(output), name_of(*outside));
}

pin_bank::pin_bank(std::size_t banks, labels style) {
    for (std::size_t i = 0; i < banks * bits; ++i) {
        const bool by_bank = style == labels::by_bank;
        pins_.push_back({by_bank ? fmt::format("{}.{}", i / bits, i % bits) : fmt::to_string(i), {}, {}, {}});
    }
}

uint8_t pin_bank::levels(std::size_t bank, const pin_drive &chip) const {
    unsigned int levels = chip.levels();
    for (std::size_t bit = 0; bit < bits; ++bit) {
        if (const auto outside = pins_[bank * bits + bit].outside()) {
            levels = *outside ? levels | 1U << bit : levels & ~(1U << bit);
        }
    }
    return static_cast<uint8_t>(levels);
}

std::vector<reading> pin_bank::readings(std::span<const pin_drive> chip, bool interrupt) const {
    std::vector<reading> all;
    for (std::size_t i = 0; i < pins_.size(); ++i) {
        const auto has_bit = [i](uint8_t byte) { return (byte >> i % bits & 1U) != 0; };
        const pin &each = pins_[i];
        const pin_drive &drive = chip[i / bits];
        all.push_back({each.name.empty() ? each.label : each.name,
                       describe(each, has_bit(drive.inputs), has_bit(drive.output)), true});
    }
    all.push_back({"interrupt", interrupt ? "asserted" : "idle", false});
    return all;
}

std::vector<std::string> pin_bank::names() const {
    std::vector<std::string> names;
    std::ranges::transform(pins_, std::back_inserter(names), &pin::name);
    return names;
}

void pin_bank::set(std::string_view name, std::string_view value) {
    if (name.starts_with(name_prefix)) {
        name_pin(name, name.substr(name_prefix.size()), value);
        return;
    }
    pin &driven = find_pin(name);
    switch (parse_choice(name, value, {"low", "high", "float"})) {
    case 0:
        driven.set = false;
        break;
    case 1:
        driven.set = true;
        break;
    default:
        driven.set.reset();
    }
}

std::vector<pin_bank::pin>::iterator pin_bank::labelled(std::string_view label) {
    return std::ranges::find(pins_, label, &pin::label);
}

std::optional<std::size_t> pin_bank::pin_named(std::string_view label_or_name) const {
    auto found = std::ranges::find(pins_, label_or_name, &pin::label);
    if (found == pins_.end() && !label_or_name.empty()) {
        found = std::ranges::find(pins_, label_or_name, &pin::name);
    }
    return found == pins_.end() ? std::nullopt : std::optional<std::size_t>(found - pins_.begin());
}

pin_bank::pin &pin_bank::find_pin(std::string_view label_or_name) {
    const auto found = pin_named(label_or_name);
    if (!found) {
        refuse_name(label_or_name, known_settings());
    }
    return pins_[*found];
}

void pin_bank::name_pin(std::string_view setting, std::string_view label, std::string_view name) {
    const auto renamed = labelled(label);
    if (renamed == pins_.end()) {
        refuse_name(setting, known_settings());
    }
    const auto same_name = std::ranges::find(pins_, name, &pin::name);
    const bool is_free = name != "interrupt" && (same_name == pins_.end() || same_name == renamed);
    if (!is_free || !can_be_name(name)) {
        refuse_value(setting, name, "a name of its own: letters, digits, - and _, at least one letter");
    }
    renamed->name = name;
}

std::string pin_bank::known_settings() const {
    const std::string &first = pins_.front().label;
    const std::string &last = pins_.back().label;
    std::string known = fmt::format("{0} to {1}, name.{0} to name.{1}", first, last);
    for (const pin &each : pins_) {
        known += each.name.empty() ? "" : fmt::format(", {}", each.name);
    }
    return known;
}

} // namespace varnel::sim
