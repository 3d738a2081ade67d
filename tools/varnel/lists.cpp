// SPDX-License-Identifier: Apache-2.0
#include "tools/varnel/lists.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/ini_file.h"
#include "host/numbers.h"

namespace varnel::tools {

namespace {

namespace fs = std::filesystem;

std::vector<host::ini_section> content_of(const std::string &ini_file) {
    std::ifstream input(ini_file);
    return host::read_ini_with_mistakes(input);
}

std::vector<std::string> without_repetition(std::vector<std::string> words) {
    std::ranges::sort(words);
    words.erase(std::unique(words.begin(), words.end()), words.end());
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

std::string value_of(const host::ini_section &section, std::string_view key) {
    const auto found = std::ranges::find(section.entries, key, &host::ini_entry::key);
    return found == section.entries.end() ? "" : found->value;
}

/// Chips that are on an adapter; others are on a channel of a multiplexer, "mux0.1".
std::vector<std::string> chips_of(const std::string &board) {
    std::vector<std::string> found;
    for (const host::ini_section &chip : content_of(board)) {
        const std::string bus = value_of(chip, "bus");
        const std::string address = value_of(chip, "address");
        if (host::whole_number<uint8_t>(bus) && !address.empty()) {
            found.push_back(fmt::format("{}:{}", bus, address));
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
    for (const host::ini_section &section : content_of(before.empty() ? "" : before[0])) {
        found.push_back(section.name);
    }
    return without_repetition(std::move(found));
}

std::vector<std::string> keys(const std::vector<std::string> &before) {
    std::vector<std::string> found;
    for (const host::ini_section &section : content_of(before.size() < 2 ? "" : before[0])) {
        for (const host::ini_entry &entry : section.entries) {
            if (section.name == before[1]) {
                found.push_back(entry.key);
            }
        }
    }
    return without_repetition(std::move(found));
}

} // namespace varnel::tools
