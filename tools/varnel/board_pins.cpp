// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/board_pins.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string_view>

#include "host/ini_file.h"
#include "host/numbers.h"

namespace varnel::tools {

namespace {

using sections = std::vector<host::ini_section>;

std::string value_of(const host::ini_section &section, std::string_view key) {
    const auto found = std::ranges::find(section.entries, key, &host::ini_entry::key);
    return found == section.entries.end() ? "" : found->value;
}

/// The adapter that a bus of the file ("0", "mux0.3", "sel0") belongs to. Of a file with a circle, none.
std::optional<uint8_t> adapter_of(const sections &board, std::string bus) {
    for (std::size_t depth = 0; depth <= board.size(); ++depth) {
        if (const auto number = host::whole_number<uint8_t>(bus)) {
            return number;
        }
        const auto parent = std::ranges::find(board, bus.substr(0, bus.find('.')), &host::ini_section::name);
        if (parent == board.end()) {
            return std::nullopt;
        }
        bus = value_of(*parent, "bus");
    }
    return std::nullopt;
}

bool is_at(const sections &board, const host::ini_section &section, const device_address &chip) {
    return host::whole_number<uint8_t>(value_of(section, "address")) == chip.address &&
           adapter_of(board, value_of(section, "bus")) == chip.bus;
}

} // namespace

std::vector<pin_name> board_pin_names(const device_address &chip) {
    static constexpr std::string_view prefix = "name.";
    const char *const file = std::getenv("VARNEL_SIM_BOARD");
    if (file == nullptr) {
        return {};
    }
    std::ifstream input(file);
    const sections board = host::read_ini_with_mistakes(input);
    std::vector<pin_name> names;
    for (const host::ini_section &section : board) {
        if (!is_at(board, section, chip)) {
            continue;
        }
        for (const host::ini_entry &entry : section.entries) {
            if (entry.key.starts_with(prefix)) {
                names.push_back({entry.key.substr(prefix.size()), entry.value});
            }
        }
    }
    return names;
}

} // namespace varnel::tools
