// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <CLI/CLI.hpp>

#include "sim/tool/commands.h"

namespace varnel::sim::tool {

/// Adds a command with the options that all have. `action` is carried out when all of it has been read.
CLI::App *add_command(CLI::App &app, const char *name, const char *description, invocation &call,
                      std::function<void()> action);

/// An option that takes a decimal whole number; bad_usage names the option and what was given instead.
CLI::Option *add_number(CLI::App &command, const char *option, std::optional<uint64_t> &number,
                        const char *description);

/// An option that takes a probability from 0 to 1.
CLI::Option *add_probability(CLI::App &command, const char *option, std::optional<double> &number,
                             const char *description);

} // namespace varnel::sim::tool
