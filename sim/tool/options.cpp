// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/options.h"

#include <string>
#include <utility>

#include <fmt/format.h>

#include "host/numbers.h"

namespace varnel::sim::tool {

CLI::App *add_command(CLI::App &app, const char *name, const char *description, invocation &call,
                      std::function<void()> action) {
    CLI::App *const command = app.add_subcommand(name, description);
    command->add_option("--board", call.board, "board description; default: the board that is running")
        ->type_name("FILE");
    command->callback([&call, chosen = std::move(action)] { call.action = chosen; });
    return command;
}

CLI::Option *add_number(CLI::App &command, const char *option, std::optional<uint64_t> &number,
                        const char *description) {
    const auto take = [option, &number](const std::string &text) {
        number = whole_number<uint64_t>(text);
        if (!number) {
            throw bad_usage(fmt::format("{}: '{}' is not a whole number", option, text));
        }
    };
    return command.add_option_function<std::string>(option, take, description)->type_name("N");
}

CLI::Option *add_probability(CLI::App &command, const char *option, std::optional<double> &number,
                             const char *description) {
    const auto take = [option, &number](const std::string &text) {
        number = whole_number<double>(text);
        if (!number || !(*number >= 0 && *number <= 1)) {
            throw bad_usage(fmt::format("{}: '{}' is not a number from 0 to 1", option, text));
        }
    };
    return command.add_option_function<std::string>(option, take, description)->type_name("P");
}

} // namespace varnel::sim::tool
