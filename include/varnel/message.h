/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_MESSAGE_H
#define VARNEL_MESSAGE_H

/**
 * @file
 * Record queues between processes: a queue is a named pipe (fifo(7)), a record is a @ref queue_message.
 *
 * The daemons make the pipe (mkfifo(3)), open it and own the descriptors. Any number of processes post; one
 * process reads. A writer holds the platform's file lock (file_lock_write(), platform.h) around its one
 * write(2): as far as that lock excludes the other writers, records do not mix, whatever their size. Records
 * of up to PIPE_BUF bytes never mix (pipe(7)).
 *
 * @par Choosing a record size
 * @oddity{A part spoils the queue} The stream has no marks between records: a record written in part puts
 * every later one out of step. Two rules keep clear of that.
 * - Payload at most 61440 bytes, and bytes 42 and 43 of the record zero: see below.
 * - Without blocking, and wherever signal handlers run, post records of at most PIPE_BUF bytes (4096 on
 *   Linux: a payload of 4052). The kernel writes those as a whole or not at all (pipe(7)). Of a larger one
 *   post_message_non_block() writes what still fits into a nearly full pipe, and a blocking post that a
 *   signal handler interrupts, SA_RESTART or not, writes what went in before; both return -1, and the rest of
 *   the record is lost.
 *
 * @oddity{Sizes of 16 bits} Posting computes the record's size in 16 bits, (payload_len + 44) modulo 65536,
 * while the reader takes all 32 bits of payload_len: a payload_len of 65500 writes 8 bytes.
 *
 * Where larger records must go without blocking, make the pipe so large that it never fills: `fcntl(fd,
 * F_SETPIPE_SZ, bytes)` (fcntl(2); up to /proc/sys/fs/pipe-max-size, 1 MiB by default, without privileges). A
 * default pipe of 64 KiB takes one record of 61484 bytes and, of a second one, the first 44 bytes.
 *
 * @par Standard output
 * @oddity{Failures are printed} To standard output, in the lines quoted below, where operators' log filters
 * find them. The errno a line shows is the one of its moment: after a write that was merely short it is older
 * than the call, and a platform's file_unlock() that sets errno decides what is shown. Keep standard output
 * for the log.
 *
 * @par Signals
 *
 * @oddity{A missing reader ends the process} Writing to a pipe that no process has open for reading raises
 * SIGPIPE in the caller, as write(2) does. A daemon that wants -1 instead ignores the signal.
 *
 * @par Threads
 * No state. Whether two threads of one process exclude each other is up to the platform's lock. That of
 * libvarnel_platform excludes threads and processes, however each of them posts. Record locks of fcntl(2)
 * alone do not exclude threads, and a process loses them when one of its threads ends
 * post_message_to_named_queue(), which closes a descriptor of the pipe. While post_message_non_block()
 * writes, other users of the same open pipe see O_NONBLOCK.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic" /* in C++ a flexible array member is an extension */
#endif

/** A record, byte for byte as it travels. Records need no alignment: any byte buffer will do. */
typedef struct queue_message {
    uint8_t header[40]; /**< the daemons' own: addresses, command codes and the like; never looked at here */
    uint32_t payload_len; /**< bytes in @ref payload, little-endian; at most QUEUE_MESSAGE_PAYLOAD_MAX */
    uint8_t payload[];    /**< message body */
} queue_message;

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/** Sizes in bytes. */
enum queue_message_size {
    QUEUE_MESSAGE_HEADER_SIZE = 44,    /**< of a record without payload */
    QUEUE_MESSAGE_PAYLOAD_MAX = 61440, /**< of the largest payload */
    QUEUE_MESSAGE_RECORD_MAX = 61484   /**< of the largest record */
};

/**
 * Posts a record to an open pipe. Waits while the pipe is full, unless @p fd is non-blocking.
 *
 * @oddity{Failed locks do not stop a post} A lock that fails prints "Varnel message.c : Error locking Queue"
 * or "... unlocking Queue" and changes nothing else. The record is written without the lock; records of up to
 * 4096 bytes do not mix all the same.
 *
 * @param msg  the record; (payload_len + 44) modulo 65536 bytes of it are written.
 * @param fd   pipe open for writing.
 * @return 0, or -1 when the write failed or was short ("Message.c : PostMsg ERRNO TEXT", ERRNO in
 *         hexadecimal).
 */
