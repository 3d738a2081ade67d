// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/reading_match.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <variant>

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/suggestion.h"
#include "sim/protocol/board_json.h"

namespace varnel::sim::tool {

reading_value look_up(board_access &board, const std::string &chip_name, const std::string &reading_name) {
    const board_status state = board.request({{"command", "show"}}).get<server_status>().board;
    const auto chip = std::ranges::find(state.chips, chip_name, &chip_status::name);
    if (chip == state.chips.end()) {
        throw host::bad_usage(fmt::format("there is no chip '{}' on board '{}'{}", chip_name, state.name,
                                          host::did_you_mean(chip_name, state.chips, &chip_status::name)));
    }
    const auto found = std::ranges::find(chip->readings, reading_name, &reading::name);
    if (found == chip->readings.end()) {
        throw host::bad_usage(fmt::format("{} has no reading '{}'{}", chip_name, reading_name,
                                          host::did_you_mean(reading_name, chip->readings, &reading::name)));
    }
    return found->value;
}

namespace {

std::string without_spaces(std::string text) {
    std::erase(text, ' ');
    return text;
}

/// A quantity may be given without its unit, or with more or fewer decimals than it is shown with.
bool is(const measurement &measured, const std::string &value) {
    char *unit = nullptr;
    const double number = std::strtod(value.c_str(), &unit);
    const std::string shown = text_of(measured);
    return unit != value.c_str() && text_of(measurement{number, measured.of, measured.decimals}) == shown &&
           without_spaces(shown).ends_with(without_spaces(unit));
}

/// "input low (driven)" is low.
bool has_word(const std::string &text, const std::string &value) {
    std::istringstream words(text);
    std::string word;
    while (words >> word && word != value) {
    }
    return word == value;
}

} // namespace

bool matches(const reading_value &found, const std::string &value) {
    if (const auto *const measured = std::get_if<measurement>(&found)) {
        return is(*measured, value);
    }
    const std::string text = text_of(found);
    return text == value || has_word(text, value);
}

} // namespace varnel::sim::tool
