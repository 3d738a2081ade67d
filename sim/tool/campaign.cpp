// SPDX-License-Identifier: Apache-2.0
// varnel-sim campaign: runs a program once for each thing that can go wrong.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <poll.h>

#include "host/duration.h"
#include "host/line_output.h"
#include "host/standard_streams.h"
#include "sim/campaign/html.h"
#include "sim/campaign/plan.h"
#include "sim/campaign/results.h"
#include "sim/scenario/junit.h"
#include "sim/scenario/regular_expression.h"
#include "sim/tool/options.h"
#include "sim/tool/trial_pool.h"
#include "sim/tool/trial_run.h"

namespace varnel::sim::tool {

namespace {

using campaign::judged;
using campaign::trial;
using nlohmann::ordered_json;

constexpr auto usual_timeout = std::chrono::seconds(10);

struct campaign_options {
    std::string check;
    std::vector<std::string> only; ///< names of runs
    campaign::rules rules;
    std::optional<std::chrono::milliseconds> timeout;
    std::optional<unsigned int> jobs;
    budget limits;
    bool pairs = false;
    bool virtual_time = false;
    bool json = false;
    std::string junit;
    std::string html;
};

/// A word as the shell reads it.
std::string quoted(const std::string &word) {
    constexpr const char *plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:=+,@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string text = "'";
    for (const char each : word) {
        text += each == '\'' ? "'\\''" : std::string(1, each);
    }
    return text + "'";
}

std::string command_line_of(const std::vector<std::string> &words) {
    std::string command;
    for (const std::string &word : words) {
        command += (command.empty() ? "" : " ") + quoted(word);
    }
    return command;
}

/// The command that repeats a run.
std::string repetition_of(const invocation &call, const campaign_options &options, const judged &run) {
    std::vector<std::string> words{"varnel-sim", "campaign"};
    const auto add = [&words](const char *option, const std::string &value) {
        if (!value.empty()) {
            words.insert(words.end(), {option, value});
        }
    };
    add("--board", call.board);
    add("--only", name_of(run.of));
    add("--time", options.virtual_time ? "virtual" : "");
    add("--status", options.rules.status ? fmt::to_string(*options.rules.status) : "");
    add("--forbid", options.rules.forbidden);
    add("--check", options.check);
    add("--timeout", options.timeout ? fmt::format("{}ms", options.timeout->count()) : "");
    words.emplace_back("--");
    words.insert(words.end(), call.program.begin(), call.program.end());
    return command_line_of(words);
}

/// For another folder: a program that is named by a path is named by an absolute one.
std::vector<std::string> program_of(std::vector<std::string> words) {
    if (words.front().find('/') != std::string::npos) {
        words.front() = std::filesystem::absolute(words.front());
    }
    return words;
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
        std::vector<pollfd> watched;
        run.add_watched(watched);
        (void)poll(watched.data(), watched.size(), 10);
    }
    if (const std::string wrong = verdict(run.ending(), rules); !wrong.empty()) {
        throw bad_usage(fmt::format("without a fault, the program {}", wrong));
    }
    if (run.transfers().empty()) {
        throw bad_usage("the program has no transfers");
    }
    return {run.transfers(), run.selectors()};
}

/// The place of a result in reports: by transfer and kind.
auto rank_of(const judged &result) {
    const campaign::strike &first = result.of.first;
    const auto &second = result.of.second;
    return std::tuple(second.has_value(), first.transfer, first.kind, first.stays,
                      second ? second->transfer : 0, second ? second->kind : first.kind);
}

/// A campaign under way: trials, results, and how many trials there are.
class whole_campaign {
  public:
    whole_campaign(const campaign_setting &setting, const campaign_options &options)
        : options_(options), learned_(learn(setting, options.rules)),
          pool_(setting, options.rules, options.limits,
                options.jobs.value_or(std::max(1U, std::thread::hardware_concurrency()))) {}

