// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/lists.h"

#include "sim/protocol/board_json.h"
#include "sim/tool/board_access.h"

namespace varnel::sim::tool {

namespace {

std::vector<chip_status> running_chips() {
    return find_board("").request({{"command", "show"}}).get<server_status>().board.chips;
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
    std::vector<std::string> names;
    if (before.size() % 2 != 0) {
        return names;
    }
    for (const chip_status &chip : running_chips()) {
        for (const reading &each : chip.readings) {
            if (each.settable) {
                names.push_back(chip.name + "." + each.name);
            }
        }
    }
    return names;
}

} // namespace varnel::sim::tool
