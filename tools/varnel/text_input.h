// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace varnel::tools {

/// Gives `use` the words, joined by spaces; without words, each line of standard input. Throws
/// std::system_error when that cannot be read.
void each_text(const std::vector<std::string> &words,
               const std::function<void(const std::string &text)> &use);

/// The first bytes of a file, up to `most`; "-" is standard input. Throws std::system_error.
std::string read_some(const std::string &path, std::size_t most);

} // namespace varnel::tools
