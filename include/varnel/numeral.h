/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_NUMERAL_H
#define VARNEL_NUMERAL_H

/**
 * @file
 * Byte order of integers and bit fields inside 64-bit integers.
 *
 * Nothing is allocated and nothing is kept between calls; every function may be called from any thread.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The host's byte-order code, for numeral_value_byte_order_convert().
 *
 * @oddity{The code is 0 on every host} The code means "the host's order", not big-endian or little-endian. Do
 * not branch on it.
 *
 * @return always 0, on every host.
 */
uint32_t get_host_byte_order(void);

/**
 * Converts the low bytes of @p value from one byte order to another.
 *
 * @oddity{Orders are only compared} The two codes are only compared: equal codes keep the order of the bytes,
 * any two different codes reverse it. The result is always truncated to the size, also for equal codes. Pass
 * 0 for the host's order and 1 for the opposite one.
 *
 * @param value       the integer; only its low bytes, as many as @p size_code says, are converted.
 * @param from_order  byte-order code of @p value (0 is the host's).
 * @param to_order    byte-order code wanted.
 * @param size_code   width: 0 = 1 byte, 1 = 2, 2 = 4, 3 = 8. Above 3, equal orders return @p value unchanged
 *                    and different orders return its lowest byte alone.
 * @return the converted value, zero-extended to 64 bits.
 */
uint64_t numeral_value_byte_order_convert(uint64_t value, uint32_t from_order, uint32_t to_order,
                                          uint32_t size_code);

/**
 * Writes a bit field in place: clears bits @p bit_index_a to @p bit_index_b and ORs @p value, shifted to the
 * lower of the two, into the integer.
 *
 * @oddity{Values are not masked} @p value is not masked to the field's width: its excess bits are ORed into
 * the bits above the field. Setting bits 4-7 of 0 to 0x1F gives 0x1F0. Pass values that fit.
 *
 * @param operated_integer  the integer to change; null ends the process through an assertion.
 * @param bit_index_a       one end of the field, 0 (least significant) to 63. The two ends may be given in
 *                          either order; both belong to the field.
 * @param bit_index_b       the other end. An upper end above 63 counts as 63; with both ends above 63 nothing
 *                          is changed.
 * @param value             the new contents of the field.
 *
 * The read-modify-write is not atomic.
 */
void set_bits_value(uint64_t *operated_integer, uint8_t bit_index_a, uint8_t bit_index_b, uint64_t value);

/**
 * Reads a bit field.
 *
 * @param integer      the integer to read from.
 * @param bit_index_a  one end of the field, as for set_bits_value().
 * @param bit_index_b  the other end.
 * @return the field's contents shifted down to bit 0; 0 when both ends are above 63.
 */
uint64_t get_bits_value(uint64_t integer, uint8_t bit_index_a, uint8_t bit_index_b);

#ifdef __cplusplus
}
#endif

#endif
