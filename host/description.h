// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include "host/command_line.h"
#include "host/json.h"

namespace varnel::host {

/// What a command accepts, as JSON: name, description, footer, aliases, arguments, options and verbs, each verb like
/// the command; and its exit statuses and the placeholders that it lists candidates for. packaging/reference makes shell
/// completion and manual page of it.
[[nodiscard]] nlohmann::ordered_json description_of(const CLI::App &command, const self_description &self);

} // namespace varnel::host
