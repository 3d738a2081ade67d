// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "sim/campaign/plan.h"

namespace varnel::sim::campaign {

/// What became of a trial.
struct judged {
    trial of;
    std::string verdict; ///< empty: good
    bool struck;
    std::chrono::duration<double> time;
    std::vector<transfer_record> transfers; ///< of the run, if they are wanted
};

/// What is known about a fault at a transfer.
enum class outcome : uint8_t {
    none, ///< not tried, or it struck no transfer
    good,
    bad,
};

/// The results of trials with one fault, by transfer and kind.
class matrix {
  public:
    explicit matrix(const std::vector<judged> &results);
    /// Null when there is none.
    [[nodiscard]] const judged *find(uint64_t transfer, fault_kind kind, bool stays) const;
    [[nodiscard]] outcome at(uint64_t transfer, fault_kind kind, bool stays) const;
    /// The transfers of the trials, in order, each with its place.
    [[nodiscard]] const std::map<uint64_t, std::string> &transfers() const { return transfers_; }

  private:
    std::map<std::tuple<uint64_t, fault_kind, bool>, const judged *> results_ = {};
    std::map<uint64_t, std::string> transfers_ = {};
};

[[nodiscard]] outcome outcome_of(const judged &result);

/// A matrix for people: a transfer is a row, a kind two characters, once and from then on.
[[nodiscard]] std::string table_of(const std::vector<judged> &results);

/// "37 transfers, 1020 runs, 980 with a fault that struck: 14 bad"
[[nodiscard]] std::string summary_of(std::size_t transfers, std::size_t planned,
                                     const std::vector<judged> &results);

} // namespace varnel::sim::campaign
