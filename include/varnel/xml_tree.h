/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VARNEL_XML_TREE_H
#define VARNEL_XML_TREE_H

/**
 * @file
 * XML documents in memory: nodes of six kinds in a tree, with their attributes.
 *
 * @par Ownership
 * A tree is owned through `first_child` and `next`: the owner of a node owns its descendants and its later
 * siblings. The caller that unlinks a node owns it. Names and values are NUL-terminated
 * `malloc` blocks owned by their record; a caller may free one and store another. (In trees that were read
 * with xml_flag_compact the reader's strings and records must not be freed by hand, see xml_reader.h.) A
 * node's value can hold NULs; `value_length` counts them, and 0 stands for "unknown": set it to 0 (or
 * to the new length) when you replace a value. Null pointers are allowed only where a function says so.
 *
 * @par Odd links
 * Some operations leave a link as it was. Each says so; callers rely on it.
 *
 * @par Threads
 * No lock: a tree belongs to one caller at a time.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** What a node is. */
enum xml_kind {
    xml_kind_element = 0,
    xml_kind_comment = 1,
    xml_kind_processing_instruction = 2,
    xml_kind_declaration = 3, /**< `<!DOCTYPE ...>` and the like. */
    xml_kind_text = 4,
    xml_kind_document = 5 /**< The root of a document, above its top-level elements. */
};

/** One attribute of an element, in a singly linked list. */
typedef struct xml_attribute {
    char *name;  /**< Owned; null in a record that stayed empty. Every function skips such records. */
    char *value; /**< Owned; may be null. */
    struct xml_attribute *next; /**< Owned; the next attribute, or null. */
} xml_attribute;

/** One node. */
typedef struct xml_node {
    char *name;            /**< Owned; null where the kind has none, or where the reader could not read it. */
    char *value;           /**< Owned; text, body, or an element's single text; may be null. */
    unsigned value_length; /**< Bytes in `value`, or 0 when unknown. */
    int kind;              /**< enum xml_kind. */
    xml_attribute *attributes;    /**< Owned; the first attribute, or null. */
    struct xml_node *next;        /**< Owned; the later sibling. */
    struct xml_node *previous;    /**< The earlier sibling. */
    struct xml_node *first_child; /**< Owned. */
    struct xml_node *last_child;  /**< See Odd links. */
    struct xml_node *parent;      /**< The node above, up to the document's root. */
} xml_node;

/** Reserved: belongs to a document, and nothing fills it yet. */
typedef struct xml_index {
    unsigned reserved_a; /**< 0. */
    unsigned reserved_b; /**< 0. */
    void *buffer;        /**< Owned. */
} xml_index;

/** A document. */
typedef struct xml_document {
    unsigned reserved;   /**< 0. */
    xml_node *root;      /**< A node of kind 5. xml_document_delete() does not delete it. */
    xml_index *index;    /**< Owned. */
    int status;          /**< 0, or the last error code of reading, or of opening a file (xml_reader.h). */
    unsigned node_count; /**< Nodes that the reader attached. */
    unsigned line;       /**< The reader's line counter. */
} xml_document;

/** @name Attributes */
/** @{ */
/** Zeroes the caller's storage. @param a  not null. @return 0. */
int xml_attribute_setup(xml_attribute *a);
/** Allocates a zeroed attribute. @return it, or null out of memory. */
xml_attribute *xml_attribute_new(void);
/** Frees an attribute and all that follow it, with their names and values. @param a  may be null. */
void xml_attribute_delete(xml_attribute *a);
/**
 * Copies an attribute and all that follow it. Absent names and values stay absent.
 *
 * @param a  may be null, which gives null.
 * @return the new list, or null out of memory.
 */
xml_attribute *xml_attribute_clone(const xml_attribute *a);
/** @} */

/** @name Nodes */
/** @{ */
/** Zeroes the caller's storage: an element without anything. @param n  not null. @return 0. */
int xml_node_setup(xml_node *n);
/** Allocates a zeroed node. @return it, or null out of memory. */
xml_node *xml_node_new(void);
/**
 * Frees a node with its attributes and descendants.
 *
 * @oddity{Later siblings are deleted, too} All its later siblings are freed as well. To delete one subtree
 * alone, unlink it first. Links that point to freed nodes are not changed.
 *
 * @param n  may be null.
 */
