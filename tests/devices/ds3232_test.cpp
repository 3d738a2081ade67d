// SPDX-License-Identifier: Apache-2.0
#include "varnel/ds3232.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include "support/captured_output.h"
#include "support/scripted_bus.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAreArray;

constexpr std::time_t untouched = 0x5A5A5A5A;
constexpr bool years_beyond_2038 = sizeof(std::time_t) > 4;

const std::vector<const char *> zones{"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "NST3:30NDT,M3.2.0,M11.1.0",
                                      "NZST-12NZDT,M9.5.0,M4.1.0/3", "<+0545>-5:45"};

using registers = std::array<uint8_t, 7>;

class ds3232 : public scripted_bus {
  protected:
    ds3232() { use_zone("UTC0"); }
    ~ds3232() override { unsetenv("TZ"); }

    // Deliberately without tzset(): the driver must notice the change.
    static void use_zone(const char *zone) { setenv("TZ", zone, 1); }

    static std::time_t local(int year, int month, int day, int hour, int minute, int second) {
        std::tm fields{};
        fields.tm_year = year - 1900;
        fields.tm_mon = month - 1;
        fields.tm_mday = day;
        fields.tm_hour = hour;
        fields.tm_min = minute;
        fields.tm_sec = second;
        fields.tm_isdst = -1;
        return std::mktime(&fields);
    }

    std::vector<transfer> write_frames(const registers &r) {
        std::vector<transfer> frames;
        for (uint8_t reg = 0; reg < r.size(); ++reg) {
            frames.push_back(write_of(0, 0x68, {reg, r[reg]}));
        }
        return frames;
    }

    void clock_holds(const registers &r) {
        for (const uint8_t byte : r) {
            answers({{{byte}}});
        }
    }

    std::time_t time_from(const registers &r) {
        clock_holds(r);
        std::time_t time = untouched;
        EXPECT_EQ(ds3232_get_time(&time), 0);
        return time;
    }
};

TEST_F(ds3232, set_writes_seven_registers_one_by_one) {
    for (const char *zone : zones) {
        SCOPED_TRACE(zone);
        use_zone(zone);
        calls.clear();
        EXPECT_EQ(ds3232_set_time(local(2015, 7, 4, 13, 5, 9)), 0);
        EXPECT_THAT(calls, ElementsAreArray(write_frames({0x09, 0x05, 0x13, 0x07, 0x04, 0x07, 0x15})));
    }
}

TEST_F(ds3232, set_encodes_every_field_in_bcd) {
    struct row {
        std::time_t time;
        registers expected;
    };
    for (const row &r : std::vector<row>{
             {local(2000, 2, 29, 23, 59, 59),
              {0x59, 0x59, 0x23, 0x03, 0x29, 0x02, 0x00}},                              // leap day, a Tuesday
             {local(2024, 2, 29, 0, 0, 0), {0x00, 0x00, 0x00, 0x05, 0x29, 0x02, 0x24}}, // Thursday
             {local(2023, 10, 31, 20, 10, 40),
              {0x40, 0x10, 0x20, 0x03, 0x31, 0x10, 0x23}},                               // October, BCD 10h
             {local(2026, 11, 22, 9, 9, 9), {0x09, 0x09, 0x09, 0x01, 0x22, 0x11, 0x26}}, // Sunday is 1
             {local(2037, 12, 31, 12, 30, 45), {0x45, 0x30, 0x12, 0x05, 0x31, 0x12, 0x37}},
             {local(1999, 12, 31, 23, 59, 59), {0x59, 0x59, 0x23, 0x06, 0x31, 0x12, 0x99}}, // no century flag
         }) {
        calls.clear();
        EXPECT_EQ(ds3232_set_time(r.time), 0);
        EXPECT_THAT(calls, ElementsAreArray(write_frames(r.expected)));
    }
}

TEST_F(ds3232, set_notices_a_changed_time_zone) {
    ASSERT_EQ(ds3232_set_time(0), 0);
    use_zone("CET-1");
    calls.clear();
    ASSERT_EQ(ds3232_set_time(0), 0);
    EXPECT_THAT(calls, ElementsAreArray(write_frames({0, 0, 1, 5, 1, 1, 0x70})));
}

