/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_MESSAGE_H
#define VARNEL_MESSAGE_H

/**
 * @file
 * Record queues between processes. A queue is a named pipe (fifo(7)), a record is a @ref queue_message.
 *
 * The daemons create the pipe (mkfifo(3)), open it and own the descriptors. Any number of processes post; one
 * process reads. A writer holds the platform's file lock (file_lock_write(), platform.h) around its single
 * write(2). As far as that lock excludes other writers, records of any size do not mix. Records of up to
 * PIPE_BUF bytes never mix (pipe(7)).
 *
 * @par Choosing a record size
 * @oddity{A partial record desynchronises the queue} The stream has no marks between records: after a record
 * of which only a part was written, the reader misreads every later one. Two rules avoid this.
 * - Keep the payload at most 61440 bytes, and bytes 42 and 43 of the record zero: see below.
 * - Without blocking, and where signal handlers run, post records of at most PIPE_BUF bytes (4096 on Linux: a
 *   payload of 4052). The kernel writes those as a whole or not at all (pipe(7)). Of a larger record
 *   post_message_non_block() writes what still fits into a nearly full pipe. A blocking post that a signal
 *   handler interrupts, with or without SA_RESTART, has written what fitted before. Both return -1, and the
 *   rest of the record is lost.
 *   A process that is killed while its post waits for room has written what fitted, too.
 *
 * @oddity{Sizes have 16 bits} The post functions compute the record's size in 16 bits, (payload_len + 44)
 * modulo 65536, but the reader uses all 32 bits of payload_len. A payload_len of 65500 writes 8 bytes.
 *
 * To post larger records without blocking, make the pipe so large that it never fills:
 * `fcntl(fd, F_SETPIPE_SZ, bytes)` (fcntl(2); up to /proc/sys/fs/pipe-max-size, 1 MiB by default, without
 * privileges). A default pipe of 64 KiB holds one record of 61484 bytes and the first 44 bytes of a second
 * one.
 *
 * @par Standard output
 * @oddity{Failures are printed} Failures are printed to standard output, in the lines quoted below, which
 * operators' log filters match. A line shows the errno of the moment at which it is printed. After a short
 * write that is a value from before the call, and a platform's file_unlock() that sets errno changes it.
 * Redirect standard output to the log.
 *
 * @par Signals
 *
 * @oddity{Posting without a reader ends the process} Writing to a pipe that no process has open for reading
 * raises SIGPIPE in the caller, as write(2) does. Ignore the signal to get -1 instead.
 *
 * @par Threads
 * No state. The platform's lock decides whether two threads of one process exclude each other. The lock of
 * libvarnel_platform excludes threads and processes, whichever post function each of them calls. Record locks
 * of fcntl(2) alone do not exclude threads, and a process loses them when one of its threads returns from
 * post_message_to_named_queue(), which closes a descriptor of the pipe. While post_message_non_block()
 * writes, other users of the same open pipe see O_NONBLOCK. When its process is killed meanwhile, they go on
 * seeing it.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic" /* in C++ a flexible array member is an extension */
#endif

