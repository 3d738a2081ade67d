// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace varnel::host {

/// Opens /dev/null in the place of each standard descriptor that is closed. Otherwise the next file opened
/// would get its number, and what is meant for standard output would be written to that file. Using such a
/// descriptor fails with EBADF, as for a closed one: reading standard input, and writing the other two.
/// Throws std::system_error.
void open_missing_standard_descriptors();

/// Prints to standard output, at once. Throws std::system_error.
void print(std::string_view text);

/// Prints a line to standard error. Returns false when it cannot be written, which is no reason to end.
bool say(std::string_view line) noexcept;

} // namespace varnel::host
