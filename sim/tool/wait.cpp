// SPDX-License-Identifier: Apache-2.0
// varnel-sim wait: until a reading of the board has a value.

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include <fmt/format.h>

#include "sim/tool/board_access.h"
#include "sim/tool/options.h"
#include "sim/tool/reading_match.h"

namespace varnel::sim::tool {

namespace {

constexpr auto poll_interval = std::chrono::milliseconds(10);

struct wait_options {
    std::string name;
    std::string value;
    std::optional<std::chrono::milliseconds> timeout;
};

void wait(const invocation &call, const wait_options &options) {
    const chip_member wanted = chip_member_from(options.name, "CHIP.READING");
    board_access board = find_board(call.board);
    const auto begin = std::chrono::steady_clock::now();
    reading_value found = look_up(board, wanted.chip, wanted.name);
    while (!matches(found, options.value)) {
        if (options.timeout && std::chrono::steady_clock::now() - begin >= *options.timeout) {
            throw std::runtime_error(fmt::format("{} is '{}' after {} ms, not '{}'", options.name,
                                                 text_of(found), options.timeout->count(), options.value));
        }
        std::this_thread::sleep_for(poll_interval);
        found = look_up(board, wanted.chip, wanted.name);
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
