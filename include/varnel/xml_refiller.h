/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_REFILLER_H
#define VARNEL_XML_REFILLER_H

/**
 * @file
 * Where read XML comes from: a buffer that is handed out byte by byte, with room to push one character back,
 * and a replaceable function that refills it. The library brings two such functions, for a stdio stream and a
 * file descriptor. Without a function the buffer is a fixed text in memory:
 *
 * @code
 * char text[] = "<a>hello</a>";
 * xml_refiller in;
 * xml_refiller_setup(&in, NULL, text, sizeof text - 1, sizeof text - 1);
 * @endcode
 *
 * @par Threads
 * No lock: a refiller belongs to one caller at a time.
 */

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/** See @ref xml_refiller below. */
typedef struct xml_refiller xml_refiller;

/**
 * A refill function: called when a byte is needed and `position` has reached `fill`, never earlier. It puts
 * up to `capacity` bytes into `buffer`, sets `fill` to their number and `position` to 0; a `fill` of 0 is the
 * end of input. On failure it sets `error`. Its result is not looked at.
 */
typedef int (*xml_refiller_function)(xml_refiller *r);

/** An input source. After setup the caller stores the source that the refill function reads. */
struct xml_refiller {
    int error;                    /**< 0 is good; set by the refill function, cleared only by setup. */
    char *buffer;                 /**< The bytes; always the caller's. */
    unsigned capacity;            /**< Bytes that the refill function may place in `buffer`. */
    unsigned fill;                /**< Bytes in `buffer` that are valid. */
    unsigned position;            /**< Index of the next byte to hand out. */
    int pushed;                   /**< The pushed-back character, or -256. */
    xml_refiller_function refill; /**< The refill function, or null for a fixed text. */
    union {
        FILE *stream;
        int descriptor;
        void *pointer;
    } source; /**< What the refill function reads; `pointer` is for a caller's own function. */
};

/**
 * Prepares a refiller: no error, nothing pushed back, position 0. `source` keeps what it holds.
 *
 * @param r         not null.
 * @param refill    a function of the caller's, one of the two below, or null for a fixed text.
 * @param buffer    the caller's buffer, which must outlive the refiller. Null with a function that brings its
 *                  own: `buffer`, `fill` and `capacity` are then 0 until it sets them.
 * @param fill      bytes already in @p buffer.
 * @param capacity  size of @p buffer in bytes.
 * @return 0, or 14 when @p refill and @p buffer are both null (nothing is touched).
 */
int xml_refiller_setup(xml_refiller *r, xml_refiller_function refill, char *buffer, unsigned fill,
                       unsigned capacity);

/**
 * Allocates a refiller and sets it up.
 *
 * @param refill    these four as for xml_refiller_setup().
 * @param buffer    see there.
 * @param fill      see there.
 * @param capacity  see there.
 * @return the refiller, or null out of memory or when setup refuses.
 */
xml_refiller *xml_refiller_new(xml_refiller_function refill, char *buffer, unsigned fill, unsigned capacity);

/** Frees a refiller of xml_refiller_new(), never its buffer. @param r  may be null. */
void xml_refiller_delete(xml_refiller *r);

/**
 * The next character: the pushed-back one if there is one, else the next byte of the buffer, refilled when it
 * is used up.
 *
 * @param r  not null.
 * @return 0 to 255 (or whatever was pushed back), or -256 at the end of input and after a failed refill,
 * which `error` tells apart. At the end every further call asks the refill function again.
 */
int xml_refiller_get_char(xml_refiller *r);

/**
 * Pushes a character back.
 *
 * @oddity{One slot} A second push before a read replaces the first.
 *
 * @param r  not null.
 * @param c  what xml_refiller_get_char() is to return next.
 */
void xml_refiller_set_char(xml_refiller *r, int c);

/**
 * @name Refill functions
 * For the `refill` field; each expects its kind of source.
 *
 * @param r  the refiller.
 */
/** @{ */
/**
 * From `source.stream`: one fread(3) of `capacity` bytes.
 *
 * @return 0; or what ferror(3) gave, with `error` 1 and nothing else changed, when the stream's error
 * indicator is set afterwards.
 */
int xml_refiller_function_from_file_stream(xml_refiller *r);
/**
 * From `source.descriptor`: one read(2) of up to `capacity` bytes.
 *
 * @return 0; or -1, with `error` 1 and nothing else changed, when read(2) failed, also when a signal
 *         interrupted it.
 */
int xml_refiller_function_from_file_descriptor(xml_refiller *r);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
