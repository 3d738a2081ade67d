/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_TEXT_LOG_H
#define VARNEL_TEXT_LOG_H

/**
 * @file
 * Text log files of limited size: a file larger than its limit is moved to the same path with ".old"
 * appended, replacing the previous backup, and a new file is begun.
 *
 * @par An entry
 * An entry is two lines: the local date and time as ctime() prints them, then a tab and the message:
 * @code
 * Wed Jun 30 21:49:08 1993
 * <tab>fan 2 stopped
 * @endcode
 * The file is opened and closed for each entry and created with mode 0666 less the umask when it is missing.
 *
 * @par The path goes through a shell
 *
 * @oddity{The path is part of a shell command} The file is moved by system("mv PATH PATH.old"), with the path
 * neither quoted nor escaped: a path from a user, the network or a file can run any command. Use constant
 * paths that contain only letters, digits and the characters / . _ - and do not begin with -. With any other
 * character (a space, quote, `$`, `;`, `*`, `~`...) the move does something else or nothing. Never log this
 * way from a set-user-ID program: the PATH variable decides which `mv` runs.
 *
 * @oddity{Long paths are never moved} A path of more than TEXT_LOG_PATH_MAX bytes is never moved, and its
 * file grows without limit. Keep paths short.
 *
 * @par Limits
 *
 * @oddity{One entry past the limit} The size is compared before the entry is written, so a file may exceed
 * its limit by one entry: leave room for it. The file is moved when it is strictly larger than the limit; a
 * limit of 0 moves any file that is not empty, a negative limit any file.
 *
 * @par Crashes
 * A process that is killed in a call leaves an entry of up to 16 KiB as a whole or not at all. Nothing is
 * synced: a power failure can take the entries of the last seconds, or leave NULs in their place.
 *
 * @par Results
 * @oddity{Dropped entries return 0} The result is 0 when the entry was written, and also when the file could
 * not be opened and the entry was dropped; otherwise it is the result of fclose(), EOF (-1) on a full disk.
 * An entry of more than 16 KiB, date included, needs several writes; a failure of any but the last is not
 * reported. Check the folder and its permissions when the program starts.
 *
 * @oddity{Failed moves are not reported} When the move fails, the entry is appended to the old file and no
 * error is reported. In a read-only folder the log grows without limit: monitor its size. Checking the size
 * and moving the file leave errno unchanged, so `%m` prints the caller's.
 *
 * @par Threads and processes
 * May be called from any thread. A call sets the time zone from TZ (tzset()), and system() blocks SIGCHLD and
 * ignores SIGINT and SIGQUIT while `mv` runs. No lock: two writers may both move the file, and then the older
 * backup is lost. An entry of up to 16 KiB, date included, is a single append; longer entries can mix with
 * those of other writers. A call needs 16 KiB of the caller's stack.
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
 * @param text  the message, not a format: `%` is an ordinary character.
 * @return see Results.
 */
int32_t log_str_old(const char *path, const char *text);

/**
 * Appends a formatted message. Limit: TEXT_LOG_DEFAULT_LIMIT.
 *
 * @param path    the file; see above for what is safe.
 * @param format  printf() format, a constant of the program. Its arguments follow. Not with `%n`: in writable
 *                memory, such a format ends the process (the library is built with _FORTIFY_SOURCE).
 * @return see Results.
 */
int32_t log_str(const char *path, const char *format, ...) VARNEL_PRINTF(2, 3);

/**
 * Appends a formatted message. Limit: @p limit bytes.
 *
 * @param path    the file; see above for what is safe.
 * @param limit   the size, in bytes, above which the file is moved.
 * @param format  printf() format, a constant of the program. Its arguments follow. Not with `%n`: in writable
 *                memory, such a format ends the process (the library is built with _FORTIFY_SOURCE).
 * @return see Results.
 */
int32_t log_str_size(const char *path, int32_t limit, const char *format, ...) VARNEL_PRINTF(3, 4);

#undef VARNEL_PRINTF

#ifdef __cplusplus
}
#endif

#endif
