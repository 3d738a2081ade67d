// SPDX-License-Identifier: Apache-2.0
#include "sim/models/pcf8574.h"

#include <array>

#include "sim/models/pin_bank.h"

namespace varnel::sim {

namespace {

/// Each byte written is the port's latch: a 0 drives its pin low, a 1 makes it an input with a pull-up. Each
/// byte read is the levels of the pins.
class pcf8574 : public chip, private pin_contacts, private bus_port {
  public:
    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::pcf8574; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] pin_contacts *contacts() override { return this; }
    [[nodiscard]] std::vector<std::string_view> outputs() const override { return {"interrupt"}; }
    [[nodiscard]] bool asserts(std::size_t /*output*/) const override {
        return ((levels() ^ seen_) & latch_) != 0;
    }

    [[nodiscard]] std::vector<reading> readings() const override {
        return pins_.readings(std::array{own_drive()}, asserts(0));
    }

    void set(std::string_view name, std::string_view value) override { pins_.set(name, value); }

    void power_on() override {
        latch_ = 0xFF;
        seen_ = levels();
    }

  private:
    [[nodiscard]] std::optional<std::size_t> pin_named(std::string_view label_or_name) const override {
        return pins_.pin_named(label_or_name);
    }
    [[nodiscard]] bool is_high(std::size_t pin) const override { return (levels() >> pin & 1U) != 0; }
    void drive(std::size_t pin, std::optional<bool> high) override { pins_.drive(pin, high); }

    bool start(direction /*way*/) override { return true; }

    bool write(uint8_t byte) override {
        latch_ = byte;
        seen_ = levels();
        return true;
    }

    uint8_t read() override {
        seen_ = levels();
        return seen_;
    }

    void stop() override {}

    [[nodiscard]] pin_drive own_drive() const { return {latch_, latch_}; }
    [[nodiscard]] uint8_t levels() const { return pins_.levels(0, own_drive()); }

    pin_bank pins_{1, pin_bank::labels::by_number};
    uint8_t latch_ = 0xFF;
    uint8_t seen_ = 0xFF; ///< levels when the port was last read or written
};

} // namespace

std::unique_ptr<chip> make_pcf8574(const board_clock & /*clock*/) { return std::make_unique<pcf8574>(); }

} // namespace varnel::sim
