// SPDX-License-Identifier: Apache-2.0
// varnel-sim show: the board at a glance.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sim/tool/board_access.h"
#include "sim/tool/options.h"
#include "tools/support/line_output.h"

namespace varnel::sim::tool {

using json = nlohmann::ordered_json;
using tools::line_output;

namespace {

constexpr std::size_t line_width = 100;
constexpr std::size_t step = 2;
/// Rows of readings that a chip gets among all others.
constexpr std::size_t most_rows = 14;

std::size_t longest(std::span<const std::string> texts) {
    std::size_t most = 0;
    for (const std::string &text : texts) {
        most = std::max(most, text.size());
    }
    return most;
}

/// "7", "0.3", "data.f0": one of many of a kind, without a name of its own.
bool is_numbered(const std::string &name) {
    const std::size_t dot = name.rfind('.');
    const std::string number = dot == std::string::npos ? name : name.substr(dot + 1);
    const bool can_be_number =
        dot != std::string::npos || std::isdigit(static_cast<unsigned char>(name[0])) != 0;
    return can_be_number && number.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Names and values in aligned columns, filled one column after the other. Numbered readings that say the
/// same are one: "2..7 input high".
class grid {
  public:
    explicit grid(const json &readings) {
        bool extends = false;
        std::string first;
        for (const auto &[name, value] : readings.items()) {
            extends = extends && is_numbered(name) && value == values_.back();
            if (extends) {
                names_.back() = fmt::format("{}..{}", first, name);
                continue;
            }
            names_.push_back(name);
            values_.push_back(value);
            first = name;
            extends = is_numbered(name);
        }
    }

    /// The rows of as many columns as fit into a width.
    [[nodiscard]] std::vector<std::string> rows(std::size_t width) const {
        std::size_t count = 1;
        std::vector<std::string> rows = in_rows(count);
        while (longest(rows) > width && count < names_.size()) {
            rows = in_rows(++count);
        }
        return rows;
    }

  private:
    [[nodiscard]] std::vector<std::string> in_rows(std::size_t count) const {
        std::vector<std::string> rows(std::min(count, names_.size()));
        for (std::size_t first = 0; first < names_.size(); first += count) {
            add_column(rows, first, std::min(count, names_.size() - first));
        }
        return rows;
    }

    void add_column(std::vector<std::string> &rows, std::size_t first, std::size_t length) const {
        const std::size_t indent = first == 0 ? 0 : longest(rows) + 3;
        const std::size_t name_width = longest(std::span(names_).subspan(first, length));
        for (std::size_t i = 0; i < length; ++i) {
            rows[i] = fmt::format("{:{}}{:{}} {}", rows[i], indent, names_[first + i], name_width,
                                  values_[first + i]);
        }
    }

    std::vector<std::string> names_ = {};
    std::vector<std::string> values_ = {};
};

void print_grid(line_output &out, const std::string &chip, const json &readings, std::size_t indent) {
    const auto rows = grid(readings).rows(line_width - std::min(indent, line_width));
    for (const std::string &row : std::span(rows).first(std::min(rows.size(), most_rows))) {
        out.print(fmt::format("{:{}}{}", "", indent, row));
    }
    if (rows.size() > most_rows) {
        out.print(fmt::format("{:{}}... more with: varnel-sim show {}", "", indent, chip));
    }
}

/// The tree of buses, chips and channels.
class board_printer {
  public:
    board_printer(const json &board, line_output &out) : chips_(board.at("chips")), out_(out) {}

    void print_adapters() {
        for (const int adapter : adapters()) {
            out_.print("");
            out_.print(fmt::format("bus {}", adapter));
            print_bus(fmt::to_string(adapter), step);
        }
    }

  private:
    /// Numbers of the buses that are not behind a chip.
    [[nodiscard]] std::set<int> adapters() const {
        std::set<int> numbers;
        for (const json &chip : chips_) {
            for (const json &connection : chip["connections"]) {
                const std::string bus = connection["bus"];
                if (bus.find_first_not_of("0123456789") == std::string::npos) {
                    numbers.insert(std::stoi(bus));
                }
            }
        }
        return numbers;
    }

    void print_bus(const std::string &bus, std::size_t indent) {
        for (const auto &[name, chip] : chips_.items()) {
            const json &connections = chip["connections"];
            for (std::size_t port = 0; port < connections.size(); ++port) {
                if (connections[port]["bus"] == bus) {
                    print_chip(name, chip, port, indent);
                }
            }
        }
    }

    void print_chip(const std::string &name, const json &chip, std::size_t port, std::size_t indent) {
        const json &connections = chip["connections"];
        std::string line =
            fmt::format("{:{}}0x{:02x} {} ({})", "", indent, connections[port]["address"].get<int>(), name,
                        chip["type"].get<std::string>());
        for (const json &fault : chip["faults"]) {
            line += fmt::format("  fault: {}", fault.get<std::string>());
        }
        if (port > 0) {
            line += fmt::format("  see bus {}", connections[0]["bus"].get<std::string>());
        }
        out_.print(line);
        if (port == 0) {
            print_grid(out_, name, chip["readings"], indent + 2 * step + 1);
        }
        for (const json &channel : chip["channels"]) {
            print_channel(channel, port, indent + step);
        }
    }

    void print_channel(const json &channel, std::size_t port, std::size_t indent) {
        const std::string name = channel["name"];
        const bool on = channel["on"][port];
        if (!on && !leads_anywhere(name)) {
            return;
        }
        out_.print(fmt::format("{:{}}{} {}", "", indent, name, on ? "on" : "off"));
        if (port == 0) {
            print_bus(name, indent + step);
        }
    }

    [[nodiscard]] bool leads_anywhere(const std::string &bus) const {
        return std::any_of(chips_.begin(), chips_.end(), [&bus](const json &chip) {
            const json &connections = chip["connections"];
            return std::any_of(connections.begin(), connections.end(),
                               [&bus](const json &connection) { return connection["bus"] == bus; });
        });
    }

    const json &chips_;
    line_output &out_;
};

std::string where(const json &chip) {
    std::string text;
    for (const json &connection : chip["connections"]) {
        text += fmt::format("{}0x{:02x} on bus {}", text.empty() ? "" : ", ",
                            connection["address"].get<int>(), connection["bus"].get<std::string>());
    }
    return text;
}

/// One reading a line; those that `set` takes are marked.
void print_details(line_output &out, const std::string &name, const json &chip) {
    out.print(fmt::format("{} ({}) {}", name, chip["type"].get<std::string>(), where(chip)));
    std::vector<std::string> names;
    for (const auto &[reading, value] : chip["readings"].items()) {
        names.push_back(reading);
    }
    const auto settable = chip["settable"].get<std::vector<std::string>>();
    for (const std::string &reading : names) {
        const bool can_set = std::ranges::find(settable, reading) != settable.end();
        out.print(fmt::format("  {} {:{}}  {}", can_set ? '*' : ' ', reading, longest(names),
                              chip["readings"][reading].get<std::string>()));
    }
    for (const json &channel : chip["channels"]) {
        const auto on = channel["on"].get<std::vector<bool>>();
        const bool connected = std::find(on.begin(), on.end(), true) != on.end();
        out.print(fmt::format("    {} {}", channel["name"].get<std::string>(), connected ? "on" : "off"));
    }
    for (const json &fault : chip["faults"]) {
        out.print(fmt::format("    fault: {}", fault.get<std::string>()));
    }
}

void print_overview(line_output &out, const json &board) {
    std::string programs;
    for (const json &program : board["programs"]) {
        programs += fmt::format(" {}[{}]", program["process"].get<std::string>(), program["pid"].get<int>());
    }
    out.print(fmt::format("board {}, on for {:.1f} s, used by{}", board["board"].get<std::string>(),
                          board["uptime"].get<double>(), programs.empty() ? " nobody" : programs));
    board_printer(board, out).print_adapters();
}

/// Leaves only the chips that were asked for.
void select(json &board, const std::vector<std::string> &names) {
    json chosen = json::object();
    for (const std::string &name : names) {
        if (!board["chips"].contains(name)) {
            throw bad_usage(
                fmt::format("there is no chip '{}' on board '{}'", name, board["board"].get<std::string>()));
        }
        chosen[name] = board["chips"][name];
    }
    board["chips"] = std::move(chosen);
}

void show(const invocation &call, const std::vector<std::string> &chips, bool as_json) {
    json board = find_board(call.board).request({{"command", "show"}});
    if (!chips.empty()) {
        select(board, chips);
    }
    line_output out("-");
    if (as_json) {
        out.print(board.dump(2));
    } else if (chips.empty()) {
        print_overview(out, board);
    } else {
        for (const auto &[name, chip] : board["chips"].items()) {
            print_details(out, name, chip);
        }
    }
}

} // namespace

void add_show(CLI::App &app, invocation &call) {
    auto chips = std::make_shared<std::vector<std::string>>();
    auto as_json = std::make_shared<bool>(false);
    CLI::App *const command =
        add_command(app, "show", "Show the board, or some of its chips in detail; * marks what set takes",
                    call, [&call, chips, as_json] { show(call, *chips, *as_json); });
    command->add_option("chips", *chips, "names of chips; default: all")->type_name("CHIP")->expected(-1);
    command->add_flag("--json", *as_json, "as JSON");
}

} // namespace varnel::sim::tool
