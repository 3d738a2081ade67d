/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_PLATFORM_H
#define VARNEL_PLATFORM_H

/**
 * @file
 * The port: the eleven functions that the library imports from the platform.
 *
 * The library defines none of them. A board's own libraries, libvarnel_platform for any Linux, or the
 * simulated board provide them, with C linkage. Each is bound when it is first called, so a program needs
 * only those of the families it uses:
 *
 * - SMBus and chip drivers: i2c_master_write_on_bus(), i2c_master_read_on_bus(), i2c_writeread_on_bus()
 * - queues: file_lock_write(), file_unlock(), IDBG_LINUXAPP_DbgOut()
 * - relay: smc_get_shared_memory(), get_device_ip(), LIBIPMI_Create_IPMI20_Session(),
 *   LIBIPMI_Send_RAW_IPMI2_0_Command(), LIBIPMI_CloseSession()
 *
 * This page is for authors of a platform: what the library passes, what it does with the result, and what it
 * requires. docs/porting.md has a command that checks each function.
 *
 * @par Threads
 * All must be callable from several threads at once, and in a child after fork(), whatever the parent's other
 * threads did at that moment. The library holds no lock around the calls.
 *
 * @par errno
 * The library passes the platform's errno on to its callers. The values that libvarnel_platform sets are
 * listed for each function; another platform may set other values.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name I2C
 *
 * Each call is one bus transaction that nothing else on the adapter interrupts: START, the phases with a
 * repeated START between them, STOP. A platform must not retry: a chip may have acted on a transfer that
 * failed, so callers decide.
 *
 * The library passes bus and slave from a device handle unchecked; a platform refuses those that it does not
 * have. Frames are 0 to 34 bytes written and 0 to 33 read, except in smbus_flexible_write_read_to_device(),
 * which passes up to 255 of each.
 *
 * @par errno of libvarnel_platform
 * - ENXIO, EREMOTEIO: no acknowledge; which one depends on the adapter's driver
 * - EINVAL: @p slave above 0x7F; more than 8192 bytes
 * - ENODEV: no such bus, or its adapter was removed
 * - EOPNOTSUPP: the adapter cannot do a transfer of this shape
 * - EPROTO: on an adapter that does only SMBus, the chip announced a shorter block than was asked for
 * - EIO: the transfer ended early
 * - others of the adapter's driver, such as EAGAIN (arbitration lost) and ETIMEDOUT (Linux,
 *   Documentation/i2c/fault-codes.rst), or of opening the bus, such as EACCES and EMFILE
 */
/** @{ */

/**
 * Writes @p length bytes to a slave: START, address with the write bit, bytes, STOP.
 *
 * @param bus     I2C adapter number.
 * @param slave   7-bit slave address, unshifted.
 * @param buffer  the bytes; readable even when @p length is 0.
 * @param length  number of bytes. 0 is an SMBus quick command: address and STOP only (SMBus 3.2 section
 *                6.5.1).
 * @return @p length when all were written. Anything else is a failure: a smaller count, or -1. SMBus
 *         functions compare only the low 16 bits, as a signed number; the PCA9505 driver compares the whole
 *         value.
 */
int i2c_master_write_on_bus(uint8_t bus, uint8_t slave, const uint8_t *buffer, uint16_t length);

/**
 * Reads @p length bytes from a slave: START, address with the read bit, bytes, STOP.
 *
 * @param bus     I2C adapter number.
 * @param slave   7-bit slave address, unshifted.
 * @param buffer  receives the bytes; writable for one byte even when @p length is 0. If possible, leave it
 *                unchanged on failure: smbus_recv_byte_to_device() passes its caller's own byte.
 * @param length  number of bytes; 0 is an SMBus quick command with the read bit.
 * @return as for i2c_master_write_on_bus().
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
 * @param read_length   number of bytes to read, exactly; also in a block read, where the first byte is the
 *                      chip's own count.
 * @return 0 on success, anything else on failure. @b Careful: callers compare only the low 16 bits, so
 *         0x10000 is success to them. Return -1 for failure, not a count.
 */
int i2c_writeread_on_bus(uint8_t bus, uint8_t slave, const uint8_t *write_buffer, uint8_t *read_buffer,
                         uint16_t write_length, uint16_t read_length);
/** @} */

