// SPDX-License-Identifier: Apache-2.0
#include "sim/models/eeprom_24c.h"

#include <algorithm>
#include <optional>
#include <span>

#include <fmt/format.h>

#include "host/hex.h"
#include "sim/models/command_port.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t row_size = 16; // of a reading
constexpr auto write_cycle = 5ms;
constexpr std::string_view data_prefix = "data.";

/// What the members of the family differ in.
struct geometry {
    const chips::datasheet &sheet;
    std::size_t size; ///< a power of two
    std::size_t page_size;
    std::size_t address_bytes; ///< 1 or 2

    [[nodiscard]] std::string hex_of(std::size_t address) const {
        return fmt::format("{:0{}x}", address, 2 * address_bytes);
    }
};

constexpr geometry of_24c02{chips::eeprom_24c02, 256, 8, 1};
constexpr geometry of_24c64{chips::eeprom_24c64, 8192, 32, 2};
constexpr geometry of_24c256{chips::eeprom_24c256, 32768, 64, 2};

class eeprom_24c : public chip, private command_port {
  public:
    eeprom_24c(const geometry &shape, const board_clock &clock)
        : shape_(shape), clock_(clock), memory_(shape.size, 0xFF), page_(shape.page_size) {}

    [[nodiscard]] const chips::datasheet &sheet() const override { return shape_.sheet; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;
    [[nodiscard]] std::vector<std::string_view> inputs() const override { return {"wp"}; }
    void power_on() override;

  private:
    [[nodiscard]] bool busy() const { return clock_.now() < ready_at_; }

    bool start(direction way) override;
    bool select(uint8_t first) override;
    bool write_data(uint8_t data) override;
    uint8_t read() override;
    void stop() override;

    void forget_page() { std::ranges::fill(page_, std::nullopt); }
    [[nodiscard]] std::string known_settings() const;
    void fill(std::string_view setting, std::string_view bytes);

    const geometry &shape_;
    const board_clock &clock_;
    std::vector<uint8_t> memory_;
    std::vector<std::optional<uint8_t>> page_; ///< received in this transfer, not yet stored
    std::size_t address_ = 0;
    bool low_byte_follows_ = false; ///< of an address of two bytes
    bool write_protected_ = false;
    std::chrono::nanoseconds ready_at_{0};
};

void eeprom_24c::power_on() {
    forget_page();
    address_ = 0;
    ready_at_ = clock_.now();
}

/// A START before the STOP drops what was received: only a STOP begins the write cycle.
bool eeprom_24c::start(direction way) {
    forget_page();
    low_byte_follows_ = false;
    return !busy() && command_port::start(way);
}

/// Bits above the last address mean nothing.
bool eeprom_24c::select(uint8_t first) {
    low_byte_follows_ = shape_.address_bytes == 2;
    address_ = low_byte_follows_ ? (std::size_t{first} << 8U | (address_ & 0xFFU)) % shape_.size : first;
    return true;
}

/// The address counts on inside its page.
bool eeprom_24c::write_data(uint8_t data) {
    if (low_byte_follows_) {
        low_byte_follows_ = false;
        address_ = (address_ & ~std::size_t{0xFF}) | data;
        return true;
    }
    const std::size_t column = address_ % shape_.page_size;
    page_[column] = data;
    address_ = address_ - column + (column + 1) % shape_.page_size;
    return true;
}

uint8_t eeprom_24c::read() {
    const uint8_t byte = memory_[address_];
    address_ = (address_ + 1) % shape_.size;
    return byte;
}

void eeprom_24c::stop() {
    const bool received = std::ranges::any_of(page_, [](const auto &byte) { return byte.has_value(); });
    if (received && !write_protected_) {
        const std::size_t first = address_ - address_ % shape_.page_size;
        for (std::size_t column = 0; column < shape_.page_size; ++column) {
            memory_[first + column] = page_[column].value_or(memory_[first + column]);
        }
        ready_at_ = clock_.now() + write_cycle;
    }
    forget_page();
}

/// Of a large memory only the rows that are not erased.
std::vector<reading> eeprom_24c::readings() const {
    std::vector<reading> all{{"state", busy() ? "writing" : "ready", false},
                             {"wp", write_protected_ ? "high" : "low", true}};
    for (std::size_t row = 0; row < shape_.size; row += row_size) {
        const auto bytes = std::span(memory_).subspan(row, row_size);
        const bool erased = std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0xFF; });
        if (!erased || shape_.address_bytes == 1) {
            all.push_back({std::string(data_prefix) + shape_.hex_of(row), host::hex(bytes, " "), true});
        }
    }
    return all;
}

void eeprom_24c::set(std::string_view name, std::string_view value) {
    if (name == "wp") {
        write_protected_ = parse_choice(name, value, {"low", "high"}) == 1;
    } else if (name.starts_with(data_prefix)) {
        fill(name, value);
    } else {
        refuse_name(name, known_settings());
    }
}

std::string eeprom_24c::known_settings() const {
    return fmt::format("wp, data.{} to data.{}", shape_.hex_of(0), shape_.hex_of(shape_.size - 1));
}

void eeprom_24c::fill(std::string_view setting, std::string_view bytes) {
    const std::string_view digits = setting.substr(data_prefix.size());
    const auto offset = host::digits_as<std::size_t>(digits, 16);
    if (digits.size() != 2 * shape_.address_bytes || !offset || *offset >= shape_.size) {
        refuse_name(setting, known_settings());
    }
    const auto filling = host::bytes_from_hex(bytes);
    if (!filling || filling->empty() || filling->size() > shape_.size - *offset) {
        refuse_value(setting, bytes,
                     fmt::format("bytes such as 48 65 6c, up to offset {}", shape_.hex_of(shape_.size - 1)));
    }
    std::ranges::copy(*filling, memory_.begin() + static_cast<std::ptrdiff_t>(*offset));
}

} // namespace

std::unique_ptr<chip> make_24c02(const board_clock &clock) {
    return std::make_unique<eeprom_24c>(of_24c02, clock);
}

std::unique_ptr<chip> make_24c64(const board_clock &clock) {
    return std::make_unique<eeprom_24c>(of_24c64, clock);
}

std::unique_ptr<chip> make_24c256(const board_clock &clock) {
    return std::make_unique<eeprom_24c>(of_24c256, clock);
}

} // namespace varnel::sim
