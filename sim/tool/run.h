// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sim/tool/commands.h"
#include "sim/tool/start.h"

namespace varnel::sim::tool {

/// Does what `varnel-sim run --board FILE -- WORDS` does in this process, which ends with the program's exit status. The
/// board is that of the environment, if it is of this file.
[[noreturn]] void become_run(const std::string &board_file, const std::vector<std::string> &words,
                             const time_options &time);

/// Runs the program of a call and records its board's transfers in a file, as JSON. Returns the program's exit status.
int run_recorded(const invocation &call, const std::string &file, bool virtual_time);

} // namespace varnel::sim::tool
