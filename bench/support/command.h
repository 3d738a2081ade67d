// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::bench {

/// Runs a command line through the shell; returns what it wrote to standard output. Throws std::runtime_error
/// with the command when it cannot be run or its status is not 0.
std::string output_of(const std::string &command);

/// Quotes `word` so that the shell reads it as one word.
std::string quoted(const std::string &word);

} // namespace varnel::bench
