// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9555.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/reporting_driver.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr uint32_t device = 0xABCD2103; // bus 3, slave 0x21, upper half ignored

transfer written(uint8_t reg, uint8_t data) { return write_of(3, 0x21, {reg, data}); }
transfer register_read(uint8_t reg, uint8_t preset = 0) { return write_read_of(3, 0x21, {reg}, {preset}); }

class pca9555 : public reporting_driver {};

// --- Whole registers from a list of ports ---

struct init_row {
    const char *name;
    int (*function)(uint32_t, const uint8_t *, int);
    std::vector<uint8_t> registers;
    bool listed_is_one;
    std::vector<std::string> failures;
};

const std::vector<init_row> init_rows{
    {"pca9555_init_port_high",
     pca9555_init_port_high,
     {2, 3},
     true,
     {"pca9555.c:45:pca9555_init_port_high():smbus_write_byte_to_device( device, 2, ldata )",
      "pca9555.c:46:pca9555_init_port_high():smbus_write_byte_to_device( device, 3, hdata )"}},
    {"pca9555_init_port_low",
     pca9555_init_port_low,
     {2, 3},
     false,
     {"pca9555.c:69:pca9555_init_port_low():smbus_write_byte_to_device( device, 2, ldata )",
      "pca9555.c:70:pca9555_init_port_low():smbus_write_byte_to_device( device, 3, hdata )"}},
    {"pca9555_init_port_output",
     pca9555_init_port_output,
     {6, 7},
     false,
     {"pca9555.c:92:pca9555_init_port_output():smbus_write_byte_to_device( device, 6, ldata )",
      "pca9555.c:93:pca9555_init_port_output():smbus_write_byte_to_device( device, 7, hdata )"}},
    {"pca9555_init_port_input",
     pca9555_init_port_input,
     {6, 7},
     true,
     {"pca9555.c:113:pca9555_init_port_input():smbus_write_byte_to_device( device, 6, ldata )",
      "pca9555.c:114:pca9555_init_port_input():smbus_write_byte_to_device( device, 7, hdata )"}},
    {"pca9554_init_port_input",
     pca9554_init_port_input,
     {3},
     true,
     {"pca9555.c:289:pca9554_init_port_input():smbus_write_byte_to_device( device, 3, data )"}},
    {"pca9554_init_port_output",
     pca9554_init_port_output,
     {3},
     false,
     {"pca9555.c:306:pca9554_init_port_output():smbus_write_byte_to_device( device, 3, data )"}},
    {"pca9554_init_port_high",
     pca9554_init_port_high,
     {1},
     true,
     {"pca9555.c:323:pca9554_init_port_high():smbus_write_byte_to_device( device, 1, data )"}},
    {"pca9554_init_port_low",
     pca9554_init_port_low,
     {1},
     false,
     {"pca9555.c:341:pca9554_init_port_low():smbus_write_byte_to_device( device, 1, data )"}},
};

TEST_F(pca9555, init_writes_a_mask_per_bank_low_bank_first) {
    struct list {
        std::vector<uint8_t> ports;
        std::array<uint8_t, 2> masks;
    };
    const std::vector<list> lists{
        {{1, 9, 20}, {0x02, 0x02}},
        {{}, {0, 0}},
        {{0, 7, 8, 15}, {0x81, 0x81}},
        {{3, 3, 3}, {0x08, 0}},
        {{16, 17, 255}, {0, 0}},
        {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, {0xFF, 0xFF}},
        {{8}, {0, 0x01}},
    };
    for (const init_row &row : init_rows) {
        for (const list &l : lists) {
            SCOPED_TRACE(row.name);
            calls.clear();
            EXPECT_EQ(printed_by_success([&] {
                          return row.function(device, l.ports.data(), static_cast<int>(l.ports.size()));
                      }),
                      "");
            std::vector<transfer> expected;
            for (std::size_t bank = 0; bank < row.registers.size(); ++bank) {
                const uint8_t mask = l.masks[bank];
                expected.push_back(
                    written(row.registers[bank], row.listed_is_one ? mask : static_cast<uint8_t>(~mask)));
            }
            EXPECT_THAT(calls, ElementsAreArray(expected));
        }
    }
}

