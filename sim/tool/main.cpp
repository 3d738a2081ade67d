// SPDX-License-Identifier: Apache-2.0
// varnel-sim: a board in software, for programs that think they run on a real one.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "sim/board/ini_file.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

namespace {

int complain(std::string_view message, int status) {
    fmt::print(stderr, "varnel-sim: {}\n", message.substr(0, message.find('\n')));
    return status;
}

/// Nothing after -- is for us, not even what looks like an option.
std::vector<std::string> split_off_program(std::vector<std::string> &arguments) {
    const auto mark = std::ranges::find(arguments, "--");
    if (mark == arguments.end()) {
        return {};
    }
    std::vector<std::string> program(mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return program;
}

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
    call.action();
    return call.status;
}

int run_command(std::vector<std::string> arguments) {
    invocation call;
    call.program = split_off_program(arguments);
    CLI::App app("Runs programs on a simulated board, and shows and changes what surrounds them.",
                 "varnel-sim");
    add_commands(app, call);
    try {
        std::ranges::reverse(arguments); // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::Success &help) {
        return app.exit(help);
    } catch (const CLI::ParseError &mistake) {
        return complain(mistake.what(), bad_input);
    }
    return carry_out(app, call);
}

} // namespace

} // namespace varnel::sim::tool

int main(int argc, char *argv[]) {
    using namespace varnel::sim::tool;
    try {
        return run_command({argv + 1, argv + argc});
    } catch (const bad_usage &mistake) {
        return complain(mistake.what(), bad_input);
    } catch (const varnel::sim::bad_description &mistake) {
        return complain(mistake.what(), bad_input);
    } catch (const std::exception &problem) {
        return complain(problem.what(), failure);
    }
}
