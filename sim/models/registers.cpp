// SPDX-License-Identifier: Apache-2.0
#include "sim/models/registers.h"

#include <array>
#include <optional>
#include <span>

#include <fmt/format.h>

#include "host/hex.h"
#include "sim/models/command_port.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

constexpr std::size_t count = 256;
constexpr std::size_t bytes_in_row = 16; // of a reading
constexpr std::string_view known_settings =
    "width, order, data.00 to data.ff, access.00 to access.ff, mask.00 to mask.ff; access and mask also of a "
    "range: mask.10-1f";

struct one_register {
    uint16_t value = 0;
    uint16_t at_power_on = 0;   ///< what the user has set
    uint16_t writable = 0xFFFF; ///< bits that a write from the bus changes
    bool present = true;
};

void set_access(std::span<one_register> of, std::string_view setting, std::string_view value) {
    const std::size_t access = parse_choice(setting, value, {"rw", "ro", "none"});
    for (one_register &each : of) {
        each.present = access != 2;
        each.writable = access == 0 ? 0xFFFF : 0;
    }
}

class registers : public chip, private command_port {
  public:
    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::registers; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    void power_on() override;

  private:
    bool start(direction way) override;
    bool select(uint8_t command) override;
    bool write_data(uint8_t data) override;
    uint8_t read() override;

    void next_byte();
    [[nodiscard]] unsigned int shift() const;
    [[nodiscard]] std::string row_from(std::size_t first) const;
    [[nodiscard]] std::span<one_register> registers_named(std::string_view setting, std::string_view prefix);
    void fill(std::string_view setting, std::string_view value);
    void set_mask(std::span<one_register> of, std::string_view setting, std::string_view value) const;

    std::array<one_register, count> all_{};
    std::size_t bytes_ = 1; ///< in a register
    bool high_first_ = false;
    uint8_t selected_ = 0;
    std::size_t byte_ = 0; ///< of the selected register, in the order of the bus
    unsigned int received_ = 0;
};

// --- The bus ---

bool registers::start(direction way) {
    byte_ = 0;
    received_ = 0;
    return command_port::start(way);
}

bool registers::select(uint8_t command) {
    selected_ = command;
    return all_.at(command).present;
}

/// The selected register changes when all its bytes are there.
bool registers::write_data(uint8_t data) {
    one_register &now = all_.at(selected_);
    if (!now.present) {
        return false;
    }
    received_ |= static_cast<unsigned int>(data) << shift();
    if (byte_ + 1 == bytes_) {
        now.value = static_cast<uint16_t>((now.value & ~now.writable) | (received_ & now.writable));
        received_ = 0;
    }
    next_byte();
    return true;
}

uint8_t registers::read() {
    const one_register &now = all_.at(selected_);
    const auto byte = static_cast<uint8_t>(now.present ? now.value >> shift() : 0xFF);
    next_byte();
    return byte;
}

void registers::next_byte() {
    byte_ = (byte_ + 1) % bytes_;
    selected_ = static_cast<uint8_t>(selected_ + (byte_ == 0 ? 1 : 0));
}

unsigned int registers::shift() const {
    return 8 * static_cast<unsigned int>(high_first_ ? bytes_ - 1 - byte_ : byte_);
}

void registers::power_on() {
    for (one_register &each : all_) {
        each.value = each.at_power_on;
    }
    selected_ = 0;
}

// --- The settings ---

std::vector<reading> registers::readings() const {
    std::vector<reading> all{{"width", bytes_ == 1 ? "8" : "16", true},
                             {"order", high_first_ ? "high-first" : "low-first", true}};
    for (std::size_t first = 0; first < count; first += bytes_in_row / bytes_) {
        all.push_back({fmt::format("data.{:02x}", first), row_from(first), true});
    }
    return all;
}

/// Registers that are not there as `i2cdump` prints them.
std::string registers::row_from(std::size_t first) const {
    std::string row;
    for (const one_register &each : std::span(all_).subspan(first, bytes_in_row / bytes_)) {
        add_to_list(row, " ",
                    each.present ? fmt::format("{:0{}x}", each.value, 2 * bytes_)
                                 : std::string(2 * bytes_, 'X'));
    }
    return row;
}

void registers::set(std::string_view name, std::string_view value) {
    if (name == "width") {
        bytes_ = parse_choice(name, value, {"8", "16"}) + 1;
        byte_ = 0;
        for (one_register &each : all_) {
            const unsigned int bits = bytes_ == 1 ? 0xFF : 0xFFFF;
            each.value = static_cast<uint16_t>(each.value & bits);
            each.at_power_on = static_cast<uint16_t>(each.at_power_on & bits);
        }
    } else if (name == "order") {
        high_first_ = parse_choice(name, value, {"low-first", "high-first"}) == 1;
    } else if (name.starts_with("data.")) {
        fill(name, value);
    } else if (name.starts_with("access.")) {
        set_access(registers_named(name, "access."), name, value);
    } else if (name.starts_with("mask.")) {
        set_mask(registers_named(name, "mask."), name, value);
    } else {
        refuse_name(name, known_settings);
    }
}

/// Those of "access.10" or "access.10-1f".
std::span<one_register> registers::registers_named(std::string_view setting, std::string_view prefix) {
    const std::string_view range = setting.substr(prefix.size());
    const std::size_t dash = range.find('-');
    const auto first = host::byte_from_hex(range.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : host::byte_from_hex(range.substr(dash + 1));
    if (!first || !last || *last < *first) {
        refuse_name(setting, known_settings);
    }
    return std::span(all_).subspan(*first, std::size_t{*last} - *first + 1);
}

void registers::fill(std::string_view setting, std::string_view value) {
    const auto first = host::byte_from_hex(setting.substr(std::string_view("data.").size()));
    if (!first) {
        refuse_name(setting, known_settings);
    }
    const auto bytes = host::bytes_from_hex(value);
    if (!bytes || bytes->empty() || bytes->size() % bytes_ != 0 || bytes->size() / bytes_ > count - *first) {
        refuse_value(setting, value,
                     fmt::format("{}, up to register ff",
                                 bytes_ == 1 ? "bytes such as 48 65 6c" : "words such as 1234 00ff"));
    }
    for (std::size_t i = 0; i < bytes->size(); i += bytes_) {
        const unsigned int high = bytes_ == 1 ? 0 : (*bytes)[i];
        one_register &filled = all_.at(*first + i / bytes_);
        filled.value = filled.at_power_on = static_cast<uint16_t>(high << 8U | (*bytes)[i + bytes_ - 1]);
    }
}

void registers::set_mask(std::span<one_register> of, std::string_view setting, std::string_view value) const {
    const auto bytes = host::bytes_from_hex(value);
    if (!bytes || bytes->size() != bytes_) {
        refuse_value(setting, value, bytes_ == 1 ? "a byte such as 0f" : "a word such as 00ff");
    }
    for (one_register &each : of) {
        each.writable =
            static_cast<uint16_t>((bytes_ == 1 ? 0U : unsigned{(*bytes)[0]} << 8U) | bytes->back());
    }
}

} // namespace

std::unique_ptr<chip> make_registers(const board_clock & /*clock*/) { return std::make_unique<registers>(); }

} // namespace varnel::sim