/**
 * @name Queues (message.h)
 */
/** @{ */

/**
 * Locks a queue for one write. The lock excludes every other writer: another process that opened the queue
 * itself, a process that shares an inherited descriptor, and another thread of this process. Record locks of
 * fcntl() do not exclude threads, and a process loses them when any of its threads closes any descriptor of
 * the file, which post_message_to_named_queue() does. Locks of open file descriptions (F_OFD_SETLKW) and
 * flock() do not exclude processes that share an inherited descriptor.
 *
 * A failure does not stop the library: it prints a line, writes without the lock, and still calls
 * file_unlock().
 *
 * libvarnel_platform waits without limit; a signal does not end the wait, and the wait is not a cancellation
 * point. Locking again a file that the calling thread has locked succeeds and does not nest. One process can
 * lock at most 256 files at a time. A lock held by a thread that exits is released when the process ends.
 *
 * While the file is locked, libvarnel_platform keeps a descriptor of its own for it, opened through /proc;
 * unlocking closes it, which ends record locks that the process itself took on the file. The lock excludes
 * record locks of other processes on the whole file, and they exclude it. The calling thread must not take a
 * record lock while it holds the lock, because it would wait for itself. The file cannot always be opened
 * again: no /proc, permission denied by now, out of descriptors, a pipe without a reader, neither pipe nor
 * regular file. The lock is then a record lock and a lock among threads, and it no longer excludes other
 * processes after the process has closed any descriptor of the file.
 *
 * @param fd  descriptor open for writing; -1 after a failed open, for which the result must be -1.
 * @return 0; -1 on failure. errno is unchanged on success. libvarnel_platform: EBADF, not a descriptor or not
 *         open for writing; EDEADLK, the calling thread holds a lock that the holder waits for, as far as the
 *         kernel can detect it (not after a process closed a descriptor of a file that it has locked);
 *         ENOLCK, out of locks.
 */
int file_lock_write(int fd);

/**
 * Releases the lock of file_lock_write().
 *
 * @param fd  the same descriptor, or another one of the same file.
 * @return 0, also when the calling thread holds no lock (nothing changes then); -1 on failure. @b errno is
 *         unchanged on success: the library calls this between a failed write and the line that prints the
 *         write's errno. libvarnel_platform: EBADF; EPERM when another thread of the process holds the lock,
 *         which stays locked.
 */
int file_unlock(int fd);

/**
 * Debug output.
 *
 * @param level   the library passes 0x82. libvarnel_platform uses the low three bits as the syslog priority
 *                (0x82: LOG_CRIT) and ignores the others.
 * @param format  printf format, ending in a newline; the arguments follow.
 * @return ignored by the library. libvarnel_platform: the length of the text, or a negative value.
 *
 * libvarnel_platform calls syslog(). When a process forks while another of its threads is inside syslog(),
 * the lock of syslog() stays held in the child. libvarnel_platform then waits one second, once, and sends the
 * lines itself: with the program's name and LOG_USER instead of the arguments of openlog(), without a time,
 * and truncated to 8 KiB.
 *
 * errno must be unchanged after the call: the library prints it next.
 */
int IDBG_LINUXAPP_DbgOut(int level, const char *format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 2, 3)))
#endif
    ;
/** @} */

/**
 * @name Logins (ipmi_relay.h)
 *
 * Controllers have numbers: 0 is the SMC, n + 1 the BMC in slot n, so 0 to 256.
 */
/** @{ */

/** The login record of a controller, in bytes. The first two are not read. */
enum login_record_layout {
    LOGIN_USER_NAME_OFFSET = 2, /**< of the user name, terminated by a NUL unless it fills its field */
    LOGIN_USER_NAME_SIZE = 16,  /**< of the user name's field */
    LOGIN_PASSWORD_OFFSET = 18, /**< of the password, terminated by a NUL unless it fills its field */
    LOGIN_PASSWORD_SIZE = 20,   /**< of the password's field */
    LOGIN_RECORD_SIZE = 38      /**< of the record */
};

/**
 * The login record of a controller (enum login_record_layout).
 *
 * @param dev_id  controller number; may be any integer, because callers' numbers are not checked.
 * @return the record. @b Never null: the library reads LOGIN_RECORD_SIZE bytes without a check, so return a
 *         record of zeros for a controller that is not there. The record must not change while the library
 *         copies it: return a copy, not a live table. libvarnel_platform: a copy that belongs to the calling
 *         thread and is overwritten by its next call.
 */
