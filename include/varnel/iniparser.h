/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_INIPARSER_H
#define VARNEL_INIPARSER_H

/**
 * @file
 * INI configuration files: one value read or written per call.
 *
 * Every call opens the file, reads all of it, and closes it. Nothing is cached and the heap is not used; a
 * getter needs 16 KiB of the caller's stack, a setter 32 KiB.
 *
 * @par The file
 * @code
 * [Network]          ; a section begins with '[' at the start of a line
 * Host=bmc0          ; key and value: everything before and after the first '=', white space included
 * # a comment        ; so is a line that begins with ';' or '=', and a line without '='
 * @endcode
 *
 * @oddity{White space belongs to keys and values} `Port = 80` is the key "Port " with the value " 80". Write
 * no white space around `=`.
 *
 * CR, LF or both end a line. A comment cannot follow a value on its line: the text from ';' above would be
 * part of the value. White space directly after a header, empty lines included, is skipped, so the first
 * entry of a section may be indented; other entries may not. A section that occurs again is searched again.
 *
 * @oddity{More than 16,383 bytes end the process} The content ends at the end of the file or at the first
 * byte 0xFF. It may have at most INIPARSER_CONTENT_MAX bytes: longer content ends the process through an assertion, in
 * getters and setters. A file that has grown too long therefore ends every daemon that reads it. Monitor the
 * size where other programs write the file, because they may not check it.
 *
 * A NUL ends the line that contains it. At the start of a line it also ends the search for a key in that
 * section, and with it the whole search. Setters keep the NUL and what follows.
 *
 * @par Names
 * A section name matches as a whole; case is ignored.
 *
 * @oddity{Keys match by prefix} A line matches when its key is a prefix of the key asked for, so asking for
 * "PortNumber" finds a line `Port=80` when that comes first. The comparison is case-sensitive. Do not let one
 * key be a prefix of another.
 *
 * The process's locale decides what case and white space are. Neither names nor values are checked: with a
 * newline, '=' or ']' in one, a setter writes a file that is parsed differently.
 *
 * @par Results
 * 0, or -1 when the file cannot be opened or read, when a getter does not find the key, or when a setter
 * fails. A getter that returns -1 does not change its out parameter. Nothing is printed and errno is
 * unspecified.
 *
 * @par What a setter does to the file
 * A setter overwrites the file in place: same inode, same mode, no temporary file. A missing file is created
 * with mode 0666 less the umask. A result of more than INIPARSER_CONTENT_MAX bytes is refused before the file is changed.
 * When the disk is full or a write fails, the old content is restored and -1 returned. Two cases have no old
 * content to restore: a file that was missing remains as an empty one, and a file that may be written but not
 * read counts as missing and is overwritten.
 *
 * A process that is killed in a setter leaves the old or the new text, with empty lines after it where their
 * lengths differ. The setter first appends empty lines when the new text is longer, then overwrites the old
 * text with the new one, padded with empty lines, in one write(), and finally truncates the file. Bytes that
 * the old file had after an 0xFF can still be there, after an 0xFF. Only a kill during that write() can leave
 * a mixture, and only in a file of several pages (4,096 bytes): its first pages are then new and the others
 * old.
 *
 * A power failure before the file system has written its cache back (usually seconds later) can leave the old
 * text or the new text, either with empty lines or NULs after it or cut off at the other one's length, or, in
 * a file of several blocks, a mixture of new and old blocks. Which of these depends on the file system. The
 * new text need not be on the flash when the call returns; sync() writes it there. When a network file system
 * reports an error only at close(), the result is -1, but the old text may not be restored.
 *
 * @par Null pointers
 * A null pointer is a programming error and ends the process through an assertion.
 *
 * @par Threads and processes
 * No shared state: any thread may call. No lock: writers serialise. When two setters change one file at the
 * same time, one update is lost, and when their texts differ in length the file can end with a tail of the
 * longer one. A concurrent reader sees the old or the new text, for a moment with empty lines after it, or,
 * in a file of several pages, a mixture of both.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Limits of a file and of its values, in bytes. */
enum iniparser_limit {
    INIPARSER_CONTENT_MAX = 16383, /**< of a file's content */
    INIPARSER_VALUE_MAX = 255,     /**< of a value */
    INIPARSER_VALUE_SIZE = 256     /**< of a value and its terminator: what get_config_string() may store */
};

