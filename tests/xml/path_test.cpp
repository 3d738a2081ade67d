// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "varnel/xml_iterator.h"

namespace {

class node_path : public ::testing::Test {
  protected:
    node_path() { root_->kind = xml_kind_document; }
    ~node_path() override { xml_node_delete(root_); }

    static xml_node *add(xml_node *parent, const char *name) {
        xml_node *const n = xml_node_new();
        n->name = name != nullptr ? strdup(name) : nullptr;
        xml_node_add_child(parent, n);
        return n;
    }

    static void expect_path(const xml_node *n, const std::string &path, int depth) {
        EXPECT_EQ(xml_node_get_path_depth(n), depth);
        EXPECT_EQ(xml_node_get_path_length(n), static_cast<int>(path.size()));
        char *const made = xml_node_get_path_new(n);
        EXPECT_EQ(made, path);
        free(made);
        std::string buffer(path.size() + 1, '?');
        EXPECT_EQ(xml_node_get_path(n, buffer.data()), static_cast<int>(path.size()));
        EXPECT_STREQ(buffer.c_str(), path.c_str());
    }

    xml_node *root_ = xml_node_new();
};

TEST_F(node_path, of_an_element_lists_the_names_from_the_root) {
    xml_node *const a = add(root_, "a");
    xml_node *const b = add(a, "long-name");
    expect_path(a, "/a", 1);
    expect_path(b, "/a/long-name", 2);
    expect_path(add(b, ""), "/a/long-name/", 3);
    expect_path(add(root_, ""), "/", 1);
}

TEST_F(node_path, names_end_at_a_node_without_a_name) {
    xml_node *const text = add(add(root_, "a"), nullptr);
    expect_path(text, "", 2);
    expect_path(add(text, "below"), "/below", 3); // names end at the node without one
}

TEST_F(node_path, of_the_document_node_is_empty) {
    EXPECT_EQ(xml_node_get_path_depth(root_), 0);
    EXPECT_EQ(xml_node_get_path_length(root_), 0);
    EXPECT_EQ(xml_node_get_path_new(root_), nullptr);
    char buffer[2] = "x";
    EXPECT_EQ(xml_node_get_path(root_, buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(node_path, of_null_is_empty) {
    EXPECT_EQ(xml_node_get_path_depth(nullptr), 0);
    EXPECT_EQ(xml_node_get_path_length(nullptr), 0);
    EXPECT_EQ(xml_node_get_path_new(nullptr), nullptr);
    char buffer[2] = "x";
    EXPECT_EQ(xml_node_get_path(nullptr, buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(node_path, counts_one_level_more_without_a_document_node) {
    root_->kind = xml_kind_element;
    expect_path(add(root_, "a"), "/a", 2);
}

TEST_F(node_path, includes_the_name_of_a_named_document_node) {
    root_->name = strdup("doc");
    xml_node *const a = add(root_, "a");
    expect_path(a, "/doc/a", 1);
}

TEST_F(node_path, in_a_buffer_has_only_the_innermost_64_levels) {
    std::string expected;
    xml_node *n = root_;
    for (int i = 0; i < 70; ++i) {
        n = add(n, ("n" + std::to_string(i)).c_str());
        expected += i >= 6 ? "/n" + std::to_string(i) : "";
    }
    std::string buffer(static_cast<size_t>(xml_node_get_path_length(n)) + 1, '?');
    EXPECT_EQ(xml_node_get_path(n, buffer.data()), static_cast<int>(expected.size()));
    EXPECT_STREQ(buffer.c_str(), expected.c_str());
    char *const made = xml_node_get_path_new(n);
    EXPECT_EQ(std::string(made), "/n0/n1/n2/n3/n4/n5" + expected);
    free(made);
    EXPECT_EQ(xml_node_get_path_depth(n), 70);
}

} // namespace
