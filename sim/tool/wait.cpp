// SPDX-License-Identifier: Apache-2.0
// varnel-sim wait: until a reading of the board has a value.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <variant>

#include <fmt/format.h>

#include "sim/protocol/board_json.h"
#include "sim/tool/board_access.h"
#include "sim/tool/options.h"

namespace varnel::sim::tool {

namespace {

constexpr auto poll_interval = std::chrono::milliseconds(10);

struct wait_options {
    std::string name;
    std::string value;
    std::optional<std::chrono::milliseconds> timeout;
};

reading_value look_up(board_access &board, const chip_member &wanted) {
    const board_status state = board.request({{"command", "show"}}).get<server_status>().board;
    const auto chip = std::ranges::find(state.chips, wanted.chip, &chip_status::name);
    if (chip == state.chips.end()) {
        throw bad_usage(fmt::format("there is no chip '{}' on board '{}'", wanted.chip, state.name));
    }
    const auto found = std::ranges::find(chip->readings, wanted.name, &reading::name);
    if (found == chip->readings.end()) {
        throw bad_usage(fmt::format("{} has no reading '{}'", wanted.chip, wanted.name));
    }
    return found->value;
}

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

bool is(const reading_value &found, const std::string &value) {
    if (const auto *const measured = std::get_if<measurement>(&found)) {
        return is(*measured, value);
    }
    const std::string text = text_of(found);
    return text == value || has_word(text, value);
}

void wait(const invocation &call, const wait_options &options) {
    const chip_member wanted = chip_member_from(options.name, "CHIP.READING");
    board_access board = find_board(call.board);
    const auto begin = std::chrono::steady_clock::now();
    reading_value found = look_up(board, wanted);
    while (!is(found, options.value)) {
        if (options.timeout && std::chrono::steady_clock::now() - begin >= *options.timeout) {
            throw std::runtime_error(fmt::format("{} is '{}' after {} ms, not '{}'", options.name,
                                                 text_of(found), options.timeout->count(), options.value));
        }
        std::this_thread::sleep_for(poll_interval);
        found = look_up(board, wanted);
    }
}

} // namespace

void add_wait(argument_parser app, invocation &call) {
    auto options = std::make_shared<wait_options>();
    const argument_parser command = add_command(app, "wait", "Wait until a reading has a value", call,
                                                [&call, options] { wait(call, *options); });
    command.add_option("CHIP.READING", options->name, "what show prints").required();
    command.add_option("VALUE", options->value, "its value as show prints it, or one word of it").required();
    add_duration(command, "--timeout", options->timeout, "fail after this time; default: wait without limit");
}

} // namespace varnel::sim::tool
