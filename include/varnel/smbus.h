/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_SMBUS_H
#define VARNEL_SMBUS_H

/**
 * @file
 * SMBus transactions. Each function calls exactly one platform primitive (platform.h), once; nothing is
 * retried.
 *
 * @par Device handle
 * `device` addresses a chip: the I2C bus number is in bits 0-7, the 7-bit slave address in bits 8-15. 0x6800
 * is bus 0, slave 0x68.
 *
 * @oddity{Handles are not checked} Bits 16-31 are ignored, and neither number is checked. A slave above 0x7F
 * is passed to the platform as it is. Build handles in one place.
 *
 * @par Results
 * Every transaction returns 0 on success and -1 on failure; nothing is printed, and errno is what the
 * platform set.
 *
 * @oddity{Results have 16 bits} Only the low 16 bits of a primitive's result count: a transfer has succeeded
 * when they equal the length asked for, a combined write-read when they are 0. A result of 0x10000 from a
 * write-read is therefore success. A platform must return -1 for failure.
 *
 * @oddity{Single bytes are read in place} A caller's result storage is untouched on failure, except in
 * smbus_recv_byte_to_device() and smbus_read_byte_to_device(), where the primitive reads directly into it.
 * Use it only when the result is 0.
 *
 * @par Null pointers
 *
 * @oddity{Null pointers end the process} A null result pointer is a programming error and ends the process
 * through an assertion before any bus traffic. Pointers to data to be written are not checked.
 *
 * @par Threads
 * No state and no lock: calls are as thread-safe as the platform's primitives. Sequences of calls are not
 * atomic.
 *
 * The protocols are those of SMBus 3.2 section 6.5, with blocks of up to 32 bytes and without PEC.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Quick command (SMBus 3.2 section 6.5.1): the address and its read/write bit, no data.
 *
 * @param device  device handle.
 * @param read    0 sends the write bit, anything else the read bit.
 * @return 0 when the chip acknowledged, -1 otherwise.
 */
int smbus_quick_to_device(uint32_t device, unsigned int read);

/**
 * Send byte (section 6.5.2).
 *
 * @param device  device handle.
 * @param byte    the one byte sent.
 * @return 0, or -1.
 */
int smbus_send_byte_to_device(uint32_t device, uint8_t byte);

/**
 * Receive byte (section 6.5.3).
 *
 * @param device  device handle.
 * @param byte    receives the byte; not null. After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int smbus_recv_byte_to_device(uint32_t device, uint8_t *byte);

/**
 * Write byte (section 6.5.4): command, data.
 *
 * @param device   device handle.
 * @param command  command code, on most chips a register number.
 * @param data     the byte written.
 * @return 0, or -1.
 */
int smbus_write_byte_to_device(uint32_t device, uint8_t command, uint8_t data);

/**
 * Read byte (section 6.5.5): command, repeated start, data.
 *
 * @param device   device handle.
 * @param command  command code.
 * @param byte     receives the byte; not null. After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int smbus_read_byte_to_device(uint32_t device, uint8_t command, uint8_t *byte);

/**
 * Write word (section 6.5.4): command, low byte, high byte.
 *
 * @param device   device handle.
 * @param command  command code.
 * @param word     the word written.
 * @return 0, or -1.
 */
int smbus_write_word_to_device(uint32_t device, uint8_t command, uint16_t word);

/**
 * Read word (section 6.5.5): command, repeated start, low byte, high byte.
 *
 * @param device   device handle.
 * @param command  command code.
 * @param word     receives the word; not null; untouched on failure.
 * @return 0, or -1.
 */
int smbus_read_word_to_device(uint32_t device, uint8_t command, uint16_t *word);

/**
 * Block write (section 6.5.7): command, count, data.
 *
 * @oddity{Block counts wrap} A count is taken modulo 256 and then silently clamped to 32; the call succeeds.
 * A count of 300 sends 32 bytes, 256 sends none. Keep counts within 32.
 *
 * @param device   device handle.
 * @param command  command code.
 * @param count    bytes in @p data, 0 to 32. 0 sends a count byte of 0.
 * @param data     the bytes; may be null only for a count of 0.
 * @return 0, or -1.
 */
int smbus_write_block_to_device(uint32_t device, uint8_t command, unsigned int count, const uint8_t *data);

/**
 * Block read (section 6.5.7): command, repeated start, count byte, data.
 *
 * @oddity{The count byte is ignored} The caller always gets the number of bytes it asked for: the count byte
 * that the chip sends is neither checked nor returned. When 5 bytes are asked for and the chip announces 2,
 * the call stores 5, and the last three are whatever was on the bus. Know the block's length.
 *
 * @param device   device handle.
 * @param command  command code.
 * @param count    bytes wanted; taken modulo 256, then silently clamped to 32.
 * @param block    receives that many bytes; not null; untouched on failure.
 * @return 0, or -1.
 */
int smbus_read_block_to_device(uint32_t device, uint8_t command, unsigned int count, uint8_t *block);

/**
 * Process call (section 6.5.6): writes a word and reads one in the same transaction.
 *
 * @param device           device handle.
 * @param command          command code.
 * @param word             the word written.
 * @param process_ret_val  receives the word read; not null; untouched on failure.
 * @return 0, or -1.
 */
int smbus_process_call_to_device(uint32_t device, uint8_t command, uint16_t word, uint16_t *process_ret_val);

/**
 * Block write-block read process call (section 6.5.8). Both blocks together share 32 bytes.
 *
 * @param device            device handle.
 * @param command           command code.
 * @param write_count       bytes to write, taken modulo 256.
 * @param write_data        the bytes.
 * @param read_count        bytes wanted; the count byte that the chip sends is ignored.
 * @param process_ret_vals  receives @p read_count bytes; not null; untouched on failure.
 * @return 0, or -1; -1 without bus traffic when either count is 0 or their sum exceeds 32.
 */
int smbus_block_write_block_read_process_call_to_device(uint32_t device, uint8_t command,
                                                        unsigned int write_count, const uint8_t *write_data,
                                                        uint8_t read_count, uint8_t *process_ret_vals);

/**
 * Raw transfer for chips that do not use the SMBus frames: write only, read only, or write then read,
 * depending on which buffers are given.
 *
 * @oddity{The command is not sent} @p command is ignored. Put a chip's command byte first in @p write_data.
 *
 * @param device        device handle.
 * @param command       not sent.
 * @param write_length  bytes in @p write_data, taken modulo 256.
 * @param write_data    the bytes, or null to read only.
 * @param read_length   bytes wanted.
 * @param read_data     receives them, or null to write only. Both null end the process through an assertion.
 *                      After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int smbus_flexible_write_read_to_device(uint32_t device, uint8_t command, unsigned int write_length,
                                        const uint8_t *write_data, uint8_t read_length, uint8_t *read_data);

/**
 * Prints bytes to standard output.
 *
 * @oddity{A newline comes first} The output is a newline, each byte as "0x%x " (5 is "0x5 "), and a newline.
 * Where output is at the start of a line, an empty line precedes the bytes. The format is for people, not for
 * parsers.
 *
 * @param buffer  the bytes.
 * @param length  how many; 0 or less prints the two newlines only.
 * @return what putchar returned for the last newline: 10, or EOF.
 */
int printf_buf(const uint8_t *buffer, int length);

#ifdef __cplusplus
}
#endif

#endif
