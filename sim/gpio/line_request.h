// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sim/gpio/gpio_chip.h"

namespace varnel::sim::gpio {

/// An edge of a requested line.
struct line_edge {
    uint32_t offset; ///< of the line on its chip
    bool rising;     ///< from inactive to active
    bool real_time;  ///< the program wants the time of day
    uint32_t number; ///< of the edges of the request, from 1
    uint32_t number_on_line;
};

/// Lines that one user has requested, until the object is destroyed. Masks have bit n for the n-th line of the request.
/// Functions return 0 or a negative errno.
class line_request : private edge_listener {
  public:
    /// Edges are reported to `report`.
    line_request(gpio_chip &chip, std::function<void(const line_edge &)> report);
    ~line_request() override;
    line_request(const line_request &) = delete;
    line_request &operator=(const line_request &) = delete;

    /// Requests one more line, configures it and begins with the detection of `edges`, of GPIO_V2_LINE_FLAG_EDGE_*.
    [[nodiscard]] int add(uint32_t offset, const std::string &consumer, const line_settings &settings,
                          uint64_t edges);
    /// Changes the use of the n-th line.
    [[nodiscard]] int change(std::size_t index, const line_settings &settings, uint64_t edges);

    [[nodiscard]] std::size_t size() const { return lines_.size(); }
    [[nodiscard]] bool is_output(std::size_t index) const;
    /// Values of the lines in a mask, or of one line: that reads less.
    [[nodiscard]] int read(uint64_t mask, uint64_t &values);
    [[nodiscard]] int read_first(bool &value);
    void write(uint64_t mask, uint64_t values);

  private:
    struct requested_line {
        uint32_t offset;
        uint64_t edges = 0;
        bool real_time = false;
        uint32_t seen = 0; ///< edges so far
    };

    void edge(unsigned int line, bool high) override;
    [[nodiscard]] int detect(requested_line &line, const line_settings &settings, uint64_t edges);

    gpio_chip &chip_;
    std::function<void(const line_edge &)> report_;
    std::vector<requested_line> lines_ = {};
    uint32_t seen_ = 0;
};

} // namespace varnel::sim::gpio
