// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <linux/gpio.h>

#include "sim/gpio/expander_driver.h"

namespace varnel::sim::gpio {

/// How a line is to be used: flags of the second version of the interface (GPIO_V2_LINE_FLAG_*).
struct line_settings {
    uint64_t flags;
    bool value;               ///< of an output
    uint32_t debounce_us = 0; ///< of an input
};

/// Is told of edges of a line.
class edge_listener {
  public:
    virtual ~edge_listener() = default;
    /// The line's level has changed.
    virtual void edge(unsigned int line, bool high) = 0;
};

/// Is told when a line is requested, released or configured.
class line_watcher {
  public:
    virtual ~line_watcher() = default;
    /// `change` is one of GPIO_V2_LINE_CHANGED_*.
    virtual void line_changed(unsigned int line, uint32_t change) = 0;
};

/// The lines of an expander as Linux's GPIO library keeps them: who uses which one and how. Functions return 0 or a
/// negative errno; a line's number has to be below lines().
class gpio_chip {
  public:
    /// `perform` is used for the transfers of the driver.
    gpio_chip(unsigned int number, const gpiochip_place &place, perform_transfer perform);

    /// The name of the I2C client: "0-0020".
    [[nodiscard]] const std::string &label() const { return label_; }
    [[nodiscard]] unsigned int lines() const { return driver_.lines(); }
    [[nodiscard]] gpiochip_info info() const;
    [[nodiscard]] gpio_v2_line_info line_info(unsigned int line) const;
    /// Learns the lines' directions, as the driver does when it is bound: here, when the chip is first opened.
    [[nodiscard]] int bind();

    /// Gives a line to one user: -EBUSY when it has one.
    [[nodiscard]] int request(unsigned int line, const std::string &consumer);
    void release(unsigned int line);
    /// Makes the line an input, an output, or leaves its direction.
    [[nodiscard]] int configure(unsigned int line, const line_settings &settings);
    [[nodiscard]] bool is_output(unsigned int line) const;
    [[nodiscard]] bool is_active_low(unsigned int line) const;

    /// Values of lines: levels, inverted for lines that are active low.
    [[nodiscard]] int read(line_bits &values);
    [[nodiscard]] int read(unsigned int line, bool &value);
    /// Sets lines that are outputs.
    void write(line_bits lines, line_bits values);

    /// From now on the listener is told of edges of the line.
    [[nodiscard]] int start_detection(unsigned int line, edge_listener &listener);
    void stop_detection(unsigned int line);
    /// Whether any line's edges are wanted.
    [[nodiscard]] bool detects() const;
    /// Whether the expander's interrupt is asserted and any line's edges are wanted.
    [[nodiscard]] bool interrupted() const;
    /// Reads the lines, and tells listeners of what has changed since they were last read.
    void handle_interrupt();

    void watch(line_watcher &watcher);
    void stop_watching(const line_watcher &watcher);
    /// Tells all watchers.
    void notify(unsigned int line, uint32_t change) const;

  private:
    struct line_state {
        std::string name;
        std::string consumer;
        bool requested = false;
        uint64_t flags = 0; ///< GPIO_V2_LINE_FLAG_*, without USED and INPUT
        uint32_t debounce_us = 0;
        edge_listener *listener = nullptr;
    };

    [[nodiscard]] bool has(unsigned int line, uint64_t flag) const;
    [[nodiscard]] line_bits active_low() const;
    [[nodiscard]] int make_input(unsigned int line);
    [[nodiscard]] int make_output(unsigned int line, bool value);
    [[nodiscard]] bool lets_go(unsigned int line, bool high) const;

    unsigned int number_;
    std::string label_;
    const board_chip &part_;
    expander_driver driver_;
    std::vector<line_state> lines_;
    bool bound_ = false;
    line_bits seen_ = 0; ///< levels when interrupts were last looked at
    std::vector<line_watcher *> watchers_ = {};
};

} // namespace varnel::sim::gpio
