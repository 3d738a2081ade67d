// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/page_words.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sim/board/fault_kinds.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

namespace {

constexpr std::array<std::string_view, 4> verbs{"set", "plug", "unplug", "fault"};
constexpr std::array<std::string_view, 5> options_of_fault{"--count", "--rate", "--seed", "--from",
                                                           "--until"};

bool is_option_of_fault(std::string_view word) {
    const std::string_view name = word.substr(0, word.find('='));
    return std::ranges::find(options_of_fault, name) != options_of_fault.end() ||
           std::ranges::find(fault_parameters(), name, &parameter_facts::option) != fault_parameters().end();
}

bool is_negative_number(std::string_view word) {
    return word.size() > 1 && (std::isdigit(static_cast<unsigned char>(word[1])) != 0 || word[1] == '.');
}

/// Other options choose another board or print on the terminal.
void check(const std::vector<std::string> &words) {
    if (words.empty() || std::ranges::find(verbs, words.front()) == verbs.end()) {
        throw bad_usage(fmt::format("only {} can be done from a page", fmt::join(verbs, ", ")));
    }
    for (const std::string &word : words) {
        const bool allowed =
            is_negative_number(word) || (words.front() == "fault" && is_option_of_fault(word));
        if (word.starts_with('-') && !allowed) {
            throw bad_usage(fmt::format("unexpected argument: {}", word));
        }
    }
}

} // namespace

void run_page_words(const std::string &board, std::vector<std::string> words) {
    check(words);
    words.insert(words.begin() + 1, {"--board", board});
    (void)run_command(std::move(words), [](const invocation &call) { call.action(); });
}

} // namespace varnel::sim::tool
