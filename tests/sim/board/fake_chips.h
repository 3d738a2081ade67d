// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "sim/board/board.h"

namespace varnel::test {

/// A clock that stands still, but when the test says so.
class stopped_clock : public sim::board_clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const override { return now_; }
    void pass(std::chrono::nanoseconds time) { now_ += time; }

  private:
    std::chrono::nanoseconds now_{0};
};

/// "echo": answers reads with what `fill` was set to (default 0) plus one for each byte read, acknowledges
/// `accepts` bytes of a write (default all), and keeps a log: S start, Sr for reading, bytes in hex, P.
class echo_chip : public sim::chip, public sim::bus_port {
  public:
    static constexpr chips::chip_register low_registers[] = {{.code = 0, .name = "LOW", .count = 16}};
    static constexpr chips::datasheet datasheet{
        .type = "echo", .title = "", .source = "", .registers = low_registers};

    [[nodiscard]] const chips::datasheet &sheet() const override { return datasheet; }
    sim::bus_port &port(std::size_t) override { return *this; }
    [[nodiscard]] std::vector<sim::reading> readings() const override {
        return {{"log", log, false}, {"fill", std::to_string(fill), true}};
    }

    void set(std::string_view name, std::string_view value) override {
        if (name != "fill" && name != "accepts") {
            throw sim::bad_setting("no setting " + std::string(name));
        }
        if (value.find_first_not_of("0123456789") != std::string_view::npos) {
            throw sim::bad_setting(std::string(name) + " takes no " + std::string(value));
        }
        (name == "fill" ? fill : accepts) = std::stoi(std::string(value));
    }

    void power_on() override { ++times_on; }

    bool start(sim::direction way) override {
        log += way == sim::direction::read ? "Sr " : "S ";
        return true;
    }
    bool write(uint8_t byte) override {
        std::ostringstream hex;
        hex << std::hex << int{byte} << ' ';
        log += hex.str();
        return accepts < 0 || accepts-- > 0;
    }
    uint8_t read() override { return static_cast<uint8_t>(fill + reads++); }
    void stop() override {
        log += "P ";
        reads = 0;
    }

    std::string log;
    int fill = 0;
    int accepts = -1;
    int reads = 0;
    int times_on = 0;
};

/// "switch": four channels; the last byte written counts, from STOP on.
class switch_chip : public sim::chip, public sim::bus_port {
  public:
    static constexpr chips::datasheet datasheet{.type = "switch", .title = "", .source = ""};

    [[nodiscard]] const chips::datasheet &sheet() const override { return datasheet; }
    sim::bus_port &port(std::size_t) override { return *this; }
    [[nodiscard]] std::size_t segments() const override { return 4; }
    [[nodiscard]] std::vector<sim::reading> readings() const override { return {}; }
    void set(std::string_view name, std::string_view) override {
        throw sim::bad_setting("no setting " + std::string(name));
    }

    void power_on() override { written = on = 0; }

    bool start(sim::direction) override { return true; }
    bool write(uint8_t byte) override {
        written = byte;
        return true;
    }
    uint8_t read() override { return written; }
    void stop() override { on = written; }
    [[nodiscard]] bool connects(std::size_t channel) const override { return (on >> channel & 1) != 0; }

    uint8_t written = 0;
    uint8_t on = 0;
};

/// Fake chips, and the real ones under their names.
inline std::unique_ptr<sim::chip> make_any_chip(std::string_view type, const sim::board_clock &clock) {
    if (type == "echo") {
        return std::make_unique<echo_chip>();
    }
    if (type == "switch") {
        return std::make_unique<switch_chip>();
    }
    return sim::make_chip(type, clock);
}

/// A board of a description, with handles of its chips in the order in which they were made.
class bench_board {
  public:
    explicit bench_board(const std::string &text) : board(describe(text), clock, std::ref(maker)) {}

    static sim::board_description describe(const std::string &text) {
        std::istringstream input(text);
        return sim::read_description(input, "test.ini");
    }

    /// The n-th chip of the description.
    template <typename Chip>
    Chip &chip(std::size_t n) {
        return dynamic_cast<Chip &>(*maker.made.at(n));
    }

    sim::transfer_outcome write(unsigned int bus, unsigned int address, const std::vector<uint8_t> &data) {
        return transfer({sim::operation::write, narrow(bus), narrow(address), data, 0});
    }
    sim::transfer_outcome read(unsigned int bus, unsigned int address, std::size_t length) {
        return transfer({sim::operation::read, narrow(bus), narrow(address), {}, length});
    }
    sim::transfer_outcome write_read(unsigned int bus, unsigned int address, const std::vector<uint8_t> &data,
                                     std::size_t length) {
        return transfer({sim::operation::write_read, narrow(bus), narrow(address), data, length});
    }
    sim::transfer_outcome transfer(const sim::transfer_request &request) { return board.transfer(request); }

  private:
    static uint8_t narrow(unsigned int number) { return static_cast<uint8_t>(number); }

    struct recording_maker {
        std::vector<sim::chip *> made;
        std::unique_ptr<sim::chip> operator()(std::string_view type, const sim::board_clock &clock) {
            auto chip = make_any_chip(type, clock);
            made.push_back(chip.get());
            return chip;
        }
    };

    recording_maker maker;

  public:
    stopped_clock clock;
    sim::board board;
};

} // namespace varnel::test
