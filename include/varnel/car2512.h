/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_CAR2512_H
#define VARNEL_CAR2512_H

/**
 * @file
 * CAR2512 power supply: PMBus-style commands over SMBus.
 *
 * @oddity{Values are raw} Values are passed as the supply sends them, without conversion of units or decoding
 * of linear formats. A temperature of 250 is 25.0 C, an output voltage of 1200 is 12.00 V; docs/devices.md
 * lists all units.
 *
 * Every function returns 0, or -1 when a bus call failed; nothing is printed and nothing is retried.
 *
 * @oddity{Write protection stays off} Each setting first cancels write protection and does not restore it.
 * From then on the supply accepts writes from any bus master. Write WRITE_PROTECT (0x10) again where that
 * matters.
 *
 * Standard commands and the bits of the status registers are those of PMBus 1.2 Part II; commands from 0xD0
 * up are the manufacturer's.
 *
 * @par Threads
 * No state and no lock. Read-modify-write sequences are not atomic against other users of the chip; callers
 * serialise.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Readings
 *
 * One read transaction each.
 *
 * @param device  device handle (smbus.h).
 * @param word    receives a word; not null; untouched on failure.
 * @param byte    receives a byte; not null; after a failure it holds what the platform stored.
 * @return 0, or -1.
 */
/** @{ */
/** STATUS_WORD (command 0x79). */
int car2512_get_status(uint32_t device, uint16_t *word);
/** STATUS_VOUT (command 0x7A). */
int car2512_get_vout_status(uint32_t device, uint8_t *byte);
/** STATUS_INPUT (command 0x7C). */
int car2512_get_status_input(uint32_t device, uint8_t *byte);
/** STATUS_CML: communication, memory, logic (command 0x7E). */
int car2512_get_CML(uint32_t device, uint8_t *byte);
/** STATUS_MFR_SPECIFIC (command 0x80). */
int car2512_get_mfr_specific(uint32_t device, uint8_t *byte);
/** STATUS_FANS_1_2 (command 0x81). */
int car2512_get_fan_1_2_status(uint32_t device, uint8_t *byte);
/** Firmware version (command 0xD0). */
int car2512_get_frw_version(uint32_t device, uint8_t *byte);
/** Fan duty cycle in percent (command 0xD6). */
int car2512_get_fan_duty_cycle(uint32_t device, uint8_t *byte);
/** Programmed output voltage (command 0xD8). */
int car2512_get_vprog(uint32_t device, uint16_t *word);
/** Output voltage (command 0xE0). */
int car2512_get_output_volt(uint32_t device, uint16_t *word);
/** Temperature (command 0xE2). */
int car2512_get_temp(uint32_t device, uint16_t *word);
/** Fan speed (command 0xE9). */
int car2512_get_fan_speed(uint32_t device, uint16_t *word);
/** Input voltage (command 0xED). */
int car2512_get_input_volt(uint32_t device, uint16_t *word);
/** Input power (command 0xEF). */
int car2512_get_input_power(uint32_t device, uint16_t *word);
/** @} */

/** What each word of a car2512_getall() record holds. */
enum car2512_reading {
    CAR2512_INPUT_POWER, /**< as car2512_get_input_power() */
    CAR2512_TEMPERATURE, /**< as car2512_get_temp() */
    CAR2512_INPUT_VOLT,  /**< as car2512_get_input_volt() */
    CAR2512_FAN_SPEED,   /**< as car2512_get_fan_speed() */
    CAR2512_READINGS     /**< number of words in the record */
};

/**
 * Reads input power, temperature, input voltage and fan speed, in this order.
 *
 * @param device  device handle.
 * @param record  CAR2512_READINGS words. The first failure ends the call: the words before it are filled, the
 *                others are untouched.
 * @return 0 when all four were read, -1 otherwise.
 */
int car2512_getall(uint32_t device, uint16_t *record);

/**
 * Cancels write protection (WRITE_PROTECT, 0x10, data 0).
 *
 * @param device  device handle.
 * @return 0, or -1.
 */
int car2512_cancel_write_protect(uint32_t device);

/**
 * Clears latched faults (CLEAR_FAULTS, 0x03).
 *
 * @oddity{Clearing keeps write protection} Write protection is not cancelled first, unlike in the settings.
 * Cancel it before the call where the supply requires that.
 *
 * @param device  device handle.
 * @return 0, or -1.
 */
int car2512_clear_fault(uint32_t device);

/**
 * @name Settings
 *
 * Each cancels write protection first; when that fails, its own command is not sent.
 *
 * @param device   device handle.
 * @param speed    the word written, in the supply's unit.
 * @param percent  the byte written; not checked against 100.
 * @param volt     the word written, in the supply's unit.
 * @return 0, or -1.
 */
/** @{ */
/** Output on (OPERATION, 0x01, data 0x80). */
int car2512_set_power_on(uint32_t device);
/** Output off (OPERATION, 0x01, data 0). Everything that the supply feeds loses power. */
int car2512_set_power_off(uint32_t device);
/** Fan speed command (FAN_COMMAND_1, 0x3B). */
int car2512_set_fan_speed(uint32_t device, uint16_t speed);
/** Fan duty cycle in percent (0xD7). */
int car2512_set_fan_duty_cycle(uint32_t device, uint8_t percent);
/** Output voltage setting (0xD4), raw. */
int car2512_set_output_volt(uint32_t device, uint16_t volt);
/** @} */

/**
 * Raises the fan duty cycle to at least @p percent; never lowers it.
 *
 * @param device   device handle.
 * @param percent  duty cycle wanted. When the supply already reports this or more, nothing is written.
 * @return 0, or -1.
 */
int car2512_set_fan_duty_cycle_upto_percent(uint32_t device, uint8_t percent);

#ifdef __cplusplus
}
#endif

#endif
