// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::host {

/// The word among `known` that was probably meant by `typed`: the first that begins with it, otherwise the nearest one
/// with at most one mistake in three letters. Empty when there is none. Dashes before words are ignored.
[[nodiscard]] std::string suggestion(std::string_view typed, const std::vector<std::string> &known);

/// "; did you mean 'WORD'?" with the suggestion, the end of an error message. Empty when there is none.
[[nodiscard]] std::string did_you_mean(std::string_view typed, const std::vector<std::string> &known);

/// The same for what has names.
template <typename Parts, typename Name>
[[nodiscard]] std::string did_you_mean(std::string_view typed, const Parts &parts, Name name) {
    std::vector<std::string> names;
    std::ranges::transform(parts, std::back_inserter(names), name);
    return did_you_mean(typed, names);
}

} // namespace varnel::host
