// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/commands.h"

#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

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

/// The innermost verb that was typed, and the words that lead to it.
std::pair<const CLI::App *, std::string> typed_verb(const CLI::App &app) {
    const CLI::App *verb = &app;
    std::string words;
    while (!verb->get_subcommands().empty()) {
        verb = verb->get_subcommands().front();
        words += (words.empty() ? "" : " ") + verb->get_name();
    }
    return {verb, words};
}

std::string missing_verb(const CLI::App &family) {
    std::string verbs;
    for (const CLI::App *verb : family.get_subcommands(nullptr)) {
        verbs += (verbs.empty() ? "" : ", ") + verb->get_name();
    }
    return fmt::format("missing verb (one of {}); see --help", verbs);
}

} // namespace

int run_command(std::vector<std::string> arguments, const std::function<void(context &)> &carry_out) {
    context asked;
    CLI::App app("Calls the functions of the library from a shell. DEVICE is BUS:ADDRESS, such as 1:0x58.",
                 "varnel");
    app.set_version_flag("--version", "varnel " VARNEL_VERSION);
    app.get_formatter()->column_width(32);
    const self_description self{{{success, "done"},
                                 {failure, "the operation failed"},
                                 {bad_input, "bad usage: nothing was done"},
                                 {not_confirmed, "not confirmed: nothing was written"}},
                                {{"DEVICE", devices}, {"SECTION", sections}, {"KEY", keys}}};
    app.footer(text_of(self.exit_statuses));
    add_verbs(argument_parser(app), asked);
    if (!parse(app, std::move(arguments), self)) {
        return success;
    }
    if (!asked.action) {
        const auto [verb, words] = typed_verb(app);
        throw bad_usage((words.empty() ? "" : words + ": ") + missing_verb(*verb));
    }
    carry_out(asked);
    return asked.status;
}

} // namespace varnel::tools
