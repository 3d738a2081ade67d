// SPDX-License-Identifier: Apache-2.0
// Requests of the second version: results, errno and structures as Linux has them.

#include <cerrno>
#include <functional>

#include "tests/sim/gpio/gpio_bench.h"

namespace varnel::sim::gpio::test {
namespace {

using ::testing::ElementsAre;

class gpio_v2 : public gpio_bench {
  public:
    static gpio_v2_line_request wanted(std::vector<uint32_t> offsets, uint64_t flags) {
        gpio_v2_line_request request{};
        std::ranges::copy(offsets, request.offsets);
        request.num_lines = static_cast<uint32_t>(offsets.size());
        request.config.flags = flags;
        std::strcpy(request.consumer, "bench");
        return request;
    }
    static void add_attribute(gpio_v2_line_config &config, uint32_t kind, uint64_t value, uint64_t mask) {
        auto &added = config.attrs[config.num_attrs++];
        added.attr.id = kind;
        added.attr.values = value;
        added.mask = mask;
    }
    int request(gpio_v2_line_request wanted) { return call(GPIO_V2_GET_LINE_IOCTL, wanted); }
    gpio_v2_line_info info(uint32_t line) {
        gpio_v2_line_info info{};
        info.offset = line;
        EXPECT_EQ(call(GPIO_V2_GET_LINEINFO_IOCTL, info), 0);
        return info;
    }
    uint64_t values(uint64_t mask) {
        gpio_v2_line_values values{0, mask};
        EXPECT_EQ(call(*lines, GPIO_V2_LINE_GET_VALUES_IOCTL, values), 0);
        return values.bits;
    }
};

TEST_F(gpio_v2, line_info_shows_user_and_use) {
    EXPECT_EQ(request(wanted({3}, GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_ACTIVE_LOW |
                                      GPIO_V2_LINE_FLAG_BIAS_PULL_UP | GPIO_V2_LINE_FLAG_EDGE_RISING)),
              0);
    EXPECT_EQ(info(3).flags, GPIO_V2_LINE_FLAG_USED | GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_ACTIVE_LOW |
                                 GPIO_V2_LINE_FLAG_BIAS_PULL_UP | GPIO_V2_LINE_FLAG_EDGE_RISING);
    EXPECT_STREQ(info(3).consumer, "bench");
    lines.reset();
    EXPECT_EQ(info(3).flags, GPIO_V2_LINE_FLAG_INPUT);
}

TEST_F(gpio_v2, user_without_a_name_is_a_question_mark) {
    auto nameless = wanted({3}, 0);
    nameless.consumer[0] = '\0';
    EXPECT_EQ(request(nameless), 0);
    EXPECT_STREQ(info(3).consumer, "?");
}

TEST_F(gpio_v2, longest_name_is_cut_to_31_characters) {
    auto named = wanted({3}, 0);
    std::memset(named.consumer, 'n', sizeof named.consumer);
    EXPECT_EQ(request(named), 0);
    EXPECT_EQ(std::string(info(3).consumer), std::string(31, 'n'));
}

TEST_F(gpio_v2, request_without_a_direction_leaves_it) {
    EXPECT_EQ(request(wanted({3}, 0)), 0);
    EXPECT_THAT(transfers, ElementsAre());
}

TEST_F(gpio_v2, first_attribute_for_a_line_counts) {
    auto mixed = wanted({0, 1, 2}, GPIO_V2_LINE_FLAG_INPUT);
    add_attribute(mixed.config, GPIO_V2_LINE_ATTR_ID_FLAGS, GPIO_V2_LINE_FLAG_OUTPUT, 0b110);
    add_attribute(mixed.config, GPIO_V2_LINE_ATTR_ID_FLAGS, GPIO_V2_LINE_FLAG_INPUT, 0b100);
    add_attribute(mixed.config, GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES, 0b010, 0b110);
    EXPECT_EQ(request(mixed), 0);
    EXPECT_EQ(values(0b111), 0b011U);
    EXPECT_EQ(info(2).flags, GPIO_V2_LINE_FLAG_USED | GPIO_V2_LINE_FLAG_OUTPUT);
}

TEST_F(gpio_v2, values_follow_the_order_of_the_request) {
    EXPECT_EQ(request(wanted({9, 1}, GPIO_V2_LINE_FLAG_INPUT)), 0);
    drive("9", "low");
    EXPECT_EQ(values(0b11), 0b10U);
    EXPECT_EQ(values(0b10), 0b10U);
    EXPECT_EQ(values(~uint64_t{0}), 0b10U);
}

TEST_F(gpio_v2, only_outputs_are_set) {
    auto mixed = wanted({0, 1}, GPIO_V2_LINE_FLAG_OUTPUT);
    add_attribute(mixed.config, GPIO_V2_LINE_ATTR_ID_FLAGS, GPIO_V2_LINE_FLAG_INPUT, 0b10);
    EXPECT_EQ(request(mixed), 0);
    gpio_v2_line_values set{1, 1};
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_SET_VALUES_IOCTL, set), 0);
    EXPECT_EQ(values(1), 1U);
    set.mask = 3;
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_SET_VALUES_IOCTL, set), -EPERM);
    set.mask = 0b100;
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_SET_VALUES_IOCTL, set), -EINVAL);
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_GET_VALUES_IOCTL, set), -EINVAL);
}

