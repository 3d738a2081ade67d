// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/script.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/duration.h"
#include "host/ini_file.h"
#include "host/numbers.h"
#include "sim/scenario/regular_expression.h"

namespace varnel::sim::scenario {

namespace {

constexpr std::string_view blanks = " \t";
constexpr int highest_status = 255;

/// What is wrong with a line; the reader adds file and number.
class mistake : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The words of a line, one after the other.
class word_reader {
  public:
    explicit word_reader(std::string_view line) : rest_(trimmed(line)) {}

    [[nodiscard]] bool at_end() const { return rest_.empty(); }
    [[nodiscard]] std::string_view peek() const { return rest_.substr(0, rest_.find_first_of(blanks)); }

    /// The next word. Throws mistake: "WHAT is missing".
    std::string word(std::string_view what) {
        const std::string_view next = peek();
        if (next.empty()) {
            throw mistake(fmt::format("{} is missing", what));
        }
        rest_ = trimmed(rest_.substr(next.size()));
        return std::string(next);
    }

    /// Takes the next word if it is this one.
    bool take(std::string_view word_to_take) {
        const bool found = peek() == word_to_take;
        if (found) {
            rest_ = trimmed(rest_.substr(word_to_take.size()));
        }
        return found;
    }

    std::string remaining(std::string_view what) {
        if (at_end()) {
            throw mistake(fmt::format("{} is missing", what));
        }
        return std::string(std::exchange(rest_, {}));
    }

    /// Cuts "for TIME" off the end.
    std::optional<std::string> ending_after(std::string_view keyword) {
        const std::size_t found = rest_.rfind(fmt::format(" {} ", keyword));
        if (found == std::string_view::npos) {
            return std::nullopt;
        }
        std::string text(trimmed(rest_.substr(found + keyword.size() + 2)));
        rest_ = trimmed(rest_.substr(0, found));
        return text;
    }

    void finish() const {
        if (!at_end()) {
            throw mistake(fmt::format("unexpected: {}", rest_));
        }
    }

