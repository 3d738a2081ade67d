// SPDX-License-Identifier: Apache-2.0
#include "sim/models/settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "host/numbers.h"
#include "sim/models/chip.h"

namespace varnel::sim {

namespace {

std::string quoted(std::string_view text) { return '\'' + std::string(text) + '\''; }

std::string_view without_leading_spaces(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

/// 1 for "W", 1000 for "kW", 0.001 for "mW" and, for bare numbers, 1 for nothing at all.
std::optional<double> factor_of(std::string_view suffix, std::string_view unit) {
    if (suffix.empty() || suffix == unit) {
        return 1;
    }
    if (suffix.substr(1) != unit) {
        return std::nullopt;
    }
    switch (suffix.front()) {
    case 'k':
        return 1e3;
    case 'm':
        return 1e-3;
    default:
        return std::nullopt;
    }
}

std::string compact(double number) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

} // namespace

double parse_quantity(std::string_view setting, std::string_view value, const quantity &allowed) {
    const char *const end = value.data() + value.size();
    double number = 0;
    const auto [rest, error] = std::from_chars(value.data(), end, number);
    const auto suffix = without_leading_spaces(value.substr(static_cast<std::size_t>(rest - value.data())));
    const auto factor = factor_of(suffix, allowed.unit);
    const double result = number * factor.value_or(0);
    if (error != std::errc{} || !factor || !(result >= allowed.least && result <= allowed.most)) {
        refuse_value(setting, value,
                     std::string(allowed.besides) + compact(allowed.least) + " to " + compact(allowed.most) +
                         std::string(allowed.unit));
    }
    return result;
}

unsigned int parse_number(std::string_view setting, std::string_view value, unsigned int most) {
    const auto number = host::whole_number<unsigned int>(value);
    if (!number || *number > most) {
        refuse_value(setting, value, "0 to " + std::to_string(most));
    }
    return *number;
}

std::size_t parse_choice(std::string_view setting, std::string_view value,
                         std::initializer_list<std::string_view> choices) {
    const auto *const found = std::find(choices.begin(), choices.end(), value);
    if (found == choices.end()) {
        std::string list;
        for (const std::string_view choice : choices) {
            add_to_list(list, " or ", choice);
        }
        refuse_value(setting, value, list);
    }
    return static_cast<std::size_t>(found - choices.begin());
}

void refuse_value(std::string_view setting, std::string_view value, std::string_view expected) {
    throw bad_setting(std::string(setting) + ": cannot be " + quoted(value) + " (expected " +
                      std::string(expected) + ")");
}

void refuse_name(std::string_view setting, std::string_view known) {
    throw bad_setting("unknown setting " + quoted(setting) + " (has: " + std::string(known) + ")");
}

void add_to_list(std::string &list, std::string_view separator, std::string_view item) {
    list += list.empty() ? std::string_view() : separator;
    list += item;
}

} // namespace varnel::sim
