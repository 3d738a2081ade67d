// SPDX-License-Identifier: Apache-2.0
#include "host/command_line.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "host/description.h"
#include "host/standard_streams.h"
#include "host/suggestion.h"

namespace varnel::host {

namespace {

/// "Exit status: 0 done, 1 ...".
std::string text_of(const std::vector<status_meaning> &exit_statuses) {
    std::string text;
    for (const auto &[status, meaning] : exit_statuses) {
        text += fmt::format("{}{} {}", text.empty() ? "Exit status: " : ", ", status, meaning);
    }
    return text + ".";
}

void print_candidates(const self_description &self, const std::vector<std::string> &arguments) {
    const auto found = self.lists.find(arguments.at(1));
    if (found == self.lists.end()) {
        throw bad_usage(fmt::format("--list: no list of {}", arguments.at(1)));
    }
    std::string lines;
    for (const std::string &each : found->second({arguments.begin() + 2, arguments.end()})) {
        lines += each + "\n";
    }
    print(lines);
}

/// In the words of the other refusals. The parser says "FILE is required".
std::string message_of(const CLI::ParseError &mistake) {
    const std::string text = mistake.what();
    return dynamic_cast<const CLI::RequiredError *>(&mistake) != nullptr
               ? "missing argument: " + text.substr(0, text.rfind(" is required"))
               : text;
}

/// The innermost verb that was typed, and the words that lead to it.
std::pair<const CLI::App *, std::string> innermost_verb(const CLI::App &app) {
    const CLI::App *verb = &app;
    std::string words;
    while (!verb->get_subcommands().empty()) {
        verb = verb->get_subcommands().front();
        words += (words.empty() ? "" : " ") + verb->get_name();
    }
    return {verb, words};
}

void refuse_missing_verb(const CLI::App &app) {
    const auto [family, words] = innermost_verb(app);
    std::string verbs;
    for (const CLI::App *verb : family->get_subcommands(nullptr)) {
        verbs += (verbs.empty() ? "" : ", ") + verb->get_name();
    }
    if (!verbs.empty()) {
        throw bad_usage(
            fmt::format("{}missing verb (one of {}); see --help", words.empty() ? "" : words + ": ", verbs));
    }
}

/// The verbs and options that may follow the verbs that were typed.
std::vector<std::string> possible_words(const CLI::App &app) {
    const CLI::App *const verb = innermost_verb(app).first;
    std::vector<std::string> words;
    for (const CLI::App *each : verb->get_subcommands(nullptr)) {
        words.push_back(each->get_name());
    }
    for (const CLI::Option *option : verb->get_options()) {
        for (const std::string &name : option->get_lnames()) {
            words.push_back("--" + name);
        }
    }
    return words;
}

std::string unexpected_argument(const CLI::App &app) {
    const std::string word = app.remaining(true).front();
    return fmt::format("unexpected argument: {}{}", word, did_you_mean(word, possible_words(app)));
}

/// Returns false when the arguments asked for help or the version, which has been printed.
bool parse_words(CLI::App &app, std::vector<std::string> arguments) {
    try {
        std::ranges::reverse(arguments); // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::Success &help) {
        std::ostringstream text;
        app.exit(help, text, text);
        print(text.str());
        return false;
    } catch (const CLI::ExtrasError &) {
        throw bad_usage(unexpected_argument(app));
    } catch (const CLI::ParseError &mistake) {
        throw bad_usage(message_of(mistake));
    }
    return true;
}

} // namespace

command::command(self_description self, std::size_t column)
    : self_(std::move(self)), app_(std::make_unique<CLI::App>(self_.description, self_.name)) {
    app_->set_version_flag("--version", fmt::format("{} {}", self_.name, self_.version));
    app_->get_formatter()->column_width(column);
    app_->footer(text_of(self_.exit_statuses));
}

command::~command() = default;

bool command::parse(std::vector<std::string> arguments) {
    if (arguments.size() == 1 && arguments[0] == "--describe") {
        print(description_of(*app_, self_).dump(2) + "\n");
        return false;
    }
    if (arguments.size() >= 2 && arguments[0] == "--list") {
        print_candidates(self_, arguments);
        return false;
    }
    if (!parse_words(*app_, std::move(arguments))) {
        return false;
    }
    refuse_missing_verb(*app_);
    return true;
}

std::string command::typed_verb() const { return innermost_verb(*app_).second; }

std::vector<std::string> split_off_program(std::vector<std::string> &arguments) {
    const auto mark = std::ranges::find(arguments, "--");
    if (mark == arguments.end()) {
        return {};
    }
    std::vector<std::string> program(mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return program;
}

namespace {

int complain(const char *name, std::string_view message, int status) {
    say(fmt::format("{}: {}", name, message.substr(0, message.find('\n'))));
    return status;
}

} // namespace

int run_guarded(const char *name, const std::function<int()> &command) {
    try {
        open_missing_standard_descriptors();
        return command();
    } catch (const bad_usage &mistake) {
        return complain(name, mistake.what(), bad_input);
    } catch (const std::system_error &problem) {
        // The process that closed the other end of a pipe knows.
        return problem.code() == std::errc::broken_pipe ? failure : complain(name, problem.what(), failure);
    } catch (const std::exception &problem) {
        return complain(name, problem.what(), failure);
    }
}

} // namespace varnel::host
