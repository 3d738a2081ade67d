// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <span>
#include <string>

#include "ini/contenders.h"

namespace varnel::bench {

/// How often one run of `name`'s action ("get" or "set") makes each system call. Runs this program in another
/// process under strace; throws std::runtime_error when that fails.
std::map<std::string, int> system_calls(const std::string &name, const std::string &job, const entry &where);

/// In that process: runs the one action that the command line requests. False for any other command line.
bool ran_once(std::span<char *> arguments);

} // namespace varnel::bench
