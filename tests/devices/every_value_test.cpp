// SPDX-License-Identifier: Apache-2.0
// The drivers over all values of their arguments and of the chips' registers, against models that were written from the
// chips' datasheets alone.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "varnel/car2512.h"
#include "varnel/ds3232.h"
#include "varnel/pca9505.h"
#include "varnel/pca9546.h"
#include "varnel/pca9548.h"
#include "varnel/pca9555.h"
#include "varnel/platform.h"
#include "varnel/smbus.h"

namespace {

constexpr unsigned int bytes = 256;
constexpr unsigned int words = 65536;

uint8_t byte(unsigned int value) { return static_cast<uint8_t>(value); }
uint16_t word(unsigned int value) { return static_cast<uint16_t>(value); }

using register_file = std::array<uint8_t, bytes>;

/// A chip at every address. The first byte of a write selects a register, the second is written to it; a third is the
/// high byte of a word. What is read begins with the selected register.
struct register_chip {
    register_file registers{};
    register_file high_bytes{};
    uint8_t selected = 0;
    uint8_t bus = 0;
    uint8_t slave = 0;
    unsigned int writes = 0; ///< to registers
    uint8_t written_first = 0;

    void address(uint8_t its_bus, uint8_t its_slave) {
        bus = its_bus;
        slave = its_slave;
    }
    void write(const uint8_t *frame, unsigned int length) {
        selected = frame[0];
        if (length > 1) {
            written_first = writes == 0 ? selected : written_first;
            ++writes;
            registers[selected] = frame[1];
        }
        if (length > 2) {
            high_bytes[selected] = frame[2];
        }
    }
    void read(uint8_t *data, unsigned int length) const {
        data[0] = registers[selected];
        if (length > 1) {
            data[1] = high_bytes[selected];
        }
    }
};

register_chip chip;

constexpr uint32_t device = 0x2003; // bus 3, slave 0x20

/// Different registers have different contents.
register_file some_contents() {
    register_file contents{};
    std::iota(contents.begin(), contents.end(), uint8_t{0x5A});
    return contents;
}

struct every_value : ::testing::Test {
    every_value() { chip = register_chip{some_contents(), {}, 0, 0, 0, 0, 0}; }
};

} // namespace

int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length) {
    chip.address(bus, slave);
    chip.write(buffer, length);
    return length;
}

int i2c_master_read_on_bus(uint8_t bus, uint8_t slave, uint8_t *buffer, uint16_t length) {
    chip.address(bus, slave);
    chip.read(buffer, length);
    return length;
}

int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length) {
    chip.address(bus, slave);
    chip.write(write_buffer, write_length);
    chip.read(read_buffer, read_length);
    return 0;
}