TEST_F(ds3232, set_writes_the_century_bit_from_2100_on) {
    if (!years_beyond_2038) {
        GTEST_SKIP() << "time_t ends in 2038 here";
    }
    EXPECT_EQ(ds3232_set_time(local(2099, 12, 31, 23, 59, 59)), 0);
    EXPECT_THAT(calls, ElementsAreArray(write_frames({0x59, 0x59, 0x23, 0x05, 0x31, 0x12, 0x99})));
    calls.clear();
    EXPECT_EQ(ds3232_set_time(local(2100, 1, 1, 0, 0, 0)), 0);
    EXPECT_THAT(calls, ElementsAreArray(write_frames({0x00, 0x00, 0x00, 0x06, 0x01, 0x81, 0x00})));
    calls.clear();
    EXPECT_EQ(ds3232_set_time(local(2234, 10, 9, 8, 7, 6)), 0);
    EXPECT_THAT(calls, ElementsAreArray(write_frames({0x06, 0x07, 0x08, 0x05, 0x09, 0x90, 0x34})));
}

TEST_F(ds3232, set_before_1900_encodes_a_negative_year) {
    if (!years_beyond_2038) {
        GTEST_SKIP() << "time_t begins in 1901 here";
    }
    EXPECT_EQ(ds3232_set_time(local(1895, 1, 1, 0, 0, 0)), 0);
    ASSERT_EQ(calls.size(), 7U);
    EXPECT_EQ(calls[6], write_of(0, 0x68, {6, 0xFB})); // -5
}

TEST_F(ds3232, set_stops_at_the_first_failure) {
    for (unsigned int failing = 0; failing < 7; ++failing) {
        calls.clear();
        fail_call(failing);
        EXPECT_EQ(ds3232_set_time(local(2015, 7, 4, 13, 5, 9)), -1);
        EXPECT_EQ(calls.size(), failing + 1);
    }
}

TEST_F(ds3232, set_refuses_a_time_that_localtime_cannot_convert) {
    if (!years_beyond_2038) {
        GTEST_SKIP() << "localtime() converts every time_t here";
    }
    EXPECT_EQ(ds3232_set_time(std::numeric_limits<std::time_t>::max()), -1);
    EXPECT_TRUE(calls.empty());
}

TEST_F(ds3232, get_reads_seven_registers_one_by_one) {
    for (const char *zone : zones) {
        SCOPED_TRACE(zone);
        use_zone(zone);
        calls.clear();
        const std::time_t expected = local(2015, 7, 4, 13, 5, 9);
        EXPECT_EQ(time_from({0x09, 0x05, 0x13, 0x07, 0x04, 0x07, 0x15}), expected);
        ASSERT_EQ(calls.size(), 7U);
        for (uint8_t reg = 0; reg < 7; ++reg) {
            EXPECT_EQ(calls[reg].written, bytes{reg});
            EXPECT_EQ(calls[reg].primitive, transfer::kind::write_read);
            EXPECT_EQ(calls[reg].bus, 0U);
            EXPECT_EQ(calls[reg].slave, 0x68U);
            EXPECT_EQ(calls[reg].preset.size(), 1U);
        }
    }
}

TEST_F(ds3232, get_ignores_the_day_of_week) {
    EXPECT_EQ(time_from({0x00, 0x00, 0x12, 0xFF, 0x29, 0x02, 0x24}), local(2024, 2, 29, 12, 0, 0));
}

TEST_F(ds3232, get_applies_the_daylight_saving_of_the_time_zone) {
    use_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(time_from({0x00, 0x00, 0x12, 0x01, 0x01, 0x01, 0x26}), 1767265200); // 11:00 UTC in winter
    EXPECT_EQ(time_from({0x00, 0x00, 0x12, 0x01, 0x01, 0x07, 0x26}), 1782900000); // 10:00 UTC in summer
}

TEST_F(ds3232, get_reads_october_as_april_of_the_next_year) {
    EXPECT_EQ(time_from({0x06, 0x05, 0x04, 0x01, 0x09, 0x10, 0x15}), local(2016, 4, 9, 4, 5, 6));
}

