// SPDX-License-Identifier: Apache-2.0
#include "sim/gpio/line_request.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace varnel::sim::gpio {

line_request::line_request(gpio_chip &chip, std::function<void(const line_edge &)> report)
    : chip_(chip), report_(std::move(report)) {}

line_request::~line_request() {
    for (const requested_line &line : lines_) {
        chip_.stop_detection(line.offset);
        chip_.release(line.offset);
    }
}

int line_request::add(uint32_t offset, const std::string &consumer, const line_settings &settings,
                      uint64_t edges) {
    if (offset >= chip_.lines()) {
        return -EINVAL;
    }
    if (const int error = chip_.request(offset, consumer); error != 0) {
        return error;
    }
    requested_line &line = lines_.emplace_back(requested_line{offset});
    int error = chip_.configure(offset, settings);
    if (error == 0) {
        error = detect(line, settings, edges);
    }
    if (error == 0) {
        chip_.notify(offset, GPIO_V2_LINE_CHANGED_REQUESTED);
    }
    return error;
}

int line_request::change(std::size_t index, const line_settings &settings, uint64_t edges) {
    requested_line &line = lines_[index];
    if (edges == 0) {
        chip_.stop_detection(line.offset);
    }
    int error = chip_.configure(line.offset, settings);
    if (error == 0) {
        error = detect(line, settings, edges);
    }
    if (error == 0) {
        chip_.notify(line.offset, GPIO_V2_LINE_CHANGED_CONFIG);
    }
    return error;
}

int line_request::detect(requested_line &line, const line_settings &settings, uint64_t edges) {
    line.edges = edges;
    line.real_time = (settings.flags & GPIO_V2_LINE_FLAG_EVENT_CLOCK_REALTIME) != 0;
    return edges != 0 ? chip_.start_detection(line.offset, *this) : 0;
}

bool line_request::is_output(std::size_t index) const { return chip_.is_output(lines_[index].offset); }

int line_request::read(uint64_t mask, uint64_t &values) {
    line_bits all = 0;
    if (const int error = chip_.read(all); error != 0) {
        return error;
    }
    values = 0;
    for (std::size_t i = 0; i < size(); ++i) {
        values |= (all >> lines_[i].offset & mask >> i & 1U) << i;
    }
    return 0;
}

int line_request::read_first(bool &value) { return chip_.read(lines_.front().offset, value); }

void line_request::write(uint64_t mask, uint64_t values) {
    line_bits lines = 0;
    line_bits wanted = 0;
    for (std::size_t i = 0; i < size(); ++i) {
        lines |= (mask >> i & 1U) << lines_[i].offset;
        wanted |= (values >> i & 1U) << lines_[i].offset;
    }
    chip_.write(lines, wanted);
}

void line_request::edge(unsigned int line, bool high) {
    const bool rising = high != chip_.is_active_low(line);
    const uint64_t wanted = rising ? GPIO_V2_LINE_FLAG_EDGE_RISING : GPIO_V2_LINE_FLAG_EDGE_FALLING;
    requested_line &requested = *std::ranges::find(lines_, line, &requested_line::offset);
    if ((requested.edges & wanted) != 0) {
        report_({line, rising, requested.real_time, ++seen_, ++requested.seen});
    }
}

} // namespace varnel::sim::gpio