namespace {

// --- Handles ---

TEST_F(every_value, of_the_low_half_of_a_handle_is_a_bus_and_a_slave) {
    for (uint32_t handle = 0; handle < words; ++handle) {
        uint8_t data = 0;
        ASSERT_EQ(smbus_read_byte_to_device(handle | 0xABCD0000, 7, &data), 0);
        ASSERT_EQ(chip.bus, handle % bytes);
        ASSERT_EQ(chip.slave, handle / bytes);
    }
}

// --- PCA9555 and PCA9554: registers 0-1 inputs, 2-3 outputs, 6-7 configuration (PCA9555 datasheet, table 4) ---

/// Sets or clears a port's bit of what one register holds and writes that to another.
struct pin_change {
    int (*function)(uint32_t, uint8_t);
    unsigned int from, to;
    bool sets;
};

TEST_F(every_value, of_port_and_register_changes_one_bit_of_the_pca9555) {
    const std::vector<pin_change> changes{{pca9555_set_port_high, 0, 2, true},
                                          {pca9555_set_port_low, 0, 2, false},
                                          {pca9555_set_port_input, 6, 6, true},
                                          {pca9555_set_port_output, 6, 6, false}};
    for (const pin_change &change : changes) {
        for (unsigned int port = 0; port < bytes; ++port) {
            for (unsigned int content = 0; content < bytes; ++content) {
                chip.registers = some_contents();
                chip.registers[change.from + port / 8] = byte(content);
                register_file expected = chip.registers;
                const unsigned int bit = 1U << port % 8;
                expected[change.to + port / 8] = byte(change.sets ? content | bit : content & ~bit);
                ASSERT_EQ(change.function(device, byte(port)), 0);
                ASSERT_EQ(chip.registers, expected) << "port " << port << ", content " << content;
            }
        }
    }
}

TEST_F(every_value, of_port_and_register_reads_one_bit_of_the_pca9555) {
    for (unsigned int port = 0; port < bytes; ++port) {
        for (unsigned int content = 0; content < bytes; ++content) {
            chip.registers = some_contents();
            chip.registers[port / 8] = byte(content);
            chip.registers[6 + port / 8] = byte(~content);
            const register_file expected = chip.registers;
            uint8_t level = 0xEE;
            uint8_t direction = 0xEE;
            ASSERT_EQ(pca9555_get_port_data(device, byte(port), &level), 0);
            ASSERT_EQ(pca9555_get_port_dir(device, byte(port), &direction), 0);
            ASSERT_EQ(level, content >> port % 8 & 1U);
            ASSERT_EQ(direction, ~content >> port % 8 & 1U);
            ASSERT_EQ(chip.registers, expected);
        }
    }
}

TEST_F(every_value, of_bank_and_register_is_read_and_written_as_it_is) {
    struct getter {
        int (*function)(uint32_t, uint8_t, uint8_t *);
        unsigned int base;
    };
    struct setter {
        int (*function)(uint32_t, uint8_t, uint8_t);
        unsigned int base;
    };
    for (unsigned int bank = 0; bank < bytes; ++bank) {
        for (unsigned int content = 0; content < bytes; ++content) {
            for (const auto &[get, base] :
                 {getter{pca9555_get_bank_data, 0}, getter{pca9555_get_bank_output, 2},
                  getter{pca9555_get_bank_dir, 6}}) {
                chip.registers[byte(base + bank)] = byte(content);
                uint8_t data = byte(~content);
                ASSERT_EQ(get(device, byte(bank), &data), 0);
                ASSERT_EQ(data, content);
            }
            for (const auto &[set, base] :
                 {setter{pca9555_set_bank_data, 2}, setter{pca9555_set_bank_dir, 6}}) {
                register_file expected = chip.registers;
                expected[byte(base + bank)] = byte(~content);
                ASSERT_EQ(set(device, byte(bank), byte(~content)), 0);
                ASSERT_EQ(chip.registers, expected);
            }
        }
    }
}

TEST_F(every_value, of_the_inputs_is_listed_by_port) {
    for (unsigned int levels = 0; levels < words; ++levels) {
        chip.registers[0] = byte(levels);
        chip.registers[1] = byte(levels >> 8);
        std::vector<uint8_t> high;
        std::vector<uint8_t> low;
        for (uint8_t port = 0; port < 16; ++port) {
            ((levels >> port & 1U) != 0 ? high : low).push_back(port);
        }
        std::array<uint32_t, 17> places{};
        std::iota(places.begin(), places.end(), 0U);
        std::array<uint8_t, 17> listed{};
        ASSERT_EQ(pca9555_get_high_port(device, listed.data(), places.data()), 0);
        ASSERT_TRUE(std::equal(high.begin(), high.end(), listed.begin())) << levels;
        ASSERT_EQ(pca9555_get_low_port(device, listed.data(), places.data()), 0);
        ASSERT_TRUE(std::equal(low.begin(), low.end(), listed.begin())) << levels;
    }
}

TEST_F(every_value, of_a_set_of_ports_becomes_two_masks) {
    struct initial {
        int (*function)(uint32_t, const uint8_t *, int);
        unsigned int reg;
        bool inverted;
    };
    for (unsigned int set = 0; set < words; ++set) {
        std::vector<uint8_t> ports;
        for (uint8_t port = 0; port < 16; ++port) {
            if ((set >> port & 1U) != 0) {
                ports.push_back(port);
            }
        }
        const int count = static_cast<int>(ports.size());
        for (const auto &[init, reg, inverted] :
             {initial{pca9555_init_port_high, 2, false}, initial{pca9555_init_port_low, 2, true},
              initial{pca9555_init_port_input, 6, false}, initial{pca9555_init_port_output, 6, true}}) {
            const unsigned int mask = inverted ? ~set : set;
            ASSERT_EQ(init(device, ports.data(), count), 0);
            ASSERT_EQ(chip.registers[reg], byte(mask));
            ASSERT_EQ(chip.registers[reg + 1], byte(mask >> 8));
        }
        // PCA9554: register 1 outputs, 3 configuration.
        for (const auto &[init, reg, inverted] :
             {initial{pca9554_init_port_high, 1, false}, initial{pca9554_init_port_low, 1, true},
              initial{pca9554_init_port_input, 3, false}, initial{pca9554_init_port_output, 3, true}}) {
            ASSERT_EQ(init(device, ports.data(), count), 0);
            ASSERT_EQ(chip.registers[reg], byte(inverted ? ~set : set));
        }
    }
}

// --- PCA9505: registers 08h outputs, 18h configuration, 20h interrupt mask, five banks each ---

struct bank_pin_change {
    int (*function)(uint32_t, uint8_t, uint8_t);
    unsigned int base;
    bool sets;
};

void expect_change(const bank_pin_change &change, unsigned int bank, unsigned int bit, unsigned int content) {
    chip.registers = some_contents();
    const uint8_t reg = byte(change.base + bank);
    chip.registers[reg] = byte(content);
    register_file expected = chip.registers;
    const unsigned int mask = bit < 8 ? 1U << bit : 0;
    expected[reg] = byte(change.sets ? content | mask : content & ~mask);
    ASSERT_EQ(change.function(device, byte(bank), byte(bit)), 0);
    ASSERT_EQ(chip.registers, expected) << "bank " << bank << ", bit " << bit << ", content " << content;
}

TEST_F(every_value, of_bank_bit_and_register_changes_one_bit_of_the_pca9505) {
    for (const bank_pin_change &change : {bank_pin_change{pca9505_set_port_input, 0x18, true},
                                          bank_pin_change{pca9505_set_port_output, 0x18, false},
                                          bank_pin_change{pca9505_set_port_high, 0x08, true},
                                          bank_pin_change{pca9505_set_port_low, 0x08, false}}) {
        for (unsigned int i = 0; i < bytes; ++i) {
            for (unsigned int j = 0; j < bytes; ++j) {
                expect_change(change, i, j,
                              0xA5); // every bank and bit, also those that the chip does not have
                expect_change(change, i % 5, i / 5 % 8, j);
            }
        }
    }
}

TEST_F(every_value, of_register_bit_and_content_is_read_from_the_pca9505) {
    for (unsigned int reg = 0; reg < bytes; ++reg) {
        for (unsigned int content = 0; content < bytes; ++content) {
            chip.registers[reg] = byte(content);
            uint8_t data = byte(~content);
            ASSERT_EQ(pca9505_get_reg_data(device, byte(reg), &data), 0);
            ASSERT_EQ(data, content);
            // Eight bits for each content, and all bits over the contents.
            for (unsigned int bit = content % 32 * 8; bit < content % 32 * 8 + 8; ++bit) {
                ASSERT_EQ(pca9505_get_port_data(device, byte(reg), byte(bit), &data), 0);
                ASSERT_EQ(data, bit < 8 ? content >> bit & 1U : 0);
            }
            for (unsigned int bit = 0; bit < 8; ++bit) {
                ASSERT_EQ(pca9505_get_port_data(device, byte(reg), byte(bit), &data), 0);
                ASSERT_EQ(data, content >> bit & 1U);
            }
        }
    }
}

TEST_F(every_value, of_bank_is_set_as_a_whole_on_the_pca9505) {
    struct whole {
        int (*function)(uint32_t, uint8_t);
        unsigned int base;
        uint8_t content;
    };
    for (const auto &[set, base, content] :
         {whole{pca9505_set_bank_input, 0x18, 0xFF}, whole{pca9505_set_bank_output, 0x18, 0},
          whole{pca9505_clear_bank_mask, 0x20, 0}}) {
        for (unsigned int bank = 0; bank < bytes; ++bank) {
            chip.registers = some_contents();
            register_file expected = chip.registers;
            expected[byte(base + bank)] = content;
            ASSERT_EQ(set(device, byte(bank)), 0);
            ASSERT_EQ(chip.registers, expected) << "bank " << bank;
        }
    }
}

// --- PCA9548 and PCA9546: one control register without a number ---

TEST_F(every_value, of_the_control_byte_reaches_the_multiplexer) {
    for (unsigned int control = 0; control < bytes; ++control) {
        for (auto *const enable : {pca9548_enable_channel, pca9546_enable_channel}) {
            ASSERT_EQ(enable(device, byte(control)), 0);
            ASSERT_EQ(chip.selected, control);
        }
        for (auto *const get : {pca9548_get_channel, pca9546_get_channel}) {
            chip.registers[chip.selected] = byte(~control);
            uint8_t data = byte(control);
            ASSERT_EQ(get(device, &data), 0);
            ASSERT_EQ(data, byte(~control));
        }
        ASSERT_EQ(pca9548_disable_channel(device), 0);
        ASSERT_EQ(chip.selected, 0);
    }
}

// --- CAR2512: PMBus commands, words with the low byte first ---

TEST_F(every_value, of_a_word_is_read_from_and_written_to_the_supply) {
    struct reading {
        int (*function)(uint32_t, uint16_t *);
        uint8_t command;
    };
    struct setting {
        int (*function)(uint32_t, uint16_t);
        uint8_t command;
    };
    for (unsigned int value = 0; value < words; ++value) {
        for (const auto &[get, command] :
             {reading{car2512_get_status, 0x79}, reading{car2512_get_vprog, 0xD8},
              reading{car2512_get_output_volt, 0xE0}, reading{car2512_get_temp, 0xE2},
              reading{car2512_get_fan_speed, 0xE9}, reading{car2512_get_input_volt, 0xED},
              reading{car2512_get_input_power, 0xEF}}) {
            chip.registers[command] = byte(value);
            chip.high_bytes[command] = byte(value >> 8);
            uint16_t data = word(~value);
            ASSERT_EQ(get(device, &data), 0);
            ASSERT_EQ(data, value);
        }
        for (const auto &[set, command] :
             {setting{car2512_set_fan_speed, 0x3B}, setting{car2512_set_output_volt, 0xD4}}) {
            chip.writes = 0;
            ASSERT_EQ(set(device, word(value)), 0);
            ASSERT_EQ(chip.writes, 2U);
            ASSERT_EQ(chip.written_first, 0x10); // write protection is cancelled first
            ASSERT_EQ(chip.registers[0x10], 0);
            ASSERT_EQ(chip.registers[command] + bytes * chip.high_bytes[command], value);
        }
    }
}

TEST_F(every_value, of_a_byte_is_read_from_the_supply) {
    struct reading {
        int (*function)(uint32_t, uint8_t *);
        uint8_t command;
    };
    for (const auto &[get, command] :
         {reading{car2512_get_vout_status, 0x7A}, reading{car2512_get_status_input, 0x7C},
          reading{car2512_get_CML, 0x7E}, reading{car2512_get_mfr_specific, 0x80},
          reading{car2512_get_fan_1_2_status, 0x81}, reading{car2512_get_frw_version, 0xD0},
          reading{car2512_get_fan_duty_cycle, 0xD6}}) {
        for (unsigned int value = 0; value < bytes; ++value) {
            chip.registers[command] = byte(value);
            uint8_t data = byte(~value);
            ASSERT_EQ(get(device, &data), 0);
            ASSERT_EQ(data, value);
        }
    }
}

TEST_F(every_value, of_the_duty_cycle_is_raised_but_never_lowered) {
    for (unsigned int now = 0; now < bytes; ++now) {
        for (unsigned int wanted = 0; wanted < bytes; ++wanted) {
            chip.registers[0xD6] = byte(now);
            chip.registers[0xD7] = byte(~wanted);
            chip.writes = 0;
            ASSERT_EQ(car2512_set_fan_duty_cycle_upto_percent(device, byte(wanted)), 0);
            ASSERT_EQ(chip.writes, now < wanted ? 2U : 0U);
            ASSERT_EQ(chip.registers[0xD7], now < wanted ? byte(wanted) : byte(~wanted));
        }
    }
}

// --- DS3232: registers 00h-06h in BCD (datasheet, figure 1) ---

struct every_clock_value : every_value {
    every_clock_value() {
        const char *const zone = std::getenv("TZ");
        zone_ = zone != nullptr ? zone : "";
        setenv("TZ", "UTC0", 1);
    }
    ~every_clock_value() override {
        if (zone_.empty()) {
            unsetenv("TZ");
        } else {
            setenv("TZ", zone_.c_str(), 1);
        }
        tzset();
    }