  private:
    std::string_view rest_;
};

milliseconds time_from(const std::string &text) {
    const auto time = host::duration(text);
    if (!time) {
        throw mistake(fmt::format("'{}' is not a time, such as 500ms, 1s or 2m", text));
    }
    return *time;
}

int status_from(const std::string &text) {
    const auto status = host::whole_number<int>(text);
    if (!status || *status > highest_status) {
        throw mistake(fmt::format("'{}' is not an exit status from 0 to 255", text));
    }
    return *status;
}

/// What stands between the slashes.
std::string pattern_from(const std::string &text) {
    if (text.size() < 3 || !text.starts_with('/') || !text.ends_with('/')) {
        throw mistake(fmt::format("'{}' is not a /regular expression/", text));
    }
    std::string pattern = text.substr(1, text.size() - 2);
    if (const auto wrong = regular_expression(pattern).mistake()) {
        throw mistake(fmt::format("/{}/: {}", pattern, *wrong));
    }
    return pattern;
}

constexpr const char *regular = "/regular expression/";

/// "monitor.log has /regex/", after "log" or "queue".
template <class Condition>
Condition content_from(const char *what, word_reader &words) {
    std::string file = words.word("the file");
    if (!words.take("has")) {
        throw mistake(fmt::format("'{}' is followed by: FILE has /REGEX/", what));
    }
    return {std::move(file), pattern_from(words.remaining(regular))};
}

reading_is reading_from(const std::string &name, word_reader &words) {
    const std::size_t dot = name.find('.');
    if (dot == 0 || dot + 1 == name.size()) {
        throw mistake(fmt::format("'{}' is not CHIP.READING", name));
    }
    return {name.substr(0, dot), name.substr(dot + 1), words.remaining("the value")};
}

/// A program is known by what follows its name, a reading by its dot.
condition condition_from(word_reader &words) {
    if (words.take("transfer")) {
        if (!words.take("to")) {
            throw mistake("'transfer' is followed by: to CHIP");
        }
        return transfer_to{words.word("the chip")};
    }
    if (words.take("succeeds")) {
        return command_succeeds{words.remaining("the command")};
    }
    if (words.take("log")) {
        return content_from<log_has>("log", words);
    }
    if (words.take("queue")) {
        return content_from<queue_has>("queue", words);
    }
    const std::string name = words.word("what to expect");
    if (words.take("prints")) {
        return prints_line{name, pattern_from(words.remaining(regular))};
    }
    if (words.take("ends")) {
        return ends_with{name, words.take("with") ? std::optional(status_from(words.word("the status")))
                                                  : std::nullopt};
    }
    if (name.find('.') == std::string::npos) {
        throw mistake(fmt::format(
            "'{}' is followed by: prints /REGEX/, or ends with STATUS; a reading is CHIP.READING", name));
    }
    return reading_from(name, words);
}

expect_soon soon_from(word_reader &words) {
    const milliseconds within = words.take("within") ? time_from(words.word("the time")) : usual_wait;
    return {condition_from(words), within};
}

action expectation_from(word_reader &words) {
    if (!words.take("no")) {
        return soon_from(words);
    }
    const auto during = words.ending_after("for");
    if (!during) {
        throw mistake("'expect no' ends with: for TIME");
    }
    return expect_none{condition_from(words), time_from(*during)};
}

start_program start_from(word_reader &words) {
    std::string name = words.word("the program's name");
    return {std::move(name), words.remaining("the program")};
}

board_command board_command_from(const std::string &verb, word_reader &words) {
    board_command command{{verb}};
    while (!words.at_end()) {
        command.words.push_back(words.word("an argument"));
    }
    return command;
}

switch_power power_from(word_reader &words) {
    const std::string state = words.word("on or off");
    if (state != "on" && state != "off") {
        throw mistake("'power' is followed by: on, or off");
    }
    return {state == "on"};
}

/// A verb of the language.
struct verb {
    std::string_view name;
    action (*read)(const std::string &name, word_reader &words);
};

constexpr std::array verbs{
    verb{"start", [](const std::string &, word_reader &words) -> action { return start_from(words); }},
    verb{"stop",
         [](const std::string &, word_reader &words) -> action {
             return end_program{words.word("the program's name"), SIGTERM};
         }},
    verb{"kill",
         [](const std::string &, word_reader &words) -> action {
             return end_program{words.word("the program's name"), SIGKILL};
         }},
    verb{"power", [](const std::string &, word_reader &words) -> action { return power_from(words); }},
    verb{"at",
         [](const std::string &, word_reader &words) -> action {
             return pause{time_from(words.word("the time")), true};
         }},
    verb{"after",
         [](const std::string &, word_reader &words) -> action {
             return pause{time_from(words.word("the time")), false};
         }},
    verb{"when", [](const std::string &, word_reader &words) -> action { return soon_from(words); }},
    verb{"expect", [](const std::string &, word_reader &words) { return expectation_from(words); }},
    verb{"run",
         [](const std::string &, word_reader &words) -> action {
             return run_command{words.remaining("the command")};
         }},
    verb{"set",
         [](const std::string &name, word_reader &words) -> action {
             return board_command_from(name, words);
         }},
    verb{"plug",
         [](const std::string &name, word_reader &words) -> action {
             return board_command_from(name, words);
         }},
    verb{"unplug",
         [](const std::string &name, word_reader &words) -> action {
             return board_command_from(name, words);
         }},
    verb{"fault",
         [](const std::string &name, word_reader &words) -> action {
             return board_command_from(name, words);
         }},
};

action action_from(word_reader &words) {
    const std::string name = words.word("a verb");
    const auto *const found = std::ranges::find(verbs, name, &verb::name);
    if (found == verbs.end()) {
        std::string known = "board";
        for (const verb &each : verbs) {
            known += fmt::format(", {}", each.name);
        }
        throw mistake(fmt::format("there is no '{}', only {}", name, known));
    }
    action read = found->read(name, words);
    words.finish();
    return read;
}

/// The program that a condition is about; empty for none.
std::string program_in(const condition &what) {
    if (const auto *const line = std::get_if<prints_line>(&what)) {
        return line->program;
    }
    const auto *const end = std::get_if<ends_with>(&what);
    return end == nullptr ? "" : end->program;
}

/// The condition of a step; null when it has none.
const condition *condition_of(const action &what) {
    if (const auto *const soon = std::get_if<expect_soon>(&what)) {
        return &soon->what;
    }
    const auto *const none = std::get_if<expect_none>(&what);
    return none == nullptr ? nullptr : &none->what;
}

std::string program_in(const action &what) {
    if (const condition *const expected = condition_of(what)) {
        return program_in(*expected);
    }
    const auto *const end = std::get_if<end_program>(&what);
    return end == nullptr ? "" : end->name;
}

/// A step may name programs only after they have been started.
void check_programs(const std::vector<step> &steps) {
    const std::string name = program_in(steps.back().what);
    const auto starts_it = [&name](const step &each) {
        const auto *const start = std::get_if<start_program>(&each.what);
        return start != nullptr && start->name == name;
    };
    if (!name.empty() && std::ranges::none_of(steps, starts_it)) {
        throw mistake(fmt::format("no program '{}' has been started", name));
    }
}

/// A board without power runs no programs, and its power is switched off and on in turn.
void check_power(const std::vector<step> &steps) {
    bool on = true;
    for (std::size_t i = 0; i + 1 < steps.size(); ++i) {
        const auto *const power = std::get_if<switch_power>(&steps[i].what);
        on = power == nullptr ? on : power->on;
    }
    const auto *const power = std::get_if<switch_power>(&steps.back().what);
    const bool starts = std::holds_alternative<start_program>(steps.back().what) ||
                        std::holds_alternative<run_command>(steps.back().what);
    if ((power != nullptr && power->on == on) || (starts && !on)) {
        throw mistake(on ? "the board has power" : "the board has no power");
    }
}

/// Takes what a line says into the script.
void add_line(script &to, int number, std::string_view line) {
    word_reader words(line);
    if (words.take("board")) {
        if (!to.board.empty()) {
            throw mistake("the board has been given");
        }
        to.board = words.remaining("the board file");
        return;
    }
    if (to.board.empty()) {
        throw mistake("the first line has to be: board FILE");
    }
    to.steps.push_back({number, std::string(line), action_from(words)});
    check_programs(to.steps);
    check_power(to.steps);
    const condition *const expected = condition_of(to.steps.back().what);
    if (const auto *const queue = expected == nullptr ? nullptr : std::get_if<queue_has>(expected)) {
        to.queues.insert(queue->file);
    }
}

} // namespace

script read_script(std::istream &input, const std::string &file) {
    script result{file, {}, {}, {}};
    std::string text;
    for (int number = 1; std::getline(input, text); ++number) {
        const std::string_view line = trimmed(text);
        const bool comment = line.starts_with('#');
        if (comment && result.title.empty() && result.board.empty() &&
            line.find("SPDX-") == std::string_view::npos) {
            result.title = trimmed(line.substr(1));
        }
        if (comment || line.empty()) {
            continue;
        }
        try {
            add_line(result, number, line);
        } catch (const mistake &wrong) {
            throw host::bad_line(file, number, wrong.what());
        }
    }
    if (result.steps.empty()) {
        throw host::bad_line(file, 1, "a scenario has a board and at least one step");
    }
    return result;
}

} // namespace varnel::sim::scenario
