// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/pin_words.h"

#include <fmt/format.h>

#include "host/options.h"
#include "tools/varnel/commands.h"

namespace varnel::tools {

pin_states pin_states_from(const std::vector<std::string> &words, const expander &target,
                           const std::vector<std::string> &states) {
    pin_states found;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const expander_pin pin = target.pin_from(words[i]);
        if (i + 1 == words.size()) {
            throw bad_usage(
                fmt::format("missing argument: {} or {} for pin {}", states[0], states[1], words[i]));
        }
        found.emplace_back(pin, place_among(states, words[i + 1], "pin " + words[i]) == 0);
    }
    return found;
}

void add_pin_words(argument_parser verb, std::vector<std::string> &words, const char *type,
                   const char *in_help, const char *description) {
    verb.add_option("PIN", words, description).required().expected(-1).type_name(type).option_text(in_help);
}

void add_model(argument_parser verb, const expander_model *&model) {
    add_argument(verb, "--chip", model, expander_model_from,
                 ("default: " + expander_model_names().front()).c_str(),
                 any_of(expander_model_names()).c_str());
}

} // namespace varnel::tools
