// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/argument_parser.h"

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
    const char *name;
    std::string description;
    const char *version;
    std::vector<status_meaning> exit_statuses;
    std::map<std::string, candidates> lists; ///< by the placeholder of an argument, "DEVICE"
};

/// A command, with the options --help and --version, and a footer with its exit statuses.
class command {
  public:
    /// `column`: where the help's descriptions begin.
    explicit command(self_description self, std::size_t column = 32);
    command(const command &) = delete;
    command &operator=(const command &) = delete;
    ~command();

    [[nodiscard]] argument_parser parser() { return argument_parser(*app_); }

    /// Reads the arguments, without the command's own name. Returns false when they asked for something that has been
    /// printed: help, the version, the description of the command (`--describe`, JSON) for the programs in
    /// packaging/reference, or the candidates for an argument (`--list PLACEHOLDER BEFORE...`) for a shell. Throws
    /// bad_usage, also when a verb is missing, and std::system_error when they cannot be printed.
    [[nodiscard]] bool parse(std::vector<std::string> arguments);

    /// The words that led to the innermost verb: "psu status".
    [[nodiscard]] std::string typed_verb() const;

  private:
    self_description self_;
    std::unique_ptr<CLI::App> app_;
};

/// Removes "--" and what follows, which is returned: a program, whose arguments may look like options.
[[nodiscard]] std::vector<std::string> split_off_program(std::vector<std::string> &arguments);

/// The body of main(): what `command` returns, or the status of what it throws, after one line on standard
/// error that starts with the command's name. Before that it opens missing standard descriptors
/// (standard_streams.h).
[[nodiscard]] int run_guarded(const char *name, const std::function<int()> &command);

} // namespace varnel::host
