// SPDX-License-Identifier: Apache-2.0
// XML: documents, sinks and sources that one thread uses each; one tree that several threads read.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "threads/in_parallel.h"
#include "varnel/xml.h"
#include "xml/read_text.h"

namespace {

using namespace varnel::test;

std::string inventory_of(int thread) {
    std::string text = "<board name=\"b" + std::to_string(thread) + "\">";
    for (int i = 0; i < 50; ++i) {
        text += "<psu n=\"" + std::to_string(i) + "\">a &amp; b " + std::to_string(thread) + "</psu>";
    }
    return text + "</board>";
}

struct document {
    xml_document *get = xml_document_new();
    document() = default;
    ~document() {
        xml_node_delete(get->root);
        xml_document_delete(get);
    }
    document(const document &) = delete;
    document &operator=(const document &) = delete;
};

std::string written(xml_node *tree) {
    xml_sgs text;
    xml_sgs_setup(&text);
    xml_output sink;
    xml_output_setup(&sink, xml_output_function_to_sgs);
    sink.target.sgs = &text;
    xml_node_write(&sink, tree, 0);
    std::string bytes(text.buffer, text.length);
    free(text.buffer);
    return bytes;
}

TEST(xml_threads, each_thread_can_read_edit_and_write_its_own_document) {
    const scratch_folder folder;
    in_parallel(4, [&](int thread) {
        std::string text = inventory_of(thread);
        const std::string path = folder.file("report" + std::to_string(thread));
        for (int round = 0; round < 20; ++round) {
            document first;
            ASSERT_EQ(read_text(first.get, text), 0);
            xml_iterator iterator;
            xml_iterator_setup(&iterator, first.get);
            ASSERT_NE(xml_iterator_scan_node_via_attribute_name_and_value(&iterator, "n", "49"), nullptr);
            xml_iterator_add_child(&iterator, xml_node_clone(first.get->root->first_child));
            ASSERT_EQ(xml_write(first.get, path.c_str(), xml_flag_indent), 0);
            document second;
            ASSERT_EQ(xml_read(second.get, path.c_str(), 0), 0);
            EXPECT_STREQ(xml_node_get_attribute_value(second.get->root->first_child, "name"),
                         ("b" + std::to_string(thread)).c_str());
        }
    });
}

TEST(xml_threads, all_threads_can_write_clone_and_search_one_tree) {
    document shared;
    std::string text = inventory_of(0);
    ASSERT_EQ(read_text(shared.get, text), 0);
    xml_node *const board = shared.get->root->first_child;
    const std::string bytes = written(board);
    in_parallel(4, [&](int) {
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ(written(board), bytes);
            xml_node *const copy = xml_node_clone_tree(board);
            EXPECT_EQ(written(copy), bytes);
            xml_node_delete(copy);
            char *const path = xml_node_get_path_new(board->last_child);
            EXPECT_GT(std::strlen(path), 0U);
            free(path);
            EXPECT_STREQ(xml_node_get_attribute_value(board->last_child, "n"), "49");
        }
    });
}

// Each document gets parts of the next one, so several threads delete pieces of one slab at the same time.
TEST(xml_threads, compact_trees_that_share_slabs_are_deleted_in_parallel) {
    constexpr size_t threads = 4;
    for (int round = 0; round < 20; ++round) {
        std::vector<std::unique_ptr<document>> documents;
        for (size_t i = 0; i < threads; ++i) {
            documents.push_back(std::make_unique<document>());
            std::string text = inventory_of(static_cast<int>(i));
            ASSERT_EQ(read_text(documents[i]->get, text, xml_flag_compact), 0);
        }
        for (size_t i = 0; i < threads; ++i) {
            xml_node *const from = documents[(i + 1) % threads]->get->root->first_child;
            for (int moved = 0; moved < 10; ++moved) {
                xml_node *const node = from->first_child->next;
                xml_node_unlink(node);
                xml_node_add_child(documents[i]->get->root->first_child, node);
            }
        }
        in_parallel(threads, [&](int thread) { documents[static_cast<size_t>(thread)].reset(); });
    }
}

} // namespace
