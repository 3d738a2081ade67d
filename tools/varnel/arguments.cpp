// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/arguments.h"

#include "tools/support/numbers.h"

namespace varnel::tools {

CLI::Option *add_number(CLI::App &verb, const std::string &name, uint64_t &number, uint64_t most,
                        const char *description) {
    return add_argument(
        verb, name, number, [name, most](const std::string &text) { return c_number(text, most, name); },
        description, name.starts_with('-') ? "N" : "");
}

CLI::Option *add_size(CLI::App &verb, const std::string &name, uint64_t &bytes, const char *description) {
    return add_argument(verb, name, bytes, size_in_bytes, description, "SIZE");
}

CLI::Option *add_duration(CLI::App &verb, const std::string &name,
                          std::optional<std::chrono::milliseconds> &time, const char *description) {
    return add_argument(verb, name, time, duration, description, "TIME");
}

CLI::Option *add_bytes(CLI::App &verb, const std::string &name, std::vector<uint8_t> &bytes,
                       const char *description) {
    const auto take = [name, &bytes](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            bytes.push_back(static_cast<uint8_t>(c_number(word, UINT8_MAX, name)));
        }
    };
    return verb.add_option_function<std::vector<std::string>>(name, take, description)
        ->type_name("")
        ->expected(-1);
}

} // namespace varnel::tools
