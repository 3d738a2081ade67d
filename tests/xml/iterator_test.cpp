// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_iterator.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "xml/model.h"
#include "xml/read_text.h"

using varnel::test::dump;
using varnel::test::read_text;

namespace {

class tree_iterator : public ::testing::Test {
  protected:
    tree_iterator() {
        std::string text = "<a x='1'><b><c id='7' kind='fan'/>t<d/>u</b></a><item/><!--c--><it idle='77'/>";
        read_text(doc, text);
        EXPECT_EQ(doc->status, 0);
        xml_iterator_setup(&it, doc);
    }
    ~tree_iterator() override {
        xml_node_delete(doc->root);
        xml_document_delete(doc);
    }

    std::string here() const {
        const xml_node *n = it.current;
        return std::string(n->name != nullptr             ? n->name
                           : n->kind == xml_kind_document ? "DOC"
                                                          : n->value) +
               " " + std::to_string(it.depth);
    }

    xml_document *doc = xml_document_new();
    xml_iterator it{};
};

TEST_F(tree_iterator, setup_starts_at_the_root) {
    it.reserved = 3;
    EXPECT_EQ(xml_iterator_setup(&it, doc), 0);
    EXPECT_EQ(it.document, doc);
    EXPECT_EQ(it.root, doc->root);
    EXPECT_EQ(it.current, doc->root);
    EXPECT_EQ(it.depth, 0);
    EXPECT_EQ(it.reserved, 0U);
}

TEST_F(tree_iterator, clone_and_copy_equal_the_original) {
    xml_iterator *const made = xml_iterator_new(doc);
    xml_iterator_descend(made);
    made->reserved = 9;
    xml_iterator *const clone = xml_iterator_clone(made);
    xml_iterator_copy(&it, made);
    for (const xml_iterator *copy :
         {static_cast<const xml_iterator *>(clone), static_cast<const xml_iterator *>(&it)}) {
        EXPECT_EQ(copy->document, doc);
        EXPECT_EQ(copy->current, doc->root->first_child);
        EXPECT_EQ(copy->root, doc->root);
        EXPECT_EQ(copy->depth, 1);
        EXPECT_EQ(copy->reserved, 9U);
    }
    xml_iterator_delete(made);
    xml_iterator_delete(clone);
    xml_iterator_delete(nullptr);
}

TEST_F(tree_iterator, next_goes_in_document_order_to_the_end_of_the_tree) {
    for (const char *expected : {"a 1", "b 2", "c 3", "t 3", "d 3", "u 3", "item 1", "c 1", "it 1"}) {
        const xml_node *const node = xml_iterator_next(&it);
        EXPECT_EQ(node, it.current);
        EXPECT_EQ(here(), expected);
    }
    EXPECT_EQ(xml_iterator_next(&it), nullptr);
    EXPECT_EQ(here(), "it 1");
}

TEST_F(tree_iterator, next_continues_outside_the_subtree_of_its_root) {
    xml_iterator_set_root(&it, doc->root->first_child->first_child); // b
    EXPECT_EQ(it.current, doc->root);
    EXPECT_EQ(xml_iterator_get_root(&it), it.root);
    EXPECT_EQ(here(), "b 0");
    for (const char *expected : {"c 1", "t 1", "d 1", "u 1", "item -1"}) {
        xml_iterator_next(&it);
        EXPECT_EQ(here(), expected);
    }
}

TEST_F(tree_iterator, moves_without_a_target_stay) {
    EXPECT_EQ(xml_iterator_ascend(&it), nullptr);
    EXPECT_EQ(xml_iterator_previous_sibling(&it), nullptr);
    EXPECT_EQ(xml_iterator_next_sibling(&it), nullptr);
    EXPECT_EQ(here(), "DOC 0");
    xml_iterator_descend(&it);
    xml_iterator_next_sibling(&it);
    EXPECT_EQ(here(), "item 1");
    EXPECT_EQ(xml_iterator_descend(&it), nullptr);
    EXPECT_EQ(xml_iterator_previous_sibling(&it), it.current);
    EXPECT_EQ(here(), "a 1");
    EXPECT_EQ(xml_iterator_ascend(&it), doc->root);
    EXPECT_EQ(here(), "DOC 0");
}

TEST_F(tree_iterator, iterator_without_a_current_node_does_not_move) {
    it.current = nullptr;
    it.depth = 5;
    EXPECT_EQ(xml_iterator_next(&it), nullptr);
    EXPECT_EQ(xml_iterator_previous_sibling(&it), nullptr);
    EXPECT_EQ(xml_iterator_next_sibling(&it), nullptr);
    EXPECT_EQ(xml_iterator_ascend(&it), nullptr);
    EXPECT_EQ(xml_iterator_descend(&it), nullptr);
    EXPECT_EQ(xml_iterator_scan_node_via_node_name(&it, "a"), nullptr);
    EXPECT_EQ(it.depth, 5);
}

TEST_F(tree_iterator, adding_without_a_current_node_sets_the_root_of_the_document) {
    for (auto *add :
         {xml_iterator_add_child, xml_iterator_insert_sibling_after, xml_iterator_insert_sibling_before}) {
        xml_document empty{};
        xml_iterator at{};
        xml_iterator_setup(&at, &empty);
        xml_node *const node = xml_node_new();
        add(&at, node);
        EXPECT_EQ(at.current, node);
        EXPECT_EQ(empty.root, node);
        EXPECT_EQ(at.root, nullptr);
        xml_node_delete(node);
    }
}

TEST_F(tree_iterator, edits_apply_to_the_current_node_and_do_not_move) {
    xml_iterator_next(&it);
    xml_iterator_next(&it); // b
    for (auto *edit : {xml_iterator_add_child, xml_iterator_insert_sibling_after,
                       xml_iterator_insert_sibling_before, xml_iterator_add_middle_child}) {
        xml_node *const node = xml_node_new();
        node->name = strdup("new");
        edit(&it, node);
        EXPECT_EQ(here(), "b 2");
    }
    EXPECT_EQ(dump(*doc->root->first_child),
              "a[x=\"1\" ~]{new b[~]{new{c[id=\"7\" kind=\"fan\" ~] T\"t\" d[~] T\"u\" new}} new}");
}

// A stored name matches when the searched one begins with it.
TEST_F(tree_iterator, scan_by_node_name_accepts_stored_prefixes) {
    EXPECT_EQ(xml_iterator_scan_node_via_node_name(&it, "b"), it.current);
    EXPECT_EQ(here(), "b 2");
    EXPECT_EQ(xml_iterator_scan_node_via_node_name(&it, "b"), it.current); // the current node counts
    EXPECT_EQ(here(), "b 2");
    xml_iterator_scan_node_via_node_name(&it, "cabinet");
    EXPECT_EQ(here(), "c 3");
    xml_iterator_next(&it);
    EXPECT_EQ(xml_iterator_scan_node_via_node_name(&it, "ite"), it.current);
    EXPECT_EQ(here(), "it 1"); // not "item", which is no beginning of "ite"
}

TEST_F(tree_iterator, scan_for_item_stops_at_it) {
    it.current = doc->root->last_child; // "it"
    EXPECT_NE(xml_iterator_scan_node_via_node_name(&it, "item"), nullptr);
    EXPECT_EQ(here(), "it 0");
}

TEST_F(tree_iterator, scan_without_a_match_ends_at_the_last_node) {
    EXPECT_EQ(xml_iterator_scan_node_via_node_name(&it, "zzz"), nullptr);
    EXPECT_EQ(here(), "it 1");
    xml_iterator_get_root(&it);
    EXPECT_EQ(xml_iterator_scan_node_via_attribute_name(&it, "zzz"), nullptr);
    EXPECT_EQ(here(), "it 1");
    xml_iterator_get_root(&it);
    EXPECT_EQ(xml_iterator_scan_node_via_attribute_name_and_value(&it, "id", "8"), nullptr);
    EXPECT_EQ(here(), "it 1");
}

TEST_F(tree_iterator, scan_by_attribute_name_accepts_stored_prefixes) {
    EXPECT_NE(xml_iterator_scan_node_via_attribute_name(&it, "identity"), nullptr);
    EXPECT_EQ(here(), "c 3");
    xml_iterator_next(&it);
    EXPECT_NE(xml_iterator_scan_node_via_attribute_name(&it, "idle"), nullptr);
    EXPECT_EQ(here(), "it 1");
}

TEST_F(tree_iterator, scan_by_attribute_name_and_value_accepts_stored_prefixes) {
    EXPECT_NE(xml_iterator_scan_node_via_attribute_name_and_value(&it, "id", "7"), nullptr);
    EXPECT_EQ(here(), "c 3");
    xml_iterator_get_root(&it);
    EXPECT_NE(xml_iterator_scan_node_via_attribute_name_and_value(&it, "id", "77"), nullptr);
    EXPECT_EQ(here(), "c 3"); // "7" is a beginning of "77"
    xml_iterator_get_root(&it);
    EXPECT_NE(xml_iterator_scan_node_via_attribute_name_and_value(&it, "kindness", "fanatic"), nullptr);
    EXPECT_EQ(here(), "c 3");
    xml_iterator_get_root(&it);
    EXPECT_EQ(xml_iterator_scan_node_via_attribute_name_and_value(&it, "kind", "7"), nullptr);
}

TEST_F(tree_iterator, scan_by_value_skips_attributes_without_a_value) {
    xml_attribute *const owner = xml_attribute_new();
    owner->value = std::exchange(doc->root->first_child->attributes->value, nullptr);
    xml_attribute_delete(owner);
    EXPECT_EQ(xml_iterator_scan_node_via_attribute_name_and_value(&it, "x", "1"), nullptr);
    xml_iterator_get_root(&it);
    EXPECT_NE(xml_iterator_scan_node_via_attribute_name(&it, "x"), nullptr);
}

TEST_F(tree_iterator, empty_stored_name_matches_every_name) {
    xml_node *const empty = xml_node_new();
    empty->name = strdup("");
    xml_node_add_child(doc->root, empty);
    EXPECT_EQ(xml_iterator_scan_node_via_node_name(&it, "zzz"), empty);
}

} // namespace
