// SPDX-License-Identifier: Apache-2.0
#include "varnel/pca9546.h"

#include <cstdint>

#include "support/reporting_driver.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;

constexpr uint32_t device = 0xABCD7101; // bus 1, slave 0x71, upper half ignored

using pca9546 = reporting_driver;

TEST_F(pca9546, enable_sends_the_control_byte_unchanged) {
    for (unsigned int channels = 0; channels < 256; ++channels) {
        calls.clear();
        ASSERT_EQ(pca9546_enable_channel(device, static_cast<uint8_t>(channels)), 0);
        ASSERT_THAT(calls, ElementsAre(write_of(1, 0x71, {static_cast<uint8_t>(channels)})));
    }
}

TEST_F(pca9546, get_receives_the_control_byte) {
    answers({{{0xA5}}});
    uint8_t channels = 0xEE;
    EXPECT_EQ(pca9546_get_channel(device, &channels), 0);
    EXPECT_EQ(channels, 0xA5);
    EXPECT_THAT(calls, ElementsAre(read_of(1, 0x71, {0xEE})));
}

TEST_F(pca9546, each_failure_prints_its_line) {
    uint8_t channels = 0;
    fails_with([] { return pca9546_enable_channel(device, 5); },
               {"pca9546.c:13:pca9546_enable_channel():smbus_send_byte_to_device( device , channel)"});
    fails_with([&] { return pca9546_get_channel(device, &channels); },
               {"pca9546.c:25:pca9546_get_channel():smbus_recv_byte_to_device( pca9546, pChannel)"});
}

TEST_F(pca9546, success_prints_nothing) {
    uint8_t channels = 0;
    captured_output output;
    EXPECT_EQ(pca9546_enable_channel(device, 1), 0);
    EXPECT_EQ(pca9546_get_channel(device, &channels), 0);
    EXPECT_EQ(output.text(), "");
}

} // namespace
