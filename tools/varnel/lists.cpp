// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/lists.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include <ini.h>

namespace varnel::tools {

namespace {

namespace fs = std::filesystem;

struct ini_value {
    std::string section, key, value;
};

std::vector<ini_value> values_of(const std::string &file) {
    std::vector<ini_value> values;
    const auto store = [](void *all, const char *section, const char *key, const char *value) {
        static_cast<std::vector<ini_value> *>(all)->push_back({section, key, value});
        return 1;
    };
    ini_parse(file.c_str(), store, &values);
    return values;
}

std::vector<std::string> without_repetition(std::vector<std::string> words) {
    std::ranges::sort(words);
    words.erase(std::ranges::unique(words).begin(), words.end());
    return words;
}

std::vector<std::string> adapters() {
    static constexpr std::string_view prefix = "i2c-";
    std::vector<std::string> found;
    std::error_code no_folder;
    for (const fs::directory_entry &entry : fs::directory_iterator("/dev", no_folder)) {
        const std::string name = entry.path().filename();
        if (name.starts_with(prefix)) {
            found.push_back(name.substr(prefix.size()) + ":0x");
        }
    }
    return found;
}

/// Chips that are on an adapter; others are on a channel of a multiplexer, "mux0.1".
std::vector<std::string> chips_of(const std::string &board) {
    std::vector<std::string> found;
    const std::vector<ini_value> values = values_of(board);
    for (const ini_value &bus : values) {
        const bool on_adapter = bus.key == "bus" && std::ranges::all_of(bus.value, [](unsigned char c) {
                                    return std::isdigit(c) != 0;
                                });
        const auto address = std::ranges::find_if(values, [&](const ini_value &each) {
            return each.key == "address" && each.section == bus.section;
        });
        if (on_adapter && address != values.end()) {
            found.push_back(bus.value + ":" + address->value);
        }
    }
    return found;
}

} // namespace

std::vector<std::string> devices(const std::vector<std::string> & /*before*/) {
    std::vector<std::string> found = adapters();
    if (const char *const board = std::getenv("VARNEL_SIM_BOARD"); board != nullptr) {
        std::ranges::copy(chips_of(board), std::back_inserter(found));
    }
    return without_repetition(std::move(found));
}

std::vector<std::string> sections(const std::vector<std::string> &before) {
    std::vector<std::string> found;
    for (const ini_value &each : before.empty() ? std::vector<ini_value>{} : values_of(before[0])) {
        found.push_back(each.section);
    }
    return without_repetition(std::move(found));
}

std::vector<std::string> keys(const std::vector<std::string> &before) {
    std::vector<std::string> found;
    for (const ini_value &each : before.size() < 2 ? std::vector<ini_value>{} : values_of(before[0])) {
        if (each.section == before[1]) {
            found.push_back(each.key);
        }
    }
    return without_repetition(std::move(found));
}

} // namespace varnel::tools
