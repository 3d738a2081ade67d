// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/gpio_wait.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "host/options.h"
#include "tools/varnel/pin_words.h"
#include "tools/varnel/verb.h"

namespace varnel::tools {

namespace {

using std::chrono::milliseconds;

/// An expander has no way to tell a program of a change, so the levels are read again and again.
constexpr milliseconds default_interval{10};

struct options {
    device_address chip;
    const expander_model *model = default_expander_model();
    std::vector<std::string> words;
    std::optional<milliseconds> timeout; ///< none: without limit
    std::optional<milliseconds> interval;
};

void wait_for_levels(const options &given) {
    const auto begin = std::chrono::steady_clock::now();
    const expander target(given.chip, *given.model);
    const pin_states wanted = pin_states_from(given.words, target, {"high", "low"});
    const auto differs = [&](const pin_states::value_type &pin) {
        return target.read(registers::level, pin.first) != pin.second;
    };
    for (;;) {
        const auto other = std::ranges::find_if(wanted, differs);
        if (other == wanted.end()) {
            return;
        }
        if (given.timeout && std::chrono::steady_clock::now() - begin >= *given.timeout) {
            throw failed(fmt::format("{}: pin {} is {} after {} ms", given.chip.name(),
                                     target.name(other->first), level_name(!other->second),
                                     given.timeout->count()));
        }
        std::this_thread::sleep_for(given.interval.value_or(default_interval));
    }
}

} // namespace

void add_gpio_wait(argument_parser gpio, invocation &call) {
    const auto verb = verbs<options>(gpio, call).add("wait", "Wait until pins have levels", wait_for_levels);
    add_model(verb.parser, verb.given.model);
    add_pin_words(verb.parser, verb.given.words, "PIN|high|low", "high|low ...",
                  "pins, each followed by its level");
    add_duration(verb.parser, "--timeout", verb.given.timeout,
                 "fail after this time; default: wait without limit");
    add_duration(verb.parser, "--every", verb.given.interval, "how often to read; default: 10ms");
}

} // namespace varnel::tools