TEST_F(pca9555, init_treats_a_negative_count_as_an_empty_list) {
    EXPECT_EQ(pca9555_init_port_output(device, nullptr, -1), 0);
    EXPECT_EQ(pca9554_init_port_high(device, nullptr, -1), 0);
    EXPECT_THAT(calls, ElementsAre(written(6, 0xFF), written(7, 0xFF), written(1, 0x00)));
}

TEST_F(pca9555, init_stops_at_the_first_failure_and_prints_it) {
    const uint8_t ports[] = {1, 9};
    for (const init_row &row : init_rows) {
        fails_with([&] { return row.function(device, ports, 2); }, row.failures);
    }
}

// --- One port ---

struct change_row {
    int (*function)(uint32_t, uint8_t);
    unsigned int read_base;
    unsigned int write_base;
    bool sets;
    std::vector<std::string> failures;
};

const std::vector<change_row> change_rows{
    {pca9555_set_port_high,
     0,
     2,
     true,
     {"pca9555.c:176:pca9555_set_port_high():smbus_read_byte_to_device( device, port/8, &data)",
      "pca9555.c:178:pca9555_set_port_high():smbus_write_byte_to_device( device, 2+ port/8, data )"}},
    {pca9555_set_port_low,
     0,
     2,
     false,
     {"pca9555.c:188:pca9555_set_port_low():smbus_read_byte_to_device( device, port/8, &data )",
      "pca9555.c:190:pca9555_set_port_low():smbus_write_byte_to_device( device, 2+ port/8, data )"}},
    {pca9555_set_port_input,
     6,
     6,
     true,
     {"pca9555.c:200:pca9555_set_port_input():smbus_read_byte_to_device( device, 6+ port/8, &data)",
      "pca9555.c:202:pca9555_set_port_input():smbus_write_byte_to_device( device, 6+ port/8, data)"}},
    {pca9555_set_port_output,
     6,
     6,
     false,
     {"pca9555.c:212:pca9555_set_port_output():smbus_read_byte_to_device( device, 6+ port/8, &data)",
      "pca9555.c:214:pca9555_set_port_output():smbus_write_byte_to_device( device, 6+ port/8, data)"}},
};

TEST_F(pca9555, changing_a_port_reads_its_bank_and_changes_one_bit) {
    for (const change_row &row : change_rows) {
        for (unsigned int port = 0; port < 256; ++port) {
            for (const uint8_t old : {0x00, 0xFF, 0xA5}) {
                const auto bit = static_cast<uint8_t>(1U << port % 8);
                calls.clear();
                answers({{{old}}, {}});
                ASSERT_EQ(row.function(device, static_cast<uint8_t>(port)), 0);
                const auto changed = static_cast<uint8_t>(row.sets ? old | bit : old & ~bit);
                ASSERT_THAT(calls,
                            ElementsAre(register_read(static_cast<uint8_t>(row.read_base + port / 8)),
                                        written(static_cast<uint8_t>(row.write_base + port / 8), changed)));
            }
        }
    }
}

TEST_F(pca9555, setting_a_level_starts_from_the_input_register) {
    answers({{{0x81}}, {}});
    EXPECT_EQ(pca9555_set_port_high(device, 10), 0);
    EXPECT_THAT(calls, ElementsAre(register_read(1), written(3, 0x85)));
}

TEST_F(pca9555, changing_a_port_stops_at_the_first_failure_and_prints_it) {
    for (const change_row &row : change_rows) {
        fails_with([&] { return row.function(device, 10); }, row.failures);
    }
}

TEST_F(pca9555, reading_a_port_returns_0_or_1) {
    for (unsigned int port = 0; port < 256; ++port) {
        const auto p = static_cast<uint8_t>(port);
        const auto bit = static_cast<uint8_t>(1U << port % 8);
        const auto others = static_cast<uint8_t>(~bit);
        calls.clear();
        answers({{{bit}}, {{others}}, {{bit}}, {{others}}});
        std::array<uint8_t, 4> data{0xEE, 0xEE, 0xEE, 0xEE};
        ASSERT_EQ(pca9555_get_port_data(device, p, &data[0]), 0);
        ASSERT_EQ(pca9555_get_port_data(device, p, &data[1]), 0);
        ASSERT_EQ(pca9555_get_port_dir(device, p, &data[2]), 0);
        ASSERT_EQ(pca9555_get_port_dir(device, p, &data[3]), 0);
        ASSERT_THAT(data, ElementsAre(1, 0, 1, 0));
        const auto bank = static_cast<uint8_t>(port / 8);
        const auto dir = static_cast<uint8_t>(6 + bank);
        ASSERT_THAT(calls, ElementsAre(register_read(bank, 0xEE), register_read(bank, 0xEE),
                                       register_read(dir, 0xEE), register_read(dir, 0xEE)));
    }
}

