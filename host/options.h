// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/argument_parser.h"
#include "host/numbers.h"

namespace varnel::host {

/// An option ("--limit") or a positional argument ("COUNT") that `read` makes a value of; it throws
/// bad_usage. Positional arguments are required.
template <typename Value, typename Reader>
argument add_argument(argument_parser verb, const std::string &name, Value &value, Reader read,
                      const char *description, const char *type = "") {
    const argument added = verb.add_option(
        name, [&value, read](const std::string &text) { value = read(text); }, description);
    added.type_name(type);
    return name.starts_with('-') ? added : added.required();
}

/// A number in C notation, 0x.. or decimal; `number` may be a std::optional.
template <typename Number>
argument add_number(argument_parser verb, const std::string &name, Number &number, range allowed,
                    const char *description) {
    return add_argument(
        verb, name, number,
        [name, allowed](const std::string &text) { return c_number(text, allowed, name); }, description,
        name.starts_with('-') ? "N" : "");
}

/// A probability from 0 to 1.
argument add_probability(argument_parser verb, const std::string &name, std::optional<double> &probability,
                         const char *description);

/// The placeholder of one of these words: "on|off".
[[nodiscard]] std::string any_of(const std::vector<std::string> &words);

/// One of a few words, which becomes its place among them.
argument add_choice(argument_parser verb, const std::string &name, std::size_t &choice,
                    std::vector<std::string> words, const char *description);

/// The place of a word among others. Throws bad_usage: "WHAT: 'TEXT' is not WORD, WORD or WORD".
[[nodiscard]] std::size_t place_among(const std::vector<std::string> &words, const std::string &text,
                                      const std::string &what);

/// A number of bytes: 4096, 64K, 1M.
argument add_size(argument_parser verb, const std::string &name, uint64_t &bytes, const char *description);

/// A time: 500ms, 1s, 2m.
argument add_duration(argument_parser verb, const std::string &name,
                      std::optional<std::chrono::milliseconds> &time, const char *description);

/// As many positional arguments as there are, each a number in C notation from 0 to 255; or, as an option, a
/// list with commas.
argument add_bytes(argument_parser verb, const std::string &name, std::vector<uint8_t> &bytes,
                   const char *description);

} // namespace varnel::host
