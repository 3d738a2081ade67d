// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "sim/board/board.h"

namespace varnel::sim::gpio {

/// Performs a transfer of the board, and traces it.
using perform_transfer = std::function<transfer_outcome(const transfer_request &)>;

/// Levels or other bits of all lines of a chip: bit n is line n.
using line_bits = uint64_t;

/// Linux's driver of GPIO expanders with registers (gpio-pca953x): the same transfers for each operation. As that one
/// does, it remembers what output and configuration registers were when it first read or last wrote them, so it does
/// not notice when others write there. Functions return 0 or a negative errno.
class expander_driver {
  public:
    expander_driver(const gpiochip_place &place, perform_transfer perform);

    [[nodiscard]] unsigned int lines() const;

    [[nodiscard]] int is_output(unsigned int line, bool &outward);
    [[nodiscard]] int make_input(unsigned int line);
    /// Sets the level, then the direction.
    [[nodiscard]] int make_output(unsigned int line, bool high);

    /// Reads all input registers.
    [[nodiscard]] int read(line_bits &levels);
    /// Reads the input register with a line.
    [[nodiscard]] int read(unsigned int line, bool &high);
    /// Sets lines of the output registers. A failure is nobody's: the kernel's function has no result.
    void write(line_bits lines, line_bits levels);

  private:
    /// Kinds of registers, in the order of the datasheets.
    enum kind : std::size_t { input, output, polarity, configuration };

    [[nodiscard]] uint8_t command_of(kind registers, unsigned int bank) const;
    [[nodiscard]] int fetch(kind registers, unsigned int bank, uint8_t &value);
    [[nodiscard]] int change_bit(kind registers, unsigned int line, bool set);
    [[nodiscard]] int receive(uint8_t command, std::vector<uint8_t> &to);
    [[nodiscard]] int send(const std::vector<uint8_t> &bytes);

    gpiochip_place place_;
    perform_transfer perform_;
    std::map<uint8_t, uint8_t> known_ = {}; ///< registers by their commands
};

} // namespace varnel::sim::gpio
