// SPDX-License-Identifier: Apache-2.0
// varnel-sim set, varnel-sim fault: change what surrounds the programs.

#include <cctype>
#include <cstdint>
#include <memory>
#include <optional>
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

struct fault_options {
    std::string chip;
    std::string kind;
    std::optional<uint64_t> count;
    std::optional<double> rate;
    std::optional<uint64_t> seed;
};

void add_fault_options(argument_parser command, fault_options &options) {
    command.add_option("chip", options.chip, "name of the chip").type_name("CHIP");
    command.add_option("kind", options.kind, "none clears all of the chip's faults")
        .type_name("nack|short|stuck|flip|none");
    const argument count = add_number(command, "--count", options.count, {1, UINT64_MAX},
                                      "strike the next N transfers (default 1)");
    add_probability(command, "--rate", options.rate, "strike each transfer with this probability, 0 to 1")
        .excludes(count);
    add_number(command, "--seed", options.seed, UINT64_MAX, "choose which transfers and bits (default 1)");
}

json request_for(const fault_options &options) {
    if (options.kind.empty()) {
        throw bad_usage("missing argument: CHIP nack|short|stuck|flip|none");
    }
    json request = {{"command", "fault"},
                    {"chip", options.chip},
                    {"kind", options.kind},
                    {"seed", options.seed.value_or(1)}};
    if (options.rate) {
        request["rate"] = *options.rate;
    } else {
        request["count"] = options.count.value_or(1);
    }
    return request;
}

} // namespace

void add_fault(argument_parser app, invocation &call) {
    auto options = std::make_shared<fault_options>();
    const argument_parser command =
        add_command(app, "fault", "Make a chip misbehave on its bus", call, [&call, options] {
            const json request = request_for(*options);
            find_board(call.board).request(request);
        });
    add_fault_options(command, *options);
}

} // namespace varnel::sim::tool
