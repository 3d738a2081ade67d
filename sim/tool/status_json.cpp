// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/status_json.h"

#include <algorithm>
#include <cmath>
#include <variant>

#include <fmt/format.h>

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

json number_of(const measurement &measured) {
    if (measured.decimals == 0) {
        return std::llround(measured.number);
    }
    const double steps = std::pow(10, measured.decimals);
    return std::round(measured.number * steps) / steps;
}

std::string key_of(const std::string &name, unit of) {
    std::string key = fmt::format("{}_{}", name, name_of(of));
    std::ranges::replace(key, '-', '_');
    return key;
}

/// Adds a reading to the object of all, under the key that it has there.
struct member_adder {
    json &all;
    const std::string &name;

    void operator()(const std::string &text) const { all[name] = text; }
    void operator()(const measurement &measured) const {
        all[key_of(name, measured.of)] = number_of(measured);
    }
    void operator()(const register_value &held) const { all[name] = held.bits; }
};

void publish_readings(json &chip, const std::vector<reading> &readings) {
    json all = json::object();
    json settable = json::array();
    for (const reading &each : readings) {
        std::visit(member_adder{all, each.name}, each.value);
        if (each.settable) {
            settable.push_back(each.name);
        }
    }
    chip["readings"] = std::move(all);
    chip["settable"] = std::move(settable);
}

} // namespace

std::string json_text(const server_status &status) {
    json all = status;
    for (const chip_status &chip : status.board.chips) {
        publish_readings(all["chips"][chip.name], chip.readings);
    }
    return all.dump(2);
}

} // namespace varnel::sim::tool
