// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/commands.h"

#include <string>
#include <utility>
#include <vector>

#include "tools/varnel/lists.h"

namespace varnel::tools {

namespace {

void add_verbs(argument_parser app, context &context) {
    add_smbus(app, context);
    add_gpio(app, context);
    add_mux(app, context);
    add_bus(app, context);
    add_psu(app, context);
    add_rtc(app, context);
    add_config(app, context);
    add_log(app, context);
    add_syslog(app, context);
    add_xml(app, context);
    add_lock(app, context);
    add_queue(app, context);
    add_ipmi(app, context);
    add_send(app, context);
    add_fetch(app, context);
    add_controllers(app, context);
}

} // namespace

int run_command(std::vector<std::string> arguments, const std::function<void(context &)> &carry_out) {
    context asked;
    command varnel({"varnel",
                    "Calls the functions of the library from a shell. DEVICE is BUS:ADDRESS, such as 1:0x58.",
                    VARNEL_VERSION,
                    {{success, "done"},
                     {failure, "the operation failed"},
                     {bad_input, "bad usage: nothing was done"},
                     {not_confirmed, "not confirmed: nothing was written"}},
                    {{"DEVICE", devices}, {"SECTION", sections}, {"KEY", keys}}});
    add_verbs(varnel.parser(), asked);
    if (varnel.parse(std::move(arguments))) {
        carry_out(asked);
    }
    return asked.status;
}

} // namespace varnel::tools
