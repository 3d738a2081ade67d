// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/options.h"

#include <utility>

namespace varnel::sim::tool {

argument_parser add_command(argument_parser app, const char *name, const char *description, invocation &call,
                            std::function<void()> action) {
    const argument_parser command = app.add_subcommand(name, description);
    command.add_option("--board", call.board, "board description; default: the board that is running")
        .type_name("FILE");
    command.callback([&call, chosen = std::move(action)] { call.action = chosen; });
    return command;
}

} // namespace varnel::sim::tool
