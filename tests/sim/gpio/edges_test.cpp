// SPDX-License-Identifier: Apache-2.0
// Edges and changes of watched lines, in both versions of the structures.

#include <cerrno>

#include "tests/sim/gpio/gpio_bench.h"

namespace varnel::sim::gpio::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr uint64_t both_edges = GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_EDGE_FALLING;

template <class Object>
Object read(const file_event &event) {
    Object object{};
    EXPECT_EQ(event.bytes.size(), sizeof object);
    std::memcpy(&object, event.bytes.data(), std::min(sizeof object, event.bytes.size()));
    return object;
}

class gpio_edges : public gpio_bench {
  public:
    int request(std::vector<uint32_t> offsets, uint64_t flags, uint32_t buffer = 0) {
        gpio_v2_line_request wanted{};
        std::ranges::copy(offsets, wanted.offsets);
        wanted.num_lines = static_cast<uint32_t>(offsets.size());
        wanted.config.flags = GPIO_V2_LINE_FLAG_INPUT | flags;
        wanted.event_buffer_size = buffer;
        return call(GPIO_V2_GET_LINE_IOCTL, wanted);
    }
    [[nodiscard]] gpio_v2_line_event event(std::size_t n) const {
        return read<gpio_v2_line_event>(events.at(n));
    }
};

TEST_F(gpio_edges, are_numbered_by_request_and_by_line) {
    EXPECT_EQ(request({4, 5}, both_edges), 0);
    drive("4", "low");
    drive("5", "low");
    drive("4", "high");
    ASSERT_THAT(events, SizeIs(3));
    EXPECT_EQ(event(0).id, GPIO_V2_LINE_EVENT_FALLING_EDGE);
    EXPECT_EQ(event(1).offset, 5U);
    EXPECT_EQ(event(1).seqno, 2U);
    EXPECT_EQ(event(1).line_seqno, 1U);
    EXPECT_EQ(event(2).id, GPIO_V2_LINE_EVENT_RISING_EDGE);
    EXPECT_EQ(event(2).seqno, 3U);
    EXPECT_EQ(event(2).line_seqno, 2U);
    EXPECT_GE(event(2).timestamp_ns, event(0).timestamp_ns);
}

TEST_F(gpio_edges, interrupt_is_served_by_one_read) {
    EXPECT_EQ(request({4}, both_edges), 0);
    transfers.clear();
    drive("4", "low");
    EXPECT_THAT(transfers, ElementsAre("00 -> ef ff"));
    drive("5", "low"); // nobody's
    EXPECT_THAT(transfers, SizeIs(2));
    EXPECT_THAT(events, SizeIs(1));
}

TEST_F(gpio_edges, other_direction_is_not_reported) {
    EXPECT_EQ(request({4}, GPIO_V2_LINE_FLAG_EDGE_RISING), 0);
    drive("4", "low");
    EXPECT_THAT(events, IsEmpty());
    drive("4", "high");
    ASSERT_THAT(events, SizeIs(1));
    EXPECT_EQ(event(0).line_seqno, 1U);
}

TEST_F(gpio_edges, of_active_low_lines_are_inverted) {
    EXPECT_EQ(request({4}, GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_ACTIVE_LOW), 0);
    drive("4", "low");
    drive("4", "high");
    ASSERT_THAT(events, SizeIs(1));
    EXPECT_EQ(event(0).id, GPIO_V2_LINE_EVENT_RISING_EDGE);
}

TEST_F(gpio_edges, have_the_time_of_day_on_request) {
    EXPECT_EQ(request({4}, both_edges | GPIO_V2_LINE_FLAG_EVENT_CLOCK_REALTIME), 0);
    const auto before = static_cast<uint64_t>(time(nullptr)) * 1'000'000'000;
    drive("4", "low");
    ASSERT_THAT(events, SizeIs(1));
    EXPECT_GE(event(0).timestamp_ns, before);
}

TEST_F(gpio_edges, buffer_is_a_power_of_two_and_drops_the_oldest) {
    EXPECT_EQ(request({4, 5, 6}, both_edges), 0);
    drive("4", "low");
    EXPECT_EQ(events.at(0).capacity, 64);
    EXPECT_TRUE(events.at(0).drops_oldest);
    EXPECT_EQ(request({8}, both_edges, 5000), 0);
    drive("8", "low");
    EXPECT_EQ(events.at(1).capacity, 1024);
}

TEST_F(gpio_edges, end_with_the_request) {
    EXPECT_EQ(request({4}, both_edges), 0);
    lines.reset();
    drive("4", "low");
    EXPECT_THAT(events, IsEmpty());
    EXPECT_FALSE(chip.interrupted());
}

TEST_F(gpio_edges, can_be_configured_later) {
    EXPECT_EQ(request({4}, 0), 0);
    drive("4", "low");
    gpio_v2_line_config config{};
    config.flags = GPIO_V2_LINE_FLAG_INPUT | both_edges;
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_SET_CONFIG_IOCTL, config), 0);
    EXPECT_THAT(events, IsEmpty());
    drive("4", "high");
    EXPECT_THAT(events, SizeIs(1));
    config.flags = GPIO_V2_LINE_FLAG_OUTPUT;
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_SET_CONFIG_IOCTL, config), 0);
    drive("4", "low");
    EXPECT_THAT(events, SizeIs(1));
}

