/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PCA9548_H
#define VARNEL_PCA9548_H

/**
 * @file
 * PCA9548 8-channel I2C multiplexer (NXP datasheet, control register).
 *
 * @oddity{Channels are a control byte} `channel` is the control byte itself, not a channel number: bit n
 * enables channel n, so several channels can be on at once and 0 disconnects all. Channel 3 alone is 0x08,
 * while 3 connects channels 0 and 1: pass `1 << n`.
 *
 * Every function returns 0, or -1 when the bus call failed.
 *
 * @par Diagnostics
 *
 * @oddity{Failed calls are printed} A failed bus call prints one line to standard output,
 * `FILE:LINE:FUNCTION():CALL`, and ends the function with -1; later steps are not sent and nothing is
 * retried. The line numbers belong to the text. errno is the platform's, even when the line could not be
 * printed. Keep standard output for the log.
 *
 * @par Threads
 * No state and no lock. Selecting a channel and using a chip behind it is a sequence that callers serialise.
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
 * @param channel  receives it; not null. After a failure it holds what the bus left there.
 * @return 0, or -1.
 */
int pca9548_get_channel(uint32_t device, uint8_t *channel);

/** Disconnects all channels. @param device  device handle. @return 0, or -1. */
int pca9548_disable_channel(uint32_t device);

#ifdef __cplusplus
}
#endif

#endif
