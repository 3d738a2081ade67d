// SPDX-License-Identifier: Apache-2.0
// varnel-sim fault: makes chips misbehave.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "host/duration.h"
#include "sim/board/fault_kinds.h"
#include "sim/tool/board_access.h"
#include "sim/tool/options.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

constexpr double milliseconds_per_second = 1000;

/// One end of the window in which a fault strikes: the number of a transfer, or a time from now on.
struct limit_option {
    std::optional<uint64_t> transfer;
    std::optional<std::chrono::milliseconds> time;
};

struct fault_options {
    std::string chip;
    std::string kind;
    std::optional<uint64_t> count;
    std::optional<double> rate;
    std::optional<uint64_t> seed;
    std::optional<limit_option> from;
    std::optional<limit_option> until;
    std::map<fault_parameter, uint64_t> parameters;
};

limit_option limit_from(const std::string &text, const std::string &option) {
    if (const auto number = whole_number<uint64_t>(text); number && *number != 0) {
        return {*number, std::nullopt};
    }
    const auto time = duration(text);
    if (!time) {
        throw bad_usage(fmt::format(
            "{}: '{}' is neither the number of a transfer nor a time, such as 500ms or 2s", option, text));
    }
    return {std::nullopt, *time};
}

uint64_t parameter_from(const std::string &text, const parameter_facts &facts) {
    if (facts.parameter != fault_parameter::time) {
        return c_number(text, {facts.least, facts.most}, std::string(facts.option));
    }
    const auto time = duration(text);
    if (!time || time->count() < 1) {
        throw bad_usage(fmt::format("{}: '{}' is not a time, such as 500ms or 2s", facts.option, text));
    }
    return static_cast<uint64_t>(time->count());
}

/// "for nack-byte, stretch: which byte".
std::string description_of(const parameter_facts &parameter) {
    std::string kinds;
    for (const fault_facts &each : fault_kinds()) {
        if (each.parameter == parameter.parameter) {
            kinds += fmt::format("{}{}", kinds.empty() ? "" : ", ", each.name);
        }
    }
    return fmt::format("for {}: {}", kinds, parameter.what);
}

void add_parameters(argument_parser command, fault_options &options) {
    for (const parameter_facts &each : fault_parameters()) {
        command
            .add_option(
                std::string(each.option),
                [&options, &each](const std::string &text) {
                    options.parameters[each.parameter] = parameter_from(text, each);
                },
                description_of(each).c_str())
            .type_name(each.parameter == fault_parameter::time ? "TIME" : "N");
    }
}

void add_fault_options(argument_parser command, fault_options &options) {
    command.add_option("chip", options.chip, "name of the chip").type_name("CHIP");
    command.add_option("kind", options.kind, "none clears all of the chip's faults")
        .type_name(fault_names("|") + "|none");
    add_number(command, "--count", options.count, {1, UINT64_MAX},
               "strike N transfers at most (default 1, and no limit with --rate or --until)");
    add_probability(command, "--rate", options.rate, "strike each transfer with this probability, 0 to 1");
    add_number(command, "--seed", options.seed, UINT64_MAX, "choose which transfers and bits (default 1)");
    const auto limit = [](const char *name) {
        return [name](const std::string &text) { return limit_from(text, name); };
    };
    add_argument(command, "--from", options.from, limit("--from"),
                 "not before the Nth transfer, or not before TIME", "N|TIME");
    add_argument(command, "--until", options.until, limit("--until"),
                 "not after the Nth transfer, or not after TIME", "N|TIME");
    add_parameters(command, options);
    std::string kinds = "Kinds of fault:\n";
    for (const fault_facts &each : fault_kinds()) {
        kinds += fmt::format("  {:12} {}\n", each.name, each.effect);
    }
    command.add_note(kinds);
}

void add_limit(json &request, const std::string &name, const std::optional<limit_option> &limit) {
    if (limit && limit->transfer) {
        request[name + "_transfer"] = *limit->transfer;
    }
    if (limit && limit->time) {
        request[name + "_seconds"] = static_cast<double>(limit->time->count()) / milliseconds_per_second;
    }
}

void add_parameters(json &request, const fault_options &options) {
    const auto kind = fault_kind_named(options.kind);
    for (const auto &[parameter, value] : options.parameters) {
        const parameter_facts &facts = *facts_of(parameter);
        if (!kind || facts_of(*kind).parameter != parameter) {
            throw bad_usage(fmt::format("{} is not for {}", facts.option, options.kind));
        }
        request[std::string(facts.key)] = value;
    }
}

json request_for(const fault_options &options) {
    if (options.kind.empty()) {
        throw bad_usage("missing argument: CHIP KIND");
    }
    json request = {{"command", "fault"},
                    {"chip", options.chip},
                    {"kind", options.kind},
                    {"seed", options.seed.value_or(1)}};
    if (options.count || (!options.rate && !options.until)) {
        request["transfers"] = options.count.value_or(1);
    }
    if (options.rate) {
        request["rate"] = *options.rate;
    }
    add_limit(request, "from", options.from);
    add_limit(request, "until", options.until);
    add_parameters(request, options);
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