int post_message(const queue_message *msg, int32_t fd);

/**
 * Posts a record without waiting for room in the pipe. (It does wait for the lock.)
 *
 * O_NONBLOCK is set for the duration of the write; then the descriptor's flags are put back as they were.
 *
 * @param msg  the record, as for post_message().
 * @param fd   pipe open for writing.
 * @return 0, or -1 when the write failed or was short ("Message.c : PostMsgNonBlock -  TEXT", two blanks). A
 *         full pipe is EAGAIN. To tell "nothing written" from "part written", which spoils the queue, set
 *         errno to 0 before the call: a short write leaves it there.
 */
int post_message_non_block(const queue_message *msg, int32_t fd);

/**
 * Opens a pipe by its path, posts a record and closes it again.
 *
 * The open waits until a reader has the pipe open, for ever if need be; a signal handler that was installed
 * without SA_RESTART ends the wait, and the open has failed (EINTR). A pipe that cannot be opened is
 * reported through IDBG_LINUXAPP_DbgOut() (level 0x82, "[message.c:103]Error opening named pipe PATH") and on
 * standard error; the lines for a failed lock, unlock and write follow, and the result is -1.
 *
 * @param msg   the record, as for post_message().
 * @param path  the pipe. It is not created; anything else that opens for writing is written to, at its
 *              beginning.
 * @return 0, or -1 when the write failed or was short ("Message.c : PostMsg TEXT").
 */
int post_message_to_named_queue(const queue_message *msg, const char *path);

/**
 * Receives a record.
 *
 * @oddity{The record decides how much is stored} No bound is checked: 44 bytes and what payload_len says.
 * Give room for the largest record that anybody posts.
 *
 * @par How long it waits
 * @p timeout limits the wait for the record to begin.
 *
 * @oddity{The end of a pipe is waited out} Once anything can be read, the call stays until the record is
 * complete: at the end of file, too, that is while no process has the pipe open for writing, where select(2)
 * reports the pipe as readable. It then sleeps and looks again, at least every 10 ms; it uses next to no
 * processor time. A reader that opens its pipe with O_RDWR never sees the end of file, and its time-outs
 * always work.
 *
 * @oddity{Long time-outs wrap} The wait is handed to select(2) in microseconds of 32 bits, signed: 2148 s and
 * more, and numbers below -1, wrap around. About half of them become negative and fail (EINVAL); the others
 * become a wait of up to 2148 s that has nothing to do with the number.
 *
 * @par Errors
 * Interrupted reads (EINTR) and an empty non-blocking pipe (EAGAIN) are waited out.
 *
 * @oddity{Failed reads are a success} Any other read error is not reported: the call returns 0, and what
 * could not be read keeps the buffer's earlier content, the length included, which is then acted upon. Zero
 * the first 44 bytes before the call, and a failed read looks like an empty record with a header of zeros.
 *
 * @param buf      receives header, length and payload. A payload_len below 1, taken as a signed number, means
 *                 no payload.
 * @param fd       pipe open for reading.
 * @param timeout  seconds; 0 does not wait; -1 waits for ever. 2147 s is the longest; all other
 *                 numbers wrap around, see above.
 * @return 0, or -1 when the time is over (nothing printed) or select() failed ("Message.c : Error waiting on
 *         Queue TEXT"): a signal handler ran (EINTR), or @p fd is not open (EBADF, where the kernel notices).
 *         With a time-out, negative descriptors and those from 1024 (FD_SETSIZE) on are refused in the same
 *         way (EBADF).
 */
int get_message(void *buf, int32_t fd, int16_t timeout);

/**
 * Estimates the number of records in a queue: its size in bytes, as fstat(2) tells it, divided by the size of
 * the largest record. Prints "Stat.st_size = SIZE" in hexadecimal, on every call.
 *
 * @oddity{0 on Linux} Linux tells a size of 0 for every pipe, so the result is 0 there; it counts where a
 * queue is kept in a file. There, ask ioctl(FIONREAD).
 *
 * @param fd  descriptor of the queue.
 * @return number of largest records, rounded down; 0 when fstat() failed ("Error Stat.st_size = 0").
 */
int message_number_in_queue(int32_t fd);

#ifdef __cplusplus
}
#endif

#endif
