// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "tools/varnel/commands.h"
#include "tools/varnel/device_address.h"

namespace varnel::tools {

/// A verb that was added: the parser of its arguments, and where it stores them.
template <typename Options>
struct added_verb {
    argument_parser parser;
    Options &given;
};

/// The verbs of a family, such as `psu`. Each has `Options` of its own; where those have a `chip`, the first argument
/// of each verb is DEVICE.
template <typename Options>
class verbs {
  public:
    verbs(argument_parser app, invocation &call, const char *name, const char *description)
        : family_(app.add_subcommand(name, description)), call_(call) {}

    /// Verbs that have no family, such as `send`.
    verbs(argument_parser app, invocation &call) : family_(app), call_(call) {}

    /// `action` gets the verb's options, after the invocation if it wants that, when all arguments have been read.
    template <typename Action>
    added_verb<Options> add(const char *name, const char *description, Action action) {
        const auto given = std::make_shared<Options>();
        argument_parser parser = family_.add_subcommand(name, description);
        parser.callback([&call = call_, given, action] {
            call.action = [&call, given, action] { perform(action, call, *given); };
        });
        if constexpr (requires { given->chip; }) {
            add_device(parser, given->chip);
        }
        return {parser, *given};
    }

    [[nodiscard]] argument_parser family() { return family_; }

  private:
    template <typename Action>
    static void perform(const Action &action, [[maybe_unused]] invocation &call, const Options &given) {
        if constexpr (std::is_invocable_v<Action, const Options &>) {
            action(given);
        } else {
            action(call, given);
        }
    }

    argument_parser family_;
    invocation &call_;
};

/// For verbs that print readings.
void add_json(argument_parser verb, invocation &call);

/// For verbs that call confirm().
void add_yes(argument_parser verb, invocation &call);

/// For verbs that can read back what they wrote.
void add_verify(argument_parser verb, bool &verify);

} // namespace varnel::tools
