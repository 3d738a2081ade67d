// SPDX-License-Identifier: Apache-2.0
// chip_tables [--check] DOCS: writes the tables of the pages DOCS/chip-models.md, DOCS/chips/*.md and DOCS/faults.md, each
// between the lines "<!-- table of TYPE -->" and "<!-- end of table -->", from the datasheets in chips/ and the lists of models
// and of kinds of fault; with --check it only names the pages that differ, and fails.
#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sim/board/fault_kinds.h"
#include "sim/models/chip.h"

namespace {

using namespace varnel;
using chips::chip_register;
namespace fs = std::filesystem;

constexpr std::string_view begin_of_table = "<!-- table of ";
constexpr std::string_view end_of_comment = " -->";
constexpr std::string_view end_of_table = "<!-- end of table -->";

class no_clock : public sim::board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return {}; }
};

std::string codes_of(const chip_register &each) {
    return each.count == 1 ? fmt::format("{:02X}", each.code)
                           : fmt::format("{:02X}-{:02X}", each.code, each.code + each.count - 1);
}

std::string access_of(const chip_register &each) {
    switch (each.allowed) {
    case chips::access::read:
        return "r";
    case chips::access::write:
        return "w";
    default:
        return "rw";
    }
}

/// "0.01 V"
std::string unit_of(const chip_register &each) {
    std::string text;
    if (!each.unit.empty()) {
        text = each.decimals == 0 ? std::string(each.unit)
                                  : fmt::format("0.{:0>{}} {}", 1, each.decimals, each.unit);
    }
    return text + (each.has_sign ? text.empty() ? "signed" : ", signed" : "");
}

std::string power_on_of(const chip_register &each) {
    return each.power_on ? fmt::format("{:0{}X}", *each.power_on, 2 * each.bytes) : "";
}

std::string bytes_of(const chip_register &each) {
    return each.bytes == chips::block ? "block" : fmt::to_string(each.bytes);
}

struct column {
    std::string_view heading;
    std::string (*text)(const chip_register &);
};

constexpr std::array columns{
    column{"code", codes_of},
    column{"register", [](const chip_register &each) { return std::string(each.name); }},
    column{"bytes", bytes_of},
    column{"access", access_of},
    column{"power-on", power_on_of},
    column{"raw unit", unit_of},
    column{"values", [](const chip_register &each) { return std::string(each.values); }},
};

/// Whether a column is needed: not when it is empty, or "1" in the column of bytes, for all registers.
bool is_needed(const chips::datasheet &sheet, const column &each) {
    return std::ranges::any_of(sheet.registers, [&](const chip_register &of) {
        const std::string text = each.text(of);
        return !text.empty() && !(each.heading == "bytes" && text == "1");
    });
}

std::string bits_of(const chip_register &each) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < each.bits.size(); ++i) {
        if (!each.bits[i].empty()) {
            names.push_back(fmt::format("{} {}", i, each.bits[i]));
        }
    }
    return names.empty() ? "" : fmt::format("- {}: {}\n", each.name, fmt::join(names, ", "));
}

std::string register_table(const chips::datasheet &sheet) {
    std::string head = "|";
    std::string rule = "|";
    for (const column &each : columns) {
        if (is_needed(sheet, each)) {
            head += fmt::format(" {} |", each.heading);
            rule += "---|";
        }
    }
    std::string rows;
    for (const chip_register &of : sheet.registers) {
        rows += "|";
        for (const column &each : columns) {
            const std::string text = each.text(of);
            rows += is_needed(sheet, each) ? fmt::format(" {}{}|", text, text.empty() ? "" : " ") : "";
        }
        rows += "\n";
    }
    return fmt::format("{}\n{}\n{}", head, rule, rows);
}

std::string table_of(const chips::datasheet &sheet) {
    std::string text = fmt::format("Source of the {}: {}.\n", sheet.type, sheet.source);
    if (sheet.registers.empty()) {
        return text;
    }
    text += "\n" + register_table(sheet);
    std::string bits;
    for (const chip_register &each : sheet.registers) {
        bits += bits_of(each);
    }
    return bits.empty() ? text : fmt::format("{}\nBits:\n\n{}", text, bits);
}

