// SPDX-License-Identifier: Apache-2.0
// What a daemon may do by hand with what the reader made: replace, free and move names, values and records.
// What is lost or freed twice shows under ASan.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "xml/model.h"
#include "xml/read_text.h"

using namespace varnel::test;

namespace {

const std::string long_text(5000, 'l');
const std::string sample = "<?p body?><a x='1' y='&amp;2' z='3'>one<b>text</b><!--c-->two</a><c k='" +
                           std::string(250, 'v') + "'>" + long_text + "</c>";

/// A document read from the sample.
class document {
  public:
    explicit document(unsigned flags = 0) {
        std::string text = sample;
        EXPECT_EQ(read_text(doc_, text, flags), 0);
    }
    ~document() {
        xml_node_delete(doc_->root);
        xml_document_delete(doc_);
    }
    document(const document &) = delete;
    document &operator=(const document &) = delete;

    [[nodiscard]] xml_node &root() const { return *doc_->root; }
    /// The element "a" of the sample.
    [[nodiscard]] xml_node &a() const { return *doc_->root->first_child->next; }
    [[nodiscard]] xml_node &c() const { return *a().next; }

  private:
    xml_document *doc_ = xml_document_new();
};

void replace_by_hand(char *&string, const char *by) {
    free(string);
    string = strdup(by);
}

TEST(ownership, names_and_values_may_be_freed_and_replaced) {
    document doc;
    replace_by_hand(doc.a().name, "other");
    replace_by_hand(doc.a().attributes->name, "key");
    replace_by_hand(doc.a().attributes->next->value, "a longer value than before");
    replace_by_hand(doc.a().first_child->value, "text");
    doc.a().first_child->value_length = 0;
    replace_by_hand(doc.root().first_child->value, "");
    free(doc.c().value);
    doc.c().value = nullptr;
    EXPECT_STREQ(doc.a().name, "other");
    EXPECT_STREQ(xml_node_get_attribute_value(&doc.a(), "key"), "1");
    EXPECT_STREQ(xml_node_get_attribute_value(&doc.a(), "y"), "a longer value than before");
}

TEST(ownership, values_may_grow_by_realloc) {
    document doc;
    for (char **value : {&doc.a().attributes->value, &doc.a().first_child->value, &doc.c().value}) {
        const size_t length = strlen(*value);
        *value = static_cast<char *>(realloc(*value, length + 10000));
        memset(*value + length, '+', 9999);
        (*value)[length + 9999] = '\0';
        EXPECT_EQ(strlen(*value), length + 9999);
    }
}

TEST(ownership, one_attribute_may_be_freed_by_the_caller) {
    document doc;
    xml_attribute *const second = doc.a().attributes->next;
    doc.a().attributes->next = second->next;
    free(second->name);
    free(second->value);
    free(second);
    EXPECT_STREQ(xml_node_get_attribute_value(&doc.a(), "z"), "3");
}

TEST(ownership, one_node_may_be_freed_by_the_caller) {
    document doc;
    xml_node *const text = doc.a().first_child;
    xml_node_unlink(text);
    free(text->value);
    free(text);
}

TEST(ownership, stored_attribute_belongs_to_the_caller) {
    document doc;
    xml_attribute attribute{};
    char text[] = "name='value' name='value'";
    xml_refiller in{};
    xml_refiller_setup(&in, nullptr, text, sizeof text - 1, sizeof text - 1);
    xml_document status{};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(xml_attribute_read(&in, &attribute, &status, 0), 0);
        EXPECT_STREQ(attribute.value, "value");
        free(attribute.name);
        free(attribute.value);
    }
}

/// What may also be done with a compact tree.
class ownership_default_and_compact : public ::testing::TestWithParam<unsigned> {};

TEST_P(ownership_default_and_compact, parts_may_move_to_another_document) {
    document first(GetParam());
    for (const unsigned other_kind : {0U, unsigned{xml_flag_compact}}) {
        document second(other_kind);
        std::swap(first.a().name, second.c().name);
        std::swap(first.c().value, second.a().first_child->value);
        std::swap(first.a().attributes, second.c().attributes);
        xml_node *const moved = second.a().first_child->next;
        xml_node_unlink(moved);
        xml_node_add_child(&first.c(), moved);
    }
    EXPECT_STREQ(first.a().name, "c");
    EXPECT_STREQ(first.c().value, "one");
    EXPECT_EQ(xml_node_get_attribute_value(&first.a(), "k"), std::string(250, 'v'));
    EXPECT_STREQ(first.c().last_child->value, "text");
    EXPECT_EQ(first.c().first_child->next, first.c().last_child);
}

