// SPDX-License-Identifier: Apache-2.0
#include "sim/campaign/results.h"

#include <algorithm>

#include <fmt/format.h>

namespace varnel::sim::campaign {

namespace {

/// A character for each kind, once and from then on: "." good, "X" bad, " " not tried or without effect.
std::string row_of(uint64_t transfer, const matrix &results) {
    std::string row;
    for (const fault_facts &fault : fault_kinds()) {
        for (const bool stays : {false, true}) {
            const outcome known = results.at(transfer, fault.kind, stays);
            row += known == outcome::none ? ' ' : known == outcome::good ? '.' : 'X';
        }
        row += ' ';
    }
    return row;
}

} // namespace

outcome outcome_of(const judged &result) {
    return !result.verdict.empty() ? outcome::bad : result.struck ? outcome::good : outcome::none;
}

matrix::matrix(const std::vector<judged> &results) {
    for (const judged &each : results) {
        const strike &at = each.of.first;
        if (!each.of.second) {
            results_.insert({{at.transfer, at.kind, at.stays}, &each});
            transfers_.insert({at.transfer, at.place});
        }
    }
}

const judged *matrix::find(uint64_t transfer, fault_kind kind, bool stays) const {
    const auto found = results_.find({transfer, kind, stays});
    return found == results_.end() ? nullptr : found->second;
}

outcome matrix::at(uint64_t transfer, fault_kind kind, bool stays) const {
    const judged *const result = find(transfer, kind, stays);
    return result == nullptr ? outcome::none : outcome_of(*result);
}

std::string table_of(const std::vector<judged> &results) {
    const matrix all(results);
    std::string text;
    std::size_t column = 0;
    for (const fault_facts &fault : fault_kinds()) {
        text += fmt::format("{:5}{}{}\n", "", std::string(3 * column++, ' '), fault.name);
    }
    for (const auto &[transfer, place] : all.transfers()) {
        text += fmt::format("{:4} {} {}\n", transfer, row_of(transfer, all), place);
    }
    return text;
}

std::string summary_of(std::size_t transfers, std::size_t planned, const std::vector<judged> &results) {
    const auto bad = std::ranges::count(results, outcome::bad, outcome_of);
    const auto struck = std::ranges::count_if(results, &judged::struck);
    const std::string of_planned =
        planned > results.size() ? fmt::format(" of {} planned", planned) : std::string();
    return fmt::format("{} transfers, {} runs{}, {} with a fault that struck: {} bad", transfers,
                       results.size(), of_planned, struck, bad);
}

} // namespace varnel::sim::campaign
