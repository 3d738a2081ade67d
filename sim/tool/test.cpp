// SPDX-License-Identifier: Apache-2.0
// varnel-sim test: plays scenarios.

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/line_output.h"
#include "host/standard_streams.h"
#include "sim/scenario/report.h"
#include "sim/scenario/script.h"
#include "sim/tool/options.h"
#include "sim/tool/scenario_runner.h"

namespace varnel::sim::tool {

namespace {

struct test_options {
    std::vector<std::string> files;
    std::string junit;
    bool virtual_time = false;
};

scenario::script script_in(const std::string &file) {
    std::ifstream input(file);
    if (!input) {
        throw bad_usage(fmt::format("{}: cannot be read", file));
    }
    return scenario::read_script(input, file);
}

/// All are read before the first is played: a mistake is found at once.
int test(const test_options &options) {
    if (options.virtual_time) {
        check_virtual_time(true);
    }
    std::vector<scenario::script> scripts;
    for (const std::string &file : options.files) {
        scripts.push_back(script_in(file));
    }
    std::vector<line_output> report;
    if (!options.junit.empty()) {
        report.emplace_back(options.junit);
    }
    std::vector<scenario::junit_case> cases;
    int status = success;
    for (const scenario::script &each : scripts) {
        const scenario::result result = play(each, {.is_virtual = options.virtual_time});
        print(text_of(result));
        cases.push_back(junit_case_of(result));
        status = result.failure ? failure : status;
    }
    for (line_output &file : report) {
        file.print(junit_of("varnel-sim test", cases));
    }
    return status;
}

} // namespace

void add_test(argument_parser app, invocation &call) {
    auto options = std::make_shared<test_options>();
    const argument_parser command = app.add_subcommand(
        "test", "Play scenarios, each on a board of its own; fail when one does not go as it says");
    command.add_option("scenarios", options->files, "files that say what happens and what has to follow")
        .type_name("FILE")
        .required()
        .expected(-1);
    command.add_option("--junit", options->junit, "also write a report in JUnit's XML").type_name("FILE");
    add_time(command, options->virtual_time);
    command.callback([&call, options] { call.action = [&call, options] { call.status = test(*options); }; });
}

} // namespace varnel::sim::tool