TEST_F(gpio_edges, first_version_reports_16_and_drops_new_ones) {
    gpioevent_request wanted{};
    wanted.lineoffset = 4;
    wanted.eventflags = GPIOEVENT_REQUEST_FALLING_EDGE;
    EXPECT_EQ(call(GPIO_GET_LINEEVENT_IOCTL, wanted), 0);
    drive("4", "low");
    drive("4", "high");
    ASSERT_THAT(events, SizeIs(1));
    EXPECT_EQ(read<gpioevent_data>(events[0]).id, static_cast<uint32_t>(GPIOEVENT_EVENT_FALLING_EDGE));
    EXPECT_EQ(events[0].capacity, 16);
    EXPECT_FALSE(events[0].drops_oldest);
}

TEST_F(gpio_edges, failed_baseline_fails_the_request) {
    fault(fault_kind::nack);
    EXPECT_EQ(request({4}, both_edges), -ENXIO);
    EXPECT_EQ(chip.line_info(4).flags, GPIO_V2_LINE_FLAG_INPUT);
}

class gpio_edges_of_pca9505 : public gpio_bench {
  public:
    gpio_edges_of_pca9505() : gpio_bench("pca9505") {}
};

TEST_F(gpio_edges_of_pca9505, masked_lines_do_not_interrupt) {
    gpioevent_request wanted{};
    wanted.eventflags = GPIOEVENT_REQUEST_BOTH_EDGES;
    EXPECT_EQ(call(GPIO_GET_LINEEVENT_IOCTL, wanted), 0);
    drive("0.0", "low");
    EXPECT_THAT(events, IsEmpty());
}

class gpio_watch : public gpio_bench {};

TEST_F(gpio_watch, reports_request_configuration_and_release) {
    gpio_v2_line_info info{};
    info.offset = 2;
    EXPECT_EQ(call(GPIO_V2_GET_LINEINFO_WATCH_IOCTL, info), 0);
    EXPECT_EQ(call(GPIO_V2_GET_LINEINFO_WATCH_IOCTL, info), -EBUSY);
    gpiohandle_request wanted{};
    wanted.lines = 1;
    wanted.lineoffsets[0] = 2;
    EXPECT_EQ(call(GPIO_GET_LINEHANDLE_IOCTL, wanted), 0);
    gpiohandle_config config{};
    config.flags = GPIOHANDLE_REQUEST_OUTPUT;
    EXPECT_EQ(call(*lines, GPIOHANDLE_SET_CONFIG_IOCTL, config), 0);
    lines.reset();
    std::vector<uint32_t> types;
    for (const file_event &each : events) {
        types.push_back(read<gpio_v2_line_info_changed>(each).event_type);
    }
    EXPECT_THAT(types, ElementsAre(GPIO_V2_LINE_CHANGED_REQUESTED, GPIO_V2_LINE_CHANGED_CONFIG,
                                   GPIO_V2_LINE_CHANGED_RELEASED));
    EXPECT_EQ(events.at(0).capacity, 32);
}

TEST_F(gpio_watch, is_of_one_version_a_file) {
    gpioline_info old{};
    gpio_v2_line_info info{};
    info.offset = 1;
    EXPECT_EQ(call(GPIO_GET_LINEINFO_WATCH_IOCTL, old), 0);
    EXPECT_EQ(call(GPIO_V2_GET_LINEINFO_WATCH_IOCTL, info), -EPERM);
    EXPECT_EQ(chip.request(0, "other"), 0);
    chip.notify(0, GPIO_V2_LINE_CHANGED_REQUESTED);
    ASSERT_THAT(events, SizeIs(1));
    const auto change = read<gpioline_info_changed>(events[0]);
    EXPECT_EQ(change.event_type, static_cast<uint32_t>(GPIOLINE_CHANGED_REQUESTED));
    EXPECT_STREQ(change.info.consumer, "other");
}

TEST_F(gpio_watch, ends_with_unwatch_and_with_the_file) {
    gpio_v2_line_info info{};
    uint32_t line = 0;
    EXPECT_EQ(call(GPIO_GET_LINEINFO_UNWATCH_IOCTL, line), -EBUSY);
    EXPECT_EQ(call(GPIO_V2_GET_LINEINFO_WATCH_IOCTL, info), 0);
    EXPECT_EQ(call(GPIO_GET_LINEINFO_UNWATCH_IOCTL, line), 0);
    EXPECT_EQ(call(GPIO_V2_GET_LINEINFO_WATCH_IOCTL, info), 0);
    file.reset();
    chip.notify(0, GPIO_V2_LINE_CHANGED_REQUESTED);
    EXPECT_THAT(events, IsEmpty());
}

} // namespace
} // namespace varnel::sim::gpio::test
