// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/lists.h"

#include "sim/protocol/board_json.h"
#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

namespace {

std::vector<chip_status> running_chips() {
    return find_board("").request({{"command", "show"}}).get<server_status>().board.chips;
}

/// "psu0.load" for each reading that `wanted` selects.
std::vector<std::string> names_of_readings(bool (*wanted)(const reading &)) {
    std::vector<std::string> names;
    for (const chip_status &chip : running_chips()) {
        for (const reading &each : chip.readings) {
            if (wanted(each)) {
                names.push_back(chip.name + "." + each.name);
            }
        }
    }
    return names;
}

} // namespace

std::vector<std::string> chips(const std::vector<std::string> & /*before*/) {
    std::vector<std::string> names;
    for (const chip_status &chip : running_chips()) {
        names.push_back(chip.name);
    }
    return names;
}

std::vector<std::string> settings(const std::vector<std::string> &before) {
    return before.size() % 2 != 0 ? std::vector<std::string>{}
                                  : names_of_readings([](const reading &each) { return each.settable; });
}

std::vector<std::string> readings(const std::vector<std::string> & /*before*/) {
    return names_of_readings([](const reading &) { return true; });
}

} // namespace varnel::sim::tool