/** A record, byte for byte as in the pipe. Records need no alignment: any byte buffer will do. */
typedef struct queue_message {
    uint8_t header[40];   /**< the daemons' own: addresses, command codes; not used by the library */
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
 * Posts a record to an open pipe; waits while the pipe is full, unless @p fd is non-blocking.
 *
 * @oddity{Failed locks do not stop a post} When locking or unlocking fails, the post prints
 * "Varnel message.c : Error locking Queue" or "... unlocking Queue" and continues. The record is written
 * without the lock; records of up to 4096 bytes still do not mix.
 *
 * @param msg  the record; (payload_len + 44) modulo 65536 bytes of it are written.
 * @param fd   pipe open for writing.
 * @return 0, or -1 when the write failed or was short ("Message.c : PostMsg ERRNO TEXT", ERRNO in
 *         hexadecimal).
 */
int post_message(const queue_message *msg, int32_t fd);

/**
 * Posts a record without waiting for room in the pipe. It does wait for the lock.
 *
 * O_NONBLOCK is set for the duration of the write; then the descriptor's flags are restored.
 *
 * @param msg  the record, as for post_message().
 * @param fd   pipe open for writing.
 * @return 0, or -1 when the write failed or was short ("Message.c : PostMsgNonBlock -  TEXT", two spaces). A
 *         full pipe gives EAGAIN. To distinguish "nothing written" from "part written", which desynchronises
 *         the queue, set errno to 0 before the call: a short write does not change it.
 */
int post_message_non_block(const queue_message *msg, int32_t fd);

/**
 * Opens a pipe by its path, posts a record and closes it again.
 *
 * The open waits without limit until a reader has the pipe open. A signal handler that was installed without
 * SA_RESTART ends the wait, and the open fails (EINTR). A pipe that cannot be opened is reported through
 * IDBG_LINUXAPP_DbgOut() (level 0x82, "[message.c:103]Error opening named pipe PATH") and on standard error;
 * the lines for a failed lock, unlock and write follow, and the result is -1.
 *
 * @param msg   the record, as for post_message().
 * @param path  the pipe. It is not created. Any other file that can be opened for writing is overwritten from
 *              its beginning.
 * @return 0, or -1 when the write failed or was short ("Message.c : PostMsg TEXT").
 */
int post_message_to_named_queue(const queue_message *msg, const char *path);

/**
 * Receives a record.
 *
 * @oddity{A killed reader leaves part of a record} A call reads a record in two parts or more. When its process is killed
 * within a record, the next reader takes the rest for a record and misreads every later one; when it is killed after the
 * last part, the record is lost. End a reader between two calls, or let the next one empty the pipe.
 *
 * @oddity{The record decides how much is stored} No bound is checked: 44 bytes and the record's payload_len
 * bytes are stored. Give room for the largest record that any writer posts.
 *
 * @par How long it waits
 * @p timeout limits the wait for the record to begin.
 *
 * @oddity{The end of file does not end the call} As soon as select(2) reports the pipe as readable, the call
 * waits until a record is complete, whatever the time-out. That includes the end of file, when no process has
 * the pipe open for writing. The call then polls at least every 10 ms, which uses almost no processor time.
 * Open the pipe with O_RDWR: such a reader never sees the end of file, and its time-outs always work.
 *
 * @oddity{Long time-outs wrap} The time-out is computed in microseconds as a signed 32-bit number: 2148 s and
 * more, and numbers below -1, wrap around. About half of them become negative and fail (EINVAL); the others
 * become an unrelated wait of up to 2148 s.
 *
 * @par Errors
 * After an interrupted read (EINTR) and for an empty non-blocking pipe (EAGAIN) the call waits.
 *
 * @oddity{Failed reads return 0} Any other read error is not reported: the call returns 0. What could not be
 * read keeps the buffer's earlier content, including the length, which the call then uses. Zero the first 44
 * bytes before the call: a failed read then gives an empty record with a header of zeros.
 *
 * @param buf      receives header, length and payload. A payload_len below 1, as a signed number, means no
 *                 payload.
 * @param fd       pipe open for reading.
 * @param timeout  seconds; 0 does not wait; -1 waits for ever. 2147 is the longest; all other numbers wrap
 *                 around, see above.
 * @return 0, or -1 after the time-out (nothing is printed) or when select() failed
 *         ("Message.c : Error waiting on Queue TEXT"): a signal handler ran (EINTR), or @p fd is not open
 *         (EBADF, where the kernel notices). With a time-out, negative descriptors and those from 1024
 *         (FD_SETSIZE) on are refused in the same way (EBADF).
 */
int get_message(void *buf, int32_t fd, int16_t timeout);

/**
 * Estimates the number of records in a queue: its size in bytes, as fstat(2) reports it, divided by the size
 * of the largest record. Prints "Stat.st_size = SIZE", in hexadecimal, on every call.
 *
 * @oddity{The result is 0 on Linux} Linux reports a size of 0 for every pipe, so the result is always 0 for
 * one. It is a number of records where a queue is kept in a file. For a pipe use ioctl(FIONREAD).
 *
 * @param fd  descriptor of the queue.
 * @return number of largest records, rounded down; 0 when fstat() failed ("Error Stat.st_size = 0").
 */
int message_number_in_queue(int32_t fd);

#ifdef __cplusplus
}
#endif

#endif
