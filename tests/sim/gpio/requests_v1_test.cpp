// SPDX-License-Identifier: Apache-2.0
// Requests of the first version: results, errno and structures as Linux has them.

#include <cerrno>

#include "tests/sim/gpio/gpio_bench.h"

namespace varnel::sim::gpio::test {
namespace {

using ::testing::ElementsAre;

class gpio_v1 : public gpio_bench {
  public:
    static gpiohandle_request wanted(std::vector<uint32_t> offsets, uint32_t flags) {
        gpiohandle_request request{};
        std::ranges::copy(offsets, request.lineoffsets);
        request.lines = static_cast<uint32_t>(offsets.size());
        request.flags = flags;
        std::strcpy(request.consumer_label, "bench");
        return request;
    }
    int request(gpiohandle_request wanted) { return call(GPIO_GET_LINEHANDLE_IOCTL, wanted); }
    int request_event(uint32_t line, uint32_t flags, uint32_t edges) {
        gpioevent_request wanted{};
        wanted.lineoffset = line;
        wanted.handleflags = flags;
        wanted.eventflags = edges;
        return call(GPIO_GET_LINEEVENT_IOCTL, wanted);
    }
    gpioline_info info(uint32_t line) {
        gpioline_info info{};
        info.line_offset = line;
        EXPECT_EQ(call(GPIO_GET_LINEINFO_IOCTL, info), 0);
        return info;
    }
};

TEST_F(gpio_v1, line_info_shows_user_and_use) {
    EXPECT_EQ(request(wanted({3}, GPIOHANDLE_REQUEST_OUTPUT | GPIOHANDLE_REQUEST_OPEN_DRAIN |
                                      GPIOHANDLE_REQUEST_ACTIVE_LOW | GPIOHANDLE_REQUEST_BIAS_PULL_UP)),
              0);
    EXPECT_EQ(info(3).flags, GPIOLINE_FLAG_KERNEL | GPIOLINE_FLAG_IS_OUT | GPIOLINE_FLAG_OPEN_DRAIN |
                                 GPIOLINE_FLAG_ACTIVE_LOW | GPIOLINE_FLAG_BIAS_PULL_UP);
    EXPECT_STREQ(info(3).consumer, "bench");
    lines.reset();
    EXPECT_EQ(info(4).flags, 0U);
    EXPECT_EQ(info(4).line_offset, 4U);
}

TEST_F(gpio_v1, all_lines_of_a_handle_are_set_and_read) {
    auto outputs = wanted({9, 1}, GPIOHANDLE_REQUEST_OUTPUT);
    outputs.default_values[0] = 200;
    EXPECT_EQ(request(outputs), 0);
    gpiohandle_data values{};
    values.values[5] = 9;
    EXPECT_EQ(call(*lines, GPIOHANDLE_GET_LINE_VALUES_IOCTL, values), 0);
    EXPECT_EQ(values.values[0], 1);
    EXPECT_EQ(values.values[1], 0);
    EXPECT_EQ(values.values[5], 0);
    values.values[0] = 0;
    values.values[1] = 2;
    transfers.clear();
    EXPECT_EQ(call(*lines, GPIOHANDLE_SET_LINE_VALUES_IOCTL, values), 0);
    EXPECT_THAT(transfers, ElementsAre("02 ff fd"));
}

TEST_F(gpio_v1, inputs_cannot_be_set) {
    EXPECT_EQ(request(wanted({3}, GPIOHANDLE_REQUEST_INPUT)), 0);
    gpiohandle_data values{};
    EXPECT_EQ(call(*lines, GPIOHANDLE_SET_LINE_VALUES_IOCTL, values), -EPERM);
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_GET_VALUES_IOCTL, values), -EINVAL);
}

