// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace varnel::tools {

struct ini_entry {
    std::string section, key, value;
};

/// The entries of an INI text, in its order, with the values that daemons read. Those that no daemon finds are left out:
/// before the first section, or after an entry of the same section whose key is the same.
[[nodiscard]] std::vector<ini_entry> entries_of(const std::string &text);

/// A text without the line that a place of it is in.
[[nodiscard]] std::string without_line_at(const std::string &text, std::size_t place);

/// Replaces the content of a file by a shorter one, as the library's setters do: the file stays the same one, and a process
/// that is killed leaves the old or the new text. Throws std::system_error.
void shorten_file(const std::string &path, std::string text);

} // namespace varnel::tools
