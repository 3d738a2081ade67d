/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_H
#define VARNEL_XML_H

/**
 * @file
 * XML documents: a reader, a tree, a writer and iterators. This header gives the whole family:
 *
 * - xml_tree.h: nodes, attributes and documents, and how they are linked, copied and freed;
 * - xml_reader.h: text to tree, with the status codes;
 * - xml_writer.h: tree to text;
 * - xml_iterator.h: walking, editing and searching a tree; a node's path and depth;
 * - xml_sgs.h, xml_output.h, xml_refiller.h: growable strings, and where text goes to and comes from.
 *
 * @par Ownership
 * Every record, every name and every value is a `malloc` block of its own: a caller may free a value and put
 * another `malloc` block in its place. Records with a `_setup` function can live in the caller's storage.
 *
 * @par Memory running out
 * `_new` and `_clone` functions return a null pointer and keep nothing. Each of the other functions says what
 * it does.
 *
 * @par Size
 * Nesting, siblings and attributes cost heap, never call stack: reading, writing, copying and deleting
 * millions of them works on a thread with a 64 KiB stack.
 *
 * @par Threads
 * Nothing is shared and nothing is locked: a record belongs to one caller at a time. Functions that take a
 * tree to read it (writing, cloning, paths) do not change it.
 */

#include "varnel/xml_iterator.h"
#include "varnel/xml_output.h"
#include "varnel/xml_reader.h"
#include "varnel/xml_refiller.h"
#include "varnel/xml_sgs.h"
#include "varnel/xml_tree.h"
#include "varnel/xml_writer.h"

#endif
