// SPDX-License-Identifier: Apache-2.0
#include "sim/campaign/plan.h"

#include <algorithm>
#include <cstring>
#include <iterator>

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

} // namespace

std::string name_of(const trial &of) {
    return fmt::format("{}:{}{}", of.transfer, name_of(of.kind), of.stays ? ":on" : "");
}

std::vector<trial> plan(const std::vector<transfer_record> &learned,
                        const std::vector<std::string> &selectors) {
    std::vector<trial> trials;
    for (std::size_t i = 0; i < learned.size(); ++i) {
        if (learned[i].chips.empty()) {
            continue;
        }
        for (const fault_facts &fault : fault_kinds()) {
            const std::string &chip = learned[i].chips.front().name;
            const bool selector = std::ranges::find(selectors, chip) != selectors.end();
            if (concerns(fault, learned[i]) && (selector || fault.kind != fault_kind::taken)) {
                trials.push_back({i + 1, fault.kind, false, chip});
                trials.push_back({i + 1, fault.kind, true, chip});
            }
        }
    }
    return trials;
}

std::vector<trial> chosen(const std::vector<trial> &from, std::string_view name) {
    std::vector<trial> trials;
    std::ranges::copy_if(from, std::back_inserter(trials), [name](const trial &each) {
        return name_of(each) == name || fmt::to_string(each.transfer) == name;
    });
    return trials;
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
