// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/options.h"

#include <utility>

#include <fmt/format.h>

namespace varnel::sim::tool {

argument_parser add_command(argument_parser app, const char *name, const char *description, invocation &call,
                            std::function<void()> action) {
    const argument_parser command = app.add_subcommand(name, description);
    command.add_option("--board", call.board, "board description; default: the board that is running")
        .type_name("FILE");
    command.callback([&call, chosen = std::move(action)] { call.action = chosen; });
    return command;
}

chip_member chip_member_from(const std::string &text, const char *form) {
    const std::size_t dot = text.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == text.size()) {
        throw bad_usage(fmt::format("'{}' is not {}", text, form));
    }
    return {text.substr(0, dot), text.substr(dot + 1)};
}

} // namespace varnel::sim::tool
