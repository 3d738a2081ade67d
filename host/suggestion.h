// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnel::host {

/// The word among `known` that was probably meant by `typed`: the first that begins with it, otherwise the nearest one
/// with at most one mistake in three letters. Empty when there is none. Dashes before words are ignored.
[[nodiscard]] std::string suggestion(std::string_view typed, const std::vector<std::string> &known);

} // namespace varnel::host
