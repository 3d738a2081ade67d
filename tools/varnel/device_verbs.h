// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <CLI/CLI.hpp>

#include "tools/varnel/device.h"
#include "tools/varnel/verb.h"

namespace varnel::tools {

/// Adds a family's verbs for a chip one after the other; each has `Options` of its own, with the chip in
/// them.
template <typename Options>
class device_verbs {
  protected:
    device_verbs(CLI::App &family, context &context) : family_(family), context_(context) {}

    /// `action` gets the context and the verb's options.
    template <typename Action>
    CLI::App &add(const char *name, const char *description, Action action) {
        given_ = std::make_shared<Options>();
        CLI::App &verb = add_verb(family_, name, description, context_,
                                  [&context = context_, given = given_, action] { action(context, *given); });
        add_device(verb, given_->chip);
        return verb;
    }

    void add_verify(CLI::App &verb) { verb.add_flag("--verify", given_->verify, "read it back and compare"); }

    CLI::App &family_;
    context &context_;
    std::shared_ptr<Options> given_ = {}; ///< of the verb added last
};

} // namespace varnel::tools
