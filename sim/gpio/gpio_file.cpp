// SPDX-License-Identifier: Apache-2.0
#include "sim/gpio/gpio_file.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include "sim/gpio/requests.h"

namespace varnel::sim::gpio {

namespace {

/// Changes of watched lines that are kept until the program reads them.
constexpr uint16_t kept_changes = 32;

class chip_file : public gpio_file, private line_watcher {
  public:
    chip_file(gpio_chip &chip, event_sink events) : chip_(chip), events_(std::move(events)) {
        chip_.watch(*this);
    }
    ~chip_file() override { chip_.stop_watching(*this); }
    chip_file(const chip_file &) = delete;
    chip_file &operator=(const chip_file &) = delete;

    [[nodiscard]] int ioctl(uint32_t request, std::vector<uint8_t> &data,
                            std::unique_ptr<gpio_file> &lines) override {
        switch (request) {
        case GPIO_GET_CHIPINFO_IOCTL:
            data = bytes_of(chip_.info());
            return 0;
        case GPIO_GET_LINEINFO_IOCTL:
        case GPIO_GET_LINEINFO_WATCH_IOCTL:
            return tell_v1(data, request == GPIO_GET_LINEINFO_WATCH_IOCTL);
        case GPIO_V2_GET_LINEINFO_IOCTL:
        case GPIO_V2_GET_LINEINFO_WATCH_IOCTL:
            return tell_v2(data, request == GPIO_V2_GET_LINEINFO_WATCH_IOCTL);
        case GPIO_GET_LINEINFO_UNWATCH_IOCTL:
            return with_object<uint32_t>(data, [this](const auto &line) { return unwatch(line); });
        case GPIO_GET_LINEHANDLE_IOCTL:
            return v1::request_handle(chip_, data, lines);
        case GPIO_GET_LINEEVENT_IOCTL:
            return v1::request_event(chip_, data, events_, lines);
        case GPIO_V2_GET_LINE_IOCTL:
            return v2::request_lines(chip_, data, events_, lines);
        default:
            return -EINVAL;
        }
    }

  private:
    int tell_v1(std::vector<uint8_t> &data, bool watch) {
        return with_object<gpioline_info>(data, [&](auto &info) {
            const int error = look_at(info.line_offset, watch, 1);
            info = error == 0 ? v1::line_info(chip_.line_info(info.line_offset)) : info;
            return error;
        });
    }

    int tell_v2(std::vector<uint8_t> &data, bool watch) {
        return with_object<gpio_v2_line_info>(data, [&](auto &info) {
            const bool zero = std::ranges::all_of(info.padding, [](uint32_t word) { return word == 0; });
            const int error = zero ? look_at(info.offset, watch, 2) : -EINVAL;
            info = error == 0 ? chip_.line_info(info.offset) : info;
            return error;
        });
    }

    /// Checks a line's number, and perhaps begins to watch the line. All changes that a file reports are of one version.
    int look_at(uint32_t line, bool watch, int version) {
        if (line >= chip_.lines()) {
            return -EINVAL;
        }
        if (!watch) {
            return 0;
        }
        if (version_ != 0 && version_ != version) {
            return -EPERM;
        }
        version_ = version;
        const line_bits bit = line_bits{1} << line;
        if ((watched_ & bit) != 0) {
            return -EBUSY;
        }
        watched_ |= bit;
        return 0;
    }

    int unwatch(uint32_t line) {
        if (line >= chip_.lines()) {
            return -EINVAL;
        }
        const line_bits before = watched_;
        watched_ &= ~(line_bits{1} << line);
        return before != watched_ ? 0 : -EBUSY;
    }

    void line_changed(unsigned int line, uint32_t change) override {
        if ((watched_ >> line & 1U) == 0) {
            return;
        }
        if (version_ == 1) {
            gpioline_info_changed changed{};
            changed.info = v1::line_info(chip_.line_info(line));
            changed.timestamp = time_of(CLOCK_MONOTONIC);
            changed.event_type = change;
            events_({bytes_of(changed), kept_changes, false});
        } else {
            gpio_v2_line_info_changed changed{};
            changed.info = chip_.line_info(line);
            changed.timestamp_ns = time_of(CLOCK_MONOTONIC);
            changed.event_type = change;
            events_({bytes_of(changed), kept_changes, false});
        }
    }

    gpio_chip &chip_;
    event_sink events_;
    line_bits watched_ = 0;
    int version_ = 0; ///< of the structures for changes; 0: nothing was watched yet
};

} // namespace

std::unique_ptr<gpio_file> open_chip(gpio_chip &chip, event_sink events) {
    return std::make_unique<chip_file>(chip, std::move(events));
}

} // namespace varnel::sim::gpio
