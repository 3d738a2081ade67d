/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_LAN_TRANSFER_H
#define VARNEL_LAN_TRANSFER_H

/**
 * @file
 * Copies one file from one controller to others, over TCP port LAN_TRANSFER_PORT.
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
 * pthread_join(server, NULL);       // order must live until here
 * @endcode
 *
 * @par On the wire
 * Four bytes with the size of the file, in the sender's byte order (little-endian on the boards), then the
 * bytes of the file. No checksum, no acknowledgement.
 *
 * @par Security
 *
 * @oddity{Nobody is asked who they are} Nothing is authenticated or encrypted: whoever reaches the port gets
 * the file, and whoever answers there decides what the receiver stores, of any length. Use it on a management
 * network only, and check what arrives (length, digest, signature) before using it.
 *
 * @par Files of 2 GiB and more
 * The size is 32 bits wide, and the receiver counts in signed 32 bits: do not send them.
 *
 * @par Threads
 * Any number of threads may receive at the same time, into different files. One thread of the machine sends:
 * a second one cannot have the port, and ends at once. @ref g_transfer_server_ok and the sender's
 * @ref lan_transfer_arg::count are the only state that threads share; both are written atomically.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Fixed numbers of the transfer. */
enum lan_transfer_constant {
    LAN_TRANSFER_PORT = 7000,    /**< TCP port of the sender */
    LAN_TRANSFER_CHUNK = 262144, /**< bytes per send, and of the buffer that both sides keep on the stack */
    LAN_TRANSFER_STACK_SIZE = 327680 /**< bytes of stack that suffice for a thread that sends or receives */
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic" /* in C++ a flexible array member is an extension */
#endif

/** What lan_transfer_file() is to send, and how often. */
typedef struct lan_transfer_arg {
    uint8_t count; /**< clients to serve; counted down after each, so it tells how many are still to come */
    char path[];   /**< path of the file, terminated by a zero byte */
} lan_transfer_arg;

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/**
 * Set to 1 by the sending thread just before it listens, for each client anew; never cleared here. The write
 * is atomic: a thread that polls it (with an atomic load) sees the change. A client that connects in the
 * instant between the two is still refused and tries again.
 */
extern int g_transfer_server_ok;

/**
 * Thread start routine: serves a file to @ref lan_transfer_arg::count clients, one after another, on all
 * interfaces.
 *
 * @oddity{It ends its thread} It ends the thread with pthread_exit(NULL) and never returns: one second after
 * the last client, or at once and without a word when the socket cannot be made or bound (another server has
 * the port), when the file cannot be opened, or when listen(2) or accept(2) fails, a signal handler's EINTR
 * included. After pthread_join() `count` tells what was done.
 *
 * - The file is opened once, its size taken anew for each client.
 * - A client that goes away is counted as served, and the next one is waited for. SIGPIPE is blocked in this
 *   thread, so that it never ends the process.
 * - There is no time limit: a client that reads nothing holds up the others.
 * - After a failed listen or accept the file stays open.
 *
 * @oddity{Connections stay open} The connection of each client but the last stays open until the process
 * ends, one descriptor each: clients go by the size, not by the end of file. After an empty file they have
 * nothing to go by: each client but the last waits until the sender's process ends. Do not send empty files
 * to more than one client. Serve in a process of its own.
 *
 * @oddity{Descriptor 0 is closed} When the file cannot be opened, descriptor 0 is closed; when `count` is 0,
 * too, one second later. Keep descriptor 0 on /dev/null and expect it to be gone. The next open(2) returns
 * it.
 *
 * @oddity{Signals make gaps} A send that the kernel ends early (a signal handler ran) is not continued: the
 * rest of that chunk is missing on the wire, and the client, who counts, waits for it. Block signals in this
 * thread.
 *
 * @par Stack and start
 * The thread needs a little more than LAN_TRANSFER_CHUNK bytes of stack; LAN_TRANSFER_STACK_SIZE suffices.
 * (The C library's default follows `ulimit -s`.) pthread_exit() of the GNU C library loads libgcc_s.so.1 when
 * it is first called and ends the process when there is none: a root file system on which this function runs
 * contains it.
 *
 * @param arg  a @ref lan_transfer_arg, alive and in place until the thread has ended.
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
 * Connects to a sender and writes what arrives to a file.
 *
 * @oddity{Short files are a success} Receiving ends when the announced size has arrived or the sender closes:
 * a connection that broke in a clean way gives 0 and a short file. After an empty file the call waits for the
 * close: one second for the sender's last client, until the sender's process ends for the others. What
 * arrives beyond the announced size, in the same recv(2), is written too. Compare size and digest.
 *
 * Needs LAN_TRANSFER_CHUNK bytes of stack and a little more.
 *
 * errno is that of the failed call as far as closing the socket leaves it. With LAN_TRANSFER_RECEIVE_FAILED
 * and LAN_TRANSFER_WRITE_FAILED the last bytes that were received may not be in the file. The end of writing
 * is not checked: a disk that fills up with the last few kilobytes still gives 0. Compare sizes.
 *
 * @param path  file to create or to overwrite.
 * @param ip    IPv4 address of the sender, in a form that inet_aton(3) takes.
 * @return enum lan_transfer_result.
 */
int mma_lan_transfer(const char *path, const char *ip);

#ifdef __cplusplus
}
#endif

#endif