  private:
    std::string zone_;
};

bool fits_time_t(std::int64_t seconds) {
    return seconds >= std::numeric_limits<std::time_t>::min() &&
           seconds <= std::numeric_limits<std::time_t>::max();
}

uint8_t bcd(unsigned int value) { return byte(value / 10 << 4 | value % 10); }

std::int64_t seconds_of(std::chrono::sys_days day) {
    return std::int64_t{day.time_since_epoch().count()} * 24 * 60 * 60;
}

using namespace std::chrono;

TEST_F(every_clock_value, day_from_2000_to_2199_is_written_and_read) {
    unsigned int days_tried = 0;
    unsigned int second = 0;
    for (sys_days day = year{2000} / 1 / 1; day < sys_days(year{2200} / 1 / 1); day += days{1}) {
        second = (second + 4'567) % 86'400;
        const std::int64_t time = seconds_of(day) + second;
        if (!fits_time_t(time)) {
            break;
        }
        const year_month_day date(day);
        const auto full_year = static_cast<unsigned int>(static_cast<int>(date.year()));
        const unsigned int month_number{date.month()};
        const std::array<uint8_t, 7> expected{
            bcd(second % 60),          bcd(second / 60 % 60),
            bcd(second / 3600),        byte(weekday(day).c_encoding() + 1),
            bcd(unsigned{date.day()}), byte(bcd(month_number) | (full_year >= 2100 ? 0x80U : 0)),
            bcd(full_year % 100)};
        ASSERT_EQ(ds3232_set_time(static_cast<std::time_t>(time)), 0);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), chip.registers.begin())) << time;
        std::time_t read = 0;
        ASSERT_EQ(ds3232_get_time(&read), 0);
        // The day of October is read as that day of April in the next year.
        const std::int64_t back =
            month_number != 10 ? time
                               : seconds_of(sys_days(year{static_cast<int>(full_year) + 1} / April / 1)) +
                                     (std::int64_t{unsigned{date.day()}} - 1) * 86'400 + second;
        if (fits_time_t(back)) {
            ASSERT_EQ(read, back);
        }
        ++days_tried;
    }
    EXPECT_GE(days_tried, 13'000U); // up to 2038
}

