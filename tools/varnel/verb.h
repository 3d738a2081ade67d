// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include <CLI/CLI.hpp>

#include "tools/varnel/commands.h"
#include "tools/varnel/device.h"

namespace varnel::tools {

/// A verb that was added: the parser of its arguments, and where it stores them.
template <typename Options>
struct added_verb {
    CLI::App &parser;
    Options &given;
};

/// The verbs of a family, such as `psu`. Each has `Options` of its own; where those have a `chip`, the first argument
/// of each verb is DEVICE.
template <typename Options>
class verbs {
  public:
    verbs(CLI::App &app, context &context, const char *name, const char *description)
        : family_(*app.add_subcommand(name, description)), context_(context) {}

    /// Verbs that have no family, such as `send`.
    verbs(CLI::App &app, context &context) : family_(app), context_(context) {}

    /// `action` gets the verb's options, after the context if it wants that, when all arguments have been read.
    template <typename Action>
    added_verb<Options> add(const char *name, const char *description, Action action) {
        const auto given = std::make_shared<Options>();
        CLI::App &parser = *family_.add_subcommand(name, description);
        parser.callback([&context = context_, given, action] {
            context.action = [&context, given, action] {
                if constexpr (std::is_invocable_v<Action, const Options &>) {
                    action(*given);
                } else {
                    action(context, *given);
                }
            };
        });
        if constexpr (requires { given->chip; }) {
            add_device(parser, given->chip);
        }
        return {parser, *given};
    }

    [[nodiscard]] CLI::App &family() { return family_; }

  private:
    CLI::App &family_;
    context &context_;
};

/// What the help of a verb, or of all verbs of a family, says after its options.
void add_note(CLI::App &verb, const std::string &text);

/// For verbs that print readings.
void add_json(CLI::App &verb, context &context);

/// For verbs that call confirm().
void add_yes(CLI::App &verb, context &context);

/// For verbs that can read back what they wrote.
void add_verify(CLI::App &verb, bool &verify);

} // namespace varnel::tools
