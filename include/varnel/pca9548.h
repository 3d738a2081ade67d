/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PCA9548_H
#define VARNEL_PCA9548_H

/**
 * @file
 * PCA9548 8-channel I2C multiplexer (NXP datasheet, control register).
 *
 * @oddity{Channels are a control byte} `channel` is the control byte itself, not a channel number: bit n
 * enables channel n, so several channels can be on at once and 0 disconnects all. Channel 3 alone is 0x08; 3
 * connects channels 0 and 1. Pass `1 << n`.
 *
 * Every function returns 0, or -1 when the bus call failed.
 *
 * @par Diagnostics
 *
 * @oddity{Failed calls are printed} When a bus call fails, the function prints one line to standard output,
 * `FILE:LINE:FUNCTION():CALL`, and returns -1. Later steps are not sent and nothing is retried. The line
 * numbers are fixed parts of the text and do not refer to the source. errno is the platform's, even when the
 * line could not be printed. Redirect standard output to the log.
 *
 * @par Threads
 * No state and no lock. Callers serialise the sequence of selecting a channel and using a chip behind it.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Connects channels.
 *
 * @param device   device handle (smbus.h).
 * @param channel  control byte, a bit per channel.
 * @return 0, or -1.
 */
int pca9548_enable_channel(uint32_t device, uint8_t channel);

/**
 * Reads the control byte.
 *
 * @param device   device handle.
 * @param channel  receives it; not null. After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int pca9548_get_channel(uint32_t device, uint8_t *channel);

/** Disconnects all channels. @param device  device handle. @return 0, or -1. */
int pca9548_disable_channel(uint32_t device);

#ifdef __cplusplus
}
#endif

#endif
