// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * @file
 * Requests for lines: the structures of both versions of linux/gpio.h. Results are those of gpio_file::ioctl().
 */

#include <memory>
#include <utility>
#include <vector>

#include "sim/gpio/gpio_file.h"

namespace varnel::sim::gpio {

/// Nanoseconds of a clock, CLOCK_MONOTONIC or CLOCK_REALTIME.
[[nodiscard]] uint64_t time_of(int clock);

/// Whether flags (GPIO_V2_LINE_FLAG_*) cannot be together.
[[nodiscard]] bool contradictory(uint64_t flags);

/// Requests lines for a new file of them, which `lines` becomes if that succeeds.
template <class File, class Request>
int request_for(std::unique_ptr<File> file, const Request &wanted, std::unique_ptr<gpio_file> &lines) {
    const int error = file->request(wanted);
    if (error == 0) {
        lines = std::move(file);
    }
    return error;
}

namespace v1 {

/// GPIO_GET_LINEHANDLE_IOCTL
[[nodiscard]] int request_handle(gpio_chip &chip, std::vector<uint8_t> &data,
                                 std::unique_ptr<gpio_file> &lines);
/// GPIO_GET_LINEEVENT_IOCTL
[[nodiscard]] int request_event(gpio_chip &chip, std::vector<uint8_t> &data, const event_sink &events,
                                std::unique_ptr<gpio_file> &lines);
[[nodiscard]] gpioline_info line_info(const gpio_v2_line_info &info);

} // namespace v1

namespace v2 {

/// GPIO_V2_GET_LINE_IOCTL
[[nodiscard]] int request_lines(gpio_chip &chip, std::vector<uint8_t> &data, const event_sink &events,
                                std::unique_ptr<gpio_file> &lines);

} // namespace v2

} // namespace varnel::sim::gpio
