// SPDX-License-Identifier: Apache-2.0
#include "sim/board/description.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "host/numbers.h"
#include "sim/board/register_dump.h"
#include "sim/models/chip.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

/// 7-bit addresses outside this range are reserved (I2C bus specification UM10204 section 3.1.12) or too low
/// for i2c-tools to touch.
constexpr unsigned int lowest_address = 0x03;
constexpr unsigned int highest_address = 0x77;
constexpr quantity clock_range{"kHz", 1, 5000}; // up to Ultra Fast-mode
constexpr std::string_view clock_prefix = "clock.";

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_chip_name(std::string_view name) {
    return !name.empty() && is_letter(name[0]) &&
           std::ranges::all_of(name, [](char c) { return is_letter(c) || is_digit(c) || c == '-'; });
}

/// Takes the entries of one section apart.
class section_reader {
  public:
    section_reader(host::ini_section section, const std::string &file)
        : section_(std::move(section)), file_(file) {}

    [[noreturn]] void fail(int line, const std::string &message) const {
        throw host::bad_line(file_, line, message);
    }

    /// Removes and returns an entry.
    std::optional<host::ini_entry> extract(std::string_view key) {
        const auto found = std::ranges::find(section_.entries, key, &host::ini_entry::key);
        if (found == section_.entries.end()) {
            return std::nullopt;
        }
        host::ini_entry entry = std::move(*found);
        section_.entries.erase(found);
        return entry;
    }

    host::ini_entry require(std::string_view key) {
        auto entry = extract(key);
        if (!entry) {
            fail(section_.line, fmt::format("chip '{}' has no '{}'", section_.name, key));
        }
        return *entry;
    }

    [[nodiscard]] uint8_t address(const host::ini_entry &entry) const {
        const auto value = host::whole_number<unsigned int>(entry.value);
        if (!value) {
            fail(entry.line, fmt::format("{} '{}' is not a number", entry.key, entry.value));
        }
        if (*value < lowest_address || *value > highest_address) {
            fail(entry.line, fmt::format("{} 0x{:02x} is outside 0x{:02x} to 0x{:02x}", entry.key, *value,
                                         lowest_address, highest_address));
        }
        return static_cast<uint8_t>(*value);
    }

    [[nodiscard]] const host::ini_section &rest() const { return section_; }

  private:
    host::ini_section section_;
    const std::string &file_;
};

std::optional<placement> other_place(section_reader &section, uint8_t same_address) {
    const auto bus = section.extract("other_bus");
    const auto address = section.extract("other_address");
    if (!bus && address) {
        section.fail(address->line, "other_address without other_bus");
    }
    if (!bus) {
        return std::nullopt;
    }
    return placement{bus->value, bus->line, address ? section.address(*address) : same_address};
}

bool is_yes(const section_reader &section, const host::ini_entry &entry) {
    if (entry.value != "yes" && entry.value != "no") {
        section.fail(entry.line, fmt::format("{} '{}' is neither yes nor no", entry.key, entry.value));
    }
    return entry.value == "yes";
}

/// The line of "gpiochip = yes".
std::optional<int> gpiochip_line(section_reader &section) {
    const auto entry = section.extract("gpiochip");
    return entry && is_yes(section, *entry) ? std::optional(entry->line) : std::nullopt;
}

bool is_plugged(section_reader &section) {
    const auto entry = section.extract("plugged");
    return !entry || is_yes(section, *entry);
}

/// A file that the board file names relative to itself.
std::string beside(const std::string &board_file, const std::string &name) {
    return (std::filesystem::absolute(board_file).parent_path() / name).string();
}

/// The section's settings, those of its register dumps in the dumps' place.
std::vector<host::ini_entry> settings_of(const host::ini_section &section, const std::string &file) {
    std::vector<host::ini_entry> settings;
    for (const host::ini_entry &entry : section.entries) {
        if (entry.key == "dump") {
            std::ranges::move(settings_of_dump(beside(file, entry.value), {file, entry.line}),
                              std::back_inserter(settings));
        } else {
            settings.push_back(entry);
        }
    }
    return settings;
}

chip_description read_chip(section_reader section, const std::string &file) {
    const std::string name = section.rest().name;
    if (!is_chip_name(name)) {
        section.fail(
            section.rest().line,
            fmt::format("'{}' cannot name a chip: letters, digits, _ and - only, a letter first", name));
    }
    host::ini_entry type = section.require("type");
    if (type.value.find('/') != std::string::npos) { // the file of a plug-in
        type.value = beside(file, type.value);
    }
    const host::ini_entry bus = section.require("bus");
    const uint8_t address = section.address(section.require("address"));
    auto other = other_place(section, address);
    const auto gpiochip = gpiochip_line(section);
    const bool plugged = is_plugged(section);
    auto presence = section.extract("present");
    return {name,
            section.rest().line,
            type.value,
            type.line,
            {bus.value, bus.line, address},
            std::move(other),
            settings_of(section.rest(), file),
            gpiochip,
            std::move(presence),
            plugged};
}

/// Of "clock = 100kHz" or "clock.1 = 400kHz".
bus_clock read_clock(const section_reader &section, const host::ini_entry &entry) {
    std::optional<uint8_t> adapter;
    if (entry.key.starts_with(clock_prefix)) {
        adapter = host::whole_number<uint8_t>(std::string_view(entry.key).substr(clock_prefix.size()));
    }
    if (!adapter && entry.key != "clock") {
        section.fail(entry.line,
                     fmt::format("[board] has no '{}', only name, clock and clock.BUS", entry.key));
    }
    try {
        return {adapter, parse_quantity(entry.key, entry.value, clock_range), entry.line};
    } catch (const bad_setting &refusal) {
        section.fail(entry.line, refusal.what());
    }
}

void read_board_section(section_reader section, board_description &board) {
    if (const auto name = section.extract("name")) {
        board.name = name->value;
    }
    for (const host::ini_entry &entry : section.rest().entries) {
        board.clocks.push_back(read_clock(section, entry));
    }
}

} // namespace

board_description read_description(std::istream &input, const std::string &file) {
    board_description board{file, std::filesystem::path(file).stem().string(), {}};
    for (const host::ini_section &section : host::read_ini(input, file)) {
        if (section.name == "board") {
            read_board_section({section, file}, board);
        } else {
            board.chips.push_back(read_chip({section, file}, file));
        }
    }
    if (board.chips.empty()) {
        throw host::bad_line(file, 1, "no chip is described");
    }
    return board;
}

} // namespace varnel::sim
