// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "torture/torture.h"
#include "varnel/xml.h"
#include "xml/document_text.h"

namespace {

using namespace varnel::test;

const std::string sample =
    "<?p body?><a x='1' y='&amp;'>text<b/>more<!--c--></a><c>" + std::string(9000, 't') + "</c>";

std::string written(const std::string &text) {
    const scratch_folder folder;
    xml_document *const doc = document_of(text);
    xml_write(doc, folder.file("xml").c_str(), 0);
    free_document(doc);
    return read_file(folder.file("xml")).value();
}

/// With status 0 the tree is complete; an incomplete tree is still well linked.
void expect_read(const trial &t, const xml_document &doc, int result) {
    const std::string tree = dump(*doc.root);
    EXPECT_EQ(tree.find("BROKEN"), std::string::npos);
    EXPECT_EQ(doc.status, result);
    const bool short_alone = t.was_short("stream read") || t.was_short("read");
    if (t.failed().size() <= 1) {
        EXPECT_EQ(result == 0, !t.any_failed() || short_alone);
    }
    if (result == 0) {
        EXPECT_EQ(tree, tree_of(sample));
    }
}

class xml_torture_default_and_compact : public ::testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(kinds, xml_torture_default_and_compact,
                         ::testing::Values(0U, unsigned{xml_flag_compact}),
                         [](const auto &kind) { return kind.param == 0 ? "Default" : "Compact"; });

TEST_P(xml_torture_default_and_compact, read) {
    const scratch_folder folder;
    write_file(folder.file("xml"), sample);
    torture([&](trial &t) {
        xml_document *const doc = xml_document_new();
        int result = -1;
        t.run([&] { result = xml_read(doc, folder.file("xml").c_str(), GetParam()); });
        expect_read(t, *doc, result);
        free_document(doc);
    });
}

TEST_P(xml_torture_default_and_compact, read_from_descriptor) {
    const scratch_folder folder;
    write_file(folder.file("xml"), sample);
    torture([&](trial &t) {
        xml_document *const doc = xml_document_new();
        char buffer[2048];
        xml_refiller r{};
        xml_refiller_setup(&r, xml_refiller_function_from_file_descriptor, buffer, 0, sizeof buffer);
        r.source.descriptor = open(folder.file("xml").c_str(), O_RDONLY | O_CLOEXEC);
        int result = -1;
        t.run([&] { result = xml_node_read(&r, doc->root, doc, GetParam()); });
        close(r.source.descriptor);
        expect_read(t, *doc, result);
        free_document(doc);
    });
}

/// xml_write() reports only failures to open and to close (xml_writer.h).
TEST(xml_torture, write) {
    const std::string expected = written(sample);
    xml_document *const doc = document_of(sample);
    torture([&](trial &t) {
        const scratch_folder folder;
        doc->status = 0;
        int result = -1;
        t.run([&] { result = xml_write(doc, folder.file("xml").c_str(), 0); });
        if (result == 0 && (!t.has_failed("stream write") || t.failed().size() == 1)) {
            const bool lost = t.has_failed("stream write") && !t.was_short("stream write");
            EXPECT_EQ(read_file(folder.file("xml")) == expected, !lost);
        }
        EXPECT_EQ(doc->status, result);
        EXPECT_TRUE(result == 0 || t.any_failed());
    });
    free_document(doc);
}

TEST(xml_torture, write_to_descriptor) {
    const std::string expected = written(sample);
    xml_document *const doc = document_of(sample);
    torture([&](trial &t) {
        const scratch_folder folder;
        xml_output out{};
        xml_output_setup(&out, xml_output_function_to_file_descriptor);
        out.target.descriptor = open(folder.file("xml").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        t.run([&] { xml_node_write(&out, doc->root, 0); });
        close(out.target.descriptor);
        if (out.error == 0) {
            EXPECT_EQ(read_file(folder.file("xml")), expected);
        }
        EXPECT_TRUE(out.error == 0 || t.any_failed());
    });
    free_document(doc);
}

TEST(xml_torture, write_to_growable_string) {
    const std::string expected = written(sample);
    xml_document *const doc = document_of(sample);
    torture([&](trial &t) {
        xml_output out{};
        xml_output_setup(&out, xml_output_function_to_sgs);
        t.run([&] {
            out.target.sgs = xml_sgs_new();
            if (out.target.sgs != nullptr) {
                xml_node_write(&out, doc->root, 0);
            }
        });
        EXPECT_EQ(out.target.sgs == nullptr || out.error == 2, t.any_failed());
        if (!t.any_failed()) {
            EXPECT_EQ(std::string(out.target.sgs->buffer, out.target.sgs->length), expected);
        }
        if (out.target.sgs != nullptr) {
            xml_sgs_delete(out.target.sgs);
        }
    });
    free_document(doc);
}

TEST(xml_torture, new_document) {
    torture([](trial &t) {
        xml_document *doc = nullptr;
        t.run([&] { doc = xml_document_new(); });
        EXPECT_EQ(doc != nullptr && doc->status == 0, !t.any_failed());
        if (doc != nullptr) {
            free_document(doc);
        }
    });
}

/// Clones a branch, adds it to the document, and asks for a path.
TEST(xml_torture, clone_and_edit) {
    xml_document *const doc = document_of("<a><b x='1'><c>text</c></b></a>");
    xml_node *const a = doc->root->first_child;
    torture([&](trial &t) {
        xml_node *clone = nullptr;
        xml_node *middle = nullptr;
        char *path = nullptr;
        xml_iterator *it = nullptr;
        t.run([&] {
            clone = xml_node_clone_tree(a->first_child);
            middle = xml_node_new();
            it = xml_iterator_new(doc);
            if (clone != nullptr) {
                xml_node_add_child(a, clone);
                path = xml_node_get_path_new(clone->first_child);
            }
        });
        EXPECT_EQ(clone == nullptr || middle == nullptr || it == nullptr || path == nullptr, t.any_failed());
        EXPECT_EQ(dump(*doc->root).find("BROKEN"), std::string::npos);
        if (clone != nullptr) {
            EXPECT_EQ(dump(*clone), dump(*a->first_child));
            xml_node_unlink(clone);
            a->last_child = a->first_child;
            xml_node_delete(clone);
        }
        if (middle != nullptr) {
            xml_node_delete(middle);
        }
        xml_iterator_delete(it);
        free(path);
    });
    free_document(doc);
}

} // namespace