TEST_F(pca9555, failed_port_read_leaves_what_the_transfer_stored) {
    answers({{{0x40}, -1}});
    uint8_t data = 0xEE;
    EXPECT_EQ(pca9555_get_port_data(device, 0, &data), -1);
    EXPECT_EQ(data, 0x40);
}

// --- Whole banks ---

struct bank_row {
    std::function<int(uint8_t bank, uint8_t *data)> function;
    unsigned int base;
    bool writes;
    std::string failure;
};

const std::vector<bank_row> bank_rows{
    {[](uint8_t b, uint8_t *d) { return pca9555_get_bank_data(device, b, d); }, 0, false,
     "pca9555.c:236:pca9555_get_bank_data():smbus_read_byte_to_device(device, 0+bank, data)"},
    {[](uint8_t b, uint8_t *d) { return pca9555_set_bank_data(device, b, *d); }, 2, true,
     "pca9555.c:243:pca9555_set_bank_data():smbus_write_byte_to_device(device, 2+bank, data)"},
    {[](uint8_t b, uint8_t *d) { return pca9555_get_bank_output(device, b, d); }, 2, false,
     "pca9555.c:249:pca9555_get_bank_output():smbus_read_byte_to_device(device, 2+bank, data)"},
    {[](uint8_t b, uint8_t *d) { return pca9555_get_bank_dir(device, b, d); }, 6, false,
     "pca9555.c:255:pca9555_get_bank_dir():smbus_read_byte_to_device(device, 6+bank, data)"},
    {[](uint8_t b, uint8_t *d) { return pca9555_set_bank_dir(device, b, *d); }, 6, true,
     "pca9555.c:261:pca9555_set_bank_dir():smbus_write_byte_to_device(device, 6+bank, data)"},
};

TEST_F(pca9555, bank_access_uses_register_base_plus_bank_modulo_256) {
    for (const bank_row &row : bank_rows) {
        for (const uint8_t bank : {0, 1, 2, 249, 250, 254, 255}) {
            calls.clear();
            answers({{{0x3C}}});
            uint8_t data = 0xA7;
            EXPECT_EQ(row.function(bank, &data), 0);
            const auto reg = static_cast<uint8_t>(row.base + bank);
            EXPECT_THAT(calls, ElementsAre(row.writes ? written(reg, 0xA7) : register_read(reg, 0xA7)));
            EXPECT_EQ(data, row.writes ? 0xA7 : 0x3C);
        }
    }
}

TEST_F(pca9555, bank_access_prints_its_failure) {
    uint8_t data = 0;
    for (const bank_row &row : bank_rows) {
        fails_with([&] { return row.function(1, &data); }, {row.failure});
    }
}

TEST_F(pca9555, bank_0_and_1_getters_read_registers_0_and_1) {
    answers({{{0x12}}, {{0x34}}});
    std::array<uint8_t, 2> data{0xEE, 0xEE};
    EXPECT_EQ(pca9555_get_bank0_data(device, &data[0]), 0);
    EXPECT_EQ(pca9555_get_bank1_data(device, &data[1]), 0);
    EXPECT_THAT(data, ElementsAre(0x12, 0x34));
    EXPECT_THAT(calls, ElementsAre(register_read(0, 0xEE), register_read(1, 0xEE)));
    fails_with([&] { return pca9555_get_bank0_data(device, &data[0]); },
               {"pca9555.c:222:pca9555_get_bank0_data():smbus_read_byte_to_device(device, 0, data)"});
    fails_with([&] { return pca9555_get_bank1_data(device, &data[0]); },
               {"pca9555.c:230:pca9555_get_bank1_data():smbus_read_byte_to_device(device, 1, data)"});
}

