/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PCA9541_H
#define VARNEL_PCA9541_H

/**
 * @file
 * PCA9541 bus master selector: connects one of two masters to a shared bus (NXP datasheet, registers 0 to 2).
 *
 * Every function returns 0, or -1 when a bus call failed; nothing is printed.
 *
 * @par Threads
 * No state and no lock. Read-modify-write sequences are not atomic against other users of the chip; callers
 * serialise.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Registers of the chip. */
enum pca9541_register {
    PCA9541_REGISTER_INTERRUPT_ENABLE = 0, /**< pca9541_set_intmask() */
    PCA9541_REGISTER_CONTROL = 1,          /**< pca9541_read_ctrl() */
    PCA9541_REGISTER_INTERRUPT_STATUS = 2  /**< pca9541_get_intstatus() */
};

/** Bits of the control register as the reading master sees them. */
enum pca9541_control {
    PCA9541_CONTROL_MYBUS = 0x01,   /**< the bus is ours while MYBUS equals NMYBUS */
    PCA9541_CONTROL_NMYBUS = 0x02,  /**< MYBUS of the other master */
    PCA9541_CONTROL_BUSON = 0x04,   /**< the bus is connected while BUSON differs from NBUSON */
    PCA9541_CONTROL_NBUSON = 0x08,  /**< BUSON of the other master */
    PCA9541_CONTROL_BUSINIT = 0x10, /**< bus initialization requested */
    PCA9541_CONTROL_TESTON = 0x40,  /**< interrupt test requested */
    PCA9541_CONTROL_NTESTON = 0x80  /**< TESTON for the other master */
};

/**
 * Writes the interrupt enable register: a bit of 1 masks its interrupt.
 *
 * @param device  device handle (smbus.h).
 * @param mask    the byte written.
 * @return 0, or -1.
 */
int pca9541_set_intmask(uint32_t device, uint8_t mask);

/**
 * Reads the control register (enum pca9541_control).
 *
 * @param device  device handle.
 * @param byte    receives the register; not null. After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int pca9541_read_ctrl(uint32_t device, uint8_t *byte);

/**
 * Reads the interrupt status register.
 *
 * @param device  device handle.
 * @param byte    receives the register; not null. After a failure it holds what the platform stored.
 * @return 0, or -1.
 */
int pca9541_get_intstatus(uint32_t device, uint8_t *byte);

/** Writes 0 to the interrupt status register. @param device  device handle. @return 0, or -1. */
int pca9541_clear_intstatus(uint32_t device);

/**
 * Requests the downstream bus for this master with one read and one write of the control register: MYBUS =
 * NMYBUS, BUSON = not NBUSON, BUSINIT = 1, all other bits 0.
 *
 * @oddity{0 does not mean ownership} The call neither retries nor waits, and does not check the outcome. Read
 * the control register: this master has the bus when MYBUS equals NMYBUS and BUSON differs from NBUSON.
 *
 * @oddity{Two masters that take the bus together get nothing} When both read before either writes, each write is
 * made for a register that the other one changes: a bus that nobody had stays off, and both calls return 0.
 * Masters that try again together fail again. Wait before another try, each master for another time.
 *
 * @oddity{A take interrupts the other master} The selector is not a lock. The other master can take the bus
 * between any two transfers, also when both take it only while they see that nobody has it. The loser's next
 * transfer to the bus fails (ENXIO), and bit 3 (BUS_LOST) of its interrupt status is set. Take the bus and begin
 * all of the sequence again: a new take in the middle of it hides what the other master did in between. A
 * sequence of transfers that all succeeded after one take was not interrupted.
 *
 * A master that is killed or reset keeps the bus until the other one takes it.
 *
 * @param device  device handle.
 * @return 0 when both transfers succeeded, -1 otherwise.
 */
int pca9541_take_bus(uint32_t device);

#ifdef __cplusplus
}
#endif

#endif
