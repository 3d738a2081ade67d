// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/options.h"
#include "tools/varnel/commands.h"

namespace varnel::tools {

struct watch_options {
    std::optional<std::chrono::milliseconds> interval; ///< --watch
    std::optional<uint64_t> count;                     ///< --count; none = until interrupted
};

/// --watch TIME and --count N.
void add_watch(argument_parser verb, watch_options &options);

/// Prints what `view` returns, once or, with --watch, again and again: in place on a terminal, one after the
/// other elsewhere. While it watches, what `view` throws as failed is shown and does not end it; signals
/// (held_signals.h) do, and are a success.
void show(const watch_options &options, const std::function<std::string()> &view);

} // namespace varnel::tools