    void run() {
        std::vector<trial> trials = campaign::plan(learned_.transfers, learned_.selectors);
        if (!options_.only.empty()) {
            return run_only(trials);
        }
        if (options_.limits.limited()) { // what is left out is not all of one transfer
            std::mt19937_64 numbers;     // NOLINT(cert-msc51-cpp): the same order every time
            std::ranges::shuffle(trials, numbers);
        }
        run_all(trials);
        if (options_.pairs) {
            run_all(possible_pairs(results_));
        }
        std::ranges::stable_sort(results_, {}, rank_of);
    }

    [[nodiscard]] const std::vector<judged> &results() const { return results_; }
    [[nodiscard]] std::string summary() const {
        return summary_of(learned_.transfers.size(), planned_, results_);
    }

  private:
    void run_all(const std::vector<trial> &trials) {
        planned_ += trials.size();
        std::ranges::move(pool_.run(trials), std::back_inserter(results_));
    }

    /// The first half of a pair has to be run to know what comes after it.
    void run_only(const std::vector<trial> &singles) {
        std::vector<trial> wanted;
        for (const std::string &name : options_.only) {
            const std::size_t first = name.find('+');
            std::vector<trial> found = campaign::chosen(singles, name.substr(0, first));
            if (first != std::string::npos) {
                found = campaign::chosen(possible_pairs(pool_.run(found)), name);
            }
            if (found.empty()) {
                throw bad_usage(fmt::format("--only: there is no run '{}' among {} transfers", name,
                                            learned_.transfers.size()));
            }
            std::ranges::move(found, std::back_inserter(wanted));
        }
        run_all(wanted);
        std::ranges::stable_sort(results_, {}, rank_of);
    }

    /// What a program does about a fault can fail, too: pairs begin with each run that was good.
    [[nodiscard]] std::vector<trial> possible_pairs(const std::vector<judged> &results) const {
        std::vector<trial> pairs;
        for (const judged &each : results) {
            if (!each.of.first.stays && outcome_of(each) == campaign::outcome::good) {
                std::ranges::move(pairs_after(each.of, each.transfers, learned_.selectors),
                                  std::back_inserter(pairs));
            }
        }
        campaign::order_pairs(pairs);
        return pairs;
    }

    const campaign_options &options_;
    lesson learned_;
    trial_pool pool_;
    std::vector<judged> results_ = {};
    std::size_t planned_ = 0;
};

std::string text_of(const judged &bad) { return fmt::format("{:20} {}\n", name_of(bad.of), bad.verdict); }

ordered_json json_of(const campaign::strike &at) {
    return {{"transfer", at.transfer}, {"place", at.place}, {"kind", name_of(at.kind)}};
}

ordered_json json_of(const judged &each) {
    const auto &[first, second] = each.of;
    return {{"trial", name_of(each.of)},
            {"transfer", first.transfer},
            {"place", first.place},
            {"kind", name_of(first.kind)},
            {"stays", first.stays},
            {"second", second ? json_of(*second) : ordered_json()},
            {"struck", each.struck},
            {"verdict", each.verdict.empty() ? ordered_json() : ordered_json(each.verdict)}};
}

scenario::junit_case junit_case_of(const judged &each, const std::string &repetition) {
    const auto &[first, second] = each.of;
    scenario::junit_case made{
        fmt::format("{} {}{}", name_of(each.of), first.place, second ? ", then " + second->place : ""),
        each.time};
    if (!each.verdict.empty()) {
        made.failed = {each.verdict, repetition + '\n'};
    } else if (!each.struck) {
        made.skipped = "the fault struck no transfer";
    }
    return made;
}

/// Where a campaign is reported besides standard output. The files are created before it begins.
class report_files {
  public:
    report_files(const invocation &call, const campaign_options &options) : call_(call), options_(options) {
        if (!options.junit.empty()) {
            junit_.emplace(options.junit);
        }
        if (!options.html.empty()) {
            html_.emplace(options.html);
        }
    }

