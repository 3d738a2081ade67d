// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace varnel::host {

/// Exit statuses of every command.
enum exit_status : int { success = 0, failure = 1, bad_input = 2 };

/// The user asked for something that does not exist or cannot be; what() is one line. Nothing has changed.
class bad_usage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// An exit status in the command's help.
struct status_meaning {
    int status;
    const char *meaning;
};

/// What may be typed for an argument, after the arguments in `before`.
using candidates = std::function<std::vector<std::string>(const std::vector<std::string> &before)>;

/// What a command says about itself beside its verbs and options.
struct self_description {
    std::vector<status_meaning> exit_statuses;
    std::map<std::string, candidates> lists; ///< by the placeholder of an argument, "DEVICE"
};

/// The footer of the help: "Exit status: 0 done, 1 ...".
[[nodiscard]] std::string text_of(const std::vector<status_meaning> &exit_statuses);

/// Reads the arguments, without the command's own name. Returns false when they asked for something that has been
/// printed: help, the version, the description of the command (`--describe`, JSON) for the programs in
/// packaging/reference, or the candidates for an argument (`--list PLACEHOLDER BEFORE...`) for a shell. Throws
/// bad_usage, and std::system_error when they cannot be printed.
[[nodiscard]] bool parse(CLI::App &app, std::vector<std::string> arguments,
                         const self_description &self = {});

/// Removes "--" and what follows, which is returned: a program, whose arguments may look like options.
[[nodiscard]] std::vector<std::string> split_off_program(std::vector<std::string> &arguments);

/// The body of main(): what `command` returns, or the status of what it throws, after one line on standard
/// error that starts with the command's name. Before that it opens missing standard descriptors
/// (standard_streams.h).
[[nodiscard]] int run_guarded(const char *name, const std::function<int()> &command);

} // namespace varnel::host
