// SPDX-License-Identifier: Apache-2.0
// Datasheets are read three times: for chips/, for the models and for the headers of the drivers. The readings agree.
#include <algorithm>
#include <bit>

#include "chips/car2512.h"
#include "chips/pca9541.h"
#include "tests/sim/models/chip_bench.h"
#include "varnel/car2512.h"
#include "varnel/pca9541.h"

namespace varnel::sim::test {
namespace {

class bench : public chip_bench {
  public:
    using chip_bench::chip_bench;
    void TestBody() override {}
};

unsigned int number_from(bytes data, const chips::chip_register &known) {
    if (known.values == "high byte first") {
        std::ranges::reverse(data);
    }
    unsigned int number = 0;
    for (std::size_t i = data.size(); i-- > 0;) {
        number = number << 8 | data[i];
    }
    return number;
}

TEST(datasheet_agreement, models_have_the_power_on_values_of_the_table) {
    std::size_t compared = 0;
    for (const std::string_view type : chip_types()) {
        for (unsigned int code = 0; code <= 0xFF; ++code) {
            bench chip(type);
            const auto command = static_cast<uint8_t>(code);
            const auto *const known = chips::find_register(chip.part->sheet(), command);
            if (known != nullptr && known->power_on && known->allowed != chips::access::write) {
                EXPECT_EQ(number_from(chip.read_from(command, known->bytes), *known), *known->power_on)
                    << type << ": " << chip.register_name(command);
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 256U + 256U);
}

TEST(datasheet_agreement, car2512_codes_equal_those_of_its_header) {
    constexpr std::array<std::pair<car2512_command, std::string_view>, 22> header{{
        {CAR2512_COMMAND_OPERATION, "OPERATION"},
        {CAR2512_COMMAND_CLEAR_FAULTS, "CLEAR_FAULTS"},
        {CAR2512_COMMAND_WRITE_PROTECT, "WRITE_PROTECT"},
        {CAR2512_COMMAND_FAN_COMMAND_1, "FAN_COMMAND_1"},
        {CAR2512_COMMAND_STATUS_WORD, "STATUS_WORD"},
        {CAR2512_COMMAND_STATUS_VOUT, "STATUS_VOUT"},
        {CAR2512_COMMAND_STATUS_IOUT, "STATUS_IOUT"},
        {CAR2512_COMMAND_STATUS_INPUT, "STATUS_INPUT"},
        {CAR2512_COMMAND_STATUS_TEMPERATURE, "STATUS_TEMPERATURE"},
        {CAR2512_COMMAND_STATUS_CML, "STATUS_CML"},
        {CAR2512_COMMAND_STATUS_MFR_SPECIFIC, "STATUS_MFR_SPECIFIC"},
        {CAR2512_COMMAND_STATUS_FANS_1_2, "STATUS_FANS_1_2"},
        {CAR2512_COMMAND_FIRMWARE_VERSION, "Firmware version"},
        {CAR2512_COMMAND_SET_OUTPUT_VOLT, "Set output voltage"},
        {CAR2512_COMMAND_FAN_DUTY_CYCLE, "Fan duty cycle"},
        {CAR2512_COMMAND_SET_FAN_DUTY_CYCLE, "Set fan duty cycle"},
        {CAR2512_COMMAND_PROGRAMMED_VOLT, "Programmed voltage"},
        {CAR2512_COMMAND_OUTPUT_VOLT, "Output voltage"},
        {CAR2512_COMMAND_TEMPERATURE, "Temperature"},
        {CAR2512_COMMAND_FAN_SPEED, "Fan speed"},
        {CAR2512_COMMAND_INPUT_VOLT, "Input voltage"},
        {CAR2512_COMMAND_INPUT_POWER, "Input power"},
    }};
    for (const auto &[code, name] : header) {
        EXPECT_EQ(chips::register_name(chips::car2512, static_cast<uint8_t>(code)), name);
    }
}

TEST(datasheet_agreement, pca9541_registers_equal_those_of_its_header) {
    EXPECT_EQ(chips::register_name(chips::pca9541, PCA9541_REGISTER_INTERRUPT_ENABLE), "Interrupt enable");
    EXPECT_EQ(chips::register_name(chips::pca9541, PCA9541_REGISTER_CONTROL), "Control");
    EXPECT_EQ(chips::register_name(chips::pca9541, PCA9541_REGISTER_INTERRUPT_STATUS), "Interrupt status");
    constexpr std::array<std::pair<pca9541_control, std::string_view>, 7> bits{{
        {PCA9541_CONTROL_MYBUS, "MYBUS"},
        {PCA9541_CONTROL_NMYBUS, "NMYBUS"},
        {PCA9541_CONTROL_BUSON, "BUSON"},
        {PCA9541_CONTROL_NBUSON, "NBUSON"},
        {PCA9541_CONTROL_BUSINIT, "BUSINIT"},
        {PCA9541_CONTROL_TESTON, "TESTON"},
        {PCA9541_CONTROL_NTESTON, "NTESTON"},
    }};
    for (const auto &[bit, name] : bits) {
        EXPECT_EQ(chips::pca9541_control_bits.at(static_cast<std::size_t>(std::countr_zero(unsigned{bit}))),
                  name);
    }
}

} // namespace
} // namespace varnel::sim::test
