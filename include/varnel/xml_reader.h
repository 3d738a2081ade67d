/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_READER_H
#define VARNEL_XML_READER_H

/**
 * @file
 * XML text to tree. This is no validating XML 1.0 parser: it accepts the XML that daemons write, records
 * errors in the document's `status`, keeps what it has read and continues where it can.
 *
 * @par What it does
 * - Elements nest; comments, processing instructions and declarations become nodes. CDATA sections,
 *   declaration subsets in brackets, namespaces, encodings and character references are not supported.
 * - A name begins with a letter (isalpha(3), so the locale decides above 127) and continues with letters,
 *   digits, "-", "_" and ":", up to 127 in all. Only white space, ">" or "/" may follow. So `<?xml?>` is
 *   code 4, while `<?xml ?>` is good.
 * - White space before a text is dropped, and so are spaces and tabs after it; newlines after it stay.
 * - Entities: `&amp;` `&lt;` `&gt;` `&quot;` `&apos;`. Others stay as they are in a text, and become a lone
 *   ";" in an attribute.
 * - An element whose end tag never comes is complete all the same.
 *
 * @oddity{A single text becomes the value} An element with exactly one text among its children ends up with
 * that text as its own `value`; the text node is gone. With two or more texts they stay as children.
 *
 * @oddity{The last attribute is empty} Elements have an attribute list with a last record that stayed empty
 * (name and value null). Pass over records without a name.
 *
 * @oddity{Entities match by their beginning} The last character is ignored and the rest is compared as a
 * prefix: "am" and "ampx" between "&" and ";" are also "&". Escape each ampersand.
 *
 * @oddity{After an error nothing is data} After the first error an element's start tag is read up to its
 * first attribute only, and nothing is stored from it: what follows is read as content. Do not use the tree
 * when `status` is not 0; keep it for diagnosis only.
 *
 * @oddity{Comments lose dashes} In a comment "--" that does not end it becomes "-". Keep data out of
 * comments.
 *
 * @par Status codes
 * @oddity{The status is never reset} Reading sets `status`, and the last error stays. Its values are listed
 * at enum xml_status. Use a new document for each text.
 *
 * @par Line and count
 * `line` counts every newline consumed; xml_read_file() sets it to 1 first. `node_count` counts the nodes
 * attached, and counts a text that became its element's value out again.
 *
 * @par Compact trees
 * With xml_flag_compact names, values and records are packed into a few large blocks instead of one `malloc`
 * block each: reading and deleting takes less than half the time, and the tree less memory. The tree is the
 * same and works with every function. The caller promises one thing: never to pass a name, a value or a
 * record of it to free() or realloc(); that aborts the process ("invalid pointer"). Everything else remains
 * allowed: storing other strings (from `malloc`), adding other records, moving strings, attributes and
 * subtrees to other documents, deleting documents in any order and in different threads. A string that is
 * replaced is freed by xml_attribute_delete():
 * @code
 * xml_attribute *old = xml_attribute_new();
 * old->value = node->value;
 * node->value = strdup("other");
 * xml_attribute_delete(old);
 * @endcode
 * A string that is only overwritten keeps its block, up to 60 kB, allocated for ever.
 *
 * @par Memory running out
 * Reading ends with 2 as result and status; what was attached until then stays.
 */

#include <stdio.h>

#include "varnel/xml_refiller.h"
#include "varnel/xml_tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Flags of reading and writing; reading ignores all but xml_flag_raw and xml_flag_compact. */
enum xml_flag {
    xml_flag_indent = 1,       /**< Writing: indent each node, by one space a level. */
    xml_flag_tabs = 2,         /**< Writing: indent by one tab a level; stronger than the next. */
    xml_flag_three_spaces = 4, /**< Writing: indent by three spaces a level. */
    xml_flag_raw = 8,          /**< No entities: "&" is a character like others, and is written as it is. */
    xml_flag_compact = 1 << 16 /**< Reading: see Compact trees. */
};

