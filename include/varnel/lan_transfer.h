/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_LAN_TRANSFER_H
#define VARNEL_LAN_TRANSFER_H

/**
 * @file
 * Copies one file from one controller to others over TCP, port LAN_TRANSFER_PORT.
 *
 * The sender runs lan_transfer_file() as a thread; each receiver calls mma_lan_transfer().
 *
 * @code
 * struct { uint8_t count; char path[32]; } order = {3, "/var/firmware.bin"};   // three receivers
 * pthread_attr_t attributes;
 * pthread_t server;
 * pthread_attr_init(&attributes);
 * pthread_attr_setstacksize(&attributes, LAN_TRANSFER_STACK_SIZE);
 * pthread_create(&server, &attributes, lan_transfer_file, &order);
 * pthread_attr_destroy(&attributes);
 * ...
 * pthread_join(server, NULL);       // order must exist until here
 * @endcode
 *
 * @par On the wire
 * Four bytes with the size of the file, in the sender's byte order (little-endian on the boards), then the
 * bytes of the file. No checksum, no acknowledgement. The receiver must have the same byte order.
 *
 * @par Security
 *
 * @oddity{No authentication} Nothing is authenticated or encrypted. Any host that can connect to the port
 * gets the file, and any host that answers there decides what the receiver stores, of any length. Use the
 * transfer on a management network only, and check what was received (length, digest, signature) before using
 * it.
 *
 * @par Files of 2 GiB and more
 * Do not send them: the size is 32 bits wide, and the receiver counts in signed 32 bits.
 *
 * @par Threads
 * Any number of threads may receive at the same time, into different files. Only one thread of the machine
 * can send: a second one cannot bind the port and ends at once. @ref g_transfer_server_ok and the sender's
 * @ref lan_transfer_arg::count are the only shared state; both are written atomically.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Fixed numbers of the transfer. */
enum lan_transfer_constant {
    LAN_TRANSFER_PORT = 7000,    /**< TCP port of the sender */
    LAN_TRANSFER_CHUNK = 262144, /**< bytes per send, and of the buffer that both sides keep on the stack */
    LAN_TRANSFER_STACK_SIZE = 327680 /**< bytes of stack for a thread that sends or receives */
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic" /* in C++ a flexible array member is an extension */
#endif

/** What lan_transfer_file() is to send, and how often. */
typedef struct lan_transfer_arg {
    uint8_t count; /**< clients to serve; decremented after each: the number still to be served */
    char path[];   /**< path of the file, terminated by a NUL */
} lan_transfer_arg;

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/**
 * Set to 1 by the sending thread immediately before it listens, for each client again; the library never
 * clears it. The write is atomic: a thread that polls it (with an atomic load) sees the change. A client that
 * connects between the write and listen(2) is refused and tries again.
 */
extern int g_transfer_server_ok;

/**
 * Thread start routine: serves a file to @ref lan_transfer_arg::count clients, one after another, on all
 * interfaces.
 *
 * @oddity{The call ends its thread} It ends the thread with pthread_exit(NULL) and never returns. It does so
 * one second after the last client, and at once, without a message, when the socket cannot be created or
 * bound (another server has the port), when the file cannot be opened, or when listen(2) or accept(2) fails,
 * also with EINTR after a signal handler. After pthread_join() check `count`: it is the number of clients not
 * served.
 *
 * - The file is opened once; its size is read again for each client.
 * - A client that disconnects counts as served, even one that is killed before it is accepted, and the sender waits for
 *   the next one. SIGPIPE is blocked in this thread, so it does not end the process.
 * - There is no time limit: a client that reads nothing delays the others.
 * - After a failed listen or accept the file stays open.
 *
 * @oddity{Connections stay open} The connection of each client but the last stays open, with its descriptor,
 * until the process ends: clients count bytes and do not wait for the end of file. After an empty file there
 * is nothing to count, and each client but the last waits until the sender's process ends. Run the sender in
 * a process of its own, and do not send empty files to more than one client.
 *
 * @oddity{Descriptor 0 is closed} Descriptor 0 is closed when the file cannot be opened, and also when
 * `count` is 0, one second later. The next open(2) then returns 0. Open /dev/null as descriptor 0 and expect
 * it to be closed.
 *
 * @oddity{Signals leave gaps in the file} A send that the kernel ends early, because a signal handler ran, is
 * not continued: the rest of that chunk is never sent, and the client waits for it. Block signals in this
 * thread.
 *
 * @par Stack and start
 * The thread needs a little more than LAN_TRANSFER_CHUNK bytes of stack; LAN_TRANSFER_STACK_SIZE is enough.
 * (The C library's default follows `ulimit -s`.) pthread_exit() of the GNU C library loads libgcc_s.so.1 on
 * its first call and ends the process when that library is missing: install it on the board.
 *
 * @param arg  a @ref lan_transfer_arg, which must exist until the thread has ended.
 * @return never.
 */
void *lan_transfer_file(void *arg);

/** What mma_lan_transfer() returns, and what it leaves open. */
enum lan_transfer_result {
    LAN_TRANSFER_RECEIVED = 0,       /**< received, or the sender closed */
    LAN_TRANSFER_NO_SOCKET = 1,      /**< no socket */
    LAN_TRANSFER_NO_REUSE = 2,       /**< SO_REUSEADDR refused; the socket stays open */
    LAN_TRANSFER_NO_LOCAL_PORT = 3,  /**< no local port; the socket stays open */
    LAN_TRANSFER_BAD_ADDRESS = 4,    /**< no IPv4 address, for example 256.1.1.1; the socket stays open */
    LAN_TRANSFER_NO_CONNECTION = 5,  /**< no connection */
    LAN_TRANSFER_NO_FILE = 6,        /**< file cannot be created */
    LAN_TRANSFER_RECEIVE_FAILED = 7, /**< receiving failed; the file stays open */
    LAN_TRANSFER_WRITE_FAILED = 8    /**< writing failed; the file stays open */
};

/**
 * Connects to a sender and writes what it receives to a file.
 *
 * @oddity{Short files return 0} Receiving ends when the announced size has been received or the sender closes
 * the connection: when it closes early, the result is 0 and the file is short. After an empty file the call
 * waits for the close: one second for the sender's last client, until the sender's process ends for the
 * others. A receiver that connects while the sender serves the last of its `count` clients gets 0 and an empty file
 * when the sender ends. Bytes beyond the announced size that come with the same recv(2) are written too. Compare size
 * and digest.
 *
 * @oddity{A size in pieces spoils the file} The size is read with one recv(2). When the network delivers its four bytes
 * in pieces, or a signal handler interrupts that call, those that come later are stored as the beginning of the file,
 * and receiving ends at another size, usually with 0. Compare size and digest.
 *
 * Needs a little more than LAN_TRANSFER_CHUNK bytes of stack. A process that is killed in the call leaves the
 * beginning of what was sent, or an empty file.
 *
 * errno is that of the failed call, unless closing the socket changes it. After LAN_TRANSFER_RECEIVE_FAILED and
 * LAN_TRANSFER_WRITE_FAILED the last bytes received may be missing from the file. The final flush is not
 * checked: when the disk fills up with the last few kilobytes, the result is still 0. Compare sizes.
 *
 * @param path  file to create or to overwrite.
 * @param ip    IPv4 address of the sender, in a form that inet_aton(3) accepts.
 * @return enum lan_transfer_result.
 */
int mma_lan_transfer(const char *path, const char *ip);

#ifdef __cplusplus
}
#endif

#endif
