// SPDX-License-Identifier: Apache-2.0
// varnel-sim campaign: runs a program once for each thing that can go wrong.

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "host/line_output.h"
#include "host/standard_streams.h"
#include "sim/campaign/plan.h"
#include "sim/scenario/regular_expression.h"
#include "sim/tool/options.h"
#include "sim/tool/trial_run.h"

namespace varnel::sim::tool {

namespace {

using campaign::trial;
using nlohmann::ordered_json;

constexpr auto usual_timeout = std::chrono::seconds(10);
constexpr int longest_wait_ms = 5;

struct campaign_options {
    std::string check;
    std::string only;
    campaign::rules rules;
    std::optional<std::chrono::milliseconds> timeout;
    std::optional<unsigned int> jobs;
    bool json = false;
};

struct judged {
    trial of;
    std::string verdict; ///< empty: good
    bool struck;
};

/// A word as the shell reads it.
std::string quoted(const std::string &word) {
    std::string text = "'";
    for (const char each : word) {
        text += each == '\'' ? "'\\''" : std::string(1, each);
    }
    return text + "'";
}

/// For the shell in another folder: a program that is named by a path is named by an absolute one.
std::string command_of(std::vector<std::string> words) {
    if (words.front().find('/') != std::string::npos) {
        words.front() = std::filesystem::absolute(words.front());
    }
    std::string command;
    for (const std::string &word : words) {
        command += (command.empty() ? "" : " ") + quoted(word);
    }
    return command;
}

void wait_for(const std::vector<std::pair<trial, std::unique_ptr<trial_run>>> &running) {
    std::vector<pollfd> watched;
    watched.reserve(running.size());
    for (const auto &[of, run] : running) {
        watched.push_back({run->news(), POLLIN, 0});
    }
    (void)poll(watched.data(), watched.size(), longest_wait_ms);
}

void show_progress(std::size_t done, std::size_t all) {
    if (isatty(STDERR_FILENO) != 0) {
        (void)!write(STDERR_FILENO, "\r", 1);
        const std::string text = fmt::format("{} of {}{}", done, all, done == all ? "\n" : "");
        (void)!write(STDERR_FILENO, text.data(), text.size());
    }
}

/// Runs all trials, `jobs` at a time; the results are in their order.
std::vector<judged> run_all(const campaign_setting &setting, const campaign::rules &rules,
                            const std::vector<trial> &trials, unsigned int jobs) {
    std::map<std::string, judged> results;
    std::vector<std::pair<trial, std::unique_ptr<trial_run>>> running;
    auto next = trials.begin();
    while (next != trials.end() || !running.empty()) {
        while (running.size() < jobs && next != trials.end()) {
            running.emplace_back(*next, std::make_unique<trial_run>(setting, *next));
            ++next;
        }
        wait_for(running);
        std::erase_if(running, [&](auto &each) {
            auto &[of, run] = each;
            if (!run->over()) {
                return false;
            }
            const campaign::ending ending = run->finish();
            results.insert({name_of(of), judged{of, verdict(ending, rules), ending.struck}});
            show_progress(results.size(), trials.size());
            return true;
        });
    }
    std::vector<judged> ordered;
    ordered.reserve(trials.size());
    for (const trial &each : trials) {
        ordered.push_back(results.at(name_of(each)));
    }
    return ordered;
}

/// What the run without a fault was like.
struct lesson {
    std::vector<transfer_record> transfers;
    std::vector<std::string> selectors; ///< chips with two masters
};

/// It has to be good, or nothing can be learned from it.
lesson learn(const campaign_setting &setting, const campaign::rules &rules) {
    trial_run run(setting, std::nullopt);
    while (!run.over()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    lesson learned{run.transfers(), run.selectors()};
    if (const std::string wrong = verdict(run.finish(), rules); !wrong.empty()) {
        throw bad_usage(fmt::format("without a fault, the program {}", wrong));
    }
    return learned;
}

/// "0 exp0@0x20 Input port 0"
std::string place_of(const transfer_record &record) {
    return fmt::format("{}@0x{:02x}{}", record.chips.front().name, record.address,
                       record.selected ? " " + record.selected->name : "");
}

/// A character for each kind, once and from then on: "." good, "X" bad, " " not tried or without effect.
std::string row_of(uint64_t transfer, const std::map<std::string, judged> &results) {
    std::string row;
    for (const fault_facts &fault : fault_kinds()) {
        for (const bool stays : {false, true}) {
            const auto found = results.find(name_of(trial{transfer, fault.kind, stays, ""}));
            const bool known = found != results.end() && found->second.struck;
            row += !known ? ' ' : found->second.verdict.empty() ? '.' : 'X';
        }
        row += ' ';
    }
    return row;
}

std::string table_of(const std::vector<transfer_record> &learned, const std::vector<judged> &all) {
    std::map<std::string, judged> results;
    for (const judged &each : all) {
        results.insert({name_of(each.of), each});
    }
    std::string text;
    std::size_t column = 0;
    for (const fault_facts &fault : fault_kinds()) {
        text += fmt::format("{:5}{}{}\n", "", std::string(3 * column++, ' '), fault.name);
    }
    for (std::size_t i = 0; i < learned.size(); ++i) {
        if (!learned[i].chips.empty()) {
            text += fmt::format("{:4} {} {}\n", i + 1, row_of(i + 1, results), place_of(learned[i]));
        }
    }
    return text;
}

std::string text_of(const judged &bad) { return fmt::format("{:20} {}\n", name_of(bad.of), bad.verdict); }

ordered_json json_of(const judged &each, const std::vector<transfer_record> &learned) {
    return {{"trial", name_of(each.of)},
            {"transfer", each.of.transfer},
            {"place", place_of(learned.at(static_cast<std::size_t>(each.of.transfer - 1)))},
            {"kind", name_of(each.of.kind)},
            {"stays", each.of.stays},
            {"struck", each.struck},
            {"verdict", each.verdict.empty() ? ordered_json() : ordered_json(each.verdict)}};
}

void report(const campaign_options &options, const std::vector<transfer_record> &learned,
            const std::vector<judged> &results) {
    line_output out("-");
    if (options.json) {
        for (const judged &each : results) {
            out.print(json_of(each, learned).dump());
        }
        return;
    }
    if (options.only.empty()) {
        print(table_of(learned, results));
    }
    for (const judged &each : results) {
        if (!each.verdict.empty()) {
            print(text_of(each));
        }
    }
    const auto bad = std::ranges::count_if(results, [](const judged &each) { return !each.verdict.empty(); });
    const auto struck = std::ranges::count_if(results, &judged::struck);
    out.print(fmt::format("{} transfers, {} runs, {} with a fault that struck: {} bad", learned.size(),
                          results.size(), struck, bad));
}

int run_campaign(const invocation &call, const campaign_options &options) {
    if (call.program.empty()) {
        throw bad_usage("missing argument: -- PROGRAM ARGS...");
    }
    if (const auto wrong = scenario::regular_expression(options.rules.forbidden).mistake()) {
        throw bad_usage(fmt::format("--forbid: {}", *wrong));
    }
    const campaign_setting setting{find_board_file(call.board), command_of(call.program), options.check,
                                   options.timeout.value_or(usual_timeout)};
    const auto [learned, selectors] = learn(setting, options.rules);
    if (learned.empty()) {
        throw bad_usage("the program has no transfers");
    }
    std::vector<trial> trials = campaign::plan(learned, selectors);
    if (!options.only.empty()) {
        trials = campaign::chosen(trials, options.only);
        if (trials.empty()) {
            throw bad_usage(
                fmt::format("--only: there is no run '{}' among {} transfers", options.only, learned.size()));
        }
    }
    const unsigned int jobs = options.jobs.value_or(std::max(1U, std::thread::hardware_concurrency()));
    const std::vector<judged> results = run_all(setting, options.rules, trials, jobs);
    report(options, learned, results);
    return std::ranges::all_of(results, [](const judged &each) { return each.verdict.empty(); }) ? success
                                                                                                 : failure;
}

void add_options(argument_parser command, campaign_options &options) {
    command.add_option("--check", options.check, "a shell command that has to succeed after each run")
        .type_name("COMMAND");
    add_number(command, "--status", options.rules.status, range{0, 255},
               "what the program has to end with; default: anything but a signal");
    command.add_option("--forbid", options.rules.forbidden, "what no line of the program's output may match")
        .type_name("REGEX");
    add_duration(command, "--timeout", options.timeout, "a program that runs for longer hangs (default 10s)");
    add_number(command, "--jobs", options.jobs, range{1, 256},
               "how many at a time (default: one a processor)");
    command
        .add_option("--only", options.only, "one run, such as 37:stuck or 37:stuck:on, or all of transfer 37")
        .type_name("RUN");
    command.add_flag("--json", options.json, "one JSON object a run");
    command.add_description("PROGRAM", "after --, with its arguments").option_text("...");
}

} // namespace

void add_campaign(argument_parser app, invocation &call) {
    auto options = std::make_shared<campaign_options>();
    const argument_parser command =
        add_command(app, "campaign", "Run a program once for each fault at each of its transfers", call,
                    [&call, options] { call.status = run_campaign(call, *options); });
    add_options(command, *options);
}

} // namespace varnel::sim::tool
