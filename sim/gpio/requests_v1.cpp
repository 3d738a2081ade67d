// SPDX-License-Identifier: Apache-2.0
// Line requests of the first version of linux/gpio.h: handles, of lines in one direction, and events of one line.

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <ctime>
#include <string>
#include <utility>

#include "sim/gpio/line_request.h"
#include "sim/gpio/requests.h"

namespace varnel::sim::gpio::v1 {

namespace {

static_assert(sizeof(gpioline_info) == 72 && sizeof(gpioline_info_changed) == 104);
static_assert(sizeof(gpiohandle_request) == 364 && sizeof(gpiohandle_config) == 84);
static_assert(sizeof(gpioevent_request) == 48 && sizeof(gpiochip_info) == 68);

/// A flag in both versions.
struct flag_pair {
    uint32_t v1;
    uint64_t v2;
};

constexpr std::array requested_flags{
    flag_pair{GPIOHANDLE_REQUEST_INPUT, GPIO_V2_LINE_FLAG_INPUT},
    flag_pair{GPIOHANDLE_REQUEST_OUTPUT, GPIO_V2_LINE_FLAG_OUTPUT},
    flag_pair{GPIOHANDLE_REQUEST_ACTIVE_LOW, GPIO_V2_LINE_FLAG_ACTIVE_LOW},
    flag_pair{GPIOHANDLE_REQUEST_OPEN_DRAIN, GPIO_V2_LINE_FLAG_OPEN_DRAIN},
    flag_pair{GPIOHANDLE_REQUEST_OPEN_SOURCE, GPIO_V2_LINE_FLAG_OPEN_SOURCE},
    flag_pair{GPIOHANDLE_REQUEST_BIAS_PULL_UP, GPIO_V2_LINE_FLAG_BIAS_PULL_UP},
    flag_pair{GPIOHANDLE_REQUEST_BIAS_PULL_DOWN, GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN},
    flag_pair{GPIOHANDLE_REQUEST_BIAS_DISABLE, GPIO_V2_LINE_FLAG_BIAS_DISABLED},
};

constexpr std::array shown_flags{
    flag_pair{GPIOLINE_FLAG_KERNEL, GPIO_V2_LINE_FLAG_USED},
    flag_pair{GPIOLINE_FLAG_IS_OUT, GPIO_V2_LINE_FLAG_OUTPUT},
    flag_pair{GPIOLINE_FLAG_ACTIVE_LOW, GPIO_V2_LINE_FLAG_ACTIVE_LOW},
    flag_pair{GPIOLINE_FLAG_OPEN_DRAIN, GPIO_V2_LINE_FLAG_OPEN_DRAIN},
    flag_pair{GPIOLINE_FLAG_OPEN_SOURCE, GPIO_V2_LINE_FLAG_OPEN_SOURCE},
    flag_pair{GPIOLINE_FLAG_BIAS_PULL_UP, GPIO_V2_LINE_FLAG_BIAS_PULL_UP},
    flag_pair{GPIOLINE_FLAG_BIAS_PULL_DOWN, GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN},
    flag_pair{GPIOLINE_FLAG_BIAS_DISABLE, GPIO_V2_LINE_FLAG_BIAS_DISABLED},
};

constexpr uint32_t directions = GPIOHANDLE_REQUEST_INPUT | GPIOHANDLE_REQUEST_OUTPUT;
constexpr uint32_t drives = GPIOHANDLE_REQUEST_OPEN_DRAIN | GPIOHANDLE_REQUEST_OPEN_SOURCE;
constexpr uint32_t biases =
    GPIOHANDLE_REQUEST_BIAS_PULL_UP | GPIOHANDLE_REQUEST_BIAS_PULL_DOWN | GPIOHANDLE_REQUEST_BIAS_DISABLE;
constexpr uint32_t known_flags = directions | drives | biases | GPIOHANDLE_REQUEST_ACTIVE_LOW;

/// Events of a line that are kept until the program reads them.
constexpr uint16_t capacity = 16;

uint64_t v2_flags(uint32_t flags) {
    uint64_t all = 0;
    for (const auto &[v1, v2] : requested_flags) {
        all |= (flags & v1) != 0 ? v2 : 0;
    }
    return all;
}

template <std::size_t size>
std::string text_of(const char (&name)[size]) {
    return {name, strnlen(name, size - 1)};
}

/// Whether nothing can have the flags, or they cannot be together.
bool wrong(uint32_t flags) { return (flags & ~known_flags) != 0 || contradictory(v2_flags(flags)); }

int check_event(const gpioevent_request &wanted, unsigned int lines) {
    const bool known = (wanted.handleflags & ~known_flags) == 0 &&
                       (wanted.eventflags & ~uint32_t{GPIOEVENT_REQUEST_BOTH_EDGES}) == 0;
    const bool output = (wanted.handleflags & (GPIOHANDLE_REQUEST_OUTPUT | drives)) != 0;
    const bool two_biases = std::popcount(wanted.handleflags & biases) > 1;
    return wanted.lineoffset >= lines || !known || output || two_biases ? -EINVAL : 0;
}

/// Lines in one direction. As in Linux, a request that sets values looks at the first line for that direction.
class handle_file : public gpio_file {
  public:
    explicit handle_file(gpio_chip &chip) : lines_(chip, [](const line_edge & /*none*/) {}) {}

