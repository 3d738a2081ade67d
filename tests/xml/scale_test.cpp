// SPDX-License-Identifier: Apache-2.0
// A million things on a thread with a small stack.
#include <cstdlib>
#include <cstring>
#include <string>

#include <pthread.h>

#include <gtest/gtest.h>

#include "varnel/xml.h"

namespace {

// AddressSanitizer takes ten times as long, and a stack of 64 KiB holds less than a thousand of anything.
#ifdef __SANITIZE_ADDRESS__
constexpr size_t many = 100000;
#else
constexpr size_t many = 1000000;
#endif
constexpr size_t stack_size = size_t{64} * 1024;

/// A text made while it is read: an opening, a piece n times, a closing piece n times, an ending.
struct generator {
    std::string opening, piece, closing, ending;
    size_t step = 0;
    std::string rest = {};

    [[nodiscard]] const std::string *next() {
        const size_t at = step++;
        if (at == 0) {
            return &opening;
        }
        if (at <= many) {
            return &piece;
        }
        if (at <= 2 * many) {
            return &closing;
        }
        return at == 2 * many + 1 ? &ending : nullptr;
    }

    static int refill(xml_refiller *r) {
        auto *self = static_cast<generator *>(r->source.pointer);
        while (self->rest.size() < r->capacity) {
            const std::string *const more = self->next();
            if (more == nullptr) {
                break;
            }
            self->rest += *more;
        }
        r->fill = static_cast<unsigned>(self->rest.copy(r->buffer, r->capacity));
        r->position = 0;
        self->rest.erase(0, r->fill);
        return 0;
    }
};

struct trial {
    generator text;
    unsigned nodes_expected;
    size_t bytes_expected;
    unsigned flags = 0;
    int status = -1;
    unsigned nodes = 0;
    unsigned written_nodes = 0;
    unsigned copied_nodes = 0;
    size_t bytes = 0;
};

int count_bytes(xml_output *out, const char * /*bytes*/, unsigned length) {
    *static_cast<size_t *>(out->target.pointer) += length;
    return 0;
}

unsigned nodes_written(xml_node *root, size_t *bytes) {
    xml_output out{};
    xml_output_setup(&out, count_bytes);
    *bytes = 0;
    out.target.pointer = bytes;
    xml_node_write(&out, root, 0);
    return out.count;
}

void *run(void *argument) {
    auto *t = static_cast<trial *>(argument);
    xml_document *const doc = xml_document_new();
    char buffer[2048];
    xml_refiller r;
    xml_refiller_setup(&r, generator::refill, buffer, 0, sizeof buffer);
    r.source.pointer = &t->text;
    xml_node_read(&r, doc->root, doc, t->flags);
    t->status = doc->status;
    t->nodes = doc->node_count;
    t->written_nodes = nodes_written(doc->root, &t->bytes);
    xml_node *const copy = xml_node_clone_tree(doc->root);
    xml_node_delete(doc->root);
    size_t bytes_of_copy = 0;
    t->copied_nodes = nodes_written(copy, &bytes_of_copy);
    if (bytes_of_copy != t->bytes) {
        t->copied_nodes = 0;
    }
    xml_node_delete(copy);
    xml_document_delete(doc);
    return nullptr;
}

void run_on_a_small_stack(trial &t) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_size), 0);
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &t), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

class large_documents : public ::testing::TestWithParam<unsigned> {
  protected:
    static void expect_fits_on_a_small_stack(trial t) {
        t.flags = GetParam();
        run_on_a_small_stack(t);
        EXPECT_EQ(t.status, 0);
        EXPECT_EQ(t.nodes, t.nodes_expected);
        EXPECT_EQ(t.written_nodes, t.nodes_expected + 1); // and the document
        EXPECT_EQ(t.copied_nodes, t.nodes_expected + 1);
        EXPECT_EQ(t.bytes, t.bytes_expected);
    }
};

INSTANTIATE_TEST_SUITE_P(kinds, large_documents, ::testing::Values(0U, unsigned{xml_flag_compact}),
                         [](const auto &kind) { return kind.param == 0 ? "Default" : "Compact"; });

TEST_P(large_documents, nested_elements_fit_a_small_stack) {
    // "<a>\n" and "</a>\n" each but the innermost, which is "<a/>\n"; and the document's line feed
    expect_fits_on_a_small_stack({{"", "<a>", "</a>", ""}, many, (many - 1) * 9 + 5 + 1});
}

TEST_P(large_documents, nested_elements_without_end_tags_fit_a_small_stack) {
    expect_fits_on_a_small_stack({{"", "<a>", "", ""}, many, (many - 1) * 9 + 5 + 1});
}

TEST_P(large_documents, siblings_fit_a_small_stack) {
    expect_fits_on_a_small_stack({{"<r>", "<a/>", "", "</r>"}, many + 1, many * 5 + 4 + 5 + 1});
}

TEST_P(large_documents, attributes_fit_a_small_stack) {
    expect_fits_on_a_small_stack({{"<a", " x='1'", "", "/>"}, 1, 2 + many * 6 + 3 + 1});
}

TEST_P(large_documents, characters_of_text_fit_a_small_stack) {
    expect_fits_on_a_small_stack({{"<a>", "xyz", "", "</a>"}, 1, 3 + many * 3 + 5 + 1});
}

} // namespace
