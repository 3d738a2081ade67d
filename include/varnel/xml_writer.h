/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_WRITER_H
#define VARNEL_XML_WRITER_H

/**
 * @file
 * Tree to XML text. The flags are those of xml_reader.h.
 *
 * @par What is written
 * | node        | text |
 * |-------------|------|
 * | element     | `<name a="1"/>`, or `<name a="1">value</name>` with a value or children, and a newline |
 * | comment     | `<!-- value -->` and a newline |
 * | instruction | `<?name value?>` and a newline |
 * | declaration | `<!name value>` and a newline |
 * | text        | the value alone, without a newline |
 * | document    | its children, then a newline |
 *
 * Children begin on a line of their own; an element's value comes after its children. An empty value counts
 * as one (`<a></a>`). Attribute values stand in double quotes. Values of elements, texts and attributes are
 * escaped, unless xml_flag_raw is given; comments, instructions and declarations never are. With
 * xml_flag_indent each node begins with the indentation of its level: 0 for top-level elements.
 *
 * @oddity{Comments grow} A comment gains a space on either side each time it is written. An indented text,
 * when it is read again, begins after the indentation but ends with the line's: write without
 * xml_flag_indent what has to be the same when it is read again. Trim what was read.
 *
 * Null strings are written as empty, attributes without a name not at all.
 *
 * @par Errors
 * Writing goes on after an error of the sink (except for the attributes of that element; of indentation one
 * unit is still written); the sink's `error` tells the caller.
 *
 * @par Threads
 * Trees are not changed. A stream is written through its buffer, several pieces at a time.
 */

#include <stdio.h>

#include "varnel/xml_output.h"
#include "varnel/xml_reader.h"
#include "varnel/xml_tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes a document to a file, which is created or emptied. A process that is killed in the call leaves the
 * beginning of the text, or an empty file. To keep the old text until the new one is complete, write another
 * file, fsync(2) it and rename(2) it.
 *
 * @oddity{Failed writes are not reported} Only opening and closing are: a full disk can give a short file and
 * 0. Where that matters, use xml_write_file() and ferror(3).
 *
 * @param doc    the document.
 * @param path   file name.
 * @param flags  enum xml_flag, added up.
 * @return 1, which becomes the `status`, when the file could not be opened or closed; otherwise the `status`
 *         that the document had.
 */
int xml_write(xml_document *doc, const char *path, unsigned flags);

/**
 * Writes a document's root to a stream, which is neither flushed nor closed.
 *
 * @param doc     the document.
 * @param stream  a stream open for writing; ferror(3) tells how it went.
 * @param flags   enum xml_flag, added up.
 */
void xml_write_file(xml_document *doc, FILE *stream, unsigned flags);

/**
 * Writes a node with its descendants, but not its siblings, and adds one to the sink's `count` for each node
 * after which the sink has no error.
 *
 * A write function of the caller's own is called once for each piece: `<` and the name; for each attribute a
 * space, its name, `=`, the quote, the value, the quote; `/>` and newline together, or `>`; a newline
 * before children; each unit of indentation; `</`, the name, `>` and newline together; the opening and the
 * closing of other nodes, with name, space and value between them; and a value that is escaped as
 * xml_output_escape_string() says.
 *
 * @param out    the sink. A tree whose `parent` links do not match its children can need memory to be walked;
 *               if there is none, `error` becomes 2 and writing ends.
 * @param node   not null.
 * @param flags  enum xml_flag, added up. The level is taken from xml_node_get_path_depth().
 */
void xml_node_write(xml_output *out, xml_node *node, unsigned flags);

/**
 * Writes one attribute, such as `a="1"`, without a space before it; nothing when it has no name.
 *
 * @param out        the sink.
 * @param attribute  not null.
 * @param flags      0 or xml_flag_raw.
 * @return the sink's `error`.
 */
int xml_attribute_write(xml_output *out, xml_attribute *attribute, unsigned flags);

#ifdef __cplusplus
}
#endif

#endif
