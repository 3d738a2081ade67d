// SPDX-License-Identifier: Apache-2.0
#include "sim/capture/vcd.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

#include <fmt/format.h>

namespace varnel::sim::capture {

namespace {

constexpr double unknown = -std::numeric_limits<double>::infinity();
/// How long a line is drawn that was held until the adapter gave up: the trace does not say when that was.
constexpr int64_t held_in_second = 1000; // 1 ms
/// What is drawn for another master that won: its address is unknown, but this one always wins.
constexpr uint8_t winning_address = 0;

/// The number of an adapter: "0"; nothing for a bus behind a multiplexer.
std::optional<uint8_t> adapter_number(const std::string &bus) {
    uint8_t number = 0;
    const auto [end, error] = std::from_chars(bus.data(), bus.data() + bus.size(), number);
    return error == std::errc{} && end == bus.data() + bus.size() ? std::optional(number) : std::nullopt;
}

/// The level of a pin, whose last word about it counts: "output low (held high from outside)"; 1 for an asserted
/// interrupt. Nothing for other text.
std::optional<bool> level_in(const std::string &text) {
    if (text == "asserted" || text == "idle") {
        return text == "asserted";
    }
    const auto high = static_cast<std::ptrdiff_t>(text.rfind("high"));
    const auto low = static_cast<std::ptrdiff_t>(text.rfind("low"));
    return high < 0 && low < 0 ? std::nullopt : std::optional(high > low);
}

/// A reading as a number; nothing for text that is no level.
std::optional<double> number_in(const reading_value &value) {
    if (const auto *const measured = std::get_if<measurement>(&value)) {
        return measured->number;
    }
    if (const auto *const held = std::get_if<register_value>(&value)) {
        return held->bits;
    }
    const auto level = level_in(std::get<std::string>(value));
    return level ? std::optional<double>(*level) : std::nullopt;
}

/// A short name of printable characters, as the format wants them.
std::string code_of(std::size_t number) {
    constexpr std::size_t printable = '~' - '!' + 1;
    std::string code;
    do {
        code.push_back(static_cast<char>('!' + number % printable));
        number /= printable;
    } while (number != 0);
    return code;
}

} // namespace

vcd::vcd(const bus_timing &timing, const board_status &board)
    : timing_(timing),
      declarations_(fmt::format("$version varnel-sim $end\n$timescale {} $end\n$scope module board $end\n",
                                timing.timescale)) {
    declare_buses(board);
    for (const chip_status &chip : board.chips) {
        declare_readings(chip);
    }
    declarations_ += "$upscope $end\n$enddefinitions $end\n";
}

vcd::signal vcd::declare(const std::string &kind, const std::string &name) {
    declarations_ += fmt::format("$var {} {} {} $end\n", kind, code_of(values_.size()), name);
    values_.push_back(unknown);
    is_real_.push_back(kind.starts_with("real"));
    return values_.size() - 1;
}

void vcd::declare_buses(const board_status &board) {
    for (const chip_status &chip : board.chips) {
        for (const chip_connection &at : chip.connections) {
            if (const auto number = adapter_number(at.bus)) {
                buses_.try_emplace(*number);
            }
        }
    }
    for (auto &[number, bus] : buses_) {
        bus.data = declare("wire 1", fmt::format("SDA{}", number));
        bus.clock = declare("wire 1", fmt::format("SCL{}", number));
    }
}

void vcd::declare_readings(const chip_status &chip) {
    declarations_ += fmt::format("$scope module {} $end\n", chip.name);
    for (const reading &each : chip.readings) {
        if (number_in(each.value)) {
            const bool is_wire = std::holds_alternative<std::string>(each.value);
            const signal of = declare(is_wire ? "wire 1" : "real 64", each.name);
            readings_[chip.name + "." + each.name] = {of, is_wire};
        }
    }
    declarations_ += "$upscope $end\n";
}

std::string vcd::beginning() const { return declarations_; }

int64_t vcd::units(std::chrono::microseconds time) const {
    return time.count() * (timing_.units_in_second / std::micro::den);
}

void vcd::set(signal of, int64_t time, double value) {
    waiting_.push({std::max(time, written_), changes_++, of, value});
}

/// From a free bus, or, where no STOP was, a repeated one.
void vcd::draw_start(bus_wires &bus) {
    int64_t &now = bus.free_at;
    if (bus.begun) {
        set(bus.data, now + timing_.setup, 1);
        now += timing_.low;
        set(bus.clock, now, 1);
        now += timing_.low;
    }
    set(bus.data, now, 0);
    now += timing_.high;
    set(bus.clock, now, 0);
    bus.begun = true;
}

void vcd::draw_bit(bus_wires &bus, bool bit) {
    int64_t &now = bus.free_at;
    set(bus.data, now + timing_.setup, bit ? 1 : 0);
    set(bus.clock, now + timing_.low, 1);
    now += timing_.low + timing_.high;
    set(bus.clock, now, 0);
}

void vcd::draw_byte(bus_wires &bus, uint8_t byte, bool acknowledged) {
    for (int bit = 7; bit >= 0; --bit) {
        draw_bit(bus, (byte >> bit & 1) != 0);
    }
    draw_bit(bus, !acknowledged);
}

void vcd::draw_stop(bus_wires &bus) {
    int64_t &now = bus.free_at;
    set(bus.data, now + timing_.setup, 0);
    now += timing_.low;
    set(bus.clock, now, 1);
    now += timing_.high;
    set(bus.data, now, 1);
    now += timing_.low;
    bus.begun = false;
}

void vcd::draw_message(bus_wires &bus, uint8_t address, const wire_message &message) {
    const auto direction_bit = message.way == direction::read ? 1U : 0U;
    draw_byte(bus, static_cast<uint8_t>(unsigned{address} << 1 | direction_bit),
              message.address_acknowledged);
    for (std::size_t i = 0; i < message.bytes.size(); ++i) {
        draw_byte(bus, message.bytes[i], i + 1 < message.bytes.size() || message.last_acknowledged);
    }
}

/// A held clock keeps what was begun. Held data is followed by the nine clocks that adapters send to free it.
void vcd::draw_held(bus_wires &bus, held_line line) {
    if (line == held_line::none) {
        return;
    }
    const signal held = line == held_line::data ? bus.data : bus.clock;
    set(held, bus.free_at, 0);
    bus.free_at += timing_.units_in_second / held_in_second;
    if (line == held_line::data) {
        draw_clocks(bus);
    }
    if (!bus.begun) {
        set(held, bus.free_at, 1);
        bus.free_at += timing_.low;
    }
}

void vcd::draw_clocks(bus_wires &bus) {
    constexpr int clocks = 9;
    for (int i = 0; i < clocks; ++i) {
        set(bus.clock, bus.free_at, 0);
        set(bus.clock, bus.free_at + timing_.low, 1);
        bus.free_at += timing_.low + timing_.high;
    }
}

std::string vcd::transfer(const transfer_record &record) {
    const auto found = buses_.find(record.bus);
    const wire_activity activity = activity_of(record);
    const int64_t begin = units(record.time);
    newest_ = std::max(newest_, begin);
    if (found == buses_.end()) {
        return "";
    }
    bus_wires &bus = found->second;
    bus.free_at = std::max({bus.free_at, begin, written_});
    for (const wire_message &message : activity.messages) {
        draw_start(bus);
        if (activity.arbitration_lost) {
            draw_byte(bus, winning_address, false);
        } else {
            draw_message(bus, record.address, message);
        }
        if (message.stop && activity.held == held_line::none) {
            draw_stop(bus);
        }
    }
    draw_held(bus, activity.held);
    if (bus.begun && activity.held != held_line::none) {
        draw_stop(bus);
    }
    return changes_until(newest_ - timing_.units_in_second);
}

std::string vcd::state(std::chrono::microseconds time, const board_status &board) {
    newest_ = std::max(newest_, units(time));
    for (const chip_status &chip : board.chips) {
        for (const reading &each : chip.readings) {
            const auto found = readings_.find(chip.name + "." + each.name);
            const auto number = number_in(each.value);
            if (found != readings_.end() && number) {
                set(found->second.of, units(time), *number);
            }
        }
    }
    return changes_until(newest_ - timing_.units_in_second);
}

std::string vcd::finish() { return changes_until(std::numeric_limits<int64_t>::max()); }

/// The buses shortly before what happens first.
std::string vcd::idle_before(int64_t time) {
    written_ = std::max(int64_t{0}, time - timing_.low);
    std::string text = fmt::format("#{}\n$dumpvars\n", written_);
    for (const auto &[number, bus] : buses_) {
        for (const signal of : {bus.data, bus.clock}) {
            values_[of] = 1;
            text += text_of({written_, 0, of, 1});
        }
    }
    return text + "$end\n";
}

std::string vcd::changes_until(int64_t time) {
    std::string text;
    while (!waiting_.empty() && waiting_.top().time <= time) {
        const change next = waiting_.top();
        waiting_.pop();
        if (written_ < 0) {
            text += idle_before(next.time);
        }
        if (values_[next.of] == next.value) {
            continue;
        }
        if (next.time > written_) {
            text += fmt::format("#{}\n", next.time);
            written_ = next.time;
        }
        values_[next.of] = next.value;
        text += text_of(next);
    }
    return text;
}

std::string vcd::text_of(const change &made) const {
    return is_real_[made.of] ? fmt::format("r{} {}\n", made.value, code_of(made.of))
                             : fmt::format("{}{}\n", made.value != 0 ? 1 : 0, code_of(made.of));
}

} // namespace varnel::sim::capture