    void write(const whole_campaign &of) {
        if (junit_) {
            std::vector<scenario::junit_case> cases;
            for (const judged &each : of.results()) {
                cases.push_back(junit_case_of(each, repetition_of(call_, options_, each)));
            }
            junit_->print(junit_of("varnel-sim campaign", cases));
        }
        if (html_) {
            const auto repetition = [this](const judged &run) { return repetition_of(call_, options_, run); };
            html_->print(html_of({command_line_of(call_.program), of.summary(), repetition}, of.results()));
        }
    }

  private:
    const invocation &call_;
    const campaign_options &options_;
    std::optional<line_output> junit_;
    std::optional<line_output> html_;
};

void print_report(const campaign_options &options, const whole_campaign &of) {
    line_output out("-");
    if (options.json) {
        for (const judged &each : of.results()) {
            out.print(json_of(each).dump());
        }
        return;
    }
    if (options.only.empty()) {
        print(table_of(of.results()));
    }
    for (const judged &each : of.results()) {
        if (!each.verdict.empty()) {
            print(text_of(each));
        }
    }
    out.print(of.summary());
}

int run_campaign(const invocation &call, const campaign_options &options) {
    if (call.program.empty()) {
        throw bad_usage("missing argument: -- PROGRAM ARGS...");
    }
    if (const auto wrong = scenario::regular_expression(options.rules.forbidden).mistake()) {
        throw bad_usage(fmt::format("--forbid: {}", *wrong));
    }
    if (options.virtual_time) {
        check_virtual_time(true);
    }
    report_files files(call, options);
    const campaign_setting setting{find_board_file(call.board),
                                   program_of(call.program),
                                   options.check,
                                   options.timeout.value_or(usual_timeout),
                                   {.is_virtual = options.virtual_time}};
    whole_campaign all(setting, options);
    all.run();
    print_report(options, all);
    files.write(all);
    const bool bad =
        std::ranges::any_of(all.results(), [](const judged &each) { return !each.verdict.empty(); });
    return bad ? failure : success;
}

/// "100" runs, or "1m".
budget budget_from(const std::string &text) {
    if (const auto time = host::duration(text)) {
        return {.time = time};
    }
    const auto runs = host::whole_number<uint64_t>(text);
    if (!runs || *runs == 0) {
        throw bad_usage(
            fmt::format("--budget: '{}' is neither a number of runs nor a time, such as 30s or 5m", text));
    }
    return {.runs = runs};
}

void add_reports(argument_parser command, campaign_options &options) {
    command.add_flag("--json", options.json, "one JSON object a run");
    command.add_option("--junit", options.junit, "also write a report in JUnit's XML").type_name("FILE");
    command.add_option("--html", options.html, "also write a page with a matrix of transfers and faults")
        .type_name("FILE");
}

void add_options(argument_parser command, campaign_options &options) {
    command
        .add_option(
            "--check", options.check,
            "a shell command that has to succeed after each run; it reads what the program has printed")
        .type_name("COMMAND");
    add_number(command, "--status", options.rules.status, range{0, 255},
               "what the program has to end with; default: anything but a signal");
    command.add_option("--forbid", options.rules.forbidden, "what no line of the program's output may match")
        .type_name("REGEX");
    add_duration(command, "--timeout", options.timeout, "a program that runs for longer hangs (default 10s)");
    add_number(command, "--jobs", options.jobs, range{1, 256},
               "how many at a time (default: one a processor)");
    command
        .add_option("--only", options.only,
                    "one run, such as 37:stuck, 37:stuck:on or 37:stuck+38:nack, or all of transfer 37")
        .type_name("RUN")
        .one_value_each_time();
    command.add_flag("--pairs", options.pairs, "then two faults in each run");
    add_argument(command, "--budget", options.limits, budget_from, "as many runs, or for as long",
                 "RUNS|TIME");
    add_time(command, options.virtual_time);
    add_reports(command, options);
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
