// SPDX-License-Identifier: Apache-2.0
// varnel rtc: the DS3232 clock at its fixed place, 0:0x68.

#include <array>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

#include <fmt/format.h>

#include "host/numbers.h"
#include "host/options.h"
#include "tools/varnel/device_address.h"
#include "tools/varnel/library_call.h"
#include "tools/varnel/report.h"
#include "tools/varnel/verb.h"
#include "tools/varnel/watch.h"
#include "varnel/ds3232.h"
#include "varnel/smbus.h"

namespace varnel::tools {

namespace {

constexpr device_address clock_chip{0, 0x68};
constexpr uint8_t month_register = 0x05;
constexpr unsigned int month_bits = 0x1F;
constexpr unsigned int october = 0x10; // BCD
constexpr std::time_t no_time = -1;
constexpr int tries = 3;

struct options {
    watch_options watch;
    std::time_t time = 0;
    bool verify = false;
};

std::time_t read_once() {
    std::time_t time = 0;
    on(clock_chip, "read the time", [&](uint32_t) { return ds3232_get_time(&time); });
    return time;
}

uint8_t read_month() {
    uint8_t month = 0;
    on(clock_chip, "read the month",
       [&](uint32_t handle) { return smbus_read_byte_to_device(handle, month_register, &month); });
    return month;
}

/// Undoes the driver's error in October (ds3232.h): the 31st, read as a day of April, is the 1st of May.
std::time_t as_october(std::time_t time) {
    std::tm broken{};
    localtime_r(&time, &broken);
    const int may = 4;
    broken.tm_mday = broken.tm_mon == may ? 31 : broken.tm_mday;
    broken.tm_mon = 9;
    broken.tm_year -= 1;
    broken.tm_isdst = -1;
    return std::mktime(&broken);
}

/// Registers are read one by one: only two readings that agree are of one instant.
std::time_t read_time() {
    std::time_t time = read_once();
    uint8_t month = read_month();
    for (int i = 1; i < tries; ++i) {
        const std::time_t again = read_once();
        const uint8_t month_again = read_month();
        if (again == time && month_again == month) {
            break;
        }
        time = again;
        month = month_again;
    }
    if (time == no_time) {
        throw failed(fmt::format("{}: the clock's registers hold no time", clock_chip.name()));
    }
    return (month & month_bits) == october ? as_october(time) : time;
}

std::string format_time(std::time_t time, const char *format) {
    std::tm broken{};
    localtime_r(&time, &broken);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &broken);
    return {text.data(), length};
}

std::string view(const invocation &call) {
    const std::time_t time = read_time();
    const std::time_t ahead = time - std::time(nullptr);
    report lines;
    lines.add("time", format_time(time, "%F %T %z"), "time", format_time(time, "%FT%T%z"));
    lines.add("epoch_seconds", time);
    lines.add("ahead of system time", fmt::format("{} s", ahead), "ahead_seconds", ahead);
    return lines.text(call);
}

/// "now", "@1700000000", "2026-11-21 08:00:00" or with T, as local time.
std::time_t time_from(const std::string &text) {
    if (text == "now") {
        return std::time(nullptr);
    }
    if (text.starts_with('@')) {
        return static_cast<std::time_t>(c_number(text.substr(1), UINT32_MAX, "TIME"));
    }
    for (const char *format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"}) {
        std::tm broken{};
        broken.tm_isdst = -1;
        const char *const end = strptime(text.c_str(), format, &broken);
        const int day = broken.tm_mday;
        const std::time_t time = end != nullptr && *end == '\0' ? std::mktime(&broken) : no_time;
        if (time != no_time && broken.tm_mday == day) { // there is no 31st of April
            return time;
        }
    }
    throw bad_usage(fmt::format("TIME: '{}' is not now, YYYY-MM-DD HH:MM:SS or @SECONDS", text));
}

void set(const options &given) {
    const auto begin = std::chrono::steady_clock::now();
    on(clock_chip, "set the time", [&](uint32_t) { return ds3232_set_time(given.time); });
    if (given.verify) {
        const std::time_t found = read_time();
        const auto passed = std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
        if (found < given.time || found > given.time + passed.count()) {
            throw failed(fmt::format("{}: set to {}, reads {}", clock_chip.name(),
                                     format_time(given.time, "%F %T"), format_time(found, "%F %T")));
        }
    }
}

void get(const invocation &call, const options &given) {
    show(given.watch, [&] { return view(call); });
}

} // namespace

void add_rtc(argument_parser app, invocation &call) {
    verbs<options> rtc(app, call, "rtc", "DS3232 clock at 0:0x68, which holds local time");
    const auto getting = rtc.add("get", "Show the clock's time, and how far it is ahead of system time", get);
    add_json(getting.parser, call);
    add_watch(getting.parser, getting.given.watch);
    const auto setting = rtc.add("set", "Set the clock", set);
    add_argument(setting.parser, "TIME", setting.given.time, time_from,
                 "now, 'YYYY-MM-DD HH:MM:SS' or @SECONDS since 1970 UTC", "now|TIME");
    add_verify(setting.parser, setting.given.verify);
}

} // namespace varnel::tools
