// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/options.h"

#include <cstdlib>
#include <utility>

#include <fmt/format.h>

#include "sim/tool/board_access.h"
#include "sim/virtual_time/vdso.h"

namespace varnel::sim::tool {

argument_parser add_command(argument_parser app, const char *name, const char *description, invocation &call,
                            std::function<void()> action) {
    const argument_parser command = app.add_subcommand(name, description);
    command.add_option("--board", call.board, "board description; default: the board that is running")
        .type_name("FILE");
    command.callback([&call, chosen = std::move(action)] { call.action = chosen; });
    return command;
}

void add_time(argument_parser command, bool &is_virtual) {
    static const std::vector<std::string> times{"real", "virtual"};
    add_argument(
        command, "--time", is_virtual,
        [](const std::string &text) { return place_among(times, text, "--time") == 1; },
        "virtual: time stands still while programs work, and jumps while they wait")
        .type_name(any_of(times));
}

void check_virtual_time(bool is_new_board) {
    if (!virtual_time::is_supported()) {
        throw bad_usage("--time virtual: only on 64-bit x86");
    }
    if (is_new_board && std::getenv(socket_variable) != nullptr) {
        throw bad_usage("--time virtual: not inside another run");
    }
}

chip_member chip_member_from(const std::string &text, const char *form) {
    const std::size_t dot = text.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == text.size()) {
        throw bad_usage(fmt::format("'{}' is not {}", text, form));
    }
    return {text.substr(0, dot), text.substr(dot + 1)};
}

} // namespace varnel::sim::tool
