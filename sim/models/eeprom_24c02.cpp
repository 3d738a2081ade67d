// SPDX-License-Identifier: Apache-2.0
#include "sim/models/eeprom_24c02.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "host/hex.h"
#include "sim/models/command_port.h"
#include "sim/models/settings.h"

namespace varnel::sim {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t size = 256;
constexpr std::size_t page_size = 8;
constexpr std::size_t row_size = 16; // of a reading
constexpr auto write_cycle = 5ms;
constexpr std::string_view data_prefix = "data.";
constexpr std::string_view known_settings = "wp, data.00 to data.ff";

class eeprom_24c02 : public chip, private command_port {
  public:
    explicit eeprom_24c02(const board_clock &clock) : clock_(clock) { memory_.fill(0xFF); }

    [[nodiscard]] const chips::datasheet &sheet() const override { return chips::eeprom_24c02; }
    bus_port &port(std::size_t /*index*/) override { return *this; }
    [[nodiscard]] std::vector<reading> readings() const override;
    void set(std::string_view name, std::string_view value) override;

  private:
    [[nodiscard]] bool busy() const { return clock_.now() < ready_at_; }

    bool start(direction way) override;
    bool select(uint8_t command) override;
    bool write_data(uint8_t data) override;
    uint8_t read() override { return memory_[address_++]; }
    void stop() override;

    void fill(std::string_view setting, std::string_view bytes);

    const board_clock &clock_;
    std::array<uint8_t, size> memory_{};
    std::array<std::optional<uint8_t>, page_size> page_; ///< received in this transfer, not yet stored
    uint8_t address_ = 0;
    bool write_protected_ = false;
    std::chrono::nanoseconds ready_at_{0};
};

/// A START before the STOP drops what was received: only a STOP begins the write cycle.
bool eeprom_24c02::start(direction way) {
    page_ = {};
    return !busy() && command_port::start(way);
}

bool eeprom_24c02::select(uint8_t command) {
    address_ = command;
    return true;
}

/// The address counts on inside its page.
bool eeprom_24c02::write_data(uint8_t data) {
    const std::size_t column = address_ % page_size;
    page_.at(column) = data;
    address_ = static_cast<uint8_t>(address_ - column + (column + 1) % page_size);
    return true;
}

void eeprom_24c02::stop() {
    const bool received =
        std::any_of(page_.begin(), page_.end(), [](const auto &byte) { return byte.has_value(); });
    if (received && !write_protected_) {
        const std::size_t first = address_ - address_ % page_size;
        for (std::size_t column = 0; column < page_size; ++column) {
            memory_.at(first + column) = page_.at(column).value_or(memory_.at(first + column));
        }
        ready_at_ = clock_.now() + write_cycle;
    }
    page_ = {};
}

std::vector<reading> eeprom_24c02::readings() const {
    std::vector<reading> all{{"state", busy() ? "writing" : "ready", false},
                             {"wp", write_protected_ ? "high" : "low", true}};
    for (std::size_t row = 0; row < size; row += row_size) {
        const auto bytes = std::span(memory_).subspan(row, row_size);
        all.push_back(
            {std::string(data_prefix) + host::hex(static_cast<uint8_t>(row)), host::hex(bytes, " "), true});
    }
    return all;
}

void eeprom_24c02::set(std::string_view name, std::string_view value) {
    if (name == "wp") {
        write_protected_ = parse_choice(name, value, {"low", "high"}) == 1;
    } else if (name.starts_with(data_prefix)) {
        fill(name, value);
    } else {
        refuse_name(name, known_settings);
    }
}

void eeprom_24c02::fill(std::string_view setting, std::string_view bytes) {
    const auto offset = host::byte_from_hex(setting.substr(data_prefix.size()));
    if (!offset) {
        refuse_name(setting, known_settings);
    }
    const auto filling = host::bytes_from_hex(bytes);
    if (!filling || filling->empty() || filling->size() > size - *offset) {
        refuse_value(setting, bytes, "bytes such as 48 65 6c, up to offset ff");
    }
    std::copy(filling->begin(), filling->end(), memory_.begin() + *offset);
}

} // namespace

std::unique_ptr<chip> make_24c02(const board_clock &clock) { return std::make_unique<eeprom_24c02>(clock); }

} // namespace varnel::sim
