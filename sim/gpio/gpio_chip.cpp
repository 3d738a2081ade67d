// SPDX-License-Identifier: Apache-2.0
#include "sim/gpio/gpio_chip.h"

#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

#include <fmt/format.h>

namespace varnel::sim::gpio {

namespace {

/// What a release clears: all but the direction, which stays on the chip.
constexpr uint64_t kept_flags = GPIO_V2_LINE_FLAG_OUTPUT;

void store(std::span<char> to, std::string_view text) {
    const auto kept = text.substr(0, to.size() - 1);
    std::ranges::copy(kept, to.begin());
}

} // namespace

gpio_chip::gpio_chip(unsigned int number, const gpiochip_place &place, perform_transfer perform)
    : number_(number), label_(fmt::format("{}-{:04x}", place.bus, place.address)), part_(*place.part),
      driver_(place, std::move(perform)), lines_(driver_.lines()) {
    const auto names = part_.model->pins()->pin_names();
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        lines_[i].name = names[i];
    }
}

int gpio_chip::bind() {
    for (unsigned int line = 0; line < lines() && !bound_; ++line) {
        bool output = false;
        if (const int error = driver_.is_output(line, output); error != 0) {
            return error;
        }
        lines_[line].flags = output ? kept_flags : 0;
    }
    bound_ = true;
    return 0;
}

gpiochip_info gpio_chip::info() const {
    gpiochip_info info{};
    store(info.name, fmt::format("gpiochip{}", number_));
    store(info.label, label_);
    info.lines = lines();
    return info;
}

gpio_v2_line_info gpio_chip::line_info(unsigned int line) const {
    const line_state &state = lines_[line];
    gpio_v2_line_info info{};
    store(info.name, state.name);
    store(info.consumer, state.consumer);
    info.offset = line;
    info.flags = state.flags | (state.requested ? GPIO_V2_LINE_FLAG_USED : 0) |
                 (is_output(line) ? 0 : GPIO_V2_LINE_FLAG_INPUT);
    if (state.debounce_us != 0) {
        info.num_attrs = 1;
        info.attrs[0].id = GPIO_V2_LINE_ATTR_ID_DEBOUNCE;
        info.attrs[0].debounce_period_us = state.debounce_us;
    }
    return info;
}

bool gpio_chip::has(unsigned int line, uint64_t flag) const { return (lines_[line].flags & flag) != 0; }
bool gpio_chip::is_output(unsigned int line) const { return has(line, GPIO_V2_LINE_FLAG_OUTPUT); }
bool gpio_chip::is_active_low(unsigned int line) const { return has(line, GPIO_V2_LINE_FLAG_ACTIVE_LOW); }

int gpio_chip::request(unsigned int line, const std::string &consumer) {
    line_state &state = lines_[line];
    if (state.requested) {
        return -EBUSY;
    }
    state.requested = true;
    state.consumer = consumer.empty() ? "?" : consumer;
    bool output = false; // what open-drain lines did to the direction is over
    if (driver_.is_output(line, output) == 0) {
        state.flags = output ? kept_flags : 0;
    }
    return 0;
}

void gpio_chip::release(unsigned int line) {
    line_state &state = lines_[line];
    state = {state.name, {}, false, state.flags & kept_flags};
    notify(line, GPIO_V2_LINE_CHANGED_RELEASED);
}

int gpio_chip::configure(unsigned int line, const line_settings &settings) {
    line_state &state = lines_[line];
    const bool output = (settings.flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0;
    const bool input = (settings.flags & GPIO_V2_LINE_FLAG_INPUT) != 0;
    const uint64_t direction = input ? 0 : state.flags & GPIO_V2_LINE_FLAG_OUTPUT;
    state.flags = (settings.flags & ~uint64_t{GPIO_V2_LINE_FLAG_INPUT}) | direction;
    state.debounce_us = settings.debounce_us;
    return output ? make_output(line, settings.value) : input ? make_input(line) : 0;
}

int gpio_chip::make_input(unsigned int line) {
    const int error = driver_.make_input(line);
    if (error == 0) {
        lines_[line].flags &= ~uint64_t{GPIO_V2_LINE_FLAG_OUTPUT};
    }
    return error;
}

/// Open-drain and open-source lines are emulated: they become inputs when they are not to drive a level.
bool gpio_chip::lets_go(unsigned int line, bool high) const {
    return has(line, high ? GPIO_V2_LINE_FLAG_OPEN_DRAIN : GPIO_V2_LINE_FLAG_OPEN_SOURCE);
}

int gpio_chip::make_output(unsigned int line, bool value) {
    const bool high = value != is_active_low(line);
    return lets_go(line, high) ? driver_.make_input(line) : driver_.make_output(line, high);
}

line_bits gpio_chip::active_low() const {
    line_bits all = 0;
    for (unsigned int line = 0; line < lines(); ++line) {
        all |= line_bits{is_active_low(line)} << line;
    }
    return all;
}

int gpio_chip::read(line_bits &values) {
    const int error = driver_.read(values);
    values ^= active_low();
    return error;
}

int gpio_chip::read(unsigned int line, bool &value) {
    const int error = driver_.read(line, value);
    value = value != is_active_low(line);
    return error;
}

/// As Linux does: emulated lines one by one, the others together; and bus errors are lost.
void gpio_chip::write(line_bits lines, line_bits values) {
    const line_bits levels = values ^ active_low();
    line_bits together = 0;
    for (unsigned int line = 0; line < this->lines(); ++line) {
        if ((lines >> line & 1U) == 0) {
            continue;
        }
        if (!has(line, GPIO_V2_LINE_FLAG_OPEN_DRAIN | GPIO_V2_LINE_FLAG_OPEN_SOURCE)) {
            together |= line_bits{1} << line;
        } else {
            (void)make_output(line, (values >> line & 1U) != 0);
        }
    }
    if (together != 0) {
        driver_.write(together, levels);
    }
}

bool gpio_chip::detects() const {
    return std::ranges::any_of(lines_, [](const line_state &line) { return line.listener != nullptr; });
}

int gpio_chip::start_detection(unsigned int line, edge_listener &listener) {
    if (!detects()) {
        if (const int error = driver_.read(seen_); error != 0) {
            return error;
        }
    }
    lines_[line].listener = &listener;
    return 0;
}

void gpio_chip::stop_detection(unsigned int line) { lines_[line].listener = nullptr; }

bool gpio_chip::interrupted() const {
    return detects() && part_.plugged && part_.model->pins()->interrupts();
}

void gpio_chip::handle_interrupt() {
    line_bits levels = 0;
    if (driver_.read(levels) != 0) {
        return;
    }
    const line_bits changed = std::exchange(seen_, levels) ^ levels;
    for (unsigned int line = 0; line < lines(); ++line) {
        if (lines_[line].listener != nullptr && (changed >> line & 1U) != 0) {
            lines_[line].listener->edge(line, (levels >> line & 1U) != 0);
        }
    }
}

void gpio_chip::watch(line_watcher &watcher) { watchers_.push_back(&watcher); }
void gpio_chip::stop_watching(const line_watcher &watcher) { std::erase(watchers_, &watcher); }

void gpio_chip::notify(unsigned int line, uint32_t change) const {
    for (line_watcher *const watcher : watchers_) {
        watcher->line_changed(line, change);
    }
}

} // namespace varnel::sim::gpio
