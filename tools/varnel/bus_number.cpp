// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/bus_number.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/command_line.h"
#include "host/numbers.h"

namespace varnel::tools {

namespace {

namespace fs = std::filesystem;

constexpr const char *adapters = "/sys/class/i2c-dev";

std::vector<uint8_t> buses_named(const std::string &name) {
    static constexpr std::string_view prefix = "i2c-";
    std::vector<uint8_t> found;
    std::error_code no_folder;
    for (const fs::directory_entry &adapter : fs::directory_iterator(adapters, no_folder)) {
        const std::string file = adapter.path().filename();
        if (!file.starts_with(prefix)) {
            continue;
        }
        std::string line;
        std::ifstream content(adapter.path() / "name");
        const auto number = host::whole_number<uint8_t>(std::string_view(file).substr(prefix.size()));
        if (number.has_value() && std::getline(content, line) && line == name) {
            found.push_back(*number);
        }
    }
    std::ranges::sort(found);
    return found;
}

} // namespace

uint8_t bus_number_from(const std::string &text, const std::string &what) {
    if (const auto number = host::whole_number<uint8_t>(text)) {
        return *number;
    }
    const std::vector<uint8_t> named = buses_named(text);
    if (named.size() > 1) {
        throw host::bad_usage(
            fmt::format("{}: '{}' is the name of several buses: {}", what, text, fmt::join(named, ", ")));
    }
    if (named.empty()) {
        throw host::bad_usage(fmt::format("{}: '{}' is not a number from 0 to {} or a name in {}", what, text,
                                          UINT8_MAX, adapters));
    }
    return named.front();
}

} // namespace varnel::tools
