// SPDX-License-Identifier: Apache-2.0
// varnel-sim: a board in software, for programs that think they run on a real one.

#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "sim/board/ini_file.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

namespace {

void add_commands(CLI::App &app, invocation &call) {
    app.get_formatter()->column_width(40);
    add_run(app, call);
    add_show(app, call);
    add_set(app, call);
    add_fault(app, call);
    add_trace(app, call);
}

int carry_out(const CLI::App &app, invocation &call) {
    if (!call.action) {
        throw bad_usage("which command? run, show, set, fault or trace; --help tells more");
    }
    if (!call.program.empty() && !app.got_subcommand("run")) {
        throw bad_usage("only run takes a program after --");
    }
    try {
        call.action();
    } catch (const bad_description &mistake) {
        throw bad_usage(mistake.what());
    }
    return call.status;
}

int run_command(std::vector<std::string> arguments) {
    invocation call;
    call.program = tools::split_off_program(arguments);
    CLI::App app("Runs programs on a simulated board, and shows and changes what surrounds them.",
                 "varnel-sim");
    app.set_version_flag("--version", "varnel-sim " VARNEL_VERSION);
    add_commands(app, call);
    return tools::parse(app, std::move(arguments)) ? carry_out(app, call) : tools::success;
}

} // namespace

} // namespace varnel::sim::tool

int main(int argc, char *argv[]) {
    return varnel::tools::run_guarded("varnel-sim", [&] {
        return varnel::sim::tool::run_command({argv + 1, argv + argc});
    });
}
