/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_SGS_H
#define VARNEL_XML_SGS_H

/**
 * @file
 * Growable byte strings, which a document can be written into (xml_output.h).
 *
 * A string may hold NULs; `length` counts them. After every successful call the byte after the last
 * one is a terminating zero and `length` is less than `capacity`.
 *
 * @par Threads
 * No lock: a string belongs to one caller at a time.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** A growable string. The fields may be read at any time. */
typedef struct xml_sgs {
    char *buffer;      /**< The bytes, one malloc() block; owned. */
    unsigned capacity; /**< Bytes allocated. */
    unsigned length;   /**< Bytes stored; the terminator is not counted. */
} xml_sgs;

/** Allocates an empty string with room for 2047 bytes (capacity 2048). @return it, or null out of memory. */
xml_sgs *xml_sgs_new(void);

/**
 * Makes the caller's storage an empty string of capacity 2048. What it held before is not freed.
 *
 * @param sgs  not null. Such a string is given up with `free(sgs->buffer)`, not with xml_sgs_delete().
 * @return 0, or 2 out of memory (`buffer` is null, both counts are 0).
 */
int xml_sgs_setup(xml_sgs *sgs);

/** Frees a string made by xml_sgs_new(), with its bytes. @param sgs  not null. */
void xml_sgs_delete(xml_sgs *sgs);

/**
 * Appends one byte.
 *
 * @oddity{Full strings have no terminator} When the string cannot grow, the byte that fills it is stored all
 * the same, where the terminator would be. After a result of 2 `buffer` is no C string: use `length`.
 *
 * The byte that makes `length` equal to `capacity` (the 2048th of a new string) grows the string by 2048.
 *
 * @param sgs  not null.
 * @param c    any byte.
 * @return 0, or 2 when the string could not grow (out of memory, or past what 32 bits count). That byte is
 *         stored and counted all the same; the next
 *         append first tries to grow again and changes nothing when that fails, too.
 */
int xml_sgs_append_character(xml_sgs *sgs, char c);

/**
 * Appends bytes. When they and the terminator do not fit, the capacity becomes the smallest multiple of 2048
 * that has room for both.
 *
 * @param sgs    not null.
 * @param bytes  read up to @p n and no further; may lie anywhere but in the string itself.
 * @param n      how many; 0 changes nothing.
 * @return 0, or 2 with the string unchanged (out of memory, or past what 32 bits count).
 */
int xml_sgs_append_lengthed_string(xml_sgs *sgs, const char *bytes, unsigned n);

/**
 * Appends a zero-terminated string; otherwise like xml_sgs_append_lengthed_string().
 *
 * @param sgs  not null.
 * @param s    not null; may lie anywhere but in the string itself.
 * @return 0, or 2.
 */
int xml_sgs_append_string(xml_sgs *sgs, const char *s);

#ifdef __cplusplus
}
#endif

#endif
