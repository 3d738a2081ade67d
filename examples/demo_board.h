/* SPDX-License-Identifier: Apache-2.0 */
/* Addresses and pins of the board examples/boards/demo.ini, for the daemons that run on it. */
#ifndef EXAMPLES_DEMO_BOARD_H
#define EXAMPLES_DEMO_BOARD_H

#include <stdbool.h>
#include <stdint.h>

#include "varnel/pca9548.h"

/* Device handles: bus in bits 0-7, slave address in bits 8-15. */
#define DEVICE(bus, slave) ((uint32_t)(slave) << 8 | (bus))

static const uint32_t selector = DEVICE(0, 0x74);
static const uint32_t supply_mux = DEVICE(0, 0x70);
static const uint32_t supply = DEVICE(0, 0x58); /* the same address behind each channel of the mux */
static const uint32_t status_expander = DEVICE(0, 0x20);

enum { SUPPLIES = 2 };

/* Ports of the status expander. A supply's presence port is low when it is plugged in. */
enum { LED_OK = 0, LED_FAULT = 1, PRESENCE = 8 /* of supply 0; supply n has PRESENCE + n */ };

/* Control byte of the mux that connects a supply. */
static inline uint8_t channel_of(int supply_number) { return (uint8_t)(1u << supply_number); }

/* Disconnects the supplies, and makes sure of it; tries again, as a transfer may fail or bits be disturbed. */
static inline bool disconnect_supplies(void) {
    for (int tries = 0; tries < 3; tries++) {
        uint8_t connected = 0xFF;
        if (pca9548_disable_channel(supply_mux) == 0 && pca9548_get_channel(supply_mux, &connected) == 0 &&
            connected == 0) {
            return true;
        }
    }
    return false;
}

#endif
