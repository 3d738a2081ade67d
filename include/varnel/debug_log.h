/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_DEBUG_LOG_H
#define VARNEL_DEBUG_LOG_H

/**
 * @file
 * Diagnostic lines and hex dumps in the system log.
 *
 * @par Levels
 * `priority` goes to syslog() as it is. 0-7 are the levels of RFC 5424 section 6.2.1, named in the line as
 * EMERGENCY, ALERT, CRITICAL, ERROR, WARNING, NOTICE, INFO, DEBUG. Higher bits choose a facility, as in
 * LOG_DAEMON | LOG_ERR; the name in the line comes from the low three bits alone. (9 is level 1 of
 * facility 1: named ALERT.)
 *
 * @par Threads
 * May be called from any thread. Two threads whose first lines meet may both open the log, which does no
 * harm.
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
 * Opens the system log, once in the life of the process; later calls do nothing.
 *
 * @oddity{Options of the program are replaced} Lines then carry the process id, go to facility LOG_LOCAL6
 * unless they name another, and all levels pass: this replaces the options, facility and mask that the
 * program set before. An identity that it gave to openlog() stays; without one the lines carry the program's
 * name. The log is never closed. A program that wants its own mask calls this function first, then
 * setlogmask().
 */
void IDBG_LINUXAPP_DbgInit(void);

/**
 * Logs one line: `[PID LEVEL]` and the formatted text, cut to DEBUG_LOG_LINE_MAX bytes. Calls
 * IDBG_LINUXAPP_DbgInit() first.
 *
 * @oddity{No blank behind the bracket} `[812 ERROR]fan stopped`: begin the text with a blank if you want one.
 *
 * @param priority  level, see above.
 * @param format    printf() format; never text from elsewhere. Its arguments follow. Not with `%n`: in memory
 * that can be written, such a format ends the process (the library is built with _FORTIFY_SOURCE).
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
 * (The dot stands for the blank that ends the line.) Each byte is three wide, blank-padded: 0x05 is "  5".
 * The last 1 to 20 bytes are on the END line.
 *
 * @oddity{Dumps do not open the log} The log is not opened here: before the first IDBG_LINUXAPP_DbgInit() or
 * IDBG_LINUXAPP_DbgLog() the lines carry no process id and go to syslog()'s default facility, LOG_USER. Call
 * IDBG_LINUXAPP_DbgInit() when the program starts.
 *
 * @param priority  level, see above.
 * @param file      name of the caller's source file, say __FILE__.
 * @param line      line in it, say __LINE__.
 * @param buffer    the bytes.
 * @param length    how many; 0 logs nothing, less than 0 the START and END lines alone.
 */
void IDBG_LINUXAPP_DbgLogBuf(int32_t priority, const char *file, int32_t line, const uint8_t *buffer,
                             int32_t length);

#undef VARNEL_PRINTF

#ifdef __cplusplus
}
#endif

#endif
