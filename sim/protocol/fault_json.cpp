// SPDX-License-Identifier: Apache-2.0
#include "sim/protocol/fault_json.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace varnel::sim {

namespace {

using json = nlohmann::ordered_json;

constexpr double nanoseconds_per_second = 1e9;

void add_limit(json &to, const std::string &name, const fault_limit &limit) {
    if (limit.transfer) {
        to[name + "_transfer"] = *limit.transfer;
    }
    if (limit.board_transfer) {
        to[name + "_board_transfer"] = *limit.board_transfer;
    }
    if (limit.time) {
        to[name + "_seconds"] = static_cast<double>(limit.time->count()) / nanoseconds_per_second;
    }
}

fault_limit limit_in(const json &from, const std::string &name) {
    fault_limit limit;
    if (const auto transfer = from.find(name + "_transfer"); transfer != from.end()) {
        limit.transfer = transfer->get<uint64_t>();
    }
    if (const auto transfer = from.find(name + "_board_transfer"); transfer != from.end()) {
        limit.board_transfer = transfer->get<uint64_t>();
    }
    if (const auto seconds = from.find(name + "_seconds"); seconds != from.end()) {
        limit.time = std::chrono::nanoseconds(std::llround(seconds->get<double>() * nanoseconds_per_second));
    }
    return limit;
}

} // namespace

json json_of(const waiting_fault &from) {
    const fault_terms &terms = from.terms;
    json to = {{"kind", name_of(from.kind)}};
    if (terms.count) {
        to["transfers"] = *terms.count;
    }
    if (!terms.count || terms.rate < 1) {
        to["rate"] = terms.rate;
    }
    to["seed"] = terms.seed;
    add_limit(to, "from", terms.from);
    add_limit(to, "until", terms.until);
    if (terms.parameter) {
        to[std::string(facts_of(facts_of(from.kind).parameter)->key)] = *terms.parameter;
    }
    return to;
}

waiting_fault fault_in(const json &from) {
    const std::string name = from.at("kind");
    const auto kind = fault_kind_named(name);
    if (!kind) {
        throw std::runtime_error("unknown fault " + name);
    }
    fault_terms terms{.count = std::nullopt, .rate = from.value("rate", 1.0), .seed = from.at("seed")};
    if (from.contains("transfers")) {
        terms.count = from.at("transfers").get<uint64_t>();
    }
    terms.from = limit_in(from, "from");
    terms.until = limit_in(from, "until");
    if (const parameter_facts *const parameter = facts_of(facts_of(*kind).parameter)) {
        const auto given = from.find(parameter->key);
        terms.parameter = given == from.end() ? std::nullopt : std::optional(given->get<uint64_t>());
    }
    return {*kind, terms};
}

} // namespace varnel::sim