/** What `status` of a document can be. */
enum xml_status {
    xml_status_good = 0,
    xml_status_input_failed = 1,  /**< A file could not be opened, read or closed. (A refill function's
                                       own code appears as it is.) */
    xml_status_out_of_memory = 2, /**< Memory ran out. */
    xml_status_bad_name = 4,      /**< A character that may not begin or continue a name, or that may not
                                       follow "<", "<!" or "<!-". */
    xml_status_bad_attribute_start = 5, /**< An attribute does not begin with a letter. */
    xml_status_bad_attribute = 6,       /**< A bad character in an attribute's name, no "=", no opening quote,
                                             or the end of input in an attribute. */
    xml_status_name_too_long = 8,       /**< A name of 128 characters, or cut off by the end of input; an end
                                             tag of 129 characters. */
    xml_status_attribute_too_long = 9,  /**< An attribute name of 129 characters. */
    xml_status_value_too_long = 10,     /**< An attribute value of 257 characters, entities counted as
                                             written. */
    xml_status_unmatched_end_tag = 11,  /**< An end tag that does not match the open element. */
    xml_status_unterminated_entity = 12, /**< "&" without a ";": in a text before "<", another "&" or the end
                                            of input; in an attribute before anything but a letter or the
                                            closing quote, which leaves the "&" as it is. */
    xml_status_short_entity = 13,        /**< `&;`, or one character between "&" and ";". */
    xml_status_invalid_setup = 14        /**< Result of xml_output_setup() and xml_refiller_setup() only. */
};

/**
 * Reads a file into a document.
 *
 * @param doc    a document; nodes are appended to what its root already has.
 * @param path   file name.
 * @param flags  0, xml_flag_raw, xml_flag_compact or both.
 * @return the document's `status`; 1 when the file could not be opened or closed, with `status` 1.
 */
int xml_read(xml_document *doc, const char *path, unsigned flags);

/**
 * Reads a stream from its position, in blocks of 2048 bytes, up to its end or to an end tag that closes
 * more than was opened. Sets `line` to 1 first. The stream stays open.
 *
 * @param doc     a document.
 * @param stream  a stream open for reading.
 * @param flags   0, xml_flag_raw, xml_flag_compact or both.
 * @return 0 whatever the text was like (see `status`), or the refiller's error when reading failed, or 2.
 */
int xml_read_file(xml_document *doc, FILE *stream, unsigned flags);

/**
 * Reads nodes and appends them to a node, up to the end of input or to an end tag, which closes @p parent
 * (and must carry its name, or it is code 11).
 *
 * The refill function is called exactly when a byte is needed. A failed refill deletes the elements that are
 * still open, with what they hold; @p parent keeps what was attached to it.
 *
 * @param r       the input; a pushed-back character comes first.
 * @param parent  the node to append to; an end tag never matches one without a name. If the end tag
 *                leaves it with a single text, its old value is freed.
 * @param doc     whose `status`, `line` and `node_count` are kept; its root need not be above @p parent.
 * @param flags   0, xml_flag_raw, xml_flag_compact or both.
 * @return 0, or the refiller's `error` when it failed, or 2; both are the `status`, too.
 */
int xml_node_read(xml_refiller *r, xml_node *parent, xml_document *doc, unsigned flags);

/**
 * Reads one attribute, after the white space before it. A "/" or ">" in its place is consumed, and @p a stays as
 * it is: that is how a start tag ends.
 *
 * @param r      the input.
 * @param a      its name and value are stored over, not freed. Nothing is stored when there is an error, or
 *               was one before the call.
 * @param doc    whose `status` and `line` are kept.
 * @param flags  0 or xml_flag_raw; xml_flag_compact is ignored, the strings are always `malloc` blocks.
 * @return 0 for an attribute or the end of the tag, else `status`.
 */
int xml_attribute_read(xml_refiller *r, xml_attribute *a, xml_document *doc, unsigned flags);

#ifdef __cplusplus
}
#endif

#endif
