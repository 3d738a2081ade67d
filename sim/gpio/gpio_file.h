// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "sim/gpio/gpio_chip.h"

namespace varnel::sim::gpio {

/// What a program gets when it reads an open file.
struct file_event {
    std::vector<uint8_t> bytes; ///< a structure of linux/gpio.h
    uint16_t capacity;          ///< how many the file keeps until the program reads them
    bool drops_oldest;          ///< when it is full: the oldest one, else the new one
};
using event_sink = std::function<void(const file_event &)>;

/// Object as bytes.
template <class Object>
std::vector<uint8_t> bytes_of(const Object &object) {
    const auto *const first = reinterpret_cast<const uint8_t *>(&object);
    return {first, first + sizeof object};
}

/// An open file of a GPIO character device: a chip, or lines that were requested from one.
class gpio_file {
  public:
    virtual ~gpio_file() = default;

    /// Performs a request of linux/gpio.h. `data` is the structure in the program's memory, empty when it cannot be read
    /// there; what is in it afterwards is to be stored there, nothing when it is empty. A request for lines makes the
    /// file of these lines. Returns 0 or a negative errno.
    [[nodiscard]] virtual int ioctl(uint32_t request, std::vector<uint8_t> &data,
                                    std::unique_ptr<gpio_file> &lines) = 0;
};

/// Performs a function on the structure that `data` is, which replaces `data` when the function succeeds.
template <class Object, class Function>
int with_object(std::vector<uint8_t> &data, Function &&function) {
    Object object{};
    if (data.size() != sizeof object) {
        return -EFAULT;
    }
    std::memcpy(&object, data.data(), sizeof object);
    const int error = function(object);
    data = error == 0 ? bytes_of(object) : std::vector<uint8_t>{};
    return error;
}

/// An open /dev/gpiochipN. The chip has to outlive the file and those of its lines.
[[nodiscard]] std::unique_ptr<gpio_file> open_chip(gpio_chip &chip, event_sink events);

} // namespace varnel::sim::gpio
