// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/commands.h"

#include <string>
#include <utility>
#include <vector>

#include "tools/varnel/lists.h"

namespace varnel::tools {

namespace {

void add_verbs(argument_parser app, invocation &call) {
    add_smbus(app, call);
    add_gpio(app, call);
    add_mux(app, call);
    add_bus(app, call);
    add_psu(app, call);
    add_rtc(app, call);
    add_config(app, call);
    add_log(app, call);
    add_syslog(app, call);
    add_xml(app, call);
    add_lock(app, call);
    add_queue(app, call);
    add_ipmi(app, call);
    add_send(app, call);
    add_fetch(app, call);
    add_controllers(app, call);
}

} // namespace

int run_command(std::vector<std::string> arguments, const std::function<void(invocation &)> &run) {
    invocation call;
    command varnel({"varnel",
                    "Calls the functions of the library from a shell. DEVICE is BUS:ADDRESS, such as 1:0x58.",
                    VARNEL_VERSION,
                    {{success, "done"},
                     {failure, "the operation failed"},
                     {bad_input, "bad usage: nothing was done"},
                     {not_confirmed, "not confirmed: nothing was written"}},
                    {{"DEVICE", devices}, {"SECTION", sections}, {"KEY", keys}}});
    add_verbs(varnel.parser(), call);
    if (varnel.parse(std::move(arguments))) {
        run(call);
    }
    return call.status;
}

} // namespace varnel::tools