TEST_F(gpio_v1, configuration_replaces_flags) {
    EXPECT_EQ(request(wanted({3}, GPIOHANDLE_REQUEST_INPUT | GPIOHANDLE_REQUEST_ACTIVE_LOW)), 0);
    gpiohandle_config config{};
    config.flags = GPIOHANDLE_REQUEST_OUTPUT;
    config.default_values[0] = 1;
    transfers.clear();
    EXPECT_EQ(call(*lines, GPIOHANDLE_SET_CONFIG_IOCTL, config), 0);
    EXPECT_THAT(transfers, ElementsAre("02 -> ff", "02 ff", "06 f7"));
    EXPECT_EQ(info(3).flags, GPIOLINE_FLAG_KERNEL | GPIOLINE_FLAG_IS_OUT);
    config.flags = GPIOHANDLE_REQUEST_OUTPUT | GPIOHANDLE_REQUEST_INPUT;
    EXPECT_EQ(call(*lines, GPIOHANDLE_SET_CONFIG_IOCTL, config), -EINVAL);
}

TEST_F(gpio_v1, wrong_handles_are_refused) {
    EXPECT_EQ(request(wanted({}, 0)), -EINVAL);
    EXPECT_EQ(request(wanted({16}, 0)), -EINVAL);
    auto many = wanted({3}, 0);
    many.lines = 65;
    EXPECT_EQ(request(many), -EINVAL);
    for (const uint32_t flags : {1U << 8, uint32_t{GPIOHANDLE_REQUEST_INPUT | GPIOHANDLE_REQUEST_OUTPUT},
                                 uint32_t{GPIOHANDLE_REQUEST_INPUT | GPIOHANDLE_REQUEST_OPEN_DRAIN},
                                 uint32_t{GPIOHANDLE_REQUEST_OUTPUT | GPIOHANDLE_REQUEST_OPEN_DRAIN |
                                          GPIOHANDLE_REQUEST_OPEN_SOURCE},
                                 uint32_t{GPIOHANDLE_REQUEST_BIAS_PULL_UP},
                                 uint32_t{GPIOHANDLE_REQUEST_INPUT | GPIOHANDLE_REQUEST_BIAS_PULL_UP |
                                          GPIOHANDLE_REQUEST_BIAS_PULL_DOWN}}) {
        EXPECT_EQ(request(wanted({3}, flags)), -EINVAL) << flags;
    }
    EXPECT_THAT(transfers, ElementsAre());
}

TEST_F(gpio_v1, wrong_events_are_refused) {
    EXPECT_EQ(request_event(16, 0, GPIOEVENT_REQUEST_BOTH_EDGES), -EINVAL);
    EXPECT_EQ(request_event(0, 0, 4), -EINVAL);
    EXPECT_EQ(request_event(0, GPIOHANDLE_REQUEST_OUTPUT, 1), -EINVAL);
    EXPECT_EQ(request_event(0, GPIOHANDLE_REQUEST_OPEN_SOURCE, 1), -EINVAL);
    EXPECT_EQ(request_event(0, GPIOHANDLE_REQUEST_BIAS_DISABLE | GPIOHANDLE_REQUEST_BIAS_PULL_UP, 1),
              -EINVAL);
    EXPECT_EQ(request(wanted({0}, 0)), 0);
    const auto first = std::move(lines);
    EXPECT_EQ(request_event(0, 0, 1), -EBUSY);
}

TEST_F(gpio_v1, line_with_events_reads_its_bank) {
    EXPECT_EQ(request_event(9, 0, GPIOEVENT_REQUEST_BOTH_EDGES), 0);
    gpiohandle_data values{};
    transfers.clear();
    EXPECT_EQ(call(*lines, GPIOHANDLE_GET_LINE_VALUES_IOCTL, values), 0);
    EXPECT_EQ(values.values[0], 1);
    EXPECT_THAT(transfers, ElementsAre("01 -> ff"));
    EXPECT_EQ(call(*lines, GPIOHANDLE_SET_LINE_VALUES_IOCTL, values), -EINVAL);
}

} // namespace
} // namespace varnel::sim::gpio::test
