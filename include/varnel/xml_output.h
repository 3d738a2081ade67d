/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_OUTPUT_H
#define VARNEL_XML_OUTPUT_H

/**
 * @file
 * Where written XML goes: a sink with a replaceable write function. The library brings three: for a stdio
 * stream, a file descriptor and a growable string (xml_sgs.h).
 *
 * @code
 * xml_output out;
 * xml_output_setup(&out, xml_output_function_to_file_stream);
 * out.target.stream = stdout;
 * xml_output_escape_string(&out, "a<b & 'c'");    // a&lt;b &amp; &apos;c&apos;
 * @endcode
 *
 * @par Errors
 * A write function reports failure by setting `error`; nothing but xml_output_setup() clears it. The
 * functions here write even when `error` is already set, and return `error` as it is afterwards.
 *
 * @par Threads
 * No lock: a sink belongs to one caller at a time.
 */

#include <stdio.h>

#include "varnel/xml_sgs.h"

#ifdef __cplusplus
extern "C" {
#endif

/** See @ref xml_output below. */
typedef struct xml_output xml_output;

/**
 * A write function: sends @p length bytes to `out->target`, or sets `out->error` to something other than 0.
 * Its result is not looked at. @p length can be 0, where an empty string is written.
 */
typedef int (*xml_output_function)(xml_output *out, const char *bytes, unsigned length);

/** A sink. After setup the caller stores the target. */
struct xml_output {
    int error;                 /**< 0 is good; set by the write function. */
    unsigned count;            /**< Nodes written without an error (xml_writer.h); setup leaves it alone. */
    xml_output_function write; /**< The write function. */
    union {
        FILE *stream;
        int descriptor;
        xml_sgs *sgs;
        void *pointer;
    } target; /**< What the write function writes to; `pointer` is for a caller's own function. */
};

/**
 * Prepares a sink: stores @p write and sets `error` to 0. `count` and `target` keep what they hold.
 *
 * @param out    not null.
 * @param write  a function of the caller's or one of the three below.
 * @return 0, or 14 when @p write is null (nothing is touched).
 */
int xml_output_setup(xml_output *out, xml_output_function write);

/**
 * Allocates a sink with `count` 0 and sets it up.
 *
 * @param write  as for xml_output_setup().
 * @return the sink, or null out of memory or for a null @p write.
 */
xml_output *xml_output_new(xml_output_function write);

/** Frees a sink of xml_output_new(); its target is left alone. @param out  may be null. */
void xml_output_delete(xml_output *out);

/**
 * @name Pieces of text
 *
 * One call of the write function each, also for 0 bytes.
 *
 * @param out    not null.
 * @param c      the byte.
 * @param bytes  the bytes.
 * @param n      how many.
 * @param s      zero-terminated.
 * @return `error`.
 */
/** @{ */
/** Writes one byte. */
int xml_output_char(xml_output *out, char c);
/** Writes @p n bytes. */
int xml_output_lengthed_string(xml_output *out, const char *bytes, unsigned n);
/** Writes a zero-terminated string. */
int xml_output_string(xml_output *out, const char *s);
/** @} */

/**
 * Writes a string with the five markup characters as `&quot;` `&amp;` `&apos;` `&lt;` `&gt;`. A caller's own
 * write function is called once for each plain byte and once for each entity; the library's own get runs of
 * plain bytes in one call. Ends after the first byte or entity after which `error` is set, so a sink that
 * already had an error is sent one more.
 *
 * @param out  not null.
 * @param s    zero-terminated.
 * @return `error`.
 */
int xml_output_escape_string(xml_output *out, const char *s);

/**
 * @name Write functions
 * For the `write` field; each expects its kind of target.
 *
 * @param out     the sink.
 * @param bytes   the bytes.
 * @param length  how many.
 */
/** @{ */
/**
 * To `target.stream`, through its buffer. `error` becomes 1 when the stream's error indicator is set
 * afterwards. @return what fputc(3) (for one byte) or fwrite(3) returned.
 */
int xml_output_function_to_file_stream(xml_output *out, const char *bytes, unsigned length);
/**
 * To `target.descriptor`, by one write(2).
 *
 * @oddity{Short writes are not continued} `error` becomes 1 when fewer bytes were written. A pipe or a socket
 * may take a part, and the rest is missing: look at `error`, or use a stream.
 *
 * @return what write(2) returned.
 */
int xml_output_function_to_file_descriptor(xml_output *out, const char *bytes, unsigned length);
/** To `target.sgs`. `error` becomes 2 when the string could not grow. @return 0, or 2. */
int xml_output_function_to_sgs(xml_output *out, const char *bytes, unsigned length);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