TEST_F(pca9555, port_getters_print_their_failure) {
    uint8_t data = 0;
    fails_with(
        [&] { return pca9555_get_port_data(device, 9, &data); },
        {"pca9555.c:122:pca9555_get_port_data():smbus_read_byte_to_device( device, 0+ port/8, data )"});
    fails_with([&] { return pca9555_get_port_dir(device, 9, &data); },
               {"pca9555.c:269:pca9555_get_port_dir():smbus_read_byte_to_device(device, 6+port/8, data)"});
}

// --- Ports by level ---

struct lister {
    int (*function)(uint32_t, uint8_t *, uint32_t *);
    uint8_t inversion;
    std::vector<std::string> failures;
};

const std::vector<lister> listers{
    {pca9555_get_high_port,
     0x00,
     {"pca9555.c:134:pca9555_get_high_port():smbus_read_byte_to_device( device, 0, &ldata )",
      "pca9555.c:135:pca9555_get_high_port():smbus_read_byte_to_device( device, 1, &hdata )"}},
    {pca9555_get_low_port,
     0xFF,
     {"pca9555.c:154:pca9555_get_low_port():smbus_read_byte_to_device( device, 0, &ldata )",
      "pca9555.c:155:pca9555_get_low_port():smbus_read_byte_to_device( device, 1, &hdata )"}},
};

std::array<uint32_t, 17> ascending() {
    std::array<uint32_t, 17> words{};
    for (uint32_t i = 0; i < words.size(); ++i) {
        words[i] = i;
    }
    return words;
}

TEST_F(pca9555, lists_ports_at_the_indices_in_the_count_array) {
    for (const lister &l : listers) {
        calls.clear();
        answers({{{static_cast<uint8_t>(0x05 ^ l.inversion)}}, {{static_cast<uint8_t>(0x80 ^ l.inversion)}}});
        std::array<uint8_t, 16> ports{};
        ports.fill(0xEE);
        std::array<uint32_t, 4> count{7, 9, 4, 0xFFFF};
        EXPECT_EQ(l.function(device, ports.data(), count.data()), 0);
        EXPECT_THAT(count, ElementsAre(0, 9, 4, 0xFFFF)); // only word 0 is set, and none is incremented
        EXPECT_EQ(ports[0], 0);                           // the first port found
        EXPECT_EQ(ports[9], 2);                           // the second, at count[1]
        EXPECT_EQ(ports[4], 15);                          // the third, at count[2]
        EXPECT_EQ(std::count(ports.begin(), ports.end(), 0xEE), 13);
        EXPECT_THAT(calls, ElementsAre(register_read(0), register_read(1)));
    }
}

TEST_F(pca9555, lists_ports_in_order_with_an_ascending_count_array) {
    for (const lister &l : listers) {
        for (const unsigned int levels : {0x0000U, 0x0001U, 0x8000U, 0xFFFFU, 0xA55AU, 0x0005U}) {
            answers({{{static_cast<uint8_t>(levels ^ l.inversion)}},
                     {{static_cast<uint8_t>(levels >> 8 ^ l.inversion)}}});
            std::array<uint8_t, 17> ports{};
            ports.fill(0xEE);
            auto count = ascending();
            EXPECT_EQ(l.function(device, ports.data(), count.data()), 0);
            std::vector<uint8_t> expected;
            for (uint8_t port = 0; port < 16; ++port) {
                if ((levels >> port & 1U) != 0) {
                    expected.push_back(port);
                }
            }
            expected.resize(ports.size(), 0xEE);
            EXPECT_THAT(ports, ElementsAreArray(expected));
            EXPECT_EQ(count, ascending());
        }
    }
}

TEST_F(pca9555, failed_list_touches_neither_array) {
    for (const lister &l : listers) {
        uint8_t port = 0xEE;
        uint32_t count = 0xEEEEEEEE;
        fails_with([&] { return l.function(device, &port, &count); }, l.failures);
        EXPECT_EQ(port, 0xEE);
        EXPECT_EQ(count, 0xEEEEEEEE);
    }
}

} // namespace
