// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim/models/chip.h"

namespace varnel::sim::test {

using namespace std::chrono_literals;

using bytes = std::vector<uint8_t>;

/// Time that passes when the test says so.
class hand_clock : public board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return now_; }
    void pass(std::chrono::nanoseconds time) { now_ += time; }

  private:
    std::chrono::nanoseconds now_{0};
};

/// A chip on a bench, and whole transfers to it. Base class of the models' fixtures.
class chip_bench : public ::testing::Test {
  public:
    explicit chip_bench(std::string_view type) : part(make_chip(type, clock)) {}

    /// START, bytes, STOP. Returns how many bytes were acknowledged, -1 when the address was not; the first
    /// refusal ends the transfer.
    int write(const bytes &data, std::size_t port = 0) {
        const int acknowledged = write_without_stop(data, port);
        part->port(port).stop();
        return acknowledged;
    }

    /// START, `count` bytes, STOP: continues where the chip's pointer is.
    bytes read(std::size_t count, std::size_t port = 0) {
        EXPECT_TRUE(part->port(port).start(direction::read));
        bytes data(count);
        std::generate(data.begin(), data.end(), [&] { return part->port(port).read(); });
        part->port(port).stop();
        return data;
    }

    /// START, register, repeated START, `count` bytes, STOP.
    bytes read_from(uint8_t reg, std::size_t count, std::size_t port = 0) {
        return read_after({reg}, count, port);
    }

    /// START, bytes, repeated START, `count` bytes, STOP.
    bytes read_after(const bytes &data, std::size_t count, std::size_t port = 0) {
        EXPECT_EQ(write_without_stop(data, port), static_cast<int>(data.size()));
        return read(count, port);
    }

    uint8_t byte_at(uint8_t reg, std::size_t port = 0) { return read_from(reg, 1, port).front(); }

    /// Name of the register that a command byte selects.
    [[nodiscard]] std::string register_name(uint8_t command) const {
        return chips::register_name(part->sheet(), command);
    }

    [[nodiscard]] std::string shown(std::string_view name) const {
        for (const reading &each : part->readings()) {
            if (each.name == name) {
                return text_of(each.value);
            }
        }
        return "no reading " + std::string(name);
    }

    /// The text of the bad_setting that this is refused with.
    std::string refusal(std::string_view name, std::string_view value) {
        try {
            part->set(name, value);
        } catch (const bad_setting &refused) {
            return refused.what();
        }
        return "accepted";
    }

    hand_clock clock;
    std::unique_ptr<chip> part;

  private:
    int write_without_stop(const bytes &data, std::size_t port) {
        if (!part->port(port).start(direction::write)) {
            return -1;
        }
        const auto refused = std::find_if(data.begin(), data.end(),
                                          [&](uint8_t byte) { return !part->port(port).write(byte); });
        return static_cast<int>(refused - data.begin());
    }
};

} // namespace varnel::sim::test
