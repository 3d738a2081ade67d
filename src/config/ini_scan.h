// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace varnel {

/// Positions in the scanned text; null when not found.
struct ini_match {
    const char *section_name = nullptr; // after the header's '['
    const char *section_body = nullptr; // after the header's ']' and the white space that follows it
    const char *value = nullptr;        // after the '='
    const char *value_end = nullptr;    // the end of the line
};

/// Searches for a key in every section of a name; without a match for the key, the result has the last of
/// these sections. A NUL must follow `text`.
[[nodiscard]] ini_match scan_ini(std::string_view text, const char *section, const char *key);

} // namespace varnel
