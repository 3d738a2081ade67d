// SPDX-License-Identifier: Apache-2.0
#include "host/options.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "host/command_line.h"
#include "host/duration.h"

namespace varnel::host {

argument add_probability(argument_parser verb, const std::string &name, std::optional<double> &probability,
                         const char *description) {
    const auto read = [name](const std::string &text) {
        const auto number = real_number(text);
        if (!number || !(*number >= 0 && *number <= 1)) {
            throw bad_usage(fmt::format("{}: '{}' is not a number from 0 to 1", name, text));
        }
        return *number;
    };
    return add_argument(verb, name, probability, read, description, "P");
}

argument add_size(argument_parser verb, const std::string &name, uint64_t &bytes, const char *description) {
    return add_argument(
        verb, name, bytes, [name](const std::string &text) { return size_in_bytes(text, name); }, description,
        "SIZE");
}

argument add_duration(argument_parser verb, const std::string &name,
                      std::optional<std::chrono::milliseconds> &time, const char *description) {
    const auto read = [name](const std::string &text) {
        const auto given = duration(text);
        return given ? *given
                     : throw bad_usage(
                           fmt::format("{}: '{}' is not a time, such as 500ms, 1s or 2m", name, text));
    };
    return add_argument(verb, name, time, read, description, "TIME");
}

std::size_t place_among(const std::vector<std::string> &words, const std::string &text,
                        const std::string &what) {
    const auto found = std::ranges::find(words, text);
    if (found == words.end()) {
        const std::string all_but_last = fmt::format("{}", fmt::join(words.begin(), words.end() - 1, ", "));
        throw bad_usage(fmt::format("{}: '{}' is not {} or {}", what, text, all_but_last, words.back()));
    }
    return static_cast<std::size_t>(found - words.begin());
}

std::string any_of(const std::vector<std::string> &words) { return fmt::format("{}", fmt::join(words, "|")); }

argument add_choice(argument_parser verb, const std::string &name, std::size_t &choice,
                    std::vector<std::string> words, const char *description) {
    const std::string type = any_of(words);
    const auto read = [name, all = std::move(words)](const std::string &text) {
        return place_among(all, text, name);
    };
    return add_argument(verb, name, choice, read, description, type.c_str());
}

argument add_bytes(argument_parser verb, const std::string &name, std::vector<uint8_t> &bytes,
                   const char *description) {
    const auto read_all = [name, &bytes](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            bytes.push_back(static_cast<uint8_t>(c_number(word, UINT8_MAX, name)));
        }
    };
    const argument added = verb.add_option(name, read_all, description);
    return name.starts_with('-') ? added.type_name("N,N...").delimiter(',').one_value_each_time()
                                 : added.type_name("").expected(-1);
}

} // namespace varnel::host
