// SPDX-License-Identifier: Apache-2.0
#include "host/description.h"

#include <string>
#include <vector>

namespace varnel::host {

namespace {

using json = nlohmann::ordered_json;

/// "-y", "--yes"
std::vector<std::string> names_of(const CLI::Option &option) {
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

/// The word that stands for a value in the help: "TIME", or all that it may be, "on|off".
std::string placeholder_of(const CLI::Option &option) {
    const std::string type = option.get_type_name();
    const bool has_none = type.empty() || type == "TEXT"; // the parser's own name for any text
    return has_none && option.get_positional() ? option.get_name() : type;
}

json description_of(const CLI::Option &option) {
    json described = json::object();
    if (option.get_positional()) {
        described["name"] = option.get_name();
    } else {
        described["names"] = names_of(option);
    }
    if (option.get_positional() || option.get_items_expected_max() > 0) { // a flag takes no value
        described["value"] = placeholder_of(option);
    }
    described["description"] = option.get_description();
    described["required"] = option.get_required();
    described["repeats"] = option.get_items_expected_max() != 1;
    return described;
}

/// The footer without that of the family, which each verb inherits: it is described once.
std::string own_footer(std::string footer, const std::string &inherited) {
    if (footer.ends_with(inherited)) {
        footer.resize(footer.size() - inherited.size());
    }
    return footer;
}

json description_of(const CLI::App &command, const std::string &inherited_footer) {
    const std::string footer = command.get_footer();
    json described = {{"name", command.get_name()},
                      {"description", command.get_description()},
                      {"footer", own_footer(footer, inherited_footer)},
                      {"aliases", command.get_aliases()},
                      {"arguments", json::array()},
                      {"options", json::array()},
                      {"verbs", json::array()}};
    for (const CLI::Option *option : command.get_options()) {
        described[option->get_positional() ? "arguments" : "options"].push_back(description_of(*option));
    }
    for (const CLI::App *verb : command.get_subcommands(nullptr)) {
        described["verbs"].push_back(description_of(*verb, footer));
    }
    return described;
}

} // namespace

json description_of(const CLI::App &command, const self_description &self) {
    json described = description_of(command, command.get_footer());
    described["exit_statuses"] = json::array();
    for (const auto &[status, meaning] : self.exit_statuses) {
        described["exit_statuses"].push_back({{"status", status}, {"meaning", meaning}});
    }
    described["lists"] = json::array();
    for (const auto &[placeholder, list] : self.lists) {
        described["lists"].push_back(placeholder);
    }
    return described;
}

} // namespace varnel::host