/**
 * Reads a value as text.
 *
 * @oddity{Lengths are modulo 256} Of a value of n bytes the first n modulo 256 are returned: 44 of 300, none
 * of 256. Keep values to INIPARSER_VALUE_MAX bytes.
 *
 * @param file_path  the file.
 * @param section    section name, without brackets.
 * @param key        key.
 * @param value      receives the value and a NUL; room for INIPARSER_VALUE_SIZE bytes.
 * @return 0, or -1.
 */
int32_t get_config_string(const char *file_path, const char *section, const char *key, char *value);

/**
 * Reads a value as an integer, by strtol().
 *
 * @oddity{Text that is not a number gives 0} A value that strtol() cannot convert, and an empty value, give 0
 * with result 0; text after the number is ignored. A 64-bit host keeps the low 32 bits of the number; on a
 * 32-bit host strtol() clamps it. A typing error becomes a setting of 0: check ranges.
 *
 * @param file_path  the file.
 * @param section    section name.
 * @param key        key.
 * @param base       as for strtol(): 2-36, or 0 to recognise the prefixes 0x and 0.
 * @param value      receives the integer.
 * @return 0, or -1.
 */
int32_t get_config_integer(const char *file_path, const char *section, const char *key, int32_t base,
                           int32_t *value);

/**
 * Reads a value as a truth value.
 *
 * @oddity{Empty is true} Any prefix of the word "true", in any case, is true: "true", "T", "tr" and also the
 * empty value. Everything else is false: "false", "1", "yes", "on", "true1", "true ". `Enabled=` therefore
 * enables. Write `true` and `false`.
 *
 * @param file_path  the file.
 * @param section    section name.
 * @param key        key.
 * @param value      receives 1 or 0.
 * @return 0, or -1.
 */
int32_t get_config_boolean(const char *file_path, const char *section, const char *key, int32_t *value);

/**
 * Stores a value.
 *
 * - Key found (by prefix, see above): its value is replaced, and all other bytes of the file stay. Only the
 *   first strlen(value) modulo 256 bytes of @p value are stored.
 * - Section found without the key: the entry becomes the section's first; of several sections of that name,
 *   the last one's. The rest of the file is format text, see below.
 * - Section not found, or no such file: an empty line, the header and the entry are appended. A new file
 *   therefore begins with an empty line.
 *
 * @oddity{The rest of the file is format text} When a key is added to a section, the text after it in the
 * file is rewritten as printf() would print it. `%%` becomes `%`. The C library's formatter prints any other
 * conversion with a zero for its argument: `%d` becomes 0, `%s` (null), `%f` 0.000000; `%n` and `%c` vanish;
 * `50% off` becomes `500ff`. A conversion that the end of the file truncates (`50%`, `50%-5l`) is lost; after
 * an odd conversion it is echoed instead, without its length modifier. Odd are a conversion that the
 * formatter does not know (`%!`), one that selects its argument (`%1$d`), and `h` before a letter that is not
 * an integer's (`%hs`). A NUL ends a format text as the end of the file does; it is kept, and another format
 * text follows it. Give a file that contains `%` all its keys from the start.
 *
 * @param file_path  the file.
 * @param section    section name.
 * @param key        key.
 * @param value      new value; "" stores an empty value.
 * @return 0, or -1.
 */
int32_t set_config_string(const char *file_path, const char *section, const char *key, const char *value);

/**
 * Renames a section, or appends an empty one (with an empty line before it) when the file has none of that
 * name or does not exist. Of several sections of that name the last is renamed.
 *
 * @oddity{The old bracket stays} The old opening bracket is kept, so renaming A to B turns `[A]` into `[[B]`,
 * a section whose name is now `[B`. Everything up to the header's LF is replaced. In a file without LF after
 * the header the old text stays: `[A]` becomes `[[B]A]`. To rename a section, write a new file.
 *
 * @param file_path    the file.
 * @param old_section  name to look for.
 * @param new_section  name written.
 * @return 0, or -1.
 */
int32_t set_section_string(const char *file_path, const char *old_section, const char *new_section);

#ifdef __cplusplus
}
#endif

#endif