TEST_F(ds3232, get_reads_every_other_month_as_it_is) {
    const std::vector<std::pair<uint8_t, int>> months{{0x01, 1}, {0x02, 2},  {0x03, 3}, {0x04, 4},
                                                      {0x05, 5}, {0x06, 6},  {0x07, 7}, {0x08, 8},
                                                      {0x09, 9}, {0x11, 11}, {0x12, 12}};
    for (const auto &[byte, month] : months) {
        EXPECT_EQ(time_from({0, 0, 0, 1, 0x15, byte, 0x30}), local(2030, month, 15, 0, 0, 0));
    }
}

TEST_F(ds3232, get_reads_month_register_0_as_month_26) {
    EXPECT_EQ(time_from({0, 0, 0, 1, 0x15, 0x00, 0x20}),
              local(2020, 26, 15, 0, 0, 0)); // 10 + 15, counted from 0
}

TEST_F(ds3232, get_normalises_fields_out_of_range) {
    // The 12-hour form is not supported: 0x72 is hour 72. 0xFF is 165.
    EXPECT_EQ(time_from({0xFF, 0x00, 0x72, 0x01, 0x01, 0x01, 0x20}), local(2020, 1, 4, 0, 2, 45));
}

TEST_F(ds3232, get_adds_a_century_for_the_flag) {
    if (!years_beyond_2038) {
        GTEST_SKIP() << "time_t ends in 2038 here";
    }
    EXPECT_EQ(time_from({0x59, 0x59, 0x23, 0x05, 0x31, 0x12, 0x99}), local(2099, 12, 31, 23, 59, 59));
    EXPECT_EQ(time_from({0x00, 0x00, 0x00, 0x06, 0x01, 0x81, 0x00}), local(2100, 1, 1, 0, 0, 0));
}

TEST_F(ds3232, get_stores_minus_1_for_a_time_beyond_time_t) {
    if (years_beyond_2038) {
        GTEST_SKIP() << "time_t can represent every clock reading here";
    }
    EXPECT_EQ(time_from({0x00, 0x00, 0x00, 0x01, 0x01, 0x01, 0x99}), -1);
}

TEST_F(ds3232, get_stops_at_the_first_failure_and_leaves_the_time_untouched) {
    for (unsigned int failing = 0; failing < 7; ++failing) {
        calls.clear();
        fail_call(failing, 0x01);
        std::time_t time = untouched;
        EXPECT_EQ(ds3232_get_time(&time), -1);
        EXPECT_EQ(time, untouched);
        EXPECT_EQ(calls.size(), failing + 1);
    }
}

TEST_F(ds3232, set_time_is_read_back_except_in_october) {
    for (const char *zone : zones) {
        use_zone(zone);
        for (int year = 2000; year < 2038; ++year) {
            for (int month = 1; month <= 12; ++month) {
                const std::time_t time = local(year, month, month == 2 && year % 4 == 0 ? 29 : 28, 17, 42, 7);
                calls.clear();
                ASSERT_EQ(ds3232_set_time(time), 0);
                registers stored{};
                for (std::size_t reg = 0; reg < stored.size(); ++reg) {
                    stored[reg] = calls[reg].written[1];
                }
                const std::time_t expected = month == 10 ? local(year + 1, 4, 28, 17, 42, 7) : time;
                ASSERT_EQ(time_from(stored), expected) << zone << " " << year << "-" << month;
            }
        }
    }
}

TEST_F(ds3232, nothing_is_printed) {
    answers({{{}, -1}, {{}, -1}});
    std::time_t time = 0;
    captured_output output;
    EXPECT_EQ(ds3232_set_time(0), -1);
    EXPECT_EQ(ds3232_get_time(&time), -1);
    EXPECT_EQ(output.text(), "");
}

using ds3232_DeathTest = ds3232;

TEST_F(ds3232_DeathTest, null_time_ends_the_process) { EXPECT_DEATH(ds3232_get_time(nullptr), ""); }

} // namespace
