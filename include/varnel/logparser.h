/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_LOGPARSER_H
#define VARNEL_LOGPARSER_H

/**
 * @file
 * Record files: text with one record a line, its fields split by delimiter characters.
 *
 * @par Threads
 *
 * @oddity{strtok()'s position is shared} Both functions use strtok() and its process-wide position. Only one
 * thread of a process may be in either of them or in strtok() at a time, and a call of
 * log_styled_file_parse() breaks a strtok() loop of its caller.
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
     * @oddity{Long tokens are not terminated} A token of up to 63 characters ends with a NUL. Of a longer one
     * the first 64 characters are stored, without a NUL. The bytes after the NUL come from the line or are
     * zero; nothing is promised about them. Print tokens with `%.64s`.
     */
    char tokens[VARNEL_LOG_TOKENS][VARNEL_LOG_TOKEN_SIZE];
    uint32_t unused; /**< never written */
};

/** The records of a file. It has more than 8 MB: use static storage or the heap, not the stack. */
struct log_record_table {
    struct log_record records[VARNEL_LOG_RECORDS]; /**< in file order */
    int32_t count;                                 /**< records stored */
};

/** The table, by the name that log_styled_file_parse() uses. */
typedef struct log_record_table TABLE;

/**
 * Returns the next token of a string: strtok(string, delimiters) for index 0, strtok(NULL, delimiters) for
 * any other. Empty fields are skipped: "a,,b" has two tokens.
 *
 * @param string      the text, which strtok() changes in place; used for index 0 only.
 * @param delimiters  characters that separate tokens.
 * @param index       0 to begin a string, anything else to continue; not a position.
 * @return the token, inside @p string, or null when none is left.
 */
char *get_token_from_string(char *string, const char *delimiters, int32_t index);

/**
 * Reads a file of records.
 *
 * White space (space, tab, CR, LF, form feed, backspace) at both ends of a line is removed; lines that are
 * then empty or begin with `//` are skipped.
 *
 * @oddity{Long lines are split} A line is read in pieces of up to 255 bytes, and each piece counts as a line.
 * A NUL ends its line. Keep lines short.
 *
 * @param file_path                 the file; null counts as one that cannot be opened.
 * @param delimiters                characters that separate tokens.
 * @param token_count               tokens stored of each line, at most 8; further ones are ignored. With 0 or
 *                                  less, lines are counted and no token is stored.
 * @param multi_line_string_tokens  the table; null ends the process through an assertion. Fields to which
 *                                  nothing is stored keep their old content.
 * @return 0, or -1:
 *         - @p token_count is above 8, or the file cannot be opened: the table is untouched, count included;
 *         - a line has fewer tokens than wanted, the file has more than 16,384 records, or reading fails: the
 *           records before that are stored and counted, and the tokens of a short line are in the record
 *           after them.
 */
int32_t log_styled_file_parse(const char *file_path, const char *delimiters, int32_t token_count,
                              TABLE *multi_line_string_tokens);

#ifdef __cplusplus
}
#endif

#endif
