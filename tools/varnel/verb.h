// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "tools/varnel/commands.h"

namespace varnel::tools {

/// A family of verbs, such as `psu`.
CLI::App &add_family(CLI::App &app, const char *name, const char *description);

/// A verb; `action` is carried out when all arguments have been read and are right.
CLI::App &add_verb(CLI::App &family, const char *name, const char *description, context &context,
                   std::function<void()> action);

/// For verbs that print readings.
void add_json(CLI::App &verb, context &context);

/// For verbs that call confirm().
void add_yes(CLI::App &verb, context &context);

} // namespace varnel::tools
