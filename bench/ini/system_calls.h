// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <span>
#include <string>

#include "ini/contenders.h"

namespace varnel::bench {

/// How often one run of `name`'s action ("get" or "set") makes each system call. Another process of this
/// program does it, under strace; throws std::runtime_error when that does not work.
std::map<std::string, int> system_calls(const std::string &name, const std::string &job, const entry &where);

/// That process: its command line asks for a run of one action, and is carried out. False for any other.
bool ran_once(std::span<char *> arguments);

} // namespace varnel::bench
