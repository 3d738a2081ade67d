// SPDX-License-Identifier: Apache-2.0
#include "sim/board/fault.h"

#include <algorithm>
#include <array>
#include <utility>

namespace varnel::sim {

namespace {

constexpr std::array<std::pair<std::string_view, fault_kind>, 4> kinds{{
    {"nack", fault_kind::nack},
    {"short", fault_kind::short_data},
    {"stuck", fault_kind::stuck},
    {"flip", fault_kind::flip},
}};

} // namespace

std::string_view name_of(fault_kind kind) {
    return std::ranges::find(kinds, kind, &decltype(kinds)::value_type::second)->first;
}

std::optional<fault_kind> fault_kind_named(std::string_view name) {
    const auto *found = std::ranges::find(kinds, name, &decltype(kinds)::value_type::first);
    return found == kinds.end() ? std::nullopt : std::optional(found->second);
}

fault::fault(std::optional<uint64_t> remaining, double rate, uint64_t seed)
    : remaining_(remaining), rate_(rate), seed_(seed), numbers_(seed) {}

fault fault::next_transfers(uint64_t count, uint64_t seed) { return {count, 1, seed}; }

fault fault::at_rate(double rate, uint64_t seed) { return {std::nullopt, rate, seed}; }

bool fault::strikes() {
    if (!remaining_) {
        const double uniform = static_cast<double>(numbers_() >> 11) * 0x1p-53; // in [0, 1), exactly
        return uniform < rate_;
    }
    if (*remaining_ == 0) {
        return false;
    }
    --*remaining_;
    return true;
}

} // namespace varnel::sim
