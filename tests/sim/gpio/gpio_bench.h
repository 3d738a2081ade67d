// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/gpio/gpio_file.h"
#include "tests/sim/models/chip_bench.h"

namespace varnel::sim::gpio::test {

/// An expander on a bench board, an open file of it, and what that caused.
class gpio_bench : public ::testing::Test {
  public:
    explicit gpio_bench(const std::string &type = "pca9555", const std::string &settings = "")
        : board_(described(type, settings), clock_),
          chip(0, board_.gpiochips().at(0),
               [this](const transfer_request &request) { return perform(request); }),
          file(open_file()) {
        EXPECT_EQ(chip.bind(), 0);
        transfers.clear();
    }

    /// An ioctl(): stores what the structure is afterwards, and returns 0 or a negative errno.
    template <class Object>
    int call(gpio_file &on, uint32_t request, Object &object) {
        std::vector<uint8_t> data = bytes_of(object);
        const int result = on.ioctl(request, data, lines);
        if (data.size() == sizeof object) {
            std::memcpy(&object, data.data(), sizeof object);
        }
        return result;
    }
    template <class Object>
    int call(uint32_t request, Object &object) {
        return call(*file, request, object);
    }

    std::unique_ptr<gpio_file> open_file() {
        return open_chip(chip, [this](const file_event &event) { events.push_back(event); });
    }

    /// Drives a pin from outside, as `varnel-sim set` does, and lets the driver serve the interrupt.
    void drive(const std::string &pin, const std::string &level) {
        board_.set({{"exp", pin, level}});
        if (chip.interrupted()) {
            chip.handle_interrupt();
        }
    }
    void fault(fault_kind kind) { board_.inject("exp", kind, fault::next_transfers(1, 1)); }

  private:
    static board_description described(const std::string &type, const std::string &settings) {
        std::istringstream input("[exp]\ntype = " + type + "\nbus = 2\naddress = 0x21\ngpiochip = yes\n" +
                                 settings);
        return read_description(input, "bench.ini");
    }
    transfer_outcome perform(const transfer_request &request) {
        transfer_outcome outcome = board_.transfer(request);
        transfers.push_back(
            fmt::format("{:02x}{}", fmt::join(outcome.written, " "),
                        outcome.read.empty() ? "" : fmt::format(" -> {:02x}", fmt::join(outcome.read, " "))));
        return outcome;
    }

    sim::test::hand_clock clock_;
    board board_;

  public:
    std::vector<std::string> transfers; ///< "02 ff fe", "00 -> ff ff"
    std::vector<file_event> events;
    gpio_chip chip;
    std::unique_ptr<gpio_file> file;
    std::unique_ptr<gpio_file> lines; ///< that were requested last
};

} // namespace varnel::sim::gpio::test
