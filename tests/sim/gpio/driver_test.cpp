// SPDX-License-Identifier: Apache-2.0
// The transfers for each operation are those of Linux's gpio-pca953x.

#include <cerrno>

#include "tests/sim/gpio/gpio_bench.h"

namespace varnel::sim::gpio::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr line_settings as_input{GPIO_V2_LINE_FLAG_INPUT, false};
constexpr line_settings as_low_output{GPIO_V2_LINE_FLAG_OUTPUT, false};
constexpr line_settings as_high_output{GPIO_V2_LINE_FLAG_OUTPUT, true};

class gpio_driver : public gpio_bench {
  public:
    using gpio_bench::gpio_bench;
};

TEST_F(gpio_driver, input_is_read_with_all_others) {
    line_bits values = 0;
    EXPECT_EQ(chip.configure(9, as_input), 0);
    EXPECT_EQ(chip.read(values), 0);
    EXPECT_EQ(values, 0xFFFFU);
    EXPECT_THAT(transfers, ElementsAre("07 ff", "00 -> ff ff"));
}

TEST_F(gpio_driver, output_gets_its_level_before_its_direction) {
    EXPECT_EQ(chip.configure(0, as_low_output), 0);
    EXPECT_EQ(chip.configure(1, as_high_output), 0);
    EXPECT_THAT(transfers, ElementsAre("02 -> ff", "02 fe", "06 fe", "02 fe", "06 fc"));
    EXPECT_TRUE(chip.is_output(0));
}

TEST_F(gpio_driver, outputs_are_set_together) {
    EXPECT_EQ(chip.configure(0, as_low_output), 0);
    EXPECT_EQ(chip.configure(8, as_low_output), 0);
    transfers.clear();
    chip.write(0x0101, 0x0100);
    EXPECT_THAT(transfers, ElementsAre("02 fe ff"));
}

TEST_F(gpio_driver, registers_that_others_change_are_not_noticed) {
    EXPECT_EQ(chip.configure(0, as_low_output), 0);
    transfers.clear();
    chip.write(1, 1);
    EXPECT_THAT(transfers, ElementsAre("03 -> ff", "02 ff ff")); // output port 0 is known
}

TEST_F(gpio_driver, failed_read_is_reported) {
    line_bits values = 0;
    fault(fault_kind::nack);
    EXPECT_EQ(chip.read(values), -ENXIO);
    fault(fault_kind::nack);
    EXPECT_EQ(chip.configure(0, as_input), -ENXIO);
}

TEST_F(gpio_driver, failed_setting_is_not_reported) {
    EXPECT_EQ(chip.configure(0, as_low_output), 0);
    fault(fault_kind::nack);
    chip.write(1, 1);
    line_bits values = 0;
    EXPECT_EQ(chip.read(values), 0);
    EXPECT_EQ(values & 1U, 0U);
}

TEST_F(gpio_driver, open_drain_line_is_high_as_an_input) {
    EXPECT_EQ(chip.configure(0, {GPIO_V2_LINE_FLAG_OUTPUT | GPIO_V2_LINE_FLAG_OPEN_DRAIN, true}), 0);
    EXPECT_THAT(transfers, ElementsAre("06 ff"));
    EXPECT_TRUE(chip.is_output(0));
    transfers.clear();
    chip.write(1, 0);
    EXPECT_THAT(transfers, ElementsAre("02 -> ff", "02 fe", "06 fe"));
}

TEST_F(gpio_driver, open_source_line_is_low_as_an_input) {
    EXPECT_EQ(chip.configure(0, {GPIO_V2_LINE_FLAG_OUTPUT | GPIO_V2_LINE_FLAG_OPEN_SOURCE, false}), 0);
    EXPECT_THAT(transfers, ElementsAre("06 ff"));
    transfers.clear();
    chip.write(1, 1);
    EXPECT_THAT(transfers, ElementsAre("02 -> ff", "02 ff", "06 fe"));
}

TEST_F(gpio_driver, active_low_line_is_inverted) {
    EXPECT_EQ(chip.configure(0, {GPIO_V2_LINE_FLAG_OUTPUT | GPIO_V2_LINE_FLAG_ACTIVE_LOW, true}), 0);
    EXPECT_THAT(transfers, ElementsAre("02 -> ff", "02 fe", "06 fe"));
    line_bits values = 0;
    EXPECT_EQ(chip.read(values), 0);
    EXPECT_EQ(values & 1U, 1U);
}

TEST_F(gpio_driver, direction_stays_after_a_release) {
    EXPECT_EQ(chip.request(0, "a"), 0);
    EXPECT_EQ(chip.configure(0, as_low_output), 0);
    chip.release(0);
    EXPECT_EQ(chip.line_info(0).flags, GPIO_V2_LINE_FLAG_OUTPUT);
    EXPECT_STREQ(chip.line_info(0).consumer, "");
}

class gpio_driver_of_pca9505 : public gpio_bench {
  public:
    gpio_driver_of_pca9505() : gpio_bench("pca9505", "name.4.7 = last\n") {}
};

TEST_F(gpio_driver_of_pca9505, transfers_have_the_flag_for_auto_increment) {
    line_bits values = 0;
    EXPECT_EQ(chip.read(values), 0);
    EXPECT_EQ(values, 0xFF'FFFF'FFFFU);
    EXPECT_EQ(chip.configure(39, as_high_output), 0);
    EXPECT_THAT(transfers, ElementsAre("80 -> ff ff ff ff ff", "8c -> 00", "8c 80", "9c 7f"));
    EXPECT_STREQ(chip.line_info(39).name, "last");
    EXPECT_EQ(chip.info().lines, 40U);
}

class gpio_driver_of_pca9554 : public gpio_bench {
  public:
    gpio_driver_of_pca9554() : gpio_bench("pca9554") {}
};

TEST_F(gpio_driver_of_pca9554, registers_are_single_bytes) {
    EXPECT_EQ(chip.configure(7, as_low_output), 0);
    line_bits values = 0;
    EXPECT_EQ(chip.read(values), 0);
    EXPECT_THAT(transfers, ElementsAre("01 -> ff", "01 7f", "03 7f", "00 -> 7f"));
    EXPECT_STREQ(chip.info().name, "gpiochip0");
    EXPECT_STREQ(chip.info().label, "2-0021");
}

} // namespace
} // namespace varnel::sim::gpio::test
