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

#include "host/line_output.h"
#include "host/numbers.h"
#include "host/suggestion.h"
#include "sim/protocol/board_json.h"
#include "sim/tool/board_access.h"
#include "sim/tool/options.h"
#include "sim/tool/status_json.h"

namespace varnel::sim::tool {

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
    explicit grid(const std::vector<reading> &readings) {
        bool extends = false;
        std::string first;
        for (const auto &[name, typed, settable] : readings) {
            const std::string value = text_of(typed);
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

void print_grid(line_output &out, const chip_status &chip, std::size_t indent) {
    const auto rows = grid(chip.readings).rows(line_width - std::min(indent, line_width));
    for (const std::string &row : std::span(rows).first(std::min(rows.size(), most_rows))) {
        out.print(fmt::format("{:{}}{}", "", indent, row));
    }
    if (rows.size() > most_rows) {
        out.print(fmt::format("{:{}}... more with: varnel-sim show {}", "", indent, chip.name));
    }
}

/// " until transfer 3", " until 2.5 s".
std::string text_of(const char *name, const fault_limit &limit) {
    std::string text;
    if (limit.transfer) {
        text += fmt::format(" {} transfer {}", name, *limit.transfer);
    }
    if (limit.time) {
        text += fmt::format(" {} {:.1f} s", name, std::chrono::duration<double>(*limit.time).count());
    }
    return text;
}

/// "nack 3 more", "flip rate 0.25 seed 7", "nack-byte 1 more, byte 2".
std::string text_of(const waiting_fault &fault) {
    const fault_terms &terms = fault.terms;
    std::string text(name_of(fault.kind));
    if (terms.count) {
        text += fmt::format(" {} more", *terms.count);
    }
    if (!terms.count || terms.rate < 1) {
        text += fmt::format(" rate {} seed {}", terms.rate, terms.seed);
    }
    text += text_of("from", terms.from) + text_of("until", terms.until);
    if (terms.parameter) {
        const parameter_facts &parameter = *facts_of(facts_of(fault.kind).parameter);
        text += parameter.parameter == fault_parameter::address
                    ? fmt::format(", address 0x{:02x}", *terms.parameter)
                    : fmt::format(", {} {}", parameter.key, *terms.parameter);
    }
    return text;
}

/// The tree of buses, chips and channels.
class board_printer {
  public:
    board_printer(const board_status &board, line_output &out) : chips_(board.chips), out_(out) {}

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
        for (const chip_status &chip : chips_) {
            for (const chip_connection &connection : chip.connections) {
                if (const auto adapter = host::whole_number<int>(connection.bus)) {
                    numbers.insert(*adapter);
                }
            }
        }
        return numbers;
    }

    void print_bus(const std::string &bus, std::size_t indent) {
        for (const chip_status &chip : chips_) {
            for (std::size_t port = 0; port < chip.connections.size(); ++port) {
                if (chip.connections[port].bus == bus) {
                    print_chip(chip, port, indent);
                }
            }
        }
    }

    void print_chip(const chip_status &chip, std::size_t port, std::size_t indent) {
        std::string line = fmt::format("{:{}}0x{:02x} {} ({})", "", indent, chip.connections[port].address,
                                       chip.name, chip.type);
        line += chip.plugged ? "" : "  unplugged";
        for (const waiting_fault &fault : chip.faults) {
            line += fmt::format("  fault: {}", text_of(fault));
        }
        if (port > 0) {
            line += fmt::format("  see bus {}", chip.connections[0].bus);
        }
        out_.print(line);
        if (port == 0 && chip.plugged) {
            print_grid(out_, chip, indent + 2 * step + 1);
        }
        for (const chip_channel &channel : chip.channels) {
            print_channel(channel, port, indent + step);
        }
    }

    void print_channel(const chip_channel &channel, std::size_t port, std::size_t indent) {
        const bool on = channel.on[port];
        if (!on && !leads_anywhere(channel.name)) {
            return;
        }
        out_.print(fmt::format("{:{}}{} {}", "", indent, channel.name, on ? "on" : "off"));
        if (port == 0) {
            print_bus(channel.name, indent + step);
        }
    }

    [[nodiscard]] bool leads_anywhere(const std::string &bus) const {
        return std::ranges::any_of(chips_, [&bus](const chip_status &chip) {
            return std::ranges::find(chip.connections, bus, &chip_connection::bus) != chip.connections.end();
        });
    }

    const std::vector<chip_status> &chips_;
    line_output &out_;
};

std::string where(const chip_status &chip) {
    std::string text;
    for (const chip_connection &at : chip.connections) {
        text += fmt::format("{}0x{:02x} on bus {}", text.empty() ? "" : ", ", at.address, at.bus);
    }
    return text;
}

/// One reading a line; those that `set` takes are marked.
void print_details(line_output &out, const chip_status &chip) {
    out.print(
        fmt::format("{} ({}) {}{}", chip.name, chip.type, where(chip), chip.plugged ? "" : ", unplugged"));
    std::size_t width = 0;
    for (const reading &each : chip.readings) {
        width = std::max(width, each.name.size());
    }
    for (const reading &each : chip.readings) {
        out.print(fmt::format("  {} {:{}}  {}", each.settable ? '*' : ' ', each.name, width,
                              sim::text_of(each.value)));
    }
    for (const chip_channel &channel : chip.channels) {
        const bool connected = std::ranges::find(channel.on, true) != channel.on.end();
        out.print(fmt::format("    {} {}", channel.name, connected ? "on" : "off"));
    }
    for (const waiting_fault &fault : chip.faults) {
        out.print(fmt::format("    fault: {}", text_of(fault)));
    }
}

void print_overview(line_output &out, const server_status &status) {
    std::string programs;
    for (const program_status &program : status.programs) {
        programs += fmt::format(" {}[{}]", program.process, program.pid);
    }
    out.print(fmt::format("board {}, on for {:.1f} s, used by{}", status.board.name, status.uptime.count(),
                          programs.empty() ? " no program" : programs));
    board_printer(status.board, out).print_adapters();
}

/// Leaves only the chips that were asked for.
void select(board_status &board, const std::vector<std::string> &names) {
    std::vector<chip_status> chosen;
    for (const std::string &name : names) {
        const auto found = std::ranges::find(board.chips, name, &chip_status::name);
        if (found == board.chips.end()) {
            throw bad_usage(fmt::format("there is no chip '{}' on board '{}'{}", name, board.name,
                                        host::did_you_mean(name, board.chips, &chip_status::name)));
        }
        if (std::ranges::find(chosen, name, &chip_status::name) == chosen.end()) {
            chosen.push_back(*found);
        }
    }
    board.chips = std::move(chosen);
}

void show(const invocation &call, const std::vector<std::string> &chips, bool as_json) {
    auto status = find_board(call.board).request({{"command", "show"}}).get<server_status>();
    if (!chips.empty()) {
        select(status.board, chips);
    }
    line_output out("-");
    if (as_json) {
        out.print(json_text(status));
    } else if (chips.empty()) {
        print_overview(out, status);
    } else {
        for (const chip_status &chip : status.board.chips) {
            print_details(out, chip);
        }
    }
}

} // namespace

void add_show(argument_parser app, invocation &call) {
    auto chips = std::make_shared<std::vector<std::string>>();
    auto as_json = std::make_shared<bool>(false);
    const argument_parser command =
        add_command(app, "show", "Show the board, or some of its chips in detail; * marks what set takes",
                    call, [&call, chips, as_json] { show(call, *chips, *as_json); });
    command.add_option("chips", *chips, "names of chips; default: all").type_name("CHIP").expected(-1);
    command.add_flag("--json", *as_json, "as JSON");
}

} // namespace varnel::sim::tool
