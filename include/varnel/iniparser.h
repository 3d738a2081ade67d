/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_INIPARSER_H
#define VARNEL_INIPARSER_H

/**
 * @file
 * INI configuration files: one value read or written per call.
 *
 * Every call opens the file, reads it whole, and closes it. Nothing is cached, nothing comes from the heap; a
 * getter takes 16 KiB of the caller's stack, a setter 32 KiB.
 *
 * @par The file
 * @code
 * [Network]          ; a section begins with '[' at the very start of a line
 * Host=bmc0          ; key and value: everything before and after the first '=', blanks included
 * # a comment        ; so is a line that begins with ';' or '=', and a line without '='
 * @endcode
 *
 * @oddity{Blanks belong to keys and values} `Port = 80` is the key "Port " with the value " 80". Write no
 * blanks around `=`.
 *
 * CR, LF or both end a line. There are no comments behind a value: the text behind ';' above would be part of
 * it. White space right behind a header, empty lines included, is skipped, so the first entry of a section
 * may be indented; other entries may not. A section that occurs again is searched again.
 *
 * @oddity{16,383 bytes, or the process ends} The content ends at the end of the file or at the first byte
 * 0xFF. It may have at most INIPARSER_CONTENT_MAX bytes: a longer one ends the process through an assertion,
 * in getters and setters alike. A file that grew ends each daemon that reads it: watch sizes, for other
 * writers may not check.
 *
 * A NUL ends the line that it is in. At the start of a line it also ends the search for a key in its section,
 * and with that the whole search. Setters keep it and what follows.
 *
 * @par Names
 * Section names match whole and without regard to case.
 *
 * @oddity{Keys match by prefix} Keys match with regard to case, and by prefix: a line matches when its key is
 * the beginning of the key asked for, so asking for "PortNumber" finds a line `Port=80` when that comes
 * first. Keep one key from being the beginning of another. Case and white space are those of the process's
 * locale. Neither names nor values are checked: one with a line end, '=' or ']' inside writes a file that
 * reads differently.
 *
 * @par Results
 * 0, or -1 when the file cannot be opened or read, when a getter does not find the key, and when a setter
 * fails. Out parameters are untouched by a getter that returns -1. Nothing is printed and errno is
 * unspecified.
 *
 * @par What a setter does to the file
 * It writes over the file in place: same inode, same mode, no temporary file beside it. A missing file is
 * created with mode 0666 less the umask. A result longer than INIPARSER_CONTENT_MAX is refused before the
 * file is touched. When the disk is full or a write fails the old content is put back, and -1 returned. (A
 * file that may be written but not read counts as missing: it is overwritten, and its content, never known,
 * cannot be put back. A new file stays empty.)
 *
 * A process that is killed in a setter leaves the old or the new text, with empty lines after it where their
 * lengths differ: a longer text gets its room as empty lines first, one write() puts the new text, filled up
 * with empty lines, over the old one, and what is left of these is cut off last. (Bytes that the old file had
 * after an 0xFF can still be there, after an 0xFF.) Only a kill inside that write() can leave a mixture, and
 * only of a file of several pages (4,096 bytes), whose first pages are then new and the others old.
 *
 * A power failure before the file system has written its cache back (seconds later, as a rule) can leave the
 * old text, the new one, either with empty lines or NULs after it, or, in a file of several blocks, new and
 * old blocks side by side; which of them depends on the file system. Not promised either: that the new text
 * is on the flash when the call returns (sync() does that), and that the old text comes back after an error
 * which a network file system reports only when the file is closed (the result is -1 then, too).
 *
 * @par Null pointers
 * A null pointer is a programming error and ends the process through an assertion.
 *
 * @par Threads and processes
 * No shared state: calls may come from any thread. No lock either. Of two setters at work on one file at the
 * same time one loses its update, and when their texts differ in length the file can end up with a tail of
 * the longer one: writers serialise. A reader meets the old or the new text, for a moment with empty lines
 * after it, or, in files of several pages, a mixture of both.
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
 * @oddity{Values modulo 256} A value of n bytes comes as its first n modulo 256 bytes: 300 give 44, 256 give
 * none. Keep values to INIPARSER_VALUE_MAX bytes.
 *
 * @param file_path  the file.
 * @param section    section name, without brackets.
 * @param key        key.
 * @param value      receives the value and a terminator; room for INIPARSER_VALUE_SIZE bytes.
 * @return 0, or -1.
 */
int32_t get_config_string(const char *file_path, const char *section, const char *key, char *value);

/**
 * Reads a value as an integer, by strtol().
 *
 * @oddity{No number is 0} What strtol() cannot convert, and an empty value, give 0 with result 0; text behind
 * the number is ignored. On 64-bit hosts the low 32 bits of the result are kept, on 32-bit ones strtol()
 * itself limits it. A typing mistake is a setting of 0: check ranges.
 *
 * @param file_path  the file.
 * @param section    section name.
 * @param key        key.
 * @param base       strtol()'s: 2-36, or 0 to take 0x and 0 prefixes into account.
 * @param value      receives the integer.
 * @return 0, or -1.
 */
int32_t get_config_integer(const char *file_path, const char *section, const char *key, int32_t base,
                           int32_t *value);

/**
 * Reads a value as a truth value.
 *
 * @oddity{Empty is true} True is any beginning of the word "true", in any case: "true", "T", "tr" and the
 * empty value, too. All else is false: "false", "1", "yes", "on", "true1", "true ". `Enabled=` switches on:
 * write `true` and `false`.
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
 * - Key found (by prefix, see above): its value is replaced, all other bytes of the file stay. Only strlen
 *   modulo 256 bytes of @p value are stored.
 * - Section found without the key: the entry becomes the section's first; of several sections of the name,
 *   the last one's. The rest of the file is format text, see below.
 * - Section not found, or no such file: an empty line, the header and the entry are appended. A new file
 *   therefore begins with an empty line.
 *
 * @oddity{The rest of the file is format text} When a key is added to a section, what stands behind it in the
 * file is printed as printf() would: `%%` becomes `%`, and any other conversion is printed by the C library's
 * formatter with a zero for its argument (`%d` becomes 0, `%s` (null), `%f` 0.000000; `%n` and `%c` vanish;
 * `50% off` becomes `500ff`). A conversion that the end of the file cuts off (`50%`, `50%-5l`) is lost. After
 * an odd conversion it is echoed instead, without its length modifier; odd is one that the formatter does not
 * know (`%!`), one that chooses its argument (`%1$d`), and `h` before a letter of no integer (`%hs`). Files
 * that hold `%` should be given all their keys from the start. (A NUL ends a format text as the end of the
 * file does, is kept, and another format text follows it.)
 *
 * @param file_path  the file.
 * @param section    section name.
 * @param key        key.
 * @param value      text; not empty of meaning only because it is empty: "" stores an empty value.
 * @return 0, or -1.
 */
int32_t set_config_string(const char *file_path, const char *section, const char *key, const char *value);

/**
 * Renames a section, or appends an empty one (with an empty line before it) when the file has none of that
 * name or does not exist. Of several sections of the name the last is renamed.
 *
 * @oddity{The old bracket stays} The old opening bracket stays, so renaming A to B turns `[A]` into `[[B]`, a
 * section whose name is now `[B`. Everything up to the header's LF is replaced; in a file without LF behind
 * the header the old text stays: `[A]` becomes `[[B]A]`. To rename a section, write the file anew.
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