uint8_t *smc_get_shared_memory(int dev_id);

/**
 * The address of a controller.
 *
 * @param dev_id  controller number, as above.
 * @param ip      receives the IPv4 address as dotted text and a NUL; room for 20 bytes. "0.0.0.0" means no
 *                address: the library then tries no session. It must be written in every case.
 * @return ignored by the library. libvarnel_platform: 0; -1 with ENODEV when there is none.
 */
int get_device_ip(int dev_id, char *ip);
/** @} */

/**
 * @name IPMI 2.0 sessions over LAN (ipmi_relay.h)
 *
 * The library uses the low 16 bits of a status: 0 is success, and all other values are treated as one
 * failure. A relay is one session: create, send one command, close. The library closes a session exactly when
 * its create succeeded.
 *
 * The statuses of libvarnel_platform_ipmi are listed in docs/porting.md.
 */
/** @{ */

/**
 * Opens a session.
 *
 * Each argument has one value, or two where stated. The platform defines the meaning of the unnamed ones;
 * libvarnel_platform_ipmi uses only the named ones.
 *
 * @param session    storage for the session. The relay passes 32 zeroed bytes; lan_create_session() passes
 *                   its caller's storage. If the session needs more than 32 bytes, store a pointer here.
 * @param host       IPv4 address as dotted text; never "0.0.0.0".
 * @param port       623 (IPMI 2.0 section 13.1.2).
 * @param user_name  16 bytes. @b Not terminated when the name has 16 characters: read no more than 16.
 * @param password   20 bytes. @b Not terminated when the password has 20 characters.
 * @param argument6  6.
 * @param argument7  null.
 * @param argument8  null.
 * @param privilege  privilege level asked for: 4, Administrator (IPMI 2.0 section 6.8). Writable.
 * @param argument10 1 from lan_create_session(), 4 from lan_create_session_over_udp().
 * @param argument11 0x81.
 * @param argument12 0x20.
 * @param argument13 0.
 * @param argument14 0.
 * @param timeout    5: seconds after which a host that does not answer counts as a failure.
 * @return 0 when the session is open. After any other result there is no close, so the platform must have
 *         freed everything.
 */
uint16_t LIBIPMI_Create_IPMI20_Session(void *session, const char *host, uint16_t port, const char *user_name,
                                       const char *password, uint8_t argument6, uint8_t *argument7,
                                       uint8_t *argument8, uint8_t *privilege, uint8_t argument10,
                                       uint8_t argument11, uint8_t argument12, uint8_t argument13,
                                       uint8_t argument14, uint8_t timeout);

/**
 * Sends one command and waits for its response.
 *
 * The five arguments before the time-out are the relay's caller's; the library passes them on unread.
 *
 * @param session       an open session.
 * @param lun           0.
 * @param net_function  0x38, an OEM network function (IPMI 2.0 section 5.1).
 * @param cmd           command byte.
 * @param req           request data; may be null for a length of 0.
 * @param req_len       bytes in @p req.
 * @param res           receives the response data. libvarnel_platform_ipmi: the completion code first, as on
 *                      the wire (IPMI 2.0 section 5.2), then the command's own bytes.
 * @param res_len       on entry the room in @p res, on return the bytes stored there. Agree on this with the
 *                      daemons: the library neither sets nor reads it.
 * @param timeout       10: seconds.
 * @return 0 when the command was carried out. libvarnel_platform_ipmi: a completion code other than 0 is
 *         returned as it is (1 to 255), with the response stored. When no answer came, all later commands of
 *         the session fail at once with 0x0106, because a late answer could be taken for theirs.
 */
uint16_t LIBIPMI_Send_RAW_IPMI2_0_Command(void *session, uint8_t lun, uint8_t net_function, uint8_t cmd,
                                          uint8_t *req, uint32_t req_len, uint8_t *res, uint32_t *res_len,
                                          int timeout);

/**
 * Closes a session and frees its resources, also when the other end no longer answers.
 *
 * @param session  an open session.
 * @return 0 on success. The relay ignores the status; lan_close_session() does not.
 */
uint16_t LIBIPMI_CloseSession(void *session);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
