/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_TEXT_LOG_H
#define VARNEL_TEXT_LOG_H

/**
 * @file
 * Text log files that are kept small: a file that has outgrown its limit is moved to the same path with
 * ".old" appended, replacing the one before, and a new one is begun.
 *
 * @par An entry
 * is two lines: the local date and time as ctime() prints it, then a tab and the message:
 * @code
 * Wed Jun 30 21:49:08 1993
 * <tab>fan 2 stopped
 * @endcode
 * The file is opened and closed for each entry and created with mode 0666 less the umask when it is missing.
 *
 * @par The path goes through a shell
 *
 * @oddity{The path is a command} The file is moved by system("mv PATH PATH.old"), the path neither quoted nor
 * escaped: a path that comes from a user, the network or a file is a command. Use constant paths of letters,
 * digits and the characters / . _ - only, not beginning with -. With any other character (a blank, quote,
 * `$`, `;`, `*`, `~`...) the move does something else or nothing. Never log this way from a set-user-ID
 * program: the PATH variable decides which `mv` runs.
 *
 * @oddity{Long paths are never moved} A path of more than TEXT_LOG_PATH_MAX bytes is never moved, and its
 * file grows without limit. Keep paths short.
 *
 * @par Limits
 *
 * @oddity{One entry past the limit} The size is compared before the entry is written: a file may exceed its
 * limit by one entry. It is moved when it is strictly larger; a limit of 0 moves any file that is not empty,
 * a negative one any file. Leave room for it.
 *
 * @par Results
 * @oddity{Dropped entries are a success} 0 when the entry was written, and also when the file could not be
 * opened and the entry was dropped; otherwise what fclose() returned, EOF (-1) on a full disk. Of an entry of
 * more than 16 KiB, date included, which takes several writes, a write that fails before the last one is not
 * reported. Make sure of the folder and its permissions when the program starts.
 *
 * @oddity{Failed moves are not reported} A move that failed is not reported: the entry goes to the old file.
 * The size and the move say nothing of errno; a `%m` prints the caller's. In a read-only folder the log grows
 * without limit: watch its size.
 *
 * @par Threads and processes
 * May be called from any thread; sets the time zone from TZ (tzset()), and system() blocks SIGCHLD and
 * ignores SIGINT and SIGQUIT while `mv` runs. No lock: two writers may both move the file, and then the older
 * backup is lost. An entry of up to 16 KiB, date included, is one append of its own; longer ones can mix with
 * those of others. A call takes 16 KiB of the caller's stack.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __GNUC__
#define VARNEL_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define VARNEL_PRINTF(text, first)
#endif

/** Limits of the log, in bytes. */
enum text_log_limit {
    TEXT_LOG_PATH_MAX = 45,          /**< of a path whose file is moved */
    TEXT_LOG_DEFAULT_LIMIT = 1048576 /**< of a file, where the caller gives no limit */
};

/**
 * Appends a text as it is. Limit: TEXT_LOG_DEFAULT_LIMIT.
 *
 * @param path  the file; see above for what is safe.
 * @param text  the message; a `%` in it means nothing.
 * @return see Results.
 */
int32_t log_str_old(const char *path, const char *text);

/**
 * Appends a formatted message. Limit: TEXT_LOG_DEFAULT_LIMIT.
 *
 * @param path    the file; see above for what is safe.
 * @param format  printf() format; never text from elsewhere. Its arguments follow. Not with `%n`: in memory
 * that can be written, such a format ends the process (the library is built with _FORTIFY_SOURCE).
 * @return see Results.
 */
int32_t log_str(const char *path, const char *format, ...) VARNEL_PRINTF(2, 3);

/**
 * Appends a formatted message, with a limit of the caller's.
 *
 * @param path    the file; see above for what is safe.
 * @param limit   bytes.
 * @param format  printf() format; never text from elsewhere. Its arguments follow. Not with `%n`: in memory
 * that can be written, such a format ends the process (the library is built with _FORTIFY_SOURCE).
 * @return see Results.
 */
int32_t log_str_size(const char *path, int32_t limit, const char *format, ...) VARNEL_PRINTF(3, 4);

#undef VARNEL_PRINTF

#ifdef __cplusplus
}
#endif

#endif
