// SPDX-License-Identifier: Apache-2.0
#include "sim/models/car2512.h"

#include "sim/models/car2512_supply.h"
#include "sim/models/pmbus_port.h"
#include "sim/models/stage_settings.h"

namespace varnel::sim {

namespace {

namespace own = chips::car2512_command;

constexpr quantity load_range{"W", 0, 5000};

class car2512 : public chip, private pmbus_port {
  public:
    explicit car2512(const board_clock &clock)
        : pmbus_port(chips::car2512), clock_(clock), supply_(clock.now()) {}

    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::car2512; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    void power_on() override;

  private:
    std::vector<uint8_t> answer(const chips::chip_register &command,
                                std::span<const uint8_t> question) override;
    void execute(uint8_t command, unsigned int data) override { current().execute(command, data); }
    void communication_fault(unsigned int cml) override { current().communication_fault(cml); }

    car2512_supply &current() const;

    const board_clock &clock_;
    mutable car2512_supply supply_; ///< catches up whenever it is looked at: when that is makes no difference
};

void car2512::power_on() {
    current().power_on();
    forget_transfer();
}

car2512_supply &car2512::current() const {
    supply_.catch_up(clock_.now());
    return supply_;
}

std::vector<uint8_t> car2512::answer(const chips::chip_register &command,
                                     std::span<const uint8_t> /*question*/) {
    return low_byte_first(current().value(command.code), command.bytes);
}

std::vector<reading> car2512::readings() const {
    const car2512_supply &now = current();
    const power_stage &stage = now.stage();
    const reading_value off = now.tripped() ? "off (tripped)" : "off";
    const measurement output{now.value(own::output_volt) / 100.0, unit::volts, 2};
    const measurement input{stage.input_volts, unit::volts, 1};
    return {{"output", stage.output_on ? output : off, false},
            {"load", measurement{stage.load, unit::watts, 1}, true},
            {"input", stage.input_volts > 0 ? input : reading_value("lost"), true},
            {"input-power", measurement{stage.input_power(), unit::watts, 1}, false},
            {"temperature", measurement{stage.temperature(), unit::celsius, 1}, false},
            {"ambient", measurement{stage.ambient, unit::celsius, 1}, true},
            {"fan", stage.fan_seized ? "stopped" : "ok", true},
            {"fan-speed", measurement{stage.fan_speed(), unit::rpm, 0}, false},
            {"fan-duty", measurement{static_cast<double>(now.value(own::fan_duty_cycle)), unit::percent, 0},
             false},
            {"status", register_value{now.value(pmbus::status_word), 4}, false},
            {"write-protect", register_value{now.value(pmbus::write_protect), 2}, false},
            {"firmware", register_value{now.firmware(), 2}, true}};
}

void car2512::set(std::string_view name, std::string_view value) {
    if (name == "load") {
        const double watts = parse_quantity(name, value, load_range);
        current().change_surroundings([=](power_stage &stage) { stage.load = watts; });
    } else if (name == "firmware") {
        current().set_firmware(parse_number(name, value, 0xFF));
    } else {
        current().change_surroundings([=](power_stage &stage) {
            if (!set_surroundings(stage, name, value)) {
                refuse_name(name, "load, ambient, fan, input, firmware");
            }
        });
    }
}

} // namespace

std::unique_ptr<chip> make_car2512(const board_clock &clock) { return std::make_unique<car2512>(clock); }

} // namespace varnel::sim
