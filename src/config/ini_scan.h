// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace varnel {

/// Places in the scanned text; null where nothing was found.
struct ini_match {
    const char *section_name = nullptr; // behind the header's '['
    const char *section_body = nullptr; // behind the header's ']' and the white space that follows it
    const char *value = nullptr;        // behind the '='
    const char *value_end = nullptr;    // at the line end
};

/// Looks for a key in every section of a name; of the sections without the key the match names the last one.
/// A NUL must follow `text`.
[[nodiscard]] ini_match scan_ini(std::string_view text, const char *section, const char *key);

} // namespace varnel
