// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/commands.h"

#include <set>
#include <string>
#include <utility>

#include "sim/tool/lists.h"

namespace varnel::sim::tool {

namespace {

void add_commands(argument_parser app, invocation &call) {
    add_run(app, call);
    add_show(app, call);
    add_set(app, call);
    add_plug(app, call);
    add_unplug(app, call);
    add_fault(app, call);
    add_trace(app, call);
    add_record(app, call);
    add_compare(app, call);
    add_wait(app, call);
    add_test(app, call);
    add_campaign(app, call);
    add_web(app, call);
}

} // namespace

int run_command(std::vector<std::string> arguments, const std::function<void(invocation &)> &run) {
    invocation call;
    call.program = split_off_program(arguments);
    command varnel_sim({"varnel-sim",
                        "Runs programs on a simulated board, and shows and changes what surrounds them.",
                        VARNEL_VERSION,
                        {{success, "done"},
                         {failure, "the operation failed"},
                         {bad_input, "bad input: nothing was changed"}},
                        {{"CHIP", chips}, {"CHIP.NAME", settings}, {"CHIP.READING", readings}}},
                       40);
    add_commands(varnel_sim.parser(), call);
    if (!varnel_sim.parse(std::move(arguments))) {
        return success;
    }
    static const std::set<std::string> verbs_with_program{"run", "record", "campaign"};
    if (!call.program.empty() && !verbs_with_program.contains(varnel_sim.typed_verb())) {
        throw bad_usage("only run, record and campaign take a program after --");
    }
    run(call);
    return call.status;
}

} // namespace varnel::sim::tool
