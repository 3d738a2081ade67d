// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace varnel::host {

/// "500ms", "1s", "2m", "1.5s": 1 ms to a day; nothing for other text.
[[nodiscard]] std::optional<std::chrono::milliseconds> duration(std::string_view text);

} // namespace varnel::host
