// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/register_tables.h"

#include <algorithm>
#include <string>

#include "chips/number_format.h"
#include "sim/board/virtual_clock.h"
#include "sim/models/chip.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;

namespace {

json table_of(const chips::chip_register &each) {
    const auto [format, unit] = chips::format_of(each);
    return {{"code", each.code},       {"count", each.count},    {"bytes", each.bytes},
            {"format", format},        {"unit", unit},           {"decimals", each.decimals},
            {"signed", each.has_sign}, {"bits", json(each.bits)}};
}

json table_of(const chips::datasheet &sheet) {
    json registers = json::array();
    for (const chips::chip_register &each : sheet.registers) {
        registers.push_back(table_of(each));
    }
    return {{"flags", sheet.flags}, {"exponent", chips::linear16_exponent(sheet)}, {"registers", registers}};
}

} // namespace

json register_tables(const json &status) {
    const auto known = chip_types();
    const virtual_clock clock;
    json tables = json::object();
    for (const auto &[name, chip] : status.at("chips").items()) {
        const std::string type = chip.at("type");
        if (!tables.contains(type) && std::ranges::find(known, type) != known.end()) {
            tables[type] = table_of(make_chip(type, clock)->sheet());
        }
    }
    return tables;
}

} // namespace varnel::sim::tool
