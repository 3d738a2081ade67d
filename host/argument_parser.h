// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace varnel::host {

/// An option or a positional argument that was added to a command. This and argument_parser call the functions of
/// CLI11 that have the same names; they exist because each file that includes CLI11 takes seconds to compile.
class argument {
  public:
    explicit argument(CLI::Option &option) : option_(&option) {}

    argument required(bool is_required = true) const;
    argument expected(int values) const; ///< -1: one or more
    argument expected(int at_least, int at_most) const;
    argument one_value_each_time() const; ///< "--trace A --trace B", not "--trace A B"
    argument delimiter(char character) const;
    argument type_name(const std::string &placeholder) const;
    argument option_text(const std::string &in_help) const;
    argument excludes(argument other) const;
    argument needs(argument other) const;

  private:
    CLI::Option *option_;
};

/// The parser of the arguments of a command or of one of its verbs.
class argument_parser {
  public:
    explicit argument_parser(CLI::App &app) : app_(&app) {}

    [[nodiscard]] argument_parser add_subcommand(const std::string &name,
                                                 const std::string &description) const;
    void alias(const std::string &name) const;

    /// A text at the end of the help of a verb, or of all verbs of a family, before the family's own.
    void add_note(const std::string &text) const;
    void footer(const std::string &text) const;
    void callback(std::function<void()> when_typed) const;

    argument add_flag(const std::string &names, bool &value, const char *description) const;
    argument add_option(const std::string &names, std::string &value, const char *description) const;
    argument add_option(const std::string &names, std::vector<std::string> &values,
                        const char *description) const;

    /// `read` is called with the text that was typed.
    argument add_option(const std::string &names, const std::function<void(const std::string &)> &read,
                        const char *description) const;
    argument add_option(const std::string &names,
                        const std::function<void(const std::vector<std::string> &)> &read_all,
                        const char *description) const;

    /// A line of the help for arguments that are read in another way: remaining(), or those after "--".
    argument add_description(const std::string &name, const char *description) const;
    void allow_extras() const;
    [[nodiscard]] std::vector<std::string> remaining() const; ///< of all verbs

  private:
    CLI::App *app_;
};

} // namespace varnel::host
