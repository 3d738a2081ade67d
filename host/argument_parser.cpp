// SPDX-License-Identifier: Apache-2.0
#include "host/argument_parser.h"

#include <utility>

#include <CLI/CLI.hpp>

namespace varnel::host {

argument argument::required(bool is_required) const { return argument(*option_->required(is_required)); }

argument argument::expected(int values) const { return argument(*option_->expected(values)); }

argument argument::expected(int at_least, int at_most) const {
    return argument(*option_->expected(at_least, at_most));
}

argument argument::one_value_each_time() const { return argument(*option_->allow_extra_args(false)); }

argument argument::delimiter(char character) const { return argument(*option_->delimiter(character)); }

argument argument::type_name(const std::string &placeholder) const {
    return argument(*option_->type_name(placeholder));
}

argument argument::option_text(const std::string &in_help) const {
    return argument(*option_->option_text(in_help));
}

argument argument::excludes(argument other) const { return argument(*option_->excludes(other.option_)); }

argument argument::needs(argument other) const { return argument(*option_->needs(other.option_)); }

argument_parser argument_parser::add_subcommand(const std::string &name,
                                                const std::string &description) const {
    return argument_parser(*app_->add_subcommand(name, description));
}

void argument_parser::alias(const std::string &name) const { app_->alias(name); }

void argument_parser::add_note(const std::string &text) const { footer(text + "\n" + app_->get_footer()); }

void argument_parser::footer(const std::string &text) const { app_->footer(text); }

void argument_parser::callback(std::function<void()> when_typed) const {
    app_->callback(std::move(when_typed));
}

argument argument_parser::add_flag(const std::string &names, bool &value, const char *description) const {
    return argument(*app_->add_flag(names, value, description));
}

argument argument_parser::add_option(const std::string &names, std::string &value,
                                     const char *description) const {
    return argument(*app_->add_option(names, value, description));
}

argument argument_parser::add_option(const std::string &names, std::vector<std::string> &values,
                                     const char *description) const {
    return argument(*app_->add_option(names, values, description));
}

argument argument_parser::add_option(const std::string &names,
                                     const std::function<void(const std::string &)> &read,
                                     const char *description) const {
    return argument(*app_->add_option_function<std::string>(names, read, description));
}

argument argument_parser::add_option(const std::string &names,
                                     const std::function<void(const std::vector<std::string> &)> &read_all,
                                     const char *description) const {
    return argument(*app_->add_option_function<std::vector<std::string>>(names, read_all, description));
}

argument argument_parser::add_description(const std::string &name, const char *description) const {
    CLI::Option *const option = app_->add_option(name)->expected(0);
    return argument(*option->description(description));
}

void argument_parser::allow_extras() const { app_->allow_extras(); }

std::vector<std::string> argument_parser::remaining() const { return app_->remaining(true); }

} // namespace varnel::host
