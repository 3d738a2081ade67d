/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_LOGPARSER_H
#define VARNEL_LOGPARSER_H

/**
 * @file
 * Record files: text with one record a line, its fields split by delimiter characters.
 *
 * @par Threads
 *
 * @oddity{strtok()'s position is shared} Both functions use strtok() and its process-wide position: only one
 * thread of a process may be inside either of them or strtok() at a time, and a strtok() loop of the caller's
 * own does not survive a call of log_styled_file_parse().
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    VARNEL_LOG_RECORDS = 16384, /**< records in a table */
    VARNEL_LOG_TOKENS = 8,      /**< tokens in a record */
    VARNEL_LOG_TOKEN_SIZE = 64  /**< bytes of a token */
};

/** One record: 516 bytes. */
struct log_record {
    /**
     * @oddity{Long tokens are not terminated} A token of up to 63 characters ends in a zero byte; of a longer
     * one the first 64 characters are here, without a terminator. The bytes after the terminator come from
     * the line or are zero; nothing is promised about them. Print tokens with `%.64s`.
     */
    char tokens[VARNEL_LOG_TOKENS][VARNEL_LOG_TOKEN_SIZE];
    uint32_t unused; /**< never written */
};

/** The records of a file. More than 8 MB: static storage or the heap, not the stack. */
struct log_record_table {
    struct log_record records[VARNEL_LOG_RECORDS]; /**< in file order */
    int32_t count;                                 /**< records stored */
};

/** The table, by the name that log_styled_file_parse() takes. */
typedef struct log_record_table TABLE;

/**
 * Takes the next token of a string: strtok(string, delimiters) for index 0, strtok(NULL, delimiters) for any
 * other. Empty fields yield no token: "a,,b" has two.
 *
 * @param string      the text, which strtok() cuts up in place; used for index 0 only.
 * @param delimiters  characters that separate tokens.
 * @param index       0 to begin a string, anything else to go on; not a position.
 * @return the token, inside @p string, or null when there is none left.
 */
char *get_token_from_string(char *string, const char *delimiters, int32_t index);

/**
 * Reads a file of records.
 *
 * Blanks (space, tab, CR, LF, form feed, backspace) at both ends of a line are dropped; empty lines and those
 * that then begin with `//` are passed over.
 *
 * @oddity{Long lines are several} A line is read in pieces of up to 255 bytes, and each piece counts as a
 * line of its own. A zero byte ends its line. Keep lines short.
 *
 * @param file_path                 the file; null counts as one that cannot be opened.
 * @param delimiters                characters that separate tokens.
 * @param token_count               tokens stored of each line, at most 8; further ones are ignored. With 0
 *                                  or less lines are counted and no token is stored.
 * @param multi_line_string_tokens  the table; null ends the process through an assertion. Fields that are not
 *                                  stored to keep their old content.
 * @return 0, or -1:
 *         - @p token_count is above 8, or the file cannot be opened: the table is untouched, count included;
 *         - a line has fewer tokens than wanted, the file has more than 16,384 records, or reading fails: the
 *           records before are stored and counted, and the tokens that a short line has are in the next one.
 */
int32_t log_styled_file_parse(const char *file_path, const char *delimiters, int32_t token_count,
                              TABLE *multi_line_string_tokens);

#ifdef __cplusplus
}
#endif

#endif
