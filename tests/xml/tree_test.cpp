// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_tree.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "xml/model.h"

using varnel::test::dump;

namespace {

xml_attribute *attribute(const char *name, const char *value, xml_attribute *next = nullptr) {
    xml_attribute *const a = xml_attribute_new();
    a->name = name != nullptr ? strdup(name) : nullptr;
    a->value = value != nullptr ? strdup(value) : nullptr;
    a->next = next;
    return a;
}

xml_node *node(const char *name) {
    xml_node *const n = xml_node_new();
    n->name = strdup(name);
    return n;
}

/// p with the children a, b and c.
class sibling_links : public ::testing::Test {
  protected:
    sibling_links() {
        for (xml_node *child : {a, b, c}) {
            EXPECT_EQ(xml_node_add_child(p, child), p);
        }
    }
    ~sibling_links() override { xml_node_delete(p); }

    void expect_links(const xml_node *of, const xml_node *previous, const xml_node *next,
                      const xml_node *parent) const {
        EXPECT_EQ(of->previous, previous) << of->name;
        EXPECT_EQ(of->next, next) << of->name;
        EXPECT_EQ(of->parent, parent) << of->name;
    }

    xml_node *p = node("p");
    xml_node *a = node("a");
    xml_node *b = node("b");
    xml_node *c = node("c");
    xml_node *n = node("n");
};

TEST(attribute, setup_and_new_zero_all_words) {
    xml_attribute storage;
    memset(&storage, 0xAA, sizeof storage);
    EXPECT_EQ(xml_attribute_setup(&storage), 0);
    EXPECT_EQ(storage.name, nullptr);
    EXPECT_EQ(storage.value, nullptr);
    EXPECT_EQ(storage.next, nullptr);
    xml_attribute *const made = xml_attribute_new();
    EXPECT_EQ(made->name, nullptr);
    EXPECT_EQ(made->next, nullptr);
    xml_attribute_delete(made);
}

TEST(attribute, clone_copies_the_whole_list) {
    xml_attribute *const list = attribute("x", "1", attribute(nullptr, nullptr, attribute("y", nullptr)));
    xml_attribute *const copy = xml_attribute_clone(list);
    EXPECT_STREQ(copy->name, "x");
    EXPECT_NE(copy->name, list->name);
    EXPECT_STREQ(copy->value, "1");
    EXPECT_EQ(copy->next->name, nullptr);
    EXPECT_EQ(copy->next->value, nullptr);
    EXPECT_STREQ(copy->next->next->name, "y");
    EXPECT_EQ(copy->next->next->value, nullptr);
    EXPECT_EQ(copy->next->next->next, nullptr);
    xml_attribute_delete(list);
    xml_attribute_delete(copy);
    EXPECT_EQ(xml_attribute_clone(nullptr), nullptr);
}

TEST(node, setup_and_new_zero_all_words) {
    xml_node storage;
    memset(&storage, 0xAA, sizeof storage);
    EXPECT_EQ(xml_node_setup(&storage), 0);
    xml_node *const made = xml_node_new();
    EXPECT_EQ(storage.value_length, 0U);
    EXPECT_EQ(storage.kind, 0);
    EXPECT_EQ(storage.parent, nullptr);
    EXPECT_EQ(dump(storage), dump(*made));
    xml_node_delete(made);
}

// What is not freed, or freed twice, shows under ASan.
TEST_F(sibling_links, deleting_a_node_deletes_later_siblings_too) {
    p->first_child->next = nullptr;
    p->last_child = a;
    xml_node_delete(b); // and c
    EXPECT_EQ(dump(*p), "p{a}");
    xml_node_delete(n);
}

TEST_F(sibling_links, delete_frees_children_siblings_and_attributes) {
    xml_node_add_child(a, node("a1"));
    xml_node_add_child(a, node("a2"));
    xml_node_add_child(a->first_child, node("a11"));
    xml_node_add_child(b, node("b1"));
    a->attributes = attribute("x", "1", attribute(nullptr, nullptr));
    a->first_child->value = strdup("v");
    xml_node_delete(n);
}

TEST_F(sibling_links, add_child_links_both_ways) {
    expect_links(a, nullptr, b, p);
    expect_links(b, a, c, p);
    expect_links(c, b, nullptr, p);
    EXPECT_EQ(p->first_child, a);
    EXPECT_EQ(p->last_child, c);
    xml_node_delete(n);
}

TEST_F(sibling_links, unlinking_the_first_updates_the_first_child) {
    xml_node_unlink(a);
    expect_links(a, nullptr, nullptr, nullptr);
    expect_links(b, nullptr, c, p);
    EXPECT_EQ(p->first_child, b);
    xml_node_delete(a);
    xml_node_delete(n);
}

TEST_F(sibling_links, unlinking_the_middle_joins_its_neighbours) {
    xml_node_unlink(b);
    expect_links(a, nullptr, c, p);
    expect_links(b, nullptr, nullptr, nullptr);
    expect_links(c, a, nullptr, p);
    xml_node_delete(b);
    xml_node_delete(n);
}

TEST_F(sibling_links, unlinking_the_last_leaves_last_child_pointing_to_it) {
    xml_node_add_child(c, n);
    xml_node_unlink(c);
    EXPECT_EQ(p->last_child, c);
    EXPECT_EQ(b->next, nullptr);
    EXPECT_EQ(c->first_child, n); // its children stay
    EXPECT_EQ(n->parent, c);
    p->last_child = b;
    xml_node_delete(c);
}

TEST(node_unlink, node_without_links_is_unchanged) {
    xml_node *const alone = node("alone");
    xml_node_unlink(alone);
    xml_node_delete(alone);
}

TEST_F(sibling_links, insert_before_the_first_updates_the_first_child) {
    xml_node_insert_sibling_before(a, n);
    expect_links(n, nullptr, a, p);
    EXPECT_EQ(a->previous, n);
    EXPECT_EQ(p->first_child, n);
}

TEST_F(sibling_links, insert_before_another_is_linked_only_backwards) {
    xml_node_insert_sibling_before(b, n);
    expect_links(n, a, b, p);
    EXPECT_EQ(b->previous, n);
    EXPECT_EQ(a->next, b);
    EXPECT_EQ(p->first_child, a);
    n->next = nullptr;
    xml_node_delete(n);
}

TEST_F(sibling_links, insert_after_the_last_updates_the_last_child) {
    xml_node_insert_sibling_after(c, n);
    expect_links(n, c, nullptr, p);
    EXPECT_EQ(c->next, n);
    EXPECT_EQ(p->last_child, n);
}

TEST_F(sibling_links, insert_after_another_keeps_previous_of_the_next_sibling) {
    xml_node_insert_sibling_after(a, n);
    expect_links(n, a, b, p);
    EXPECT_EQ(a->next, n);
    EXPECT_EQ(b->previous, a);
    EXPECT_EQ(p->last_child, c);
}

TEST_F(sibling_links, insert_beside_a_node_without_a_parent_links_siblings_only) {
    xml_node *const alone = node("alone");
    xml_node *const before = node("before");
    xml_node_insert_sibling_before(alone, before);
    EXPECT_EQ(before->parent, nullptr);
    EXPECT_EQ(before->next, alone);
    xml_node_insert_sibling_after(alone, n);
    EXPECT_EQ(alone->next, n);
    xml_node_delete(before);
}

TEST_F(sibling_links, add_child_keeps_next_of_the_child) {
    xml_node *const hanging = node("hanging");
    n->next = hanging;
    xml_node_add_child(p, n);
    EXPECT_EQ(p->last_child, n);
    EXPECT_EQ(n->next, hanging);
    EXPECT_EQ(hanging->parent, nullptr);
}

TEST_F(sibling_links, middle_child_becomes_the_parent_of_the_children) {
    xml_node_add_middle_child(p, n);
    EXPECT_EQ(dump(*p), "p{n{a b c}}");
    EXPECT_EQ(n->parent, p);
}

TEST_F(sibling_links, middle_child_of_a_leaf_is_its_only_child) {
    xml_node_add_middle_child(a, n);
    EXPECT_EQ(dump(*p), "p{a{n} b c}");
    EXPECT_EQ(n->first_child, nullptr);
    EXPECT_EQ(n->last_child, nullptr);
}

TEST_F(sibling_links, attribute_values_are_found_by_exact_name) {
    a->attributes =
        attribute(nullptr, nullptr,
                  attribute("ids", "1", attribute("id", "2", attribute("id", "3", attribute("x", nullptr)))));
    EXPECT_STREQ(xml_node_get_attribute_value(a, "id"), "2");
    EXPECT_EQ(xml_node_get_attribute_value(a, "i"), nullptr);
    EXPECT_EQ(xml_node_get_attribute_value(b, "id"), nullptr);
    EXPECT_STREQ(xml_node_get_attribute_value_with_failsafe(a, "id", "f"), "2");
    EXPECT_STREQ(xml_node_get_attribute_value_with_failsafe(a, "i", "f"), "f");
    EXPECT_EQ(xml_node_get_attribute_value_with_failsafe(a, "x", "f"), nullptr); // there, without a value
    xml_node_delete(n);
}

TEST_F(sibling_links, clone_has_no_links) {
    b->attributes = attribute("x", "1", attribute(nullptr, nullptr));
    b->value = static_cast<char *>(malloc(4));
    memcpy(b->value, "v\0w", 4);
    b->value_length = 3;
    b->kind = xml_kind_comment;
    xml_node_add_child(b, n);
    xml_node *const copy = xml_node_clone(b);
    expect_links(copy, nullptr, nullptr, nullptr);
    EXPECT_EQ(copy->first_child, nullptr);
    EXPECT_EQ(copy->last_child, nullptr);
    EXPECT_STREQ(copy->name, "b");
    EXPECT_EQ(copy->kind, xml_kind_comment);
    EXPECT_EQ(copy->value_length, 3U);
    EXPECT_EQ(memcmp(copy->value, "v\0w", 4), 0);
    EXPECT_STREQ(copy->attributes->name, "x");
    EXPECT_EQ(copy->attributes->next->name, nullptr);
    xml_node_delete(copy);
}

TEST(node_clone, value_that_is_longer_than_its_length_is_cut_and_terminated) {
    xml_node *const n = xml_node_new();
    n->value = strdup("text");
    n->value_length = 2;
    xml_node *const copy = xml_node_clone(n);
    EXPECT_STREQ(copy->value, "te");
    EXPECT_EQ(copy->value_length, 2U);
    xml_node_delete(copy);
    xml_node_delete(n);
}

TEST(node_clone, value_of_unknown_length_is_copied_up_to_its_terminator) {
    xml_node *const n = xml_node_new();
    n->value = strdup("text");
    xml_node *const copy = xml_node_clone(n);
    EXPECT_STREQ(copy->value, "text");
    EXPECT_EQ(copy->value_length, 0U);
    EXPECT_EQ(copy->name, nullptr);
    xml_node_delete(copy);
    xml_node_delete(n);
}

TEST_F(sibling_links, clone_tree_leaves_previous_null) {
    xml_node_add_child(a, node("a1"));
    xml_node_add_child(a, node("a2"));
    xml_node_add_child(a->last_child, node("a21"));
    xml_node_add_child(c, n);
    xml_node *const later = node("later");
    p->next = later; // a sibling of what is cloned
    xml_node *const copy = xml_node_clone_tree(p);
    expect_links(copy, nullptr, nullptr, nullptr);
    xml_node *const ca = copy->first_child;
    xml_node *const cb = ca->next;
    xml_node *const cc = cb->next;
    expect_links(ca, nullptr, cb, copy);
    expect_links(cb, nullptr, cc, copy);
    expect_links(cc, nullptr, nullptr, copy);
    EXPECT_EQ(copy->last_child, cc);
    expect_links(ca->first_child, nullptr, ca->last_child, ca);
    expect_links(ca->last_child, nullptr, nullptr, ca);
    EXPECT_STREQ(ca->last_child->first_child->name, "a21");
    EXPECT_EQ(ca->last_child->last_child, ca->last_child->first_child);
    EXPECT_STREQ(cc->first_child->name, "n");
    EXPECT_EQ(cb->first_child, nullptr);
    xml_node_delete(copy);
}

// The copy follows first_child and next alone.
TEST_F(sibling_links, clone_tree_ignores_parent_links) {
    xml_node_add_child(b, n);
    a->parent = nullptr;
    b->parent = c;
    n->parent = a;
    xml_node *const copy = xml_node_clone_tree(p);
    EXPECT_STREQ(copy->first_child->next->first_child->name, "n");
    EXPECT_STREQ(copy->first_child->next->next->name, "c");
    EXPECT_EQ(copy->first_child->next->parent, copy);
    xml_node_delete(copy);
}

TEST(document, setup_makes_root_and_index) {
    xml_document doc;
    memset(&doc, 0xAA, sizeof doc);
    EXPECT_EQ(xml_document_setup(&doc), 0);
    EXPECT_EQ(doc.reserved, 0U);
    EXPECT_EQ(doc.root->kind, xml_kind_document);
    EXPECT_EQ(doc.root->name, nullptr);
    ASSERT_NE(doc.index, nullptr);
    EXPECT_EQ(doc.status, 0);
    EXPECT_EQ(doc.node_count, 0U);
    EXPECT_EQ(doc.line, 0U);
    xml_node_delete(doc.root);
    xml_index_delete(doc.index);
}

TEST(document, delete_does_not_free_the_tree) {
    xml_document *const doc = xml_document_new();
    xml_node *const root = doc->root;
    xml_document_delete(doc);
    EXPECT_EQ(root->kind, xml_kind_document); // ASan would see it gone
    xml_node_delete(root);
}

TEST(index, delete_frees_the_buffer) {
    xml_index storage;
    memset(&storage, 0xAA, sizeof storage);
    EXPECT_EQ(xml_index_setup(&storage), 0);
    EXPECT_EQ(storage.reserved_a, 0U);
    EXPECT_EQ(storage.reserved_b, 0U);
    EXPECT_EQ(storage.buffer, nullptr);
    xml_index *const index = xml_index_new();
    EXPECT_EQ(index->buffer, nullptr);
    index->buffer = malloc(10);
    xml_index_delete(index);
    xml_index_delete(nullptr);
}

} // namespace
