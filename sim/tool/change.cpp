// SPDX-License-Identifier: Apache-2.0
// varnel-sim set, plug, unplug: change what surrounds the programs.

#include <cctype>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sim/tool/board_access.h"
#include "sim/tool/options.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

json assignments_from(const std::vector<std::string> &words) {
    json assignments = json::array();
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const auto [chip, name] = chip_member_from(words[i], "CHIP.NAME");
        if (i + 1 == words.size()) {
            throw bad_usage(fmt::format("missing argument: value of {}", words[i]));
        }
        assignments.push_back(json::array({chip, name, words[i + 1]}));
    }
    return assignments;
}

/// A value may start with a minus sign, which the parser would take for an option.
std::vector<std::string> words_of(argument_parser app) {
    auto words = app.remaining();
    for (const std::string &word : words) {
        const bool negative =
            word.size() > 1 && (std::isdigit(static_cast<unsigned char>(word[1])) || word[1] == '.');
        if (word.starts_with('-') && !negative) {
            throw bad_usage(fmt::format("unexpected argument: {}", word));
        }
    }
    return words;
}

void set(const invocation &call, const std::vector<std::string> &words) {
    if (words.empty()) {
        throw bad_usage("missing argument: CHIP.NAME VALUE...");
    }
    const json assignments = assignments_from(words);
    find_board(call.board).request({{"command", "set"}, {"assignments", assignments}});
}

} // namespace

void add_set(argument_parser app, invocation &call) {
    const argument_parser command = add_command(app, "set", "Set pins, loads, temperatures, all or none",
                                                call, [&call, app] { set(call, words_of(app)); });
    command.allow_extras();
    command.add_description("CHIP.NAME", "what `show CHIP` marks with *; each is followed by its value")
        .option_text("VALUE ...");
}

namespace {

void add_plugging(argument_parser app, invocation &call, const char *name, const char *description,
                  bool plugged) {
    auto chips = std::make_shared<std::vector<std::string>>();
    const argument_parser command = add_command(app, name, description, call, [&call, chips, plugged] {
        find_board(call.board).request({{"command", "plug"}, {"chips", *chips}, {"plugged", plugged}});
    });
    command.add_option("CHIP", *chips, "names of chips, which take along what else is on their modules")
        .type_name("CHIP")
        .expected(-1)
        .required();
}

} // namespace

void add_plug(argument_parser app, invocation &call) {
    add_plugging(app, call, "plug", "Plug in chips: those that were unplugged start as at power-on", true);
}

void add_unplug(argument_parser app, invocation &call) {
    add_plugging(app, call, "unplug", "Unplug chips while the board is on: they no longer answer", false);
}

} // namespace varnel::sim::tool
