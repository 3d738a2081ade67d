// SPDX-License-Identifier: Apache-2.0
#include "sim/models/lm75.h"

#include <array>
#include <cmath>

#include "sim/models/command_port.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

enum register_number : uint8_t { temperature, configuration, lower_limit, upper_limit };

constexpr uint8_t pointer_bits = 0x03;
constexpr unsigned int steps_per_degree = 256;

// Configuration
constexpr unsigned int shutdown = 0x01;
constexpr unsigned int interrupt_mode = 0x02;
constexpr unsigned int active_high = 0x04;
constexpr unsigned int resolution_shift = 5;

/// What the members of the family differ in.
struct family {
    const chips::datasheet &sheet;
    std::string_view output;
    quantity range;
    unsigned int configuration_bits; ///< that are kept
    unsigned int one_conversion;     ///< that asks for one while the chip is shut down
    unsigned int limit_bits;
    bool asserts_at_limit;   ///< not only above it
    bool has_alert_response; ///< in interrupt mode
    int decimals;            ///< of the finest resolution
};

constexpr family of_lm75{chips::lm75, "os", {"C", -55, 125}, 0x1F, 0x00, 0xFF80, false, false, 1};
constexpr family of_tmp75{chips::tmp75, "alert", {"C", -55, 127.9375}, 0x7F, 0x80, 0xFFF0, true, true, 4};

class thermometer : public chip, private command_port {
  public:
    explicit thermometer(const family &type) : type_(type) { thermometer::power_on(); }

    [[nodiscard]] const chips::datasheet &sheet() const override { return type_.sheet; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<std::string_view> outputs() const override { return {type_.output}; }
    [[nodiscard]] bool asserts(std::size_t /*output*/) const override {
        return active_ != is_set(active_high);
    }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    void power_on() override;

  private:
    void set_address(uint8_t address) override { address_ = address; }
    [[nodiscard]] bool alerts() const override {
        return type_.has_alert_response && is_set(interrupt_mode) && active_;
    }
    void start_alert_response() override;
    bool start(direction way) override;
    bool select(uint8_t command) override;
    bool write_data(uint8_t data) override;
    uint8_t read() override;

    [[nodiscard]] bool is_set(unsigned int bit) const { return (registers_[configuration] & bit) != 0; }
    void configure(unsigned int data);
    void convert();
    void compare();

    const family &type_;
    double celsius_ = 25;
    std::array<unsigned int, 4> registers_{}; ///< temperatures of 16 bits, two's complement
    uint8_t address_ = 0;
    bool responds_ = false; ///< to the alert response address, not with a register
    uint8_t selected_ = temperature;
    std::size_t byte_ = 0; ///< of the selected register
    bool above_ = false;   ///< over the upper limit, and not yet below the lower one
    bool active_ = false;  ///< the output
};

void thermometer::power_on() {
    for (const chips::chip_register &each : type_.sheet.registers) {
        registers_.at(each.code) = each.power_on.value_or(0);
    }
    selected_ = temperature;
    above_ = active_ = false;
    convert();
}

// --- Measuring ---

constexpr int degrees_of(unsigned int bits) { return static_cast<int16_t>(bits); }

/// Bits that the resolution does not have read 0.
void thermometer::convert() {
    const unsigned int bits = 9 + (registers_[configuration] >> resolution_shift & 3U);
    const auto steps = static_cast<int>(std::floor(celsius_ * steps_per_degree));
    registers_[temperature] = static_cast<unsigned int>(steps) & (0xFFFFU << (16 - bits)) & 0xFFFFU;
    compare();
}

/// Comparator mode: the output is active as long as it is too warm. Interrupt mode: from the moment at which it gets too
/// warm, and from that at which it no longer is, until a register is read.
void thermometer::compare() {
    const int now = degrees_of(registers_[temperature]);
    const int upper = degrees_of(registers_[upper_limit]);
    const bool over = type_.asserts_at_limit ? now >= upper : now > upper;
    const bool was_above = above_;
    above_ = above_ ? now >= degrees_of(registers_[lower_limit]) : over;
    active_ = is_set(interrupt_mode) ? active_ || above_ != was_above : above_;
}

void thermometer::configure(unsigned int data) {
    const bool interrupted = is_set(interrupt_mode);
    registers_[configuration] = data & type_.configuration_bits;
    if (is_set(interrupt_mode) && (!interrupted || is_set(shutdown))) {
        active_ = false;
    }
    if (!is_set(shutdown) || (data & type_.one_conversion) != 0) {
        convert();
    } else if (!is_set(interrupt_mode)) {
        active_ = above_;
    }
}

// --- The bus ---

bool thermometer::start(direction way) {
    byte_ = 0;
    responds_ = false;
    if (way == direction::read && is_set(interrupt_mode)) {
        active_ = false;
    }
    return command_port::start(way);
}

bool thermometer::select(uint8_t command) {
    selected_ = command & pointer_bits;
    return true;
}

/// What is more than a register has is acknowledged and dropped.
bool thermometer::write_data(uint8_t data) {
    const std::size_t byte = byte_++;
    if (selected_ == configuration && byte == 0) {
        configure(data);
    } else if (selected_ >= lower_limit && byte < 2) {
        const unsigned int shift = byte == 0 ? 8 : 0;
        unsigned int &limit = registers_.at(selected_);
        limit = ((limit & (0xFF00U >> shift)) | (unsigned{data} << shift)) & type_.limit_bits;
        if (!is_set(shutdown)) {
            compare();
        }
    }
    return true;
}

void thermometer::start_alert_response() {
    responds_ = true;
    active_ = false;
}

/// A register goes round as long as it is read. The bit below the address tells that it is too warm.
uint8_t thermometer::read() {
    if (responds_) {
        return static_cast<uint8_t>(unsigned{address_} << 1U | (above_ ? 1U : 0U));
    }
    const bool low = byte_++ % 2 == 1 || selected_ == configuration;
    return static_cast<uint8_t>(registers_.at(selected_) >> (low ? 0U : 8U));
}

// --- The surroundings ---

std::vector<reading> thermometer::readings() const {
    const double measured = degrees_of(registers_[temperature]) / double{steps_per_degree};
    return {{"temperature", measurement{celsius_, unit::celsius, 2}, true},
            {"measured-temperature", measurement{measured, unit::celsius, type_.decimals}, false},
            {std::string(type_.output), active_ ? "asserted" : "idle", false},
            {"shutdown", is_set(shutdown) ? "yes" : "no", false}};
}

void thermometer::set(std::string_view name, std::string_view value) {
    if (name != "temperature") {
        refuse_name(name, "temperature");
    }
    celsius_ = parse_quantity(name, value, type_.range);
    if (!is_set(shutdown)) {
        convert();
    }
}

} // namespace

std::unique_ptr<chip> make_lm75(const board_clock & /*clock*/) {
    return std::make_unique<thermometer>(of_lm75);
}

std::unique_ptr<chip> make_tmp75(const board_clock & /*clock*/) {
    return std::make_unique<thermometer>(of_tmp75);
}

} // namespace varnel::sim