void xml_node_delete(xml_node *n);
/**
 * Copies one node with its attributes; the copy has no links. `value_length` + 1 bytes of the value are
 * copied, or all up to the terminator when it is 0.
 *
 * @param n  not null.
 * @return the copy, or null out of memory.
 */
xml_node *xml_node_clone(const xml_node *n);
/**
 * Copies a node with its descendants, but not its siblings.
 *
 * @oddity{Copies have no way back} In the copy every `previous` is null; the other links are complete. Walk
 * forwards.
 *
 * @param n  not null.
 * @return the copy, or null out of memory.
 */
xml_node *xml_node_clone_tree(const xml_node *n);
/**
 * Removes a node, with its descendants, from its siblings; the caller owns it afterwards.
 *
 * @oddity{The last child stays on record} The parent's `last_child` is left alone: after the last child was
 * unlinked it still points to it. Set it before adding another child.
 *
 * @param n  not null.
 */
void xml_node_unlink(xml_node *n);
/**
 * Puts a node before another: in front of the first child it becomes the first.
 *
 * @oddity{Inserted before, seen backwards only} Before any other child, only the links back lead to it: the
 * previous sibling's `next` is left alone, so walking forwards, writing and deleting pass it by. Insert after
 * the sibling before it instead.
 *
 * @param n         the node that stays.
 * @param new_node  an unlinked node.
 */
void xml_node_insert_sibling_before(xml_node *n, xml_node *new_node);
/**
 * Puts a node after another.
 *
 * @oddity{Inserted after, not seen backwards} The later sibling's `previous` is left alone. Walking backwards
 * passes the new node by: walk forwards.
 *
 * @param n         the node that stays.
 * @param new_node  an unlinked node.
 */
void xml_node_insert_sibling_after(xml_node *n, xml_node *new_node);
/**
 * Appends a node to the children of another.
 *
 * @oddity{Siblings come along} The child's `next` is left alone: siblings linked to it come along, but
 * their `parent` and the parent's `last_child` are not set. Unlink the child first.
 *
 * @param parent  not null.
 * @param child   an unlinked node.
 * @return @p parent.
 */
xml_node *xml_node_add_child(xml_node *parent, xml_node *child);
/**
 * Puts a node between another and all of its children: they become the children of @p middle, and @p middle
 * the only child of @p n.
 *
 * @oddity{Children of the middle are lost} Children that @p middle already has are no longer linked. Give it none.
 *
 * @param n       not null; it may have no children.
 * @param middle  an unlinked node.
 */
void xml_node_add_middle_child(xml_node *n, xml_node *middle);
/**
 * The value of the first attribute of that name, which must match exactly.
 *
 * @param n         not null.
 * @param name      not null.
 * @param fallback  what to return when there is none; may be null.
 * @return the value, still owned by the attribute (null if it has none), or @p fallback.
 */
char *xml_node_get_attribute_value_with_failsafe(const xml_node *n, const char *name, const char *fallback);
/**
 * The same with null for a fallback.
 *
 * @param n     not null.
 * @param name  not null.
 * @return the value, or null.
 */
char *xml_node_get_attribute_value(const xml_node *n, const char *name);
/** @} */

/** @name Documents */
/** @{ */
/**
 * Makes the caller's storage an empty document: allocates its root node and its index. What it held before is
 * not freed.
 *
 * @param d  not null.
 * @return 0, or 2 out of memory; this is also its `status`. What was allocated is there then, the rest null.
 */
int xml_document_setup(xml_document *d);
/** Allocates a document and sets it up. @return it (check its `status`), or null out of memory. */
xml_document *xml_document_new(void);
/**
 * Frees a document of xml_document_new() and its index.
 *
 * @oddity{Documents leave their tree} The tree is not freed: delete it first.
 *
 * @code
 * xml_node_delete(document->root);
 * xml_document_delete(document);
 * @endcode
 *
 * @param d  not null.
 */
void xml_document_delete(xml_document *d);
/** Zeroes the caller's storage. @param i  not null. @return 0. */
int xml_index_setup(xml_index *i);
/** Allocates a zeroed index. @return it, or null out of memory. */
xml_index *xml_index_new(void);
/** Frees an index and its buffer. @param i  may be null. */
void xml_index_delete(xml_index *i);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
