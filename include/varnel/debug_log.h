/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_DEBUG_LOG_H
#define VARNEL_DEBUG_LOG_H

/**
 * @file
 * Diagnostic lines and hex dumps in the system log.
 *
 * @par Levels
 * `priority` is passed to syslog() unchanged. 0-7 are the levels of RFC 5424 section 6.2.1, named in the line
 * as EMERGENCY, ALERT, CRITICAL, ERROR, WARNING, NOTICE, INFO, DEBUG. Higher bits choose a facility, as in
 * LOG_DAEMON | LOG_ERR; the name in the line comes from the low three bits only (9 is level 1 of facility 1,
 * named ALERT).
 *
 * @par Threads
 * May be called from any thread. Two threads that log their first lines at the same time may both open the
 * log, which is harmless.
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

/** Limit of a line, in bytes. */
enum debug_log_limit { DEBUG_LOG_LINE_MAX = 2047 };

/**
 * Opens the system log, once per process; later calls do nothing.
 *
 * @oddity{The program's log options are replaced} The options, facility and mask that the program set before
 * are replaced: lines contain the process id, go to facility LOG_LOCAL6 unless they name another, and all
 * levels pass. An identity given to openlog() stays; without one the lines contain the program's name. The
 * log is never closed. A program that needs its own mask calls this function first, then setlogmask().
 */
void IDBG_LINUXAPP_DbgInit(void);

/**
 * Logs one line: `[PID LEVEL]` and the formatted text, truncated to DEBUG_LOG_LINE_MAX bytes. Calls
 * IDBG_LINUXAPP_DbgInit() first.
 *
 * @oddity{No space after the bracket} `[812 ERROR]fan stopped`: begin the text with a space if you want one.
 *
 * @param priority  level, see above.
 * @param format    printf() format, a constant of the program. Its arguments follow. Not with `%n`: in writable
 *                  memory, such a format ends the process (the library is built with _FORTIFY_SOURCE).
 */
void IDBG_LINUXAPP_DbgLog(int32_t priority, const char *format, ...) VARNEL_PRINTF(2, 3);

/**
 * Logs a hex dump, 20 bytes a line:
 *
 * @code
 * [812 DEBUG][main.c:42]  BUFFER START
 * [812 DEBUG][main.c:42]   0  1 ... 13 .
 * [812 DEBUG][main.c:42]  14 15 END
 * @endcode
 *
 * (The dot marks the space that ends the line.) Each byte is three characters wide, padded with spaces: 0x05
 * is "  5". The last 1 to 20 bytes are on the END line.
 *
 * @oddity{Dumps do not open the log} This function does not open the log: before the first
 * IDBG_LINUXAPP_DbgInit() or IDBG_LINUXAPP_DbgLog() the lines contain no process id and go to syslog()'s
 * default facility, LOG_USER. Call IDBG_LINUXAPP_DbgInit() when the program starts.
 *
 * @param priority  level, see above.
 * @param file      name of the caller's source file, usually __FILE__.
 * @param line      line in it, usually __LINE__.
 * @param buffer    the bytes.
 * @param length    how many; 0 logs nothing, a negative number only the START and END lines.
 */
void IDBG_LINUXAPP_DbgLogBuf(int32_t priority, const char *file, int32_t line, const uint8_t *buffer,
                             int32_t length);

#undef VARNEL_PRINTF

#ifdef __cplusplus
}
#endif

#endif
