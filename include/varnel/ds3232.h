/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_DS3232_H
#define VARNEL_DS3232_H

/**
 * @file
 * DS3232 real-time clock (Maxim datasheet, timekeeping registers 00h-06h).
 *
 * @oddity{The address is fixed} The chip is always at bus 0, slave 0x68. Use the functions of smbus.h for a
 * clock elsewhere.
 *
 * @oddity{The clock holds local time} The TZ of the calling process decides what is written and how it is
 * read. An hour that daylight saving repeats is ambiguous. Processes with different TZ read different times:
 * run all with the same TZ, preferably UTC.
 *
 * @oddity{Registers are transferred one by one} The seven registers are transferred one by one. A time that
 * is read while the seconds (or, at midnight, the date) change can mix two instants. Read until two readings
 * agree.
 *
 * @par Size of time_t
 * Where the C library has two sizes of time_t (glibc for 32-bit machines), the library has the 32-bit one, also
 * when it was compiled with _TIME_BITS=64. A program that is compiled with _TIME_BITS=64 gets inline functions of
 * the same names, which convert. Either way the times are those of 32 bits: 13 December 1901 to 19 January 2038.
 *
 * @par Threads
 * Uses tzset() and mktime(); otherwise no state and no lock. Callers serialise use of the chip.
 */

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__USE_TIME_BITS64) && defined(__TIMESIZE) && __TIMESIZE == 32

/* The library's functions, with its size of time_t. */
int ds3232_set_long_time(long time) __asm__("ds3232_set_time");
int ds3232_get_long_time(long *time) __asm__("ds3232_get_time");

/* Inline functions need names of their own in the object file. */
static inline int ds3232_set_time(time_t time) __asm__("ds3232_set_wide_time");
static inline int ds3232_get_time(time_t *time) __asm__("ds3232_get_wide_time");

static inline int ds3232_set_time(time_t time) {
    return time == (long)time ? ds3232_set_long_time((long)time) : -1;
}

static inline int ds3232_get_time(time_t *time) {
    long seconds = 0;
    const int result = ds3232_get_long_time(&seconds);
    if (result == 0) {
        *time = seconds;
    }
    return result;
}

#else

/**
 * Sets the clock, in 24-hour form. From the year 2100 on the century flag is set.
 *
 * @param time  calendar time.
 * @return 0, or -1 when the time cannot be broken down or needs more bits (nothing is written), or when a write
 *         failed (the registers after it keep their old content).
 */
int ds3232_set_time(time_t time);

/**
 * Reads the clock.
 *
 * @oddity{October is read as April} The month is decoded as 10 for bit 4 plus the low nibble of (register -
 * 1). That is right for eleven months. October (BCD 10h) is decoded as month 15, which is April of the
 * following year. In October take the month from elsewhere.
 *
 * The hour register is read as 24-hour BCD.
 *
 * @oddity{An unrepresentable date returns 0} For a date that mktime() cannot represent the call stores
 * (time_t)-1 and returns 0. Check the time as well as the result.
 *
 * @param time  receives the calendar time; untouched on failure. Not null, which is not checked: a null
 *              pointer ends the process by SIGSEGV after the registers were read.
 * @return 0, or -1 when a read failed.
 */
int ds3232_get_time(time_t *time);

#endif

#ifdef __cplusplus
}
#endif

#endif
