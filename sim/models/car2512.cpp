// SPDX-License-Identifier: Apache-2.0
#include "sim/models/car2512.h"

#include <algorithm>
#include <utility>

#include "sim/models/car2512_supply.h"
#include "sim/models/packet_error_code.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

namespace own = chips::car2512_command;
using chips::access;
using chips::chip_register;

constexpr quantity load_range{"W", 0, 5000};
constexpr quantity ambient_range{"C", -40, 100};
constexpr quantity input_range{"V", 0, 300, "lost, or "};

class car2512 : public chip, private bus_port {
  public:
    explicit car2512(const board_clock &clock) : clock_(clock), supply_(clock.now()) {}

    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::car2512; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    void power_on() override;

  private:
    void set_address(uint8_t address) override { address_ = address; }
    bool start(direction way) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;
    void stop() override;

    bool begin_reading();
    void prepare_answer(const chip_register &command);
    bool select(uint8_t code);
    bool take_pec(bool right);
    void finish_write();
    car2512_supply &current() const;

    const board_clock &clock_;
    mutable car2512_supply supply_; ///< catches up whenever it is looked at: when that is makes no difference

    uint8_t address_ = 0;
    uint8_t pec_ = 0; ///< of the transfer so far
    bool pec_taken_ = false;
    bool command_follows_ = false;
    const chip_register *command_ = nullptr; ///< named in the transfer that is under way
    std::vector<uint8_t> data_;              ///< written after the command, or still to be read
};

void car2512::power_on() {
    current().power_on();
    command_ = nullptr;
    data_.clear();
}

car2512_supply &car2512::current() const {
    supply_.catch_up(clock_.now());
    return supply_;
}

bool car2512::start(direction way) {
    if (way == direction::read) {
        return begin_reading();
    }
    finish_write();
    pec_ = crc8(0, static_cast<uint8_t>(address_ << 1));
    pec_taken_ = false;
    command_follows_ = true;
    return true;
}

/// The read half of a command. Without a command there is nothing to read, but a master that looks who is
/// there gets an answer.
bool car2512::begin_reading() {
    const chip_register *const wanted = data_.empty() ? command_ : nullptr;
    if (wanted == nullptr) {
        finish_write();
        return true;
    }
    if (wanted->allowed == access::write) {
        current().communication_fault(invalid_command);
        command_ = nullptr;
        return false;
    }
    prepare_answer(*wanted);
    command_ = nullptr;
    return true;
}

/// The value, low byte first, and the packet error code; in reverse, because they are taken from the back.
void car2512::prepare_answer(const chip_register &command) {
    const unsigned int value = current().value(command.code);
    pec_ = crc8(pec_, static_cast<uint8_t>(address_ << 1 | 1));
    for (unsigned int i = 0; i < command.bytes; ++i) {
        data_.push_back(static_cast<uint8_t>(value >> 8U * i));
        pec_ = crc8(pec_, data_.back());
    }
    data_.push_back(pec_);
    std::ranges::reverse(data_);
}

bool car2512::write(uint8_t byte) {
    const uint8_t expected_pec = std::exchange(pec_, crc8(pec_, byte));
    if (command_follows_) {
        command_follows_ = false;
        return select(byte);
    }
    if (command_ == nullptr) {
        return false;
    }
    if (command_->allowed != access::read && data_.size() == command_->bytes && !pec_taken_) {
        return take_pec(byte == expected_pec);
    }
    data_.push_back(byte);
    return command_->allowed != access::read && data_.size() <= command_->bytes;
}

bool car2512::select(uint8_t code) {
    command_ = chips::find_register(sheet(), code);
    if (command_ == nullptr) {
        current().communication_fault(invalid_command);
    }
    return command_ != nullptr;
}

/// The byte after the data of a write. If it is wrong, the write is ignored.
bool car2512::take_pec(bool right) {
    pec_taken_ = true;
    if (!right) {
        current().communication_fault(packet_error_check_failed);
        command_ = nullptr;
        data_.clear();
    }
    return right;
}

/// After the packet error code there is FF, and a fault.
uint8_t car2512::read() {
    if (data_.empty()) {
        current().communication_fault(other_communication_fault);
        return 0xFF;
    }
    const uint8_t byte = data_.back();
    data_.pop_back();
    return byte;
}

void car2512::stop() { finish_write(); }

/// A write takes effect when it is complete. One of the wrong length does nothing but tell.
void car2512::finish_write() {
    if (command_ != nullptr) {
        if (command_->allowed == access::read) {
            current().communication_fault(data_.empty() ? other_communication_fault : invalid_command);
        } else if (data_.size() != command_->bytes) {
            current().communication_fault(other_communication_fault);
        } else {
            const unsigned int low = data_.empty() ? 0 : data_.front();
            current().execute(command_->code, data_.size() == 2 ? low | data_.back() * 256U : low);
        }
    }
    command_ = nullptr;
    data_.clear();
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
    } else if (name == "ambient") {
        const double degrees = parse_quantity(name, value, ambient_range);
        current().change_surroundings([=](power_stage &stage) { stage.ambient = degrees; });
    } else if (name == "fan") {
        const bool seized = parse_choice(name, value, {"ok", "stopped"}) == 1;
        current().change_surroundings([=](power_stage &stage) { stage.fan_seized = seized; });
    } else if (name == "input") {
        const double volts = value == "lost" ? 0 : parse_quantity(name, value, input_range);
        current().change_surroundings([=](power_stage &stage) { stage.input_volts = volts; });
    } else if (name == "firmware") {
        current().set_firmware(parse_number(name, value, 0xFF));
    } else {
        refuse_name(name, "load, ambient, fan, input, firmware");
    }
}

} // namespace

std::unique_ptr<chip> make_car2512(const board_clock &clock) { return std::make_unique<car2512>(clock); }

} // namespace varnel::sim
