// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "torture/torture.h"
#include "varnel/varnel.h"

namespace {

using varnel::test::torture;
using varnel::test::trial;

constexpr uint32_t chip = 0x2000;
std::array<uint8_t, 255> bytes{};
std::array<uint16_t, 16> words{};
std::array<uint8_t, 256> ports{0, 1, 7};
std::array<uint8_t, 16> found{};
std::array<uint32_t, 16> indices{};
time_t now;

using call = std::function<int()>;

/// Each call returns -1 when one of its transfers fails, and makes no further transfer.
void torture_each(const std::vector<call> &calls) {
    for (size_t i = 0; i < calls.size(); ++i) {
        SCOPED_TRACE("call " + std::to_string(i) + " of the list");
        torture([&](trial &t) {
            int result = 1;
            t.run([&] { result = calls[i](); });
            EXPECT_EQ(result, t.any_failed() ? -1 : 0);
        });
    }
}

TEST(bus_torture, smbus_calls_fail_when_a_transfer_fails) {
    torture_each(
        {[] { return smbus_quick_to_device(chip, 0); }, [] { return smbus_quick_to_device(chip, 1); },
         [] { return smbus_send_byte_to_device(chip, 1); },
         [] { return smbus_recv_byte_to_device(chip, bytes.data()); },
         [] { return smbus_write_byte_to_device(chip, 1, 2); },
         [] { return smbus_read_byte_to_device(chip, 1, bytes.data()); },
         [] { return smbus_write_word_to_device(chip, 1, 2); },
         [] { return smbus_read_word_to_device(chip, 1, words.data()); },
         [] { return smbus_write_block_to_device(chip, 1, 4, bytes.data()); },
         [] { return smbus_read_block_to_device(chip, 1, 4, bytes.data()); },
         [] { return smbus_process_call_to_device(chip, 1, 2, words.data()); },
         [] {
             return smbus_block_write_block_read_process_call_to_device(chip, 1, 4, bytes.data(), 4,
                                                                        found.data());
         },
         [] { return smbus_flexible_write_read_to_device(chip, 1, 4, bytes.data(), 4, found.data()); }});
}

TEST(bus_torture, expander_calls_fail_when_a_transfer_fails) {
    torture_each({[] { return pca9555_init_port_high(chip, ports.data(), 3); },
                  [] { return pca9555_init_port_low(chip, ports.data(), 3); },
                  [] { return pca9555_init_port_output(chip, ports.data(), 3); },
                  [] { return pca9555_init_port_input(chip, ports.data(), 3); },
                  [] { return pca9554_init_port_high(chip, ports.data(), 3); },
                  [] { return pca9554_init_port_low(chip, ports.data(), 3); },
                  [] { return pca9554_init_port_output(chip, ports.data(), 3); },
                  [] { return pca9554_init_port_input(chip, ports.data(), 3); },
                  [] { return pca9555_set_port_high(chip, 9); },
                  [] { return pca9555_set_port_low(chip, 9); },
                  [] { return pca9555_set_port_input(chip, 9); },
                  [] { return pca9555_set_port_output(chip, 9); },
                  [] { return pca9555_get_port_data(chip, 9, bytes.data()); },
                  [] { return pca9555_get_port_dir(chip, 9, bytes.data()); },
                  [] { return pca9555_get_bank0_data(chip, bytes.data()); },
                  [] { return pca9555_get_bank1_data(chip, bytes.data()); },
                  [] { return pca9555_get_bank_data(chip, 1, bytes.data()); },
                  [] { return pca9555_set_bank_data(chip, 1, 5); },
                  [] { return pca9555_get_bank_output(chip, 1, bytes.data()); },
                  [] { return pca9555_get_bank_dir(chip, 1, bytes.data()); },
                  [] { return pca9555_set_bank_dir(chip, 1, 5); },
                  [] { return pca9555_get_high_port(chip, found.data(), indices.data()); },
                  [] { return pca9555_get_low_port(chip, found.data(), indices.data()); },
                  [] { return pca9505_get_reg_data(chip, 1, bytes.data()); },
                  [] { return pca9505_get_port_data(chip, 1, 2, bytes.data()); },
                  [] { return pca9505_set_port_input(chip, 1, 2); },
                  [] { return pca9505_set_port_output(chip, 1, 2); },
                  [] { return pca9505_set_port_high(chip, 1, 2); },
                  [] { return pca9505_set_port_low(chip, 1, 2); },
                  [] { return pca9505_set_bank_input(chip, 1); },
                  [] { return pca9505_set_bank_output(chip, 1); },
                  [] { return pca9505_clear_bank_mask(chip, 1); }});
}

TEST(bus_torture, multiplexer_calls_fail_when_a_transfer_fails) {
    torture_each(
        {[] { return pca9548_enable_channel(chip, 1); },
         [] { return pca9548_get_channel(chip, bytes.data()); }, [] { return pca9548_disable_channel(chip); },
         [] { return pca9546_enable_channel(chip, 1); },
         [] { return pca9546_get_channel(chip, bytes.data()); }, [] { return pca9541_set_intmask(chip, 1); },
         [] { return pca9541_read_ctrl(chip, bytes.data()); },
         [] { return pca9541_get_intstatus(chip, bytes.data()); },
         [] { return pca9541_clear_intstatus(chip); }, [] { return pca9541_take_bus(chip); }});
}

TEST(bus_torture, power_supply_and_clock_calls_fail_when_a_transfer_fails) {
    torture_each({[] { return car2512_get_status(chip, words.data()); },
                  [] { return car2512_get_vout_status(chip, bytes.data()); },
                  [] { return car2512_get_status_input(chip, bytes.data()); },
                  [] { return car2512_get_CML(chip, bytes.data()); },
                  [] { return car2512_get_mfr_specific(chip, bytes.data()); },
                  [] { return car2512_get_fan_1_2_status(chip, bytes.data()); },
                  [] { return car2512_get_frw_version(chip, bytes.data()); },
                  [] { return car2512_get_fan_duty_cycle(chip, bytes.data()); },
                  [] { return car2512_get_vprog(chip, words.data()); },
                  [] { return car2512_get_output_volt(chip, words.data()); },
                  [] { return car2512_get_fan_speed(chip, words.data()); },
                  [] { return car2512_get_input_volt(chip, words.data()); },
                  [] { return car2512_get_input_power(chip, words.data()); },
                  [] { return car2512_get_temp(chip, words.data()); },
                  [] { return car2512_getall(chip, words.data()); },
                  [] { return car2512_cancel_write_protect(chip); },
                  [] { return car2512_clear_fault(chip); },
                  [] { return car2512_set_power_on(chip); },
                  [] { return car2512_set_power_off(chip); },
                  [] { return car2512_set_fan_speed(chip, 1000); },
                  [] { return car2512_set_fan_duty_cycle(chip, 50); },
                  [] { return car2512_set_output_volt(chip, 12); },
                  [] { return car2512_set_fan_duty_cycle_upto_percent(chip, 50); },
                  [] { return ds3232_set_time(0); },
                  [] { return ds3232_get_time(&now); }});
}

} // namespace
