// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/commands.h"

#include <utility>

#include <CLI/CLI.hpp>

#include "sim/tool/lists.h"

namespace varnel::sim::tool {

namespace {

void add_commands(argument_parser app, invocation &call) {
    add_run(app, call);
    add_show(app, call);
    add_set(app, call);
    add_fault(app, call);
    add_trace(app, call);
}

} // namespace

int run_command(std::vector<std::string> arguments, const std::function<void(invocation &)> &carry_out) {
    invocation call;
    call.program = split_off_program(arguments);
    CLI::App app("Runs programs on a simulated board, and shows and changes what surrounds them.",
                 "varnel-sim");
    app.set_version_flag("--version", "varnel-sim " VARNEL_VERSION);
    const host::self_description self{{{success, "done"},
                                       {host::failure, "the operation failed"},
                                       {host::bad_input, "bad input: nothing was changed"}},
                                      {{"CHIP", chips}, {"CHIP.NAME", settings}}};
    app.get_formatter()->column_width(40);
    app.footer(host::text_of(self.exit_statuses));
    add_commands(argument_parser(app), call);
    if (!parse(app, std::move(arguments), self)) {
        return success;
    }
    if (!call.action) {
        throw bad_usage("missing command (one of run, show, set, fault, trace); see --help");
    }
    if (!call.program.empty() && !app.got_subcommand("run")) {
        throw bad_usage("only run takes a program after --");
    }
    carry_out(call);
    return call.status;
}

} // namespace varnel::sim::tool
