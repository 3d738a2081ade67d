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
 * All of them must be callable from several threads. Each call of an I2C function must be one bus transaction
 * that nothing else on the adapter interrupts.
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

/**
 * @name Queues (message.h)
 */
/** @{ */

/**
 * Takes an exclusive advisory lock on an open queue; waits while another process has it. A post goes ahead
 * without the lock when this fails, so it fails only when it must.
 *
 * fcntl(2) with F_SETLKW and F_WRLCK over the whole file will do; so will flock(2) where no two processes
 * share an open file description. (Locks of fcntl() do not hold off other threads of the same process.)
 *
 * @param fd  the queue, open for writing; -1 after a failed open.
 * @return 0, or -1.
 */
int file_lock_write(int fd);

/**
 * Releases the lock of file_lock_write(). Leave errno alone on success: the caller prints it afterwards.
 *
 * @param fd  as for file_lock_write().
 * @return 0, or -1.
 */
int file_unlock(int fd);

/**
 * The platform's debug output.
 *
 * @param level   where and how urgent, in the platform's own encoding; the library passes 0x82.
 * @param format  printf format, with its newline; the arguments follow.
 * @return anything; ignored.
 */
int IDBG_LINUXAPP_DbgOut(int level, const char *format, ...);
/** @} */

/**
 * @name IPMI relay (ipmi_relay.h)
 */
/** @{ */

/**
 * The device record of a controller: user name (16 bytes) at offset 2, password (20 bytes) at offset 18, both
 * ending early at a zero byte. The library reads nothing else of it.
 *
 * @param dev_id  controller: 0 is the SMC, n + 1 the BMC in slot n (1 to 256).
 * @return the record, readable until the caller's call has ended; @b never null, it is not checked.
 */
uint8_t *smc_get_shared_memory(int dev_id);

/**
 * The IPv4 address of a controller.
 *
 * @param dev_id  controller.
 * @param ip      receives dotted text, at most 19 characters and a zero byte; "0.0.0.0" when there is no
 *                address.
 * @return anything; ignored.
 */
int get_device_ip(int dev_id, char *ip);

/**
 * Opens an IPMI 2.0 LAN session.
 *
 * The meaning of the constants is the platform's; the library always passes these.
 *
 * @param session    storage for the session; the relay gives 32 zeroed bytes, aligned for any type. Keep what
 *                   is larger elsewhere and a pointer to it here.
 * @param host       IPv4 address as dotted text.
 * @param port       623.
 * @param user_name  up to 16 characters; @b not terminated when there are 16.
 * @param password   up to 20 characters; @b not terminated when there are 20.
 * @param arg6       6.
 * @param arg7       null.
 * @param arg8       null.
 * @param privilege  requested privilege level: 4, Administrator (IPMI 2.0 section 13.17).
 * @param arg10      1, or 4 for a session over UDP.
 * @param arg11      0x81.
 * @param arg12      0x20.
 * @param arg13      0.
 * @param arg14      0.
 * @param timeout    5.
 * @return 0 on success.
 */
uint16_t LIBIPMI_Create_IPMI20_Session(void *session, const char *host, uint16_t port, const char *user_name,
                                       const char *password, uint8_t arg6, uint8_t *arg7, uint8_t *arg8,
                                       uint8_t *privilege, uint8_t arg10, uint8_t arg11, uint8_t arg12,
                                       uint8_t arg13, uint8_t arg14, uint8_t timeout);

/**
 * Sends one raw command over a session and waits for the response.
 *
 * @param session   an open session.
 * @param arg2      0.
 * @param arg3      0x38.
 * @param cmd       command byte.
 * @param req       request data.
 * @param req_len   bytes in @p req.
 * @param res       receives the response.
 * @param res_len   length of the response; the daemons' pointer, handed through.
 * @param timeout   10.
 * @return 0 on success.
 */
uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *session, uint8_t arg2, uint8_t arg3, uint8_t cmd,
                                          uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len,
                                          int timeout);

/**
 * Closes a session and frees what belongs to it.
 *
 * @param session  a session that was opened; called once for each.
 * @return 0 on success.
 */
uint16_t LIBIPMI_CloseSession(void *session);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
