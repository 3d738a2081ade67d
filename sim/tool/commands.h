// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/argument_parser.h"
#include "host/command_line.h"

namespace varnel::sim::tool {

using namespace host;

/// What the user typed, apart from options of single commands.
struct invocation {
    std::string board;                ///< --board, or empty
    std::vector<std::string> program; ///< what follows --
    std::function<void()> action;     ///< of the command that was typed
    int status = success;             ///< to exit with
};

/// Reads the arguments, without the command's own name, and hands what they ask for, unless it is help, to
/// `run`. Returns the status to exit with. Throws bad_usage, and what `run` throws.
[[nodiscard]] int run_command(std::vector<std::string> arguments,
                              const std::function<void(invocation &)> &run);

/// Each adds its command to the parser, which leaves in invocation::action what is to be done.
void add_run(argument_parser app, invocation &call);
void add_show(argument_parser app, invocation &call);
void add_set(argument_parser app, invocation &call);
void add_plug(argument_parser app, invocation &call);
void add_unplug(argument_parser app, invocation &call);
void add_fault(argument_parser app, invocation &call);
void add_campaign(argument_parser app, invocation &call);
void add_test(argument_parser app, invocation &call);
void add_trace(argument_parser app, invocation &call);
void add_record(argument_parser app, invocation &call);
void add_compare(argument_parser app, invocation &call);
void add_wait(argument_parser app, invocation &call);
void add_web(argument_parser app, invocation &call);

} // namespace varnel::sim::tool