TEST_F(gpio_v2, failure_releases_lines_that_were_requested_before_it) {
    EXPECT_EQ(request(wanted({5}, 0)), 0);
    const auto first = std::move(lines);
    EXPECT_EQ(request(wanted({4, 5}, 0)), -EBUSY);
    EXPECT_EQ(request(wanted({4, 16}, 0)), -EINVAL);
    EXPECT_EQ(request(wanted({4, 4}, 0)), -EBUSY);
    EXPECT_EQ(lines, nullptr);
    EXPECT_EQ(info(4).flags, GPIO_V2_LINE_FLAG_INPUT);
}

TEST_F(gpio_v2, failed_transfer_fails_the_request) {
    fault(fault_kind::nack);
    EXPECT_EQ(request(wanted({4}, GPIO_V2_LINE_FLAG_INPUT)), -ENXIO);
    EXPECT_EQ(request(wanted({4}, GPIO_V2_LINE_FLAG_INPUT)), 0);
    fault(fault_kind::nack);
    gpio_v2_line_values values{0, 1};
    EXPECT_EQ(call(*lines, GPIO_V2_LINE_GET_VALUES_IOCTL, values), -ENXIO);
}

TEST_F(gpio_v2, debounce_period_is_shown) {
    auto debounced = wanted({4}, GPIO_V2_LINE_FLAG_INPUT);
    add_attribute(debounced.config, GPIO_V2_LINE_ATTR_ID_DEBOUNCE, 5000, 1);
    EXPECT_EQ(request(debounced), 0);
    EXPECT_EQ(info(4).num_attrs, 1U);
    EXPECT_EQ(info(4).attrs[0].debounce_period_us, 5000U);
    debounced.offsets[0] = 5;
    debounced.config.flags = 0;
    EXPECT_EQ(request(debounced), -EINVAL);
}

TEST_F(gpio_v2, memory_that_cannot_be_read_is_a_fault) {
    std::vector<uint8_t> nothing;
    for (const uint32_t each :
         {GPIO_V2_GET_LINEINFO_IOCTL, GPIO_V2_GET_LINE_IOCTL, GPIO_GET_LINEINFO_IOCTL,
          GPIO_GET_LINEHANDLE_IOCTL, GPIO_GET_LINEEVENT_IOCTL, GPIO_GET_LINEINFO_UNWATCH_IOCTL}) {
        EXPECT_EQ(file->ioctl(each, nothing, lines), -EFAULT) << each;
    }
    EXPECT_EQ(file->ioctl(GPIO_V2_LINE_GET_VALUES_IOCTL, nothing, lines), -EINVAL);
    EXPECT_EQ(file->ioctl(0xB47F, nothing, lines), -EINVAL);
}

struct bad_request_v2 {
    const char *what;
    int error;
    std::function<void(gpio_v2_line_request &)> spoil;
};
void PrintTo(const bad_request_v2 &request, std::ostream *out) { *out << request.what; }

class gpio_v2_bad_request : public gpio_v2, public ::testing::WithParamInterface<bad_request_v2> {};

TEST_P(gpio_v2_bad_request, is_refused) {
    auto bad = wanted({4}, GPIO_V2_LINE_FLAG_INPUT);
    GetParam().spoil(bad);
    EXPECT_EQ(request(bad), GetParam().error);
    EXPECT_EQ(info(4).flags, GPIO_V2_LINE_FLAG_INPUT);
    EXPECT_THAT(transfers, ElementsAre());
}

bad_request_v2 bad_flags(const char *what, uint64_t flags, int error = -EINVAL) {
    return {what, error, [flags](auto &request) { request.config.flags = flags; }};
}

constexpr uint64_t in = GPIO_V2_LINE_FLAG_INPUT;
constexpr uint64_t out = GPIO_V2_LINE_FLAG_OUTPUT;

INSTANTIATE_TEST_SUITE_P(
    all, gpio_v2_bad_request,
    ::testing::Values(
        bad_request_v2{"no lines", -EINVAL, [](auto &request) { request.num_lines = 0; }},
        bad_request_v2{"65 lines", -EINVAL, [](auto &request) { request.num_lines = 65; }},
        bad_request_v2{"padding", -EINVAL, [](auto &request) { request.padding[4] = 1; }},
        bad_request_v2{"padding of the configuration", -EINVAL,
                       [](auto &request) { request.config.padding[0] = 1; }},
        bad_request_v2{"11 attributes", -EINVAL, [](auto &request) { request.config.num_attrs = 11; }},
        bad_flags("unknown flag", in | 1ULL << 40), bad_flags("used", in | GPIO_V2_LINE_FLAG_USED),
        bad_flags("hardware clock", in | GPIO_V2_LINE_FLAG_EVENT_CLOCK_HTE, -EOPNOTSUPP),
        bad_flags("two directions", in | out), bad_flags("edge without input", GPIO_V2_LINE_FLAG_EDGE_RISING),
        bad_flags("edge of an output", out | GPIO_V2_LINE_FLAG_EDGE_RISING),
        bad_flags("drive of an input", in | GPIO_V2_LINE_FLAG_OPEN_DRAIN),
        bad_flags("two drives", out | GPIO_V2_LINE_FLAG_OPEN_DRAIN | GPIO_V2_LINE_FLAG_OPEN_SOURCE),
        bad_flags("bias without direction", GPIO_V2_LINE_FLAG_BIAS_PULL_UP),
        bad_flags("two biases", in | GPIO_V2_LINE_FLAG_BIAS_PULL_UP | GPIO_V2_LINE_FLAG_BIAS_DISABLED)));

} // namespace
} // namespace varnel::sim::gpio::test
