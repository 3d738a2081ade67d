/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PLATFORM_H
#define VARNEL_PLATFORM_H

/**
 * @file
 * The port: functions that the library imports from whatever stands under it.
 *
 * The library defines none of these. A board's own libraries, or the simulated board, provide them with C
 * linkage; each is bound when it is first called, so a program that uses no bus needs no bus library.
 *
 * All of them must be callable from several threads, and each call must be one bus transaction that nothing
 * else on the adapter interrupts.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes @p length bytes to a slave: START, address with the write bit, bytes, STOP.
 *
 * @param bus     I2C adapter number.
 * @param slave   7-bit slave address, unshifted.
 * @param buffer  the bytes; readable even when @p length is 0.
 * @param length  number of bytes. 0 is an SMBus quick command: address and STOP only (SMBus 3.2
 * section 6.5.1).
 * @return the number of bytes written, or a negative value. SMBus functions look at the low 16 bits only; the
 *         PCA9505 driver at the whole value.
 */
int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length);

/**
 * Reads @p length bytes from a slave: START, address with the read bit, bytes, STOP.
 *
 * @param bus     I2C adapter number.
 * @param slave   7-bit slave address, unshifted.
 * @param buffer  receives the bytes; writable for one byte even when @p length is 0.
 * @param length  number of bytes; 0 is an SMBus quick command with the read bit.
 * @return the number of bytes read, or a negative value; judged as for i2c_master_write_on_bus().
 */
int i2c_master_read_on_bus(uint8_t bus, uint8_t slave, uint8_t *buffer, uint16_t length);

/**
 * Writes, then reads from the same slave with a repeated START in between, as one transaction.
 *
 * @param bus           I2C adapter number.
 * @param slave         7-bit slave address, unshifted.
 * @param write_buffer  the bytes to write.
 * @param read_buffer   receives the bytes read. What it holds before the call is not part of the transaction.
 * @param write_length  number of bytes to write.
 * @param read_length   number of bytes to read.
 * @return 0 on success, anything else on failure. Callers look at the low 16 bits only.
 */
int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length);

#ifdef __cplusplus
}
#endif

#endif
