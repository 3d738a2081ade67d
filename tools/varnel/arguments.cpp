// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/arguments.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/numbers.h"

namespace varnel::tools {

CLI::Option *add_number(CLI::App &verb, const std::string &name, uint64_t &number, uint64_t most,
                        const char *description) {
    return add_argument(
        verb, name, number,
        [name, most](const std::string &text) { return host::c_number(text, most, name); }, description,
        name.starts_with('-') ? "N" : "");
}

CLI::Option *add_size(CLI::App &verb, const std::string &name, uint64_t &bytes, const char *description) {
    return add_argument(verb, name, bytes, host::size_in_bytes, description, "SIZE");
}

CLI::Option *add_duration(CLI::App &verb, const std::string &name,
                          std::optional<std::chrono::milliseconds> &time, const char *description) {
    return add_argument(verb, name, time, host::duration, description, "TIME");
}

std::size_t place_among(const std::vector<std::string> &words, const std::string &text,
                        const std::string &what) {
    const auto found = std::ranges::find(words, text);
    if (found == words.end()) {
        const std::string all_but_last = fmt::format("{}", fmt::join(words.begin(), words.end() - 1, ", "));
        throw host::bad_usage(
            fmt::format("{}: '{}' is not {} or {}", what, text, all_but_last, words.back()));
    }
    return static_cast<std::size_t>(found - words.begin());
}

std::string any_of(const std::vector<std::string> &words) { return fmt::format("{}", fmt::join(words, "|")); }

CLI::Option *add_choice(CLI::App &verb, const std::string &name, std::size_t &choice,
                        std::vector<std::string> words, const char *description) {
    const std::string type = any_of(words);
    const auto read = [name, all = std::move(words)](const std::string &text) {
        return place_among(all, text, name);
    };
    return add_argument(verb, name, choice, read, description, type.c_str());
}

CLI::Option *add_bytes(CLI::App &verb, const std::string &name, std::vector<uint8_t> &bytes,
                       const char *description) {
    const auto take = [name, &bytes](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            bytes.push_back(static_cast<uint8_t>(host::c_number(word, UINT8_MAX, name)));
        }
    };
    CLI::Option *const option = verb.add_option_function<std::vector<std::string>>(name, take, description);
    return name.starts_with('-') ? option->type_name("N,N...")->delimiter(',')->allow_extra_args(false)
                                 : option->type_name("")->expected(-1);
}

} // namespace varnel::tools
