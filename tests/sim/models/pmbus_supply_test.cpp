// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/models/chip_bench.h"
#include "tests/sim/models/pmbus_codes.h"

namespace varnel::sim::test {
namespace {

using namespace pmbus_code;

constexpr uint8_t all_pages = 0xFF;

class sim_pmbus_supply : public chip_bench {
  public:
    sim_pmbus_supply() : chip_bench("pmbus-supply") {
        part->set("pages", "2");
        part->set("volts.1", "3.3V");
        part->set("amps.1", "20A");
        part->power_on();
        part->port(0).set_address(0x58);
    }

    unsigned int word_at(uint8_t command) {
        const bytes data = read_from(command, 2);
        return data[0] | data[1] * 256U;
    }
    /// On a page, and back to page 0.
    unsigned int word_of_page(uint8_t selected, uint8_t command) {
        select(selected);
        const unsigned int word = word_at(command);
        select(0);
        return word;
    }
    unsigned int byte_of_page(uint8_t selected, uint8_t command) {
        return word_of_page(selected, command) & 0xFFU;
    }
    void select(uint8_t selected) { EXPECT_EQ(write({page, selected}), 2); }
    void write_word(uint8_t command, unsigned int word) {
        EXPECT_EQ(write({command, static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8U)}), 3);
    }
    void clear() { EXPECT_EQ(write({clear_faults}), 1); }
    [[nodiscard]] bool alerts() const { return part->port(0).alerts(); }
    /// What a read of the alert response address gets.
    bytes alert_response(std::size_t count) {
        part->port(0).start_alert_response();
        bytes data(count);
        std::ranges::generate(data, [this] { return part->port(0).read(); });
        part->port(0).stop();
        return data;
    }
};

TEST_F(sim_pmbus_supply, commands_have_their_power_on_values) {
    EXPECT_EQ(byte_at(page), 0x00);
    EXPECT_EQ(byte_at(operation), 0x80);
    EXPECT_EQ(byte_at(on_off_config), 0x18);
    EXPECT_EQ(byte_at(write_protect), 0x00);
    EXPECT_EQ(byte_at(capability), 0xB0);
    EXPECT_EQ(byte_at(pmbus_revision), 0x33);
    EXPECT_EQ(word_at(fan_command_1), 0x2271U);      // 625 * 2^4
    EXPECT_EQ(word_at(vout_ov_warn_limit), 6758U);   // 13.2 V in 1/512 V
    EXPECT_EQ(word_at(iout_oc_warn_limit), 0xEB20U); // 800 * 2^-3
    EXPECT_EQ(word_at(ot_warn_limit), 0xEA58U);      // 600 * 2^-3
    EXPECT_EQ(word_at(vin_uv_warn_limit), 0xEAD0U);  // 720 * 2^-3
    EXPECT_EQ(word_at(status_word), 0U);
    EXPECT_FALSE(alerts());
}

// --- Numbers ---

TEST_F(sim_pmbus_supply, linear_readings_are_those_of_the_surroundings) {
    part->set("load.0", "600W");
    EXPECT_EQ(byte_at(vout_mode), 0x17); // LINEAR16, 2^-9
    EXPECT_EQ(word_at(read_vout), 12U << 9);
    EXPECT_EQ(word_at(read_iout), 0xE320U);          // 800 * 2^-4
    EXPECT_EQ(word_at(read_pout), 0x0258U);          // 600 * 2^0
    EXPECT_EQ(word_at(read_vin), 0xF398U);           // 920 * 2^-2
    EXPECT_EQ(word_at(read_pin), 0x029BU);           // 600 / 0.92 + 12 + 24 / 8
    EXPECT_EQ(word_at(read_iin), 0xC2E7U);           // 743 * 2^-8
    EXPECT_EQ(word_at(read_temperature_1), 0xDB20U); // 800 * 2^-5
    EXPECT_EQ(word_at(read_fan_speed_1), 0x2271U);   // 625 * 2^4
}

TEST_F(sim_pmbus_supply, exponent_of_linear16_is_a_setting) {
    part->set("vout-exponent", "-12");
    EXPECT_EQ(byte_at(vout_mode), 0x14);
    EXPECT_EQ(word_at(read_vout), 12U << 12);
}

TEST_F(sim_pmbus_supply, linear_and_direct_numbers_are_the_same_volts) {
    write_word(vout_command, 23U << 8); // 11.5 V
    EXPECT_EQ(word_at(read_vout) / 512.0, 11.5);
    part->set("format", "direct");
    EXPECT_EQ(byte_at(vout_mode), 0x40);
    EXPECT_EQ(read_after({coefficients, 2, read_vout, 1}, 6), (bytes{5, 1, 0, 0, 0, 3}));
    write_word(vout_command, 11500);
    EXPECT_EQ(word_at(read_vout) / 1000.0, 11.5);
    EXPECT_EQ(shown("output.0"), "11.500 V");
    EXPECT_EQ(byte_at(status_cml), 0x00);
}

TEST_F(sim_pmbus_supply, coefficients_of_direct_are_settings) {
    part->set("format", "direct");
    part->set("direct.vout", "200 -300 -1");
    EXPECT_EQ(word_at(read_vout), (200 * 12 - 300) / 10U);
    EXPECT_EQ(read_after({coefficients, 2, vout_command, 0}, 6), (bytes{5, 200, 0, 0xD4, 0xFE, 0xFF}));
    EXPECT_EQ(word_at(read_vin), 23000U) << "10 mV";
}

TEST_F(sim_pmbus_supply, coefficients_are_only_those_of_direct_numbers) {
    EXPECT_EQ(read_after({coefficients, 2, read_vout, 1}, 6), (bytes{5, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(byte_at(status_cml), 0x40);
    clear();
    part->set("format", "direct");
    EXPECT_EQ(read_after({coefficients, 2, status_word, 1}, 6).back(), 0xFF);
    EXPECT_EQ(byte_at(status_cml), 0x40);
}

// --- Pages ---

TEST_F(sim_pmbus_supply, each_page_has_its_output) {
    part->set("load.1", "33W");
    EXPECT_EQ(word_of_page(0, read_vout), 12U << 9);
    EXPECT_EQ(word_of_page(1, read_vout), 1690U); // 3.3 V
    EXPECT_EQ(word_of_page(0, read_iout), 0x8000U);
    EXPECT_EQ(word_of_page(1, read_iout), 0xD280U); // 640 * 2^-6
    EXPECT_EQ(word_of_page(0, read_vin), word_of_page(1, read_vin));
    EXPECT_EQ(shown("output.1"), "3.301 V") << "a step of LINEAR16 beside its setting";
}

TEST_F(sim_pmbus_supply, page_that_does_not_exist_is_invalid_data) {
    select(1);
    EXPECT_EQ(write({page, 2}), 2);
    EXPECT_EQ(byte_at(page), 1);
    EXPECT_EQ(byte_at(status_cml), 0x40);
}

TEST_F(sim_pmbus_supply, writes_to_page_ff_reach_all_outputs) {
    select(all_pages);
    EXPECT_EQ(byte_at(page), 0xFF);
    EXPECT_EQ(write({operation, 0x00}), 2);
    EXPECT_EQ(word_of_page(0, status_word), 0x0840U) << "off, power not good";
    EXPECT_EQ(word_of_page(1, status_word), 0x0840U);
    EXPECT_EQ(shown("output.1"), "off");
    EXPECT_EQ(byte_at(status_cml), 0x00);
}

TEST_F(sim_pmbus_supply, page_ff_reads_only_what_outputs_have_in_common) {
    select(all_pages);
    EXPECT_EQ(word_at(read_vin), 0xF398U);
    EXPECT_EQ(byte_at(status_cml), 0x00);
    EXPECT_EQ(word_at(read_vout), 0xFFFFU);
    EXPECT_EQ(byte_at(status_cml), 0x40);
}

// --- Transfers ---

TEST_F(sim_pmbus_supply, blocks_and_block_process_calls_have_a_pec) {
    part->set("mfr-id", "ACME");
    EXPECT_EQ(read_from(mfr_id, 6), (bytes{4, 'A', 'C', 'M', 'E', 0xBD}));
    EXPECT_EQ(read_after({query, 1, read_vout}, 3), (bytes{1, 0xA0, 0x5F}));
    EXPECT_EQ(byte_at(status_cml), 0x00);
}

TEST_F(sim_pmbus_supply, write_with_a_wrong_pec_is_refused) {
    EXPECT_EQ(write({page, 1, 0xEC}), 2);
    EXPECT_EQ(byte_at(status_cml), 0x20);
    EXPECT_EQ(byte_at(page), 0);
    EXPECT_EQ(write({page, 1, 0xED}), 3);
    EXPECT_EQ(byte_at(page), 1);
}

TEST_F(sim_pmbus_supply, query_names_access_and_format) {
    const auto answer = [this](uint8_t command) { return read_after({query, 1, command}, 2).at(1); };
    EXPECT_EQ(answer(vout_command), 0xE0) << "read, write, linear";
    EXPECT_EQ(answer(write_protect), 0xF0) << "a byte";
    EXPECT_EQ(answer(status_iout), 0xFC) << "bits";
    EXPECT_EQ(answer(mfr_serial), 0xBC) << "text";
    EXPECT_EQ(answer(clear_faults), 0xDC);
    EXPECT_EQ(answer(0xD0), 0x00) << "not there";
    part->set("format", "direct");
    EXPECT_EQ(answer(read_vin), 0xAC);
}

TEST_F(sim_pmbus_supply, block_process_call_of_a_wrong_length_is_invalid) {
    bus_port &port = part->port(0);
    ASSERT_TRUE(port.start(direction::write));
    for (const uint8_t byte : {uint8_t{query}, uint8_t{2}, uint8_t{read_vout}}) {
        ASSERT_TRUE(port.write(byte));
    }
    EXPECT_FALSE(port.start(direction::read)) << "it says two bytes, and has one";
    port.stop();
    EXPECT_EQ(byte_at(status_cml), 0x40);
    clear();
    EXPECT_EQ(write({query, 1, read_vout}), 3) << "asked, and not read";
    EXPECT_EQ(byte_at(status_cml), 0x02);
    clear();
    EXPECT_EQ(write({query, 1, read_vout, 0x00}), 3);
    EXPECT_EQ(byte_at(status_cml), 0x80);
}

TEST_F(sim_pmbus_supply, unsupported_command_is_not_acknowledged) {
    EXPECT_EQ(write({0xD0}), 0);
    EXPECT_EQ(byte_at(status_cml), 0x80);
    EXPECT_EQ(word_at(status_word), 0x0002U);
}

// --- What programs do that look for sensors: a command is there if it can be read without "invalid command" ---

TEST_F(sim_pmbus_supply, pages_are_counted_by_selecting_them) {
    uint8_t pages = 0;
    for (; pages < 32; ++pages) {
        select(pages);
        if (byte_at(page) != pages) {
            break;
        }
    }
    EXPECT_EQ(pages, 2);
}

TEST_F(sim_pmbus_supply, commands_that_are_there_can_be_read_from_every_page) {
    const auto there = [this](unsigned int command) {
        clear();
        const auto code = static_cast<uint8_t>(command);
        if (write({code}) != 1) {
            return false;
        }
        word_at(code);
        return (byte_at(status_cml) & 0x80U) == 0;
    };
    for (const uint8_t selected : {uint8_t{0}, uint8_t{1}}) {
        select(selected);
        std::vector<unsigned int> found;
        for (unsigned int command = 0x3A; command < mfr_id; ++command) {
            if (there(command)) {
                found.push_back(command);
            }
        }
        EXPECT_THAT(found, testing::ElementsAre(0x3A, 0x3B, 0x40, 0x42, 0x43, 0x44, 0x46, 0x4A, 0x4F, 0x51,
                                                0x52, 0x53, 0x55, 0x57, 0x58, 0x59, 0x5B, 0x5D, 0x68, 0x6A,
                                                0x6B, 0x78, 0x79, 0x7A, 0x7B, 0x7C, 0x7D, 0x7E, 0x81, 0x88,
                                                0x89, 0x8B, 0x8C, 0x8D, 0x90, 0x96, 0x97, 0x98));
    }
}

// --- Faults and alerts ---

TEST_F(sim_pmbus_supply, load_over_a_limit_alerts_until_the_alert_response) {
    EXPECT_FALSE(alerts());
    write_word(iout_oc_warn_limit, 0xDB20); // 25 A
    part->set("load.0", "240W");
    EXPECT_FALSE(alerts());
    part->set("load.0", "360W");
    EXPECT_TRUE(alerts());
    EXPECT_TRUE(part->asserts(0));
    EXPECT_EQ(shown("alert"), "asserted");
    EXPECT_EQ(alert_response(2), (bytes{0xB0, 0xF3})) << "the address, and its PEC";
    EXPECT_FALSE(alerts());
    EXPECT_FALSE(part->asserts(0));
    EXPECT_EQ(byte_at(status_iout), 0x20) << "the bit stays";
    EXPECT_EQ(word_at(status_word), 0x4001U);
    EXPECT_EQ(word_of_page(1, status_word), 0U) << "on its page";
    part->set("load.0", "370W");
    EXPECT_FALSE(alerts()) << "no new fault";
}

TEST_F(sim_pmbus_supply, clear_faults_ends_latches_and_alert_unless_the_cause_persists) {
    part->set("offset.0", "1.3V");
    EXPECT_EQ(byte_at(status_vout), 0x40);
    EXPECT_TRUE(alerts());
    clear();
    EXPECT_EQ(byte_at(status_vout), 0x40) << "set again at once";
    EXPECT_TRUE(alerts());
    part->set("offset.0", "0V");
    EXPECT_EQ(byte_at(status_vout), 0x40);
    clear();
    EXPECT_EQ(word_at(status_word), 0U);
    EXPECT_FALSE(alerts());
}

TEST_F(sim_pmbus_supply, written_one_ends_its_bit_and_the_last_one_the_alert) {
    part->set("offset.0", "1.3V");
    part->set("offset.0", "-1.3V");
    part->set("offset.0", "0V");
    EXPECT_EQ(byte_at(status_vout), 0x60);
    EXPECT_EQ(write({status_vout, 0x40}), 2);
    EXPECT_EQ(byte_at(status_vout), 0x20);
    EXPECT_TRUE(alerts());
    EXPECT_EQ(write({status_vout, 0x20}), 2);
    EXPECT_FALSE(alerts());
}

TEST_F(sim_pmbus_supply, masked_bits_do_not_alert) {
    write_word(smbalert_mask, 0x2000U | status_iout);
    EXPECT_EQ(read_after({smbalert_mask, 1, status_iout}, 2), (bytes{1, 0x20}));
    EXPECT_EQ(read_after({smbalert_mask, 1, status_vout}, 2), (bytes{1, 0x00}));
    part->set("load.0", "1.21kW"); // 101 A
    EXPECT_EQ(byte_at(status_iout), 0x20);
    EXPECT_FALSE(alerts());
    part->set("input", "85V");
    EXPECT_TRUE(alerts());
    EXPECT_EQ(write({smbalert_mask, status_word, 0x01}), 3);
    EXPECT_EQ(byte_at(status_cml), 0x40) << "no register of its own";
}

TEST_F(sim_pmbus_supply, each_condition_has_its_bit) {
    struct condition {
        std::string_view setting;
        std::string_view value;
        uint8_t status;
        unsigned int bits;
        bool off;
    };
    const std::vector<condition> conditions{
        {"offset.0", "1.3V", status_vout, 0x40, false},
        {"offset.0", "2V", status_vout, 0xC0, true},
        {"offset.0", "-1.3V", status_vout, 0x20, false},
        {"offset.0", "-2V", status_vout, 0x30, true},
        {"load.0", "1.21kW", status_iout, 0x20, false},
        {"load.0", "1.45kW", status_iout, 0xA1, true},
        {"ambient", "80C", status_temperature, 0x40, false},
        {"ambient", "95C", status_temperature, 0xC0, true},
        {"ambient", "-15C", status_temperature, 0x20, false},
        {"ambient", "-30C", status_temperature, 0x30, false},
        {"input", "270V", status_input, 0x40, false},
        {"input", "280V", status_input, 0xC0, true},
        {"input", "85V", status_input, 0x20, false},
        {"input", "lost", status_input, 0x38, true},
        {"fan", "stopped", status_fans_1_2, 0x80, false},
    };
    for (const condition &each : conditions) {
        part = make_chip("pmbus-supply", clock);
        part->set(each.setting, each.value);
        clock.pass(1h);
        EXPECT_EQ(byte_at(each.status), each.bits) << each.setting << ' ' << each.value;
        EXPECT_EQ((word_at(status_word) & 0x40U) != 0, each.off) << each.setting << ' ' << each.value;
        EXPECT_TRUE(alerts());
    }
}

TEST_F(sim_pmbus_supply, input_power_and_current_over_their_limits_warn) {
    write_word(0x5D, 0xC300); // IIN_OC_WARN_LIMIT 3 A
    write_word(0x6B, 0x0258); // PIN_OP_WARN_LIMIT 600 W
    part->set("load.0", "660W");
    EXPECT_EQ(byte_at(status_input), 0x03);
}

TEST_F(sim_pmbus_supply, tripped_output_stays_off_until_operation_goes_off_and_on) {
    part->set("load.0", "1.45kW");
    EXPECT_EQ(shown("output.0"), "off (tripped)");
    EXPECT_EQ(shown("output.1"), "3.301 V") << "the other stays on";
    part->set("load.0", "100W");
    clear();
    EXPECT_EQ(word_at(read_vout), 0U);
    write({operation, 0x00});
    write({operation, 0x80});
    EXPECT_EQ(word_at(read_vout), 12U << 9);
    EXPECT_EQ(word_at(status_word), 0U);
}

TEST_F(sim_pmbus_supply, lost_input_takes_all_outputs_until_it_returns) {
    part->set("input", "lost");
    EXPECT_EQ(word_of_page(1, read_vout), 0U);
    EXPECT_EQ(shown("output.0"), "off");
    part->set("input", "230V");
    EXPECT_EQ(word_of_page(1, read_vout), 1690U);
    EXPECT_EQ(byte_of_page(1, status_byte), 0x09U) << "low input, and more: latched for all pages";
}

// --- Output ---

TEST_F(sim_pmbus_supply, output_is_at_most_vout_max) {
    write_word(vout_max, 13U << 9);
    write_word(vout_command, 14U << 9);
    EXPECT_EQ(word_at(vout_command), 14U << 9);
    EXPECT_EQ(word_at(read_vout), 13U << 9);
    EXPECT_EQ(byte_at(status_vout), 0x08);
}

TEST_F(sim_pmbus_supply, on_off_config_can_make_operation_ineffective) {
    EXPECT_EQ(write({on_off_config, 0x00}), 2);
    write({operation, 0x00});
    EXPECT_EQ(word_at(read_vout), 12U << 9);
    EXPECT_EQ(write({on_off_config, 0x19}), 2);
    EXPECT_EQ(word_at(read_vout), 0U);
    EXPECT_EQ(byte_at(status_cml), 0x00);
    EXPECT_EQ(write({on_off_config, 0x1C}), 2) << "a CONTROL pin, which is not there";
    EXPECT_EQ(byte_at(status_cml), 0x40);
    EXPECT_EQ(byte_at(on_off_config), 0x19);
}

TEST_F(sim_pmbus_supply, fan_follows_its_command) {
    write_word(fan_command_1, 0x22EE); // 750 * 2^4
    clock.pass(1h);
    EXPECT_EQ(shown("fan-speed"), "12000 rpm");
    write_word(fan_command_1, 0x2AEE); // 750 * 2^5
    EXPECT_EQ(byte_at(status_cml), 0x40) << "24000 rpm";
    EXPECT_EQ(word_at(fan_command_1), 0x22EEU);
}

TEST_F(sim_pmbus_supply, each_write_protect_level_allows_its_commands) {
    const auto allowed = [this](uint8_t level) {
        const std::vector<std::pair<std::string, bytes>> writes{{"page ", {page, 0}},
                                                                {"operation ", {operation, 0x80}},
                                                                {"voltage ", {vout_command, 0x00, 0x18}},
                                                                {"limit ", {ot_warn_limit, 0x58, 0xEA}}};
        EXPECT_EQ(write({write_protect, level}), 2);
        std::string all;
        for (const auto &[name, data] : writes) {
            clear();
            write(data);
            all += byte_at(status_cml) == 0 ? name : "";
        }
        return all;
    };
    EXPECT_EQ(allowed(0x80), "");
    EXPECT_EQ(allowed(0x40), "page operation ");
    EXPECT_EQ(allowed(0x20), "page operation voltage ");
    EXPECT_EQ(allowed(0x00), "page operation voltage limit ");
}

// --- Settings ---

TEST_F(sim_pmbus_supply, settings_that_it_cannot_have_are_refused) {
    EXPECT_EQ(refusal("pages", "0"), "pages: cannot be '0' (expected 1 to 32)");
    EXPECT_EQ(refusal("pages", "1.5"), "pages: cannot be '1.5' (expected a whole number, 1 to 32)");
    EXPECT_EQ(refusal("format", "vid"), "format: cannot be 'vid' (expected linear or direct)");
    EXPECT_EQ(
        refusal("direct.vout", "0 1 2"),
        "direct.vout: cannot be '0 1 2' (expected m, b and R, such as 1 0 3; m and b of 16 bits, m not 0, R "
        "-9 to 9)");
    EXPECT_NE(refusal("direct.vin", "1 2"), "accepted");
    EXPECT_NE(refusal("direct.vin", "1 2 3 4"), "accepted");
    EXPECT_NE(refusal("direct.vin", "1 40000 3"), "accepted");
    EXPECT_EQ(refusal("mfr-id", std::string(33, 'x')),
              "mfr-id: cannot be '" + std::string(33, 'x') + "' (expected up to 32 characters)");
    EXPECT_TRUE(refusal("load.2", "1W").starts_with("unknown setting 'load.2' (has: pages, format, "))
        << "two pages";
    EXPECT_TRUE(refusal("load", "1W").starts_with("unknown setting 'load'"));
    EXPECT_TRUE(refusal("load.", "1W").starts_with("unknown setting 'load.'"));
    EXPECT_EQ(refusal("load.1", "6kW"), "load.1: cannot be '6kW' (expected 0 to 5000W)");
}

TEST_F(sim_pmbus_supply, fewer_pages_select_one_that_is_there) {
    select(1);
    part->set("pages", "1");
    EXPECT_EQ(byte_at(page), 0);
    EXPECT_EQ(word_at(read_vout), 12U << 9);
}

} // namespace
} // namespace varnel::sim::test
