/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_ITERATOR_H
#define VARNEL_XML_ITERATOR_H

/**
 * @file
 * Walking, editing and searching a tree from a current node, and where a node stands in its tree.
 *
 * @oddity{Names match by their beginning} In a search a stored name or value matches when it is a @b
 * beginning of the one searched: a search for "item" finds a node named "it". Compare the name of what was
 * found.
 *
 * @par Threads
 * No lock: an iterator and its tree belong to one caller at a time.
 */

#include "varnel/xml_tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An iterator. It owns nothing; the node it stands on must not be freed under it. */
typedef struct xml_iterator {
    xml_document *document; /**< The document it was set up with. */
    xml_node *current;      /**< Where it stands; null in a document without a root. */
    xml_node *root;         /**< Where xml_iterator_get_root() goes to. */
    int depth;              /**< Levels below the last xml_iterator_get_root(); kept up by the moves. */
    unsigned reserved;      /**< 0. */
} xml_iterator;

/**
 * @name Life and position
 *
 * @param it    an iterator; not null.
 * @param src   the iterator that is copied.
 * @param dst   storage for the copy.
 * @param doc   a document.
 * @param node  a node of the document.
 */
/** @{ */
/** Puts an iterator on a document's root node. @return 0. */
int xml_iterator_setup(xml_iterator *it, xml_document *doc);
/** Allocates an iterator and sets it up. @return it, or null out of memory. */
xml_iterator *xml_iterator_new(xml_document *doc);
/** Frees an iterator of xml_iterator_new() or xml_iterator_clone(). @param it  may be null. */
void xml_iterator_delete(xml_iterator *it);
/** Makes @p dst the same as @p src. */
void xml_iterator_copy(xml_iterator *dst, const xml_iterator *src);
/** Allocates a copy. @return it, or null out of memory. */
xml_iterator *xml_iterator_clone(const xml_iterator *it);
/** Goes to the iterator's root, depth 0. @return that node. */
xml_node *xml_iterator_get_root(xml_iterator *it);
/** Sets the iterator's root, and does not move. */
void xml_iterator_set_root(xml_iterator *it, xml_node *node);
/** @} */

/**
 * @name Moves
 *
 * @param it  not null.
 * @return the node moved to; or null when there is none, and the iterator stays where it is.
 */
/** @{ */
/**
 * To the next node in document order: first child, else next sibling, else the next sibling of the nearest
 * ancestor that has one.
 *
 * @oddity{Walks leave their root} The walk does not end below the iterator's root, but with the whole tree.
 * Watch `depth`.
 */
xml_node *xml_iterator_next(xml_iterator *it);
/** To the previous sibling. */
xml_node *xml_iterator_previous_sibling(xml_iterator *it);
/** To the next sibling. */
xml_node *xml_iterator_next_sibling(xml_iterator *it);
/** To the parent. */
xml_node *xml_iterator_ascend(xml_iterator *it);
/** To the first child. */
xml_node *xml_iterator_descend(xml_iterator *it);
/** @} */

/**
 * @name Edits
 * Those of xml_tree.h, at the current node; the iterator does not move. Without a current node the first
 * three make @p node the current node and the document's root.
 *
 * @param it    an iterator.
 * @param node  an unlinked node.
 */
/** @{ */
/** xml_node_add_child(). */
void xml_iterator_add_child(xml_iterator *it, xml_node *node);
/** xml_node_insert_sibling_after(). */
void xml_iterator_insert_sibling_after(xml_iterator *it, xml_node *node);
/** xml_node_insert_sibling_before(). */
void xml_iterator_insert_sibling_before(xml_iterator *it, xml_node *node);
/** xml_node_add_middle_child(). There must be a current node. */
void xml_iterator_add_middle_child(xml_iterator *it, xml_node *node);
/** @} */

/**
 * @name Searches
 *
 * Forwards from the current node, itself included, by xml_iterator_next(). Names and values match by their
 * beginning, see above.
 *
 * @param it     not null.
 * @param name   not null.
 * @param value  not null.
 * @return the node found, where the iterator now stands; or null, and it stands on the last node of the tree.
 */
/** @{ */
/** A node of that name. */
xml_node *xml_iterator_scan_node_via_node_name(xml_iterator *it, const char *name);
/** A node with an attribute of that name. */
xml_node *xml_iterator_scan_node_via_attribute_name(xml_iterator *it, const char *name);
/** A node with an attribute of that name and value. */
xml_node *xml_iterator_scan_node_via_attribute_name_and_value(xml_iterator *it, const char *name,
                                                              const char *value);
/** @} */

/** @name Places */
/** @{ */
/**
 * How deep a node stands: the nodes from it upwards, up to but without the document node.
 *
 * @param node  may be null.
 * @return 0 for null and for the document node, 1 for a top-level element.
 */
int xml_node_get_path_depth(const xml_node *node);
/**
 * Length of a node's path, such as `/a/b`: its name and those above it, as far as there are names.
 *
 * @param node  may be null.
 * @return bytes without the terminator; 0 for null and for a node without a name.
 */
int xml_node_get_path_length(const xml_node *node);
/**
 * A node's path.
 *
 * @param node  may be null.
 * @return a string that the caller frees, empty for a node without a name; null for null and for the document
 *         node, or out of memory.
 */
char *xml_node_get_path_new(const xml_node *node);
/**
 * A node's path, in the caller's buffer.
 *
 * @oddity{Paths of 64 levels} Only the 64 levels nearest to the node are written. A deeper node's path lacks
 * its beginning; xml_node_get_path_new() gives all of it.
 *
 * @param node    may be null, which gives the empty string.
 * @param buffer  xml_node_get_path_length() + 1 bytes.
 * @return bytes written, without the terminator.
 */
int xml_node_get_path(const xml_node *node, char *buffer);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