std::string read(const fs::path &page) {
    std::ifstream file(page);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<fs::path> pages_in(const fs::path &docs) {
    std::vector<fs::path> pages{docs / "chip-models.md", docs / "faults.md"};
    for (const auto &entry : fs::directory_iterator(docs / "chips")) {
        if (entry.path().extension() == ".md") {
            pages.push_back(entry.path());
        }
    }
    return pages;
}

/// The page, relative to `docs`, that has a table of the type.
std::string page_of(std::string_view type, const fs::path &docs) {
    for (const fs::path &page : pages_in(docs)) {
        if (read(page).find(fmt::format("{}{}{}", begin_of_table, type, end_of_comment)) !=
            std::string::npos) {
            return page.lexically_relative(docs).string();
        }
    }
    throw std::runtime_error(fmt::format("no page in {} has the line {}{}{}", (docs / "chips").string(),
                                         begin_of_table, type, end_of_comment));
}

std::string table_of_all_chips(const fs::path &docs) {
    std::string rows = "| type | chip | ports | segments |\n|---|---|---|---|\n";
    const no_clock clock;
    for (const std::string_view type : sim::chip_types()) {
        const auto part = sim::make_chip(type, clock);
        const std::string segments = part->segments() == 0 ? "-" : fmt::to_string(part->segments());
        rows += fmt::format("| `{}` | [{}]({}) | {} | {} |\n", type, part->sheet().title, page_of(type, docs),
                            part->ports(), segments);
    }
    return rows;
}

std::string table_of_all_faults() {
    std::string rows = "| kind | the chip | the program sees | option | source |\n|---|---|---|---|---|\n";
    for (const sim::fault_facts &each : sim::fault_kinds()) {
        const sim::parameter_facts *const parameter = sim::facts_of(each.parameter);
        const std::string option = parameter == nullptr ? "" : fmt::format("`{}`", parameter->option);
        const std::string usual =
            each.usual_parameter ? fmt::format(", usually {}", *each.usual_parameter) : "";
        rows += fmt::format("| `{}` | {} | {} | {}{} | {} |\n", each.name, each.effect, each.seen, option,
                            usual, each.source);
    }
    return rows;
}

std::string table_named(const std::string &name, const fs::path &docs) {
    if (name == "all faults") {
        return table_of_all_faults();
    }
    return name == "all chips" ? table_of_all_chips(docs)
                               : table_of(sim::make_chip(name, no_clock())->sheet());
}

/// The page with new tables.
std::string with_new_tables(const fs::path &page, const fs::path &docs) {
    std::istringstream lines(read(page));
    std::string text;
    bool in_table = false;
    for (std::string line; std::getline(lines, line);) {
        in_table = in_table && line != end_of_table;
        if (in_table) {
            continue;
        }
        text += line + "\n";
        if (line.starts_with(begin_of_table)) {
            in_table = true;
            const std::size_t length = line.size() - begin_of_table.size() - end_of_comment.size();
            text += "\n" + table_named(line.substr(begin_of_table.size(), length), docs) + "\n";
        }
    }
    return text;
}

int update(const fs::path &docs, bool only_check) {
    bool differs = false;
    for (const fs::path &page : pages_in(docs)) {
        const std::string text = with_new_tables(page, docs);
        if (text == read(page)) {
            continue;
        }
        differs = true;
        if (!only_check) {
            std::ofstream(page) << text;
        }
        std::cout << fmt::format(
            "{}: {}\n", page.string(),
            only_check ? "tables differ from chips/ and sim/board/fault_kinds.cpp; run chip_tables"
                       : "written");
    }
    return differs && only_check ? 1 : 0;
}

} // namespace

int main(int argc, char **argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        return update(arguments.back(), arguments.front() == "--check");
    } catch (const std::exception &wrong) {
        std::cerr << "chip_tables: " << wrong.what() << '\n';
        return 1;
    }
}