/// The fields of a register byte by its place values: tens in the high digit, whatever the digits are.
unsigned int decimal(uint8_t byte) { return (byte >> 4) * 10U + (byte & 0xFU); }

/// What the seven registers say, with fields beyond their ranges carried over.
std::int64_t time_of(const register_file &registers) {
    const uint8_t month_register = registers[5];
    const uint8_t month_less_1 = byte(month_register - 1U);
    const unsigned int month_index = (month_less_1 & 0x10) / 16 * 10U + (month_less_1 & 0xFU);
    const unsigned int full_year = 2000U + (month_register >> 7) * 100U + decimal(registers[6]);
    const auto first =
        sys_days(year{static_cast<int>(full_year + month_index / 12)} / month{month_index % 12 + 1} / 1);
    return seconds_of(first) + (std::int64_t{decimal(registers[4])} - 1) * 86'400 +
           decimal(registers[2]) * 3600 + decimal(registers[1]) * 60 + decimal(registers[0]);
}

TEST_F(every_clock_value, byte_of_each_register_is_read_by_its_place_values) {
    for (unsigned int reg = 0; reg < 7; ++reg) {
        for (const register_file &base : {register_file{0x56, 0x34, 0x12, 0x05, 0x28, 0x02, 0x24},
                                          register_file{0x59, 0x59, 0x23, 0x01, 0x31, 0x12, 0x00}}) {
            for (unsigned int value = 0; value < bytes; ++value) {
                chip.registers = base;
                chip.registers[reg] = byte(value);
                const std::int64_t expected = time_of(chip.registers);
                std::time_t read = 0;
                ASSERT_EQ(ds3232_get_time(&read), 0);
                ASSERT_EQ(read, fits_time_t(expected) ? expected : -1)
                    << "register " << reg << " is " << value;
            }
        }
    }
}

} // namespace
