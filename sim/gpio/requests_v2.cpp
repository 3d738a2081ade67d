// SPDX-License-Identifier: Apache-2.0
// Line requests of the second version of linux/gpio.h.

#include <algorithm>
#include <bit>
#include <cerrno>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

#include "sim/gpio/line_request.h"
#include "sim/gpio/requests.h"

namespace varnel::sim::gpio {

uint64_t time_of(int clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

namespace {

constexpr uint64_t direction_flags = GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_OUTPUT;
constexpr uint64_t edge_flags = GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_EDGE_FALLING;
constexpr uint64_t drive_flags = GPIO_V2_LINE_FLAG_OPEN_DRAIN | GPIO_V2_LINE_FLAG_OPEN_SOURCE;
constexpr uint64_t bias_flags =
    GPIO_V2_LINE_FLAG_BIAS_PULL_UP | GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN | GPIO_V2_LINE_FLAG_BIAS_DISABLED;

} // namespace

bool contradictory(uint64_t flags) {
    const bool two_directions = (flags & direction_flags) == direction_flags;
    const bool edges_without_input = (flags & edge_flags) != 0 && (flags & GPIO_V2_LINE_FLAG_INPUT) == 0;
    const bool two_drives = (flags & drive_flags) == drive_flags;
    const bool drive_without_output = (flags & drive_flags) != 0 && (flags & GPIO_V2_LINE_FLAG_OUTPUT) == 0;
    const bool bias_without_direction = (flags & bias_flags) != 0 && (flags & direction_flags) == 0;
    const bool two_biases = std::popcount(flags & bias_flags) > 1;
    return two_directions || edges_without_input || two_drives || drive_without_output ||
           bias_without_direction || two_biases;
}

namespace v2 {

namespace {

// Programs of all machines have the same structures.
static_assert(sizeof(gpio_v2_line_info) == 256 && sizeof(gpio_v2_line_config) == 272);
static_assert(sizeof(gpio_v2_line_request) == 592 && sizeof(gpio_v2_line_event) == 48);
static_assert(sizeof(gpio_v2_line_info_changed) == 288 && sizeof(gpio_v2_line_values) == 16);

constexpr uint64_t known_flags = GPIO_V2_LINE_FLAG_ACTIVE_LOW | direction_flags | edge_flags | drive_flags |
                                 bias_flags | GPIO_V2_LINE_FLAG_EVENT_CLOCK_REALTIME |
                                 GPIO_V2_LINE_FLAG_EVENT_CLOCK_HTE;

/// Of events that a program does not read, the request keeps this many a line unless the program chooses.
constexpr uint32_t events_a_line = 16;

bool all_zero(std::span<const uint32_t> padding) {
    return std::ranges::all_of(padding, [](uint32_t word) { return word == 0; });
}

/// The first attribute of a kind that is for a line.
const gpio_v2_line_attribute *attribute_of(const gpio_v2_line_config &config, std::size_t line,
                                           uint32_t kind) {
    for (const auto &each : std::span(config.attrs).first(config.num_attrs)) {
        if (each.attr.id == kind && (each.mask >> line & 1U) != 0) {
            return &each.attr;
        }
    }
    return nullptr;
}

line_settings settings_of(const gpio_v2_line_config &config, std::size_t line) {
    const auto *const flags = attribute_of(config, line, GPIO_V2_LINE_ATTR_ID_FLAGS);
    const auto *const values = attribute_of(config, line, GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES);
    const auto *const debounce = attribute_of(config, line, GPIO_V2_LINE_ATTR_ID_DEBOUNCE);
    return {flags != nullptr ? uint64_t{flags->flags} : uint64_t{config.flags},
            values != nullptr && (values->values >> line & 1U) != 0,
            debounce != nullptr ? debounce->debounce_period_us : 0};
}

/// The errno for flags that nothing can have, or that cannot be together; 0 for others.
int check(uint64_t flags) {
    if ((flags & ~known_flags) != 0) {
        return -EINVAL;
    }
    if ((flags & GPIO_V2_LINE_FLAG_EVENT_CLOCK_HTE) != 0) {
        return -EOPNOTSUPP; // no hardware takes the time here
    }
    return contradictory(flags) ? -EINVAL : 0;
}

int check(const gpio_v2_line_config &config, std::size_t lines) {
    if (config.num_attrs > GPIO_V2_LINE_NUM_ATTRS_MAX || !all_zero(config.padding)) {
        return -EINVAL;
    }
    for (std::size_t line = 0; line < lines; ++line) {
        const line_settings settings = settings_of(config, line);
        if (const int error = check(settings.flags); error != 0) {
            return error;
        }
        if (attribute_of(config, line, GPIO_V2_LINE_ATTR_ID_DEBOUNCE) != nullptr &&
            (settings.flags & GPIO_V2_LINE_FLAG_INPUT) == 0) {
            return -EINVAL;
        }
    }
    return 0;
}

class line_file : public gpio_file {
  public:
    line_file(gpio_chip &chip, const event_sink &events, uint16_t capacity)
        : lines_(chip, [events, capacity](const line_edge &edge) { events(event_of(edge, capacity)); }) {}

    [[nodiscard]] int request(const gpio_v2_line_request &wanted) {
        const std::string consumer(wanted.consumer, strnlen(wanted.consumer, sizeof wanted.consumer - 1));
        for (std::size_t i = 0; i < wanted.num_lines; ++i) {
            const line_settings settings = settings_of(wanted.config, i);
            if (const int error =
                    lines_.add(wanted.offsets[i], consumer, settings, settings.flags & edge_flags);
                error != 0) {
                return error;
            }
        }
        return 0;
    }

    [[nodiscard]] int ioctl(uint32_t request, std::vector<uint8_t> &data,
                            std::unique_ptr<gpio_file> & /*lines*/) override {
        switch (request) {
        case GPIO_V2_LINE_GET_VALUES_IOCTL:
            return with_object<gpio_v2_line_values>(data, [this](auto &values) { return read(values); });
        case GPIO_V2_LINE_SET_VALUES_IOCTL:
            return with_object<gpio_v2_line_values>(data, [this](auto &values) { return write(values); });
        case GPIO_V2_LINE_SET_CONFIG_IOCTL:
            return with_object<gpio_v2_line_config>(data, [this](auto &config) { return change(config); });
        default:
            return -EINVAL;
        }
    }

  private:
    static file_event event_of(const line_edge &edge, uint16_t capacity) {
        gpio_v2_line_event event{};
        event.timestamp_ns = time_of(edge.real_time ? CLOCK_REALTIME : CLOCK_MONOTONIC);
        event.id = edge.rising ? GPIO_V2_LINE_EVENT_RISING_EDGE : GPIO_V2_LINE_EVENT_FALLING_EDGE;
        event.offset = edge.offset;
        event.seqno = edge.number;
        event.line_seqno = edge.number_on_line;
        return {bytes_of(event), capacity, true};
    }

    /// The lines of the request in a mask.
    [[nodiscard]] uint64_t known(uint64_t mask) const {
        return mask & (lines_.size() == 64 ? ~uint64_t{0} : (uint64_t{1} << lines_.size()) - 1);
    }

    int read(gpio_v2_line_values &values) {
        const uint64_t mask = known(values.mask);
        uint64_t bits = 0;
        const int error = mask == 0 ? -EINVAL : lines_.read(mask, bits);
        values.bits = bits;
        return error;
    }

    int write(const gpio_v2_line_values &values) {
        const uint64_t mask = known(values.mask);
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            if ((mask >> i & 1U) != 0 && !lines_.is_output(i)) {
                return -EPERM;
            }
        }
        if (mask == 0) {
            return -EINVAL;
        }
        lines_.write(mask, values.bits);
        return 0;
    }

    int change(const gpio_v2_line_config &config) {
        if (const int error = check(config, lines_.size()); error != 0) {
            return error;
        }
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            const line_settings settings = settings_of(config, i);
            if (const int error = lines_.change(i, settings, settings.flags & edge_flags); error != 0) {
                return error;
            }
        }
        return 0;
    }

    line_request lines_;
};

int request(gpio_chip &chip, const gpio_v2_line_request &wanted, const event_sink &events,
            std::unique_ptr<gpio_file> &lines) {
    if (wanted.num_lines == 0 || wanted.num_lines > GPIO_V2_LINES_MAX || !all_zero(wanted.padding)) {
        return -EINVAL;
    }
    if (const int error = check(wanted.config, wanted.num_lines); error != 0) {
        return error;
    }
    const uint32_t chosen =
        wanted.event_buffer_size != 0 ? wanted.event_buffer_size : wanted.num_lines * events_a_line;
    const uint32_t capacity = std::bit_ceil(std::min(chosen, GPIO_V2_LINES_MAX * events_a_line));
    return request_for(std::make_unique<line_file>(chip, events, static_cast<uint16_t>(capacity)), wanted,
                       lines);
}

} // namespace

int request_lines(gpio_chip &chip, std::vector<uint8_t> &data, const event_sink &events,
                  std::unique_ptr<gpio_file> &lines) {
    return with_object<gpio_v2_line_request>(
        data, [&](const auto &wanted) { return request(chip, wanted, events, lines); });
}

} // namespace v2

} // namespace varnel::sim::gpio
