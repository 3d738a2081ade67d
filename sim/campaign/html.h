// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sim/campaign/results.h"

namespace varnel::sim::campaign {

/// What a page says besides the results.
struct page_texts {
    std::string program;                                   ///< as typed
    std::string summary;                                   ///< a line
    std::function<std::string(const judged &)> repetition; ///< the command that repeats a run
};

/// The results as a page in one file: a matrix of transfers and kinds of fault, and all bad runs. It needs no scripts and
/// nothing else, can be read without colours, with the keyboard alone, and by screen readers.
[[nodiscard]] std::string html_of(const page_texts &texts, const std::vector<judged> &results);

} // namespace varnel::sim::campaign
