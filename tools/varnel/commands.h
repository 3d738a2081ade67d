// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/argument_parser.h"
#include "host/command_line.h"

namespace varnel::tools {

using namespace host;

/// More exit statuses (command_line.h); `lock run` passes on that of its command.
inline constexpr int not_confirmed = 3;

/// The operation failed; what() is one line that says what and where.
class failed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What the user typed, apart from the arguments of single verbs.
struct invocation {
    bool json = false;            ///< --json
    bool yes = false;             ///< --yes
    std::function<void()> action; ///< of the verb that was typed
    int status = success;         ///< to exit with when the action returns
};

/// Reads the arguments, without the command's own name, and hands what they ask for, unless it is help, to
/// `run`. Returns the status to exit with. Throws bad_usage, and what `run` throws.
[[nodiscard]] int run_command(std::vector<std::string> arguments,
                              const std::function<void(invocation &)> &run);

/// Each adds a family's verbs to the parser, which leaves in invocation::action what is to be done.
void add_smbus(argument_parser app, invocation &call);
void add_gpio(argument_parser app, invocation &call);
void add_mux(argument_parser app, invocation &call);
void add_bus(argument_parser app, invocation &call);
void add_psu(argument_parser app, invocation &call);
void add_rtc(argument_parser app, invocation &call);
void add_config(argument_parser app, invocation &call);
void add_log(argument_parser app, invocation &call);
void add_syslog(argument_parser app, invocation &call);
void add_xml(argument_parser app, invocation &call);
void add_lock(argument_parser app, invocation &call);
void add_queue(argument_parser app, invocation &call);
void add_ipmi(argument_parser app, invocation &call);
void add_send(argument_parser app, invocation &call);
void add_fetch(argument_parser app, invocation &call);
void add_controllers(argument_parser app, invocation &call);

} // namespace varnel::tools
