/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_CAR2512_H
#define VARNEL_CAR2512_H

/**
 * @file
 * CAR2512 power supply: PMBus-style commands over SMBus.
 *
 * @oddity{Values are raw} Values are passed as the supply sends them, without conversion of units or decoding
 * of linear formats. A temperature of 250 is 25.0 C, an output voltage of 1200 is 12.00 V;
 * docs/chips/car2512.md lists all units.
 *
 * Every function returns 0, or -1 when a bus call failed; nothing is printed and nothing is retried.
 *
 * @oddity{Write protection stays off} Each setting first cancels write protection and does not restore it.
 * From then on the supply accepts writes from any bus master. Write CAR2512_COMMAND_WRITE_PROTECT again where that
 * matters.
 *
 * Standard commands and the bits of the status registers are those of PMBus 1.2 Part II.
 *
 * @par Threads
 * No state and no lock. Read-modify-write sequences are not atomic against other users of the chip; callers
 * serialise.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Command codes: those of PMBus 1.2 Part II; from 0xD0 up the manufacturer's. */
enum car2512_command {
    CAR2512_COMMAND_OPERATION = 0x01,           /**< output on or off (enum car2512_operation) */
    CAR2512_COMMAND_CLEAR_FAULTS = 0x03,        /**< clears latched faults */
    CAR2512_COMMAND_WRITE_PROTECT = 0x10,       /**< 0 cancels write protection */
    CAR2512_COMMAND_FAN_COMMAND_1 = 0x3B,       /**< fan speed command */
    CAR2512_COMMAND_STATUS_WORD = 0x79,         /**< summary of all faults */
    CAR2512_COMMAND_STATUS_VOUT = 0x7A,         /**< output voltage faults */
    CAR2512_COMMAND_STATUS_IOUT = 0x7B,         /**< output current faults */
    CAR2512_COMMAND_STATUS_INPUT = 0x7C,        /**< input faults */
    CAR2512_COMMAND_STATUS_TEMPERATURE = 0x7D,  /**< temperature faults */
    CAR2512_COMMAND_STATUS_CML = 0x7E,          /**< communication, memory, logic */
    CAR2512_COMMAND_STATUS_MFR_SPECIFIC = 0x80, /**< manufacturer's faults */
    CAR2512_COMMAND_STATUS_FANS_1_2 = 0x81,     /**< fan faults */
    CAR2512_COMMAND_FIRMWARE_VERSION = 0xD0,    /**< firmware version */
    CAR2512_COMMAND_SET_OUTPUT_VOLT = 0xD4,     /**< output voltage setting */
    CAR2512_COMMAND_FAN_DUTY_CYCLE = 0xD6,      /**< percent */
    CAR2512_COMMAND_SET_FAN_DUTY_CYCLE = 0xD7,  /**< percent */
    CAR2512_COMMAND_PROGRAMMED_VOLT = 0xD8,     /**< programmed output voltage */
    CAR2512_COMMAND_OUTPUT_VOLT = 0xE0,         /**< output voltage */
    CAR2512_COMMAND_TEMPERATURE = 0xE2,         /**< temperature */
    CAR2512_COMMAND_FAN_SPEED = 0xE9,           /**< fan speed */
    CAR2512_COMMAND_INPUT_VOLT = 0xED,          /**< input voltage */
    CAR2512_COMMAND_INPUT_POWER = 0xEF          /**< input power */
};

/** Data of CAR2512_COMMAND_OPERATION. */
enum car2512_operation {
    CAR2512_OPERATION_OFF = 0x00, /**< output off */
    CAR2512_OPERATION_ON = 0x80   /**< output on */
};

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
/** CAR2512_COMMAND_STATUS_WORD. */
int car2512_get_status(uint32_t device, uint16_t *word);
/** CAR2512_COMMAND_STATUS_VOUT. */
int car2512_get_vout_status(uint32_t device, uint8_t *byte);
/** CAR2512_COMMAND_STATUS_INPUT. */
int car2512_get_status_input(uint32_t device, uint8_t *byte);
/** CAR2512_COMMAND_STATUS_CML: communication, memory, logic. */
int car2512_get_CML(uint32_t device, uint8_t *byte);
/** CAR2512_COMMAND_STATUS_MFR_SPECIFIC. */
int car2512_get_mfr_specific(uint32_t device, uint8_t *byte);
/** CAR2512_COMMAND_STATUS_FANS_1_2. */
int car2512_get_fan_1_2_status(uint32_t device, uint8_t *byte);
/** Firmware version (CAR2512_COMMAND_FIRMWARE_VERSION). */
int car2512_get_frw_version(uint32_t device, uint8_t *byte);
/** Fan duty cycle in percent (CAR2512_COMMAND_FAN_DUTY_CYCLE). */
int car2512_get_fan_duty_cycle(uint32_t device, uint8_t *byte);
/** Programmed output voltage (CAR2512_COMMAND_PROGRAMMED_VOLT). */
int car2512_get_vprog(uint32_t device, uint16_t *word);
/** Output voltage (CAR2512_COMMAND_OUTPUT_VOLT). */
int car2512_get_output_volt(uint32_t device, uint16_t *word);
/** Temperature (CAR2512_COMMAND_TEMPERATURE). */
int car2512_get_temp(uint32_t device, uint16_t *word);
/** Fan speed (CAR2512_COMMAND_FAN_SPEED). */
int car2512_get_fan_speed(uint32_t device, uint16_t *word);
/** Input voltage (CAR2512_COMMAND_INPUT_VOLT). */
int car2512_get_input_volt(uint32_t device, uint16_t *word);
/** Input power (CAR2512_COMMAND_INPUT_POWER). */
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
 * Cancels write protection (CAR2512_COMMAND_WRITE_PROTECT, data 0).
 *
 * @param device  device handle.
 * @return 0, or -1.
 */
int car2512_cancel_write_protect(uint32_t device);

/**
 * Clears latched faults (CAR2512_COMMAND_CLEAR_FAULTS).
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
/** Output on (CAR2512_COMMAND_OPERATION, CAR2512_OPERATION_ON). */
int car2512_set_power_on(uint32_t device);
/** Output off (CAR2512_COMMAND_OPERATION, CAR2512_OPERATION_OFF). Everything that the supply feeds loses
 * power. */
int car2512_set_power_off(uint32_t device);
/** Fan speed command (CAR2512_COMMAND_FAN_COMMAND_1). */
int car2512_set_fan_speed(uint32_t device, uint16_t speed);
/** Fan duty cycle in percent (CAR2512_COMMAND_SET_FAN_DUTY_CYCLE). */
int car2512_set_fan_duty_cycle(uint32_t device, uint8_t percent);
/** Output voltage setting (CAR2512_COMMAND_SET_OUTPUT_VOLT), raw. */
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
