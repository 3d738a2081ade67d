/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PCA9555_H
#define VARNEL_PCA9555_H

/**
 * @file
 * PCA9555 16-bit and PCA9554 8-bit GPIO expanders (NXP datasheets, register tables).
 *
 * Ports (pins) are numbered 0-15: port p is bit p % 8 of bank p / 8.
 *
 * @oddity{Numbers are not checked} Port and bank numbers are not range-checked: a port of 16 or more
 * addresses registers that the chip does not have. Check them before the call.
 *
 * Every function returns 0, or -1 when a bus call failed.
 *
 * @oddity{Unlisted pins change} A function that takes a list of ports sets all other ports to the opposite.
 * List every port that matters.
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
 * @name Whole registers from a list of ports
 *
 * Each writes both banks of a PCA9555 register pair, low bank first; the second write is skipped when the
 * first failed. Pins that are not listed get the opposite setting.
 *
 * @param device  device handle (smbus.h).
 * @param ports   port numbers; numbers of 16 and more are ignored.
 * @param count   how many; 0 or less is an empty list.
 * @return 0, or -1.
 */
/** @{ */
/** Output registers 2 and 3: listed ports high, all others low. */
int pca9555_init_port_high(uint32_t device, const uint8_t *ports, int count);
/** Output registers 2 and 3: listed ports low, all others high. */
int pca9555_init_port_low(uint32_t device, const uint8_t *ports, int count);
/** Configuration registers 6 and 7: listed ports outputs, all others inputs. */
int pca9555_init_port_output(uint32_t device, const uint8_t *ports, int count);
/** Configuration registers 6 and 7: listed ports inputs, all others outputs. */
int pca9555_init_port_input(uint32_t device, const uint8_t *ports, int count);
/** @} */

/**
 * @name The same for the PCA9554
 *
 * One write each: output register 1 or configuration register 3. Port numbers of 8 and more are ignored.
 *
 * @param device  device handle.
 * @param ports   port numbers.
 * @param count   how many; 0 or less is an empty list.
 * @return 0, or -1.
 */
/** @{ */
/** Output register: listed ports high, all others low. */
int pca9554_init_port_high(uint32_t device, const uint8_t *ports, int count);
/** Output register: listed ports low, all others high. */
int pca9554_init_port_low(uint32_t device, const uint8_t *ports, int count);
/** Configuration register: listed ports outputs, all others inputs. */
int pca9554_init_port_output(uint32_t device, const uint8_t *ports, int count);
/** Configuration register: listed ports inputs, all others outputs. */
int pca9554_init_port_input(uint32_t device, const uint8_t *ports, int count);
/** @} */

/**
 * Drives one port high.
 *
 * @oddity{Levels are computed from the pins} The new output byte is computed from the bank's @b input
 * register, not from its output register: the other outputs of the bank are rewritten with the levels now
 * read on their pins. An output that is held low from outside is driven low afterwards. Write whole banks
 * where that can happen.
 *
 * @param device  device handle.
 * @param port    port number.
 * @return 0, or -1.
 */
int pca9555_set_port_high(uint32_t device, uint8_t port);

/**
 * Drives one port low; computed from the input register, as in pca9555_set_port_high().
 *
 * @param device  device handle.
 * @param port    port number.
 * @return 0, or -1.
 */
int pca9555_set_port_low(uint32_t device, uint8_t port);

/**
 * @name Direction of one port
 *
 * The other directions of its bank do not change.
 *
 * @param device  device handle.
 * @param port    port number.
 * @return 0, or -1.
 */
/** @{ */
/** Makes the port an input. */
int pca9555_set_port_input(uint32_t device, uint8_t port);
/** Makes the port an output. */
int pca9555_set_port_output(uint32_t device, uint8_t port);
/** @} */

/**
 * Reads one port's level from its input register.
 *
 * @param device  device handle.
 * @param port    port number.
 * @param data    receives 1 for high, 0 for low; not null. After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int pca9555_get_port_data(uint32_t device, uint8_t port, uint8_t *data);

/**
 * Reads one port's direction.
 *
 * @param device  device handle.
 * @param port    port number.
 * @param data    receives 1 for an input, 0 for an output; not null. After a failure it holds what the
 *                platform stored.
 * @return 0, or -1.
 */
int pca9555_get_port_dir(uint32_t device, uint8_t port, uint8_t *data);

/**
 * @name Whole banks
 *
 * @param device  device handle.
 * @param bank    0 or 1; not checked, the register is base + bank modulo 256.
 * @param data    the byte written, or the byte that receives the register; not null. After a failed read it
 *                holds what the platform stored.
 * @return 0, or -1.
 */
/** @{ */
/** Input register of bank 0 (ports 0-7). */
int pca9555_get_bank0_data(uint32_t device, uint8_t *data);
/** Input register of bank 1 (ports 8-15). */
int pca9555_get_bank1_data(uint32_t device, uint8_t *data);
/** Input register: levels on the pins. */
int pca9555_get_bank_data(uint32_t device, uint8_t bank, uint8_t *data);
/** Writes the output register. */
int pca9555_set_bank_data(uint32_t device, uint8_t bank, uint8_t data);
/** Output register: levels driven, not levels on the pins. */
int pca9555_get_bank_output(uint32_t device, uint8_t bank, uint8_t *data);
/** Configuration register: 1 = input. */
int pca9555_get_bank_dir(uint32_t device, uint8_t bank, uint8_t *data);
/** Writes the configuration register: 1 = input. */
int pca9555_set_bank_dir(uint32_t device, uint8_t bank, uint8_t data);
/** @} */

/**
 * Lists the ports that read high, in ascending order.
 *
 * @oddity{The count is an array of indices} @p count is not a counter but an array of indices. Word 0 is set
 * to 0; then the k-th port found (from 0) is stored in `ports[count[k]]`. No word is incremented, so the
 * number of ports found is not returned. To get all ports in order, preset @p count with 0 to 15, and fill
 * @p ports with a value that is not a port number:
 *
 * @code
 * uint8_t ports[16];
 * uint32_t count[16];
 * for (unsigned i = 0; i < 16; i++) { ports[i] = 0xFF; count[i] = i; }
 * pca9555_get_high_port(device, ports, count);
 * @endcode
 *
 * @param device  device handle.
 * @param ports   receives port numbers at the indices that @p count holds.
 * @param count   16 words of indices into @p ports. Neither array is touched unless both banks were read.
 * @return 0, or -1.
 */
int pca9555_get_high_port(uint32_t device, uint8_t *ports, uint32_t *count);

/**
 * Lists the ports that read low; otherwise as pca9555_get_high_port().
 *
 * @param device  device handle.
 * @param ports   as for pca9555_get_high_port().
 * @param count   as for pca9555_get_high_port().
 * @return 0, or -1.
 */
int pca9555_get_low_port(uint32_t device, uint8_t *ports, uint32_t *count);

#ifdef __cplusplus
}
#endif

#endif
