// SPDX-License-Identifier: Apache-2.0
#include "sim/campaign/plan.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <utility>

#include <fmt/format.h>

#include "sim/scenario/regular_expression.h"

namespace varnel::sim::campaign {

namespace {

constexpr int first_status_of_env = 126; ///< cannot be executed, not found
constexpr int first_signal = 128;

/// Whether a kind of fault can do anything to a transfer. A parameter that has to be given has no usual value to try.
bool concerns(const fault_facts &fault, const transfer_record &transfer) {
    const bool writes = transfer.written.length != 0;
    const bool reads = transfer.read.length != 0;
    switch (fault.kind) {
    case fault_kind::nack_byte:
        return writes;
    case fault_kind::busy:
        return writes && !reads;
    case fault_kind::power_loss:
        return transfer.written.length > 1 && !reads;
    case fault_kind::short_data:
    case fault_kind::stretch:
    case fault_kind::flip:
        return writes || reads;
    case fault_kind::pec:
        return transfer.read.length > 1;
    case fault_kind::frozen:
        return reads;
    default:
        return !fault.needs_parameter;
    }
}

/// "exp0@0x20 Input port 0"
std::string place_of(const transfer_record &record) {
    return fmt::format("{}@0x{:02x}{}", record.chips.front().name, record.address,
                       record.selected ? " " + record.selected->name : "");
}

/// What a transfer can be struck by.
std::vector<strike> strikes_at(std::size_t transfer, const transfer_record &record,
                               const std::vector<std::string> &selectors, bool stays) {
    std::vector<strike> strikes;
    if (record.chips.empty()) {
        return strikes;
    }
    const std::string &chip = record.chips.front().name;
    const bool selector = std::ranges::find(selectors, chip) != selectors.end();
    for (const fault_facts &fault : fault_kinds()) {
        if (concerns(fault, record) && (selector || fault.kind != fault_kind::taken)) {
            strikes.push_back({transfer, fault.kind, stays, chip, place_of(record)});
        }
    }
    return strikes;
}

std::string text_of(const strike &of) {
    return fmt::format("{}:{}{}", of.transfer, name_of(of.kind), of.stays ? ":on" : "");
}

/// A chip can have one fault of each kind. At two transfers in succession, that one can do for both.
bool possible(const strike &first, const strike &second) {
    return first.chip != second.chip || first.kind != second.kind || first.transfer + 1 == second.transfer;
}

uint64_t distance(const trial &pair) { return pair.second->transfer - pair.first.transfer; }

} // namespace

std::string name_of(const trial &of) {
    return text_of(of.first) + (of.second ? "+" + text_of(*of.second) : "");
}

std::vector<trial> plan(const std::vector<transfer_record> &learned,
                        const std::vector<std::string> &selectors) {
    std::vector<trial> trials;
    for (std::size_t i = 0; i < learned.size(); ++i) {
        for (strike &once : strikes_at(i + 1, learned[i], selectors, false)) {
            strike on = once;
            on.stays = true;
            trials.push_back({std::move(once)});
            trials.push_back({std::move(on)});
        }
    }
    return trials;
}

std::vector<trial> pairs_after(const trial &first, const std::vector<transfer_record> &transfers,
                               const std::vector<std::string> &selectors) {
    std::vector<trial> pairs;
    for (auto i = static_cast<std::size_t>(first.first.transfer); i < transfers.size(); ++i) {
        for (strike &second : strikes_at(i + 1, transfers[i], selectors, false)) {
            if (possible(first.first, second)) {
                pairs.push_back({first.first, std::move(second)});
            }
        }
    }
    return pairs;
}

void order_pairs(std::vector<trial> &pairs) {
    std::mt19937_64 numbers; // NOLINT(cert-msc51-cpp): the same order every time
    std::ranges::shuffle(pairs, numbers);
    std::ranges::stable_sort(pairs, {}, distance);
}

std::vector<trial> chosen(const std::vector<trial> &from, std::string_view name) {
    std::vector<trial> trials;
    std::ranges::copy_if(from, std::back_inserter(trials), [name](const trial &each) {
        return name_of(each) == name || fmt::to_string(each.first.transfer) == name;
    });
    return trials;
}

bool struck(const trial &of, const std::vector<transfer_record> &transfers) {
    const auto times = [&transfers](fault_kind kind) {
        return std::ranges::count_if(transfers, [kind](const transfer_record &each) {
            return std::ranges::find(each.faults, kind) != each.faults.end();
        });
    };
    const bool twice = of.second && of.second->kind == of.first.kind;
    return times(of.first.kind) > (twice ? 1 : 0) && (!of.second || times(of.second->kind) > 0);
}

std::string verdict(const ending &of, const rules &rules) {
    if (!of.status) {
        return "hangs";
    }
    if (*of.status > first_signal) {
        const char *const name = sigabbrev_np(*of.status - first_signal);
        return fmt::format("is ended by SIG{}", name == nullptr ? "?" : name);
    }
    if (rules.status ? *of.status != *rules.status : *of.status >= first_status_of_env) {
        return fmt::format("ends with {}", *of.status);
    }
    if (!rules.forbidden.empty()) {
        const scenario::regular_expression forbidden(rules.forbidden);
        const auto found =
            std::ranges::find_if(of.lines, [&](const std::string &line) { return forbidden.matches(line); });
        if (found != of.lines.end()) {
            return "prints: " + *found;
        }
    }
    return of.check.value_or(0) == 0 ? "" : fmt::format("the check ends with {}", *of.check);
}

} // namespace varnel::sim::campaign