TEST_P(ownership_default_and_compact, single_attribute_and_single_subtree_may_be_deleted) {
    document doc(GetParam());
    xml_attribute *const second = doc.a().attributes->next;
    doc.a().attributes->next = second->next;
    second->next = nullptr;
    xml_attribute_delete(second);
    xml_node *const b = doc.a().first_child->next;
    xml_node_unlink(b);
    xml_node_delete(b);
    EXPECT_STREQ(xml_node_get_attribute_value(&doc.a(), "z"), "3");
    EXPECT_STREQ(doc.a().first_child->next->value, "c");
}

TEST_P(ownership_default_and_compact, records_allocated_by_the_caller_may_be_linked_anywhere) {
    document doc(GetParam());
    auto *const attribute = static_cast<xml_attribute *>(malloc(sizeof(xml_attribute)));
    xml_attribute_setup(attribute);
    attribute->name = strdup("own");
    attribute->next = doc.a().attributes->next;
    doc.a().attributes->next = attribute;
    auto *const node = static_cast<xml_node *>(malloc(sizeof(xml_node)));
    xml_node_setup(node);
    xml_node_insert_sibling_after(doc.a().first_child, node);
    xml_node_add_child(node, xml_node_clone_tree(&doc.c()));
    EXPECT_EQ(doc.a().first_child->next->first_child->value, long_text);
}

TEST_P(ownership_default_and_compact, replaced_strings_are_freed_as_values_of_an_attribute) {
    document doc(GetParam());
    for (char **string :
         {&doc.a().name, &doc.a().attributes->name, &doc.a().attributes->next->value, &doc.c().value}) {
        xml_attribute *const old = xml_attribute_new();
        old->value = *string;
        *string = strdup("other");
        xml_attribute_delete(old);
        EXPECT_STREQ(*string, "other");
    }
}

TEST_P(ownership_default_and_compact, documents_that_share_parts_are_deleted_in_any_order) {
    std::vector<std::unique_ptr<document>> documents;
    for (int i = 0; i < 6; ++i) {
        documents.push_back(std::make_unique<document>(i % 2 == 0 ? GetParam() : 0));
    }
    for (size_t i = 0; i + 1 < documents.size(); ++i) { // each gets a part of the next one
        xml_node *const moved = &documents[i + 1]->c();
        xml_node_unlink(moved);
        documents[i + 1]->root().last_child = &documents[i + 1]->a();
        xml_node_add_child(&documents[i]->a(), moved);
    }
    for (const size_t gone : {2U, 5U, 0U, 4U, 1U}) {
        documents[gone].reset();
        if (documents[3] != nullptr) {
            EXPECT_EQ(documents[3]->a().last_child->value, long_text);
        }
    }
}

TEST_P(ownership_default_and_compact, everything_may_be_deleted_piece_by_piece) {
    document doc(GetParam());
    xml_node *node = doc.root().first_child;
    doc.root().first_child = doc.root().last_child = nullptr;
    while (node != nullptr) {
        xml_node *const next = node->next;
        node->next = nullptr;
        while (node->attributes != nullptr) {
            xml_attribute *const attribute = node->attributes;
            node->attributes = std::exchange(attribute->next, nullptr);
            xml_attribute_delete(attribute);
        }
        xml_node_delete(node);
        node = next;
    }
}

INSTANTIATE_TEST_SUITE_P(kinds, ownership_default_and_compact,
                         ::testing::Values(0U, unsigned{xml_flag_compact}),
                         [](const auto &kind) { return kind.param == 0 ? "Default" : "Compact"; });

// Loudly, whatever the C library: these addresses are none that malloc() returns.
TEST(ownership_DeathTest, freeing_a_piece_of_a_compact_tree_aborts) {
    document doc(xml_flag_compact);
    EXPECT_DEATH(free(doc.a().name), "");
    EXPECT_DEATH(free(doc.a().attributes->value), "");
    EXPECT_DEATH(free(&doc.c()), "");
}

} // namespace
