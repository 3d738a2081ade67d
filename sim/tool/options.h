// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "host/options.h"
#include "sim/tool/commands.h"

namespace varnel::sim::tool {

/// Adds a command with the options that all have. `action` is carried out when all of it has been read.
argument_parser add_command(argument_parser app, const char *name, const char *description, invocation &call,
                            std::function<void()> action);

/// "--time real|virtual".
void add_time(argument_parser command, bool &is_virtual);

/// Throws bad_usage where virtual time cannot be had; on a new board neither inside a `run`, whose programs it would share a
/// supervisor with.
void check_virtual_time(bool is_new_board);

/// Something of a chip that an argument names: "psu0.load".
struct chip_member {
    std::string chip;
    std::string name;
};

/// Throws bad_usage: "'TEXT' is not CHIP.NAME".
[[nodiscard]] chip_member chip_member_from(const std::string &text, const char *form);

} // namespace varnel::sim::tool