    [[nodiscard]] int request(const gpiohandle_request &wanted) {
        for (std::size_t i = 0; i < wanted.lines; ++i) {
            const line_settings settings{v2_flags(wanted.flags), wanted.default_values[i] != 0};
            if (const int error =
                    lines_.add(wanted.lineoffsets[i], text_of(wanted.consumer_label), settings, 0);
                error != 0) {
                return error;
            }
        }
        return 0;
    }

    [[nodiscard]] int ioctl(uint32_t request, std::vector<uint8_t> &data,
                            std::unique_ptr<gpio_file> & /*lines*/) override {
        switch (request) {
        case GPIOHANDLE_GET_LINE_VALUES_IOCTL:
            return with_object<gpiohandle_data>(data, [this](auto &values) { return read(values); });
        case GPIOHANDLE_SET_LINE_VALUES_IOCTL:
            return lines_.is_output(0)
                       ? with_object<gpiohandle_data>(data, [this](auto &values) { return write(values); })
                       : -EPERM;
        case GPIOHANDLE_SET_CONFIG_IOCTL:
            return with_object<gpiohandle_config>(data, [this](auto &config) { return change(config); });
        default:
            return -EINVAL;
        }
    }

  private:
    int read(gpiohandle_data &values) {
        uint64_t bits = 0;
        const int error = lines_.read(~uint64_t{0}, bits);
        for (std::size_t i = 0; i < std::size(values.values); ++i) {
            values.values[i] = bits >> i & 1U;
        }
        return error;
    }

    int write(const gpiohandle_data &values) {
        uint64_t bits = 0;
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            bits |= uint64_t{values.values[i] != 0} << i;
        }
        lines_.write(~uint64_t{0}, bits);
        return 0;
    }

    int change(const gpiohandle_config &config) {
        int error = wrong(config.flags) ? -EINVAL : 0;
        for (std::size_t i = 0; i < lines_.size() && error == 0; ++i) {
            error = lines_.change(i, {v2_flags(config.flags), config.default_values[i] != 0}, 0);
        }
        return error;
    }

    line_request lines_;
};

/// Edges of one line.
class event_file : public gpio_file {
  public:
    event_file(gpio_chip &chip, const event_sink &events)
        : lines_(chip, [events](const line_edge &edge) { events(event_of(edge)); }) {}

    [[nodiscard]] int request(const gpioevent_request &wanted) {
        const uint64_t rising =
            (wanted.eventflags & GPIOEVENT_REQUEST_RISING_EDGE) != 0 ? GPIO_V2_LINE_FLAG_EDGE_RISING : 0;
        const uint64_t falling =
            (wanted.eventflags & GPIOEVENT_REQUEST_FALLING_EDGE) != 0 ? GPIO_V2_LINE_FLAG_EDGE_FALLING : 0;
        const line_settings settings{v2_flags(wanted.handleflags) | GPIO_V2_LINE_FLAG_INPUT, false};
        return lines_.add(wanted.lineoffset, text_of(wanted.consumer_label), settings, rising | falling);
    }

    [[nodiscard]] int ioctl(uint32_t request, std::vector<uint8_t> &data,
                            std::unique_ptr<gpio_file> & /*lines*/) override {
        return request == GPIOHANDLE_GET_LINE_VALUES_IOCTL
                   ? with_object<gpiohandle_data>(data, [this](auto &values) { return read(values); })
                   : -EINVAL;
    }

  private:
    static file_event event_of(const line_edge &edge) {
        gpioevent_data event{};
        event.timestamp = time_of(CLOCK_MONOTONIC);
        event.id = edge.rising ? GPIOEVENT_EVENT_RISING_EDGE : GPIOEVENT_EVENT_FALLING_EDGE;
        return {bytes_of(event), capacity, false};
    }

    int read(gpiohandle_data &values) {
        bool value = false;
        const int error = lines_.read_first(value);
        values = {};
        values.values[0] = value ? 1 : 0;
        return error;
    }

    line_request lines_;
};

} // namespace

gpioline_info line_info(const gpio_v2_line_info &info) {
    gpioline_info old{};
    old.line_offset = info.offset;
    std::ranges::copy(info.name, old.name);
    std::ranges::copy(info.consumer, old.consumer);
    for (const auto &[v1, v2] : shown_flags) {
        old.flags |= (info.flags & v2) != 0 ? v1 : 0;
    }
    return old;
}

int request_handle(gpio_chip &chip, std::vector<uint8_t> &data, std::unique_ptr<gpio_file> &lines) {
    return with_object<gpiohandle_request>(data, [&](const auto &wanted) {
        if (wanted.lines == 0 || wanted.lines > GPIOHANDLES_MAX || wrong(wanted.flags)) {
            return -EINVAL;
        }
        return request_for(std::make_unique<handle_file>(chip), wanted, lines);
    });
}

int request_event(gpio_chip &chip, std::vector<uint8_t> &data, const event_sink &events,
                  std::unique_ptr<gpio_file> &lines) {
    return with_object<gpioevent_request>(data, [&](const auto &wanted) {
        if (const int error = check_event(wanted, chip.lines()); error != 0) {
            return error;
        }
        return request_for(std::make_unique<event_file>(chip, events), wanted, lines);
    });
}

} // namespace varnel::sim::gpio::v1
