// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/board/trace.h"

namespace varnel::sim::campaign {

/// One run of the program: a kind of fault at one transfer, or from that transfer on.
struct trial {
    uint64_t transfer; ///< of the run that was learned, from 1
    fault_kind kind;
    bool stays; ///< from then on
    std::string chip;

    bool operator==(const trial &) const = default;
};

/// "37:stuck", "37:stuck:on"
[[nodiscard]] std::string name_of(const trial &of);

/// What a run has to do to be good.
struct rules {
    std::optional<int> status = std::nullopt; ///< nothing: any but 126, 127 and those of signals
    std::string forbidden =
        {}; ///< a regular expression that no line may match; empty: any line may be printed
};

/// How a run ended.
struct ending {
    std::optional<int> status; ///< nothing: it was still running after the time-out
    std::vector<std::string> lines;
    bool struck = false;                     ///< the fault struck a transfer
    std::optional<int> check = std::nullopt; ///< status of the check, if there is one
};

/// All trials for the transfers of a run: those that its transfers can be struck by. `selectors` are the chips with two
/// masters.
[[nodiscard]] std::vector<trial> plan(const std::vector<transfer_record> &learned,
                                      const std::vector<std::string> &selectors);

/// The trials of that name: all for "37", one for "37:stuck:on".
[[nodiscard]] std::vector<trial> chosen(const std::vector<trial> &from, std::string_view name);

/// What was bad about a run; empty when nothing was.
[[nodiscard]] std::string verdict(const ending &of, const rules &rules);

} // namespace varnel::sim::campaign
