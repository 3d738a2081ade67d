// SPDX-License-Identifier: Apache-2.0
#include "sim/board/fault.h"

namespace varnel::sim {

fault fault::next_transfers(uint64_t count, uint64_t seed) {
    return fault(fault_terms{.count = count, .seed = seed});
}

fault fault::at_rate(double rate, uint64_t seed) {
    return fault(fault_terms{.count = std::nullopt, .rate = rate, .seed = seed});
}

bool fault::strikes(const board_moment &now) {
    if (spent(now)) {
        return false;
    }
    ++seen_;
    if (early(now)) {
        return false;
    }
    const bool by_chance = !terms_.count || terms_.rate < 1;
    if (by_chance && chance() >= terms_.rate) {
        return false;
    }
    if (terms_.count) {
        --*terms_.count;
    }
    return true;
}

/// A number in [0, 1), exactly.
double fault::chance() { return static_cast<double>(numbers_() >> 11) * 0x1p-53; }

bool fault::early(const board_moment &now) const {
    const fault_limit &from = terms_.from;
    return seen_ < from.transfer.value_or(0) || now.time < from.time.value_or(std::chrono::nanoseconds(0)) ||
           now.transfer < from.board_transfer.value_or(0);
}

bool fault::spent(const board_moment &now) const {
    const fault_limit &until = terms_.until;
    return terms_.count == 0U || (until.transfer && seen_ >= *until.transfer) ||
           (until.time && now.time > *until.time) ||
           (until.board_transfer && now.transfer > *until.board_transfer);
}

} // namespace varnel::sim
