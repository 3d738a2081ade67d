// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace varnel::tools {

/// The bytes that hexadecimal digits stand for: "01ff", "01 ff", "0x01 0xFF". Throws bad_usage, naming
/// `what`.
std::string bytes_from_hex(std::string_view text, const char *what);

/// Bytes as hexadecimal digits: "01ff".
std::string hex_from_bytes(std::string_view bytes);

} // namespace varnel::tools
