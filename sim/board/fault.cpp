// SPDX-License-Identifier: Apache-2.0
#include "sim/board/fault.h"

namespace varnel::sim {

fault fault::next_transfers(uint64_t count, uint64_t seed) {
    return fault(fault_terms{.count = count, .seed = seed});
}

fault fault::at_rate(double rate, uint64_t seed) {
    return fault(fault_terms{.count = std::nullopt, .rate = rate, .seed = seed});
}

bool fault::strikes(std::chrono::nanoseconds now) {
    if (spent(now)) {
        return false;
    }
    ++seen_;
    const bool early = seen_ < terms_.from.transfer.value_or(0) ||
                       now < terms_.from.time.value_or(std::chrono::nanoseconds(0));
    if (early) {
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

bool fault::spent(std::chrono::nanoseconds now) const {
    return terms_.count == 0U || (terms_.until.transfer && seen_ >= *terms_.until.transfer) ||
           (terms_.until.time && now > *terms_.until.time);
}

} // namespace varnel::sim
