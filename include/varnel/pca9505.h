/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PCA9505_H
#define VARNEL_PCA9505_H

/**
 * @file
 * PCA9505 40-bit I/O expander (NXP datasheet, register table): five banks of eight pins.
 *
 * @oddity{Numbers are not checked} Banks are 0-4 and bits 0-7; neither is range-checked. The register of a
 * bank is the group's base + bank, modulo 256. A bit of 8 or more changes nothing and reads as 0. Check them
 * before the call.
 *
 * Every function returns 0, or -1 when a bus call failed.
 *
 * @oddity{Registers are selected twice} A register is always selected by a separate one-byte write first,
 * even before a two-byte write that contains the register number again. Expect one more transfer per access
 * in traces and time budgets. The driver calls the platform's primitives directly, and their results count as
 * whole ints: a one-byte transfer must return exactly 1, a two-byte write exactly 2. A result above 16 bits
 * is a failure, unlike in smbus.h.
 *
 * @par Diagnostics
 *
 * @oddity{Failed calls are printed} When a bus call fails, the function prints one line to standard output,
 * `FILE:LINE:FUNCTION():CALL`, and returns -1. Later steps are not sent and nothing is retried. The line
 * numbers are fixed parts of the text and do not refer to the source. errno is the platform's, even when the
 * line could not be printed. Redirect standard output to the log.
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
 * Reads any register.
 *
 * @param device  device handle (smbus.h).
 * @param reg     register number: 0x00-0x04 input, 0x08-0x0C output, 0x10-0x14 polarity, 0x18-0x1C
 *                configuration, 0x20-0x24 interrupt mask.
 * @param data    receives the byte; not null. After a failed read it holds what the platform stored.
 * @return 0, or -1.
 */
int pca9505_get_reg_data(uint32_t device, uint8_t reg, uint8_t *data);

/**
 * Reads one bit of a register.
 *
 * @param device  device handle.
 * @param reg     register number (not a bank): 0-4 for pin levels.
 * @param bit     bit in the register.
 * @param data    receives 0 or 1; not null. After a failed read it holds what the platform stored.
 * @return 0, or -1.
 */
int pca9505_get_port_data(uint32_t device, uint8_t reg, uint8_t bit, uint8_t *data);

/**
 * @name One pin
 *
 * Each selects the register, reads the old byte and writes it back with the pin's bit changed.
 *
 * @param device  device handle.
 * @param bank    bank number.
 * @param bit     bit in the bank.
 * @return 0, or -1.
 */
/** @{ */
/** Makes the pin an input (configuration bit 1). */
int pca9505_set_port_input(uint32_t device, uint8_t bank, uint8_t bit);
/** Makes the pin an output (configuration bit 0). */
int pca9505_set_port_output(uint32_t device, uint8_t bank, uint8_t bit);
/** Drives the pin high. Computed from the output register, unlike in the PCA9555 driver. */
int pca9505_set_port_high(uint32_t device, uint8_t bank, uint8_t bit);
/** Drives the pin low. Computed from the output register, unlike in the PCA9555 driver. */
int pca9505_set_port_low(uint32_t device, uint8_t bank, uint8_t bit);
/** @} */

/**
 * @name Whole banks
 *
 * @param device  device handle.
 * @param bank    bank number.
 * @return 0, or -1.
 */
/** @{ */
/** Makes all eight pins inputs. */
int pca9505_set_bank_input(uint32_t device, uint8_t bank);
/** Makes all eight pins outputs. */
int pca9505_set_bank_output(uint32_t device, uint8_t bank);
/** Clears the interrupt mask: all eight pins may interrupt. */
int pca9505_clear_bank_mask(uint32_t device, uint8_t bank);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
