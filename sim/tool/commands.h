// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace varnel::sim::tool {

/// Exit statuses of the command itself; `run` passes on those of the program.
enum exit_status : int { success = 0, failure = 1, bad_input = 2 };

/// The user asked for something that does not exist; what() is one line. Nothing has changed.
class bad_usage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What the user typed, apart from options of single commands.
struct invocation {
    std::string board;                ///< --board, or empty
    std::vector<std::string> program; ///< what follows --
    std::function<void()> action;     ///< of the command that was typed
    int status = success;             ///< to exit with
};

/// Each adds its command to the parser, which leaves in invocation::action what is to be done.
void add_run(CLI::App &app, invocation &call);
void add_show(CLI::App &app, invocation &call);
void add_set(CLI::App &app, invocation &call);
void add_fault(CLI::App &app, invocation &call);
void add_trace(CLI::App &app, invocation &call);

} // namespace varnel::sim::tool
