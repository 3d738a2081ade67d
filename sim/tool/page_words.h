// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::sim::tool {

/// Carries out what a page asks for with the words of a command line: set, plug, unplug or fault with their arguments,
/// but no other option. `board` is a board file. Throws bad_usage.
void run_page_words(const std::string &board, std::vector<std::string> words);

} // namespace varnel::sim::tool
