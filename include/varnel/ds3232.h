/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_DS3232_H
#define VARNEL_DS3232_H

/**
 * @file
 * DS3232 real-time clock (Maxim datasheet, timekeeping registers 00h-06h).
 *
 * @oddity{The place is fixed} The chip's place is fixed: bus 0, slave 0x68. Another clock is reached by the
 * functions of smbus.h.
 *
 * @oddity{Local time} The clock holds local time: the TZ of the calling process decides what is written and
 * how it is read, and an hour that daylight saving repeats is ambiguous. Two processes with different TZ
 * disagree about the clock: run all with the same TZ, UTC at best.
 *
 * @oddity{Registers one by one} The seven registers are transferred one by one, so a time read while the
 * clock passes a second (or worse, a midnight) can mix two instants: a careful caller reads twice and takes a
 * pair that agrees.
 *
 * @par Threads
 * Uses tzset() and mktime(); otherwise no state and no lock. Callers serialise use of the chip.
 */

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sets the clock, in 24-hour form. From the year 2100 on the century flag is set.
 *
 * @param time  calendar time.
 * @return 0, or -1 when the time cannot be broken down (nothing is written) or a write failed (the registers
 *         after it keep their old content).
 */
int ds3232_set_time(time_t time);

/**
 * Reads the clock.
 *
 * @oddity{October} The month is taken as (register - 1), 10 for bit 4 plus the low nibble. That is right for
 * eleven months, but October (BCD 10h) comes out as month 15, which lands in April of the following year. In
 * October take the month from elsewhere.
 *
 * The hour register is taken as 24-hour BCD.
 *
 * @oddity{A date that is none is a success} A date that mktime() cannot represent stores (time_t)-1 and is
 * still a success. Look at the time, too.
 *
 * @param time  receives the calendar time; untouched on failure. Not null; not checked: a null pointer ends
 * the process by SIGSEGV once the registers were read.
 * @return 0, or -1 when a read failed.
 */
int ds3232_get_time(time_t *time);

#ifdef __cplusplus
}
#endif

#endif
