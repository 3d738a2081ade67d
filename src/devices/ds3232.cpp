// SPDX-License-Identifier: Apache-2.0
#undef _TIME_BITS // the interface has the 32-bit time_t where there are two, see the header
#include "varnel/ds3232.h"

#include <array>
#include <cstdint>
#include <ctime>

#include "varnel/smbus.h"

namespace {

constexpr uint32_t clock_chip = 0x6800; // bus 0, slave 0x68

enum ds3232_register : uint8_t {
    seconds,
    minutes,
    hours,
    day_of_week,
    day_of_month,
    month,
    year,
    time_registers
};

constexpr unsigned int century_flag = 0x80; // in the month register

using time_bytes = std::array<uint8_t, time_registers>;

constexpr uint8_t bcd(int value) { return static_cast<uint8_t>(value % 10 + value / 10 * 16); }
constexpr int from_bcd(uint8_t byte) { return (byte & 0x0F) + (byte >> 4) * 10; }

/// 0-11, but 15 for October (BCD 0x10).
constexpr int month_of(uint8_t byte) {
    const unsigned int m = byte - 1U;
    return static_cast<int>(((m & 0x10U) != 0 ? 10U : 0U) + (m & 0x0FU));
}

time_bytes bytes_of(const std::tm &local) {
    const unsigned int century = local.tm_year > 199 ? century_flag : 0;
    return {bcd(local.tm_sec),       bcd(local.tm_min),
            bcd(local.tm_hour),      static_cast<uint8_t>(local.tm_wday + 1),
            bcd(local.tm_mday),      static_cast<uint8_t>(bcd(local.tm_mon + 1) + century),
            bcd(local.tm_year % 100)};
}

std::tm time_of(const time_bytes &bytes) {
    std::tm local{};
    local.tm_sec = from_bcd(bytes[seconds]);
    local.tm_min = from_bcd(bytes[minutes]);
    local.tm_hour = from_bcd(bytes[hours]);
    local.tm_mday = from_bcd(bytes[day_of_month]);
    local.tm_mon = month_of(bytes[month]);
    local.tm_year = from_bcd(bytes[year]) + 100 + ((bytes[month] & century_flag) != 0 ? 100 : 0);
    local.tm_isdst = -1;
    return local;
}

} // namespace

int ds3232_set_time(time_t time) {
    std::tm local{};
    tzset(); // localtime_r alone would not notice a changed TZ
    if (localtime_r(&time, &local) == nullptr) {
        return -1;
    }
    const time_bytes bytes = bytes_of(local);
    for (uint8_t reg = seconds; reg < time_registers; ++reg) {
        if (smbus_write_byte_to_device(clock_chip, reg, bytes[reg]) != 0) {
            return -1;
        }
    }
    return 0;
}

int ds3232_get_time(time_t *time) {
    time_bytes bytes{};
    for (uint8_t reg = seconds; reg < time_registers; ++reg) {
        if (smbus_read_byte_to_device(clock_chip, reg, &bytes[reg]) != 0) {
            return -1;
        }
    }
    std::tm local = time_of(bytes);
    *time = std::mktime(&local);
    return 0;
}
