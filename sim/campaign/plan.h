// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/board/trace.h"

namespace varnel::sim::campaign {

/// A kind of fault at one transfer, or from that transfer on.
struct strike {
    uint64_t transfer; ///< of the run, from 1
    fault_kind kind;
    bool stays; ///< from then on
    std::string chip;
    std::string place; ///< "exp0@0x20 Input port 0"

    bool operator==(const strike &) const = default;
};

/// One run of the program.
struct trial {
    strike first;
    std::optional<strike> second = std::nullopt; ///< of a pair; at a later transfer

    bool operator==(const trial &) const = default;
};

/// "37:stuck", "37:stuck:on", "37:stuck+38:nack"
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
    std::optional<int> check = std::nullopt; ///< status of the check, if there is one
};

/// All trials with one fault for the transfers of a run: those that its transfers can be struck by. `selectors` are the
/// chips with two masters.
[[nodiscard]] std::vector<trial> plan(const std::vector<transfer_record> &learned,
                                      const std::vector<std::string> &selectors);

/// All pairs that begin with the fault of a trial: the second is at a later one of the transfers that its run had.
[[nodiscard]] std::vector<trial> pairs_after(const trial &first,
                                             const std::vector<transfer_record> &transfers,
                                             const std::vector<std::string> &selectors);

/// Puts pairs into the order in which they are tried: those that follow each other soon come first, and of those with the
/// same distance all are as likely, the same in every campaign.
void order_pairs(std::vector<trial> &pairs);

/// The trials of that name: all for "37", one for "37:stuck:on".
[[nodiscard]] std::vector<trial> chosen(const std::vector<trial> &from, std::string_view name);

/// Whether each fault of a trial struck a transfer of its run.
[[nodiscard]] bool struck(const trial &of, const std::vector<transfer_record> &transfers);

/// What was bad about a run; empty when nothing was.
[[nodiscard]] std::string verdict(const ending &of, const rules &rules);

} // namespace varnel::sim::campaign
