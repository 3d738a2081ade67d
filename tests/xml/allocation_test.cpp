// SPDX-License-Identifier: Apache-2.0
// The family with an allocator that counts, and that can be made to fail: each allocation in turn, until all
// succeed. The sources are linked in, so that their calls can be diverted (see CMakeLists.txt).
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "varnel/xml.h"
#include "xml/model.h"
#include "xml/read_text.h"

using varnel::test::dump;
using varnel::test::dump_children;
using varnel::test::read_text;

namespace {

struct {
    size_t allocations = 0;
    size_t bytes = 0;
    size_t copied = 0;
    size_t depth_counts = 0;
    size_t levels_counted = 0;
    size_t fail_at = static_cast<size_t>(-1); // the allocation that fails, and all after it
} work;

long allocated = 0; // blocks

bool fails(size_t size) {
    work.bytes += size;
    return work.allocations++ >= work.fail_at;
}

} // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
void *__real_memcpy(void *to, const void *from, size_t size);
int __real_xml_node_get_path_depth(const xml_node *node);

void *__wrap_malloc(size_t size) {
    void *const block = fails(size) ? nullptr : __real_malloc(size);
    allocated += block != nullptr ? 1 : 0;
    return block;
}
void *__wrap_realloc(void *block, size_t size) {
    void *const moved = fails(size) ? nullptr : __real_realloc(block, size);
    allocated += block == nullptr && moved != nullptr ? 1 : 0;
    return moved;
}
void __wrap_free(void *block) {
    allocated -= block != nullptr ? 1 : 0;
    __real_free(block);
}
void *__wrap_memcpy(void *to, const void *from, size_t size) {
    work.copied += size;
    return __real_memcpy(to, from, size);
}
int __wrap_xml_node_get_path_depth(const xml_node *node) {
    const int depth = __real_xml_node_get_path_depth(node);
    ++work.depth_counts;
    work.levels_counted += static_cast<size_t>(depth);
    return depth;
}
}

namespace {

/// Runs `what` with the first allocation failing, then from the second on, until none fails any more. It is
/// told whether memory ran out. ASan looks for what is lost or used wrongly.
void with_each_allocation_failing(const std::function<void(bool)> &check, const std::function<void()> &what) {
    for (size_t n = 0;; ++n) {
        work = {};
        work.fail_at = n;
        what();
        const bool ran_out = work.allocations > n;
        work = {};
        check(ran_out);
        if (!ran_out) {
            EXPECT_GT(n, 0U) << "nothing was allocated";
            return;
        }
        ASSERT_LT(n, 10000U);
    }
}

/// For functions that return a record, or null when memory runs out.
template <class Record>
void expect_null_or_record(const std::function<Record *()> &make,
                           const std::function<void(Record *)> &free_it) {
    Record *made = nullptr;
    with_each_allocation_failing(
        [&](bool ran_out) {
            EXPECT_EQ(made == nullptr, ran_out);
            if (made != nullptr) {
                free_it(made);
            }
        },
        [&] { made = make(); });
}

/// A document read from a text that lies in memory.
xml_document *document_of(std::string text) {
    xml_document *const doc = xml_document_new();
    read_text(doc, text);
    return doc;
}

void free_document(xml_document *doc) {
    xml_node_delete(doc->root);
    xml_document_delete(doc);
}

const char *const sample = "<?p body?><!D x><a x='1' y='&amp;'>text<b/>more<!--c--></a><c>t</c>";

TEST(allocation_failure, new_functions_return_null) {
    expect_null_or_record<xml_sgs>(xml_sgs_new, xml_sgs_delete);
    expect_null_or_record<xml_output>([] { return xml_output_new(xml_output_function_to_sgs); },
                                      xml_output_delete);
    expect_null_or_record<xml_refiller>(
        [] { return xml_refiller_new(xml_refiller_function_from_file_stream, nullptr, 0, 0); },
        xml_refiller_delete);
    expect_null_or_record<xml_attribute>(xml_attribute_new, xml_attribute_delete);
    expect_null_or_record<xml_node>(xml_node_new, xml_node_delete);
    expect_null_or_record<xml_index>(xml_index_new, xml_index_delete);
}

TEST(allocation_failure, new_iterators_and_paths_are_null) {
    xml_document *const doc = document_of("<a><b/></a>");
    xml_iterator it{};
    xml_iterator_setup(&it, doc);
    expect_null_or_record<xml_iterator>([&] { return xml_iterator_new(doc); }, xml_iterator_delete);
    expect_null_or_record<xml_iterator>([&] { return xml_iterator_clone(&it); }, xml_iterator_delete);
    expect_null_or_record<char>([&] { return xml_node_get_path_new(doc->root->first_child); },
                                [](char *path) { free(path); });
    free_document(doc);
}

TEST(allocation_failure, clones_are_null_without_a_leak) {
    xml_document *const doc = document_of(sample);
    xml_node *const a = doc->root->first_child->next->next;
    expect_null_or_record<xml_attribute>([&] { return xml_attribute_clone(a->attributes); },
                                         xml_attribute_delete);
    expect_null_or_record<xml_node>([&] { return xml_node_clone(a); }, xml_node_delete);
    expect_null_or_record<xml_node>([&] { return xml_node_clone_tree(doc->root); }, xml_node_delete);
    free_document(doc);
}

TEST(allocation_failure, document_setup_returns_status_2) {
    xml_document doc{};
    int result = -1;
    with_each_allocation_failing(
        [&](bool ran_out) {
            EXPECT_EQ(result, ran_out ? 2 : 0);
            EXPECT_EQ(doc.status, result);
            xml_node_delete(doc.root);
            xml_index_delete(doc.index);
        },
        [&] { result = xml_document_setup(&doc); });
}

TEST(allocation_failure, new_document_has_status_2) {
    xml_document *doc = nullptr;
    bool first = true;
    with_each_allocation_failing(
        [&](bool ran_out) {
            EXPECT_EQ(doc == nullptr, first);
            first = false;
            if (doc != nullptr) {
                EXPECT_EQ(doc->status, ran_out ? 2 : 0);
                xml_node_delete(doc->root);
                xml_document_delete(doc);
            }
        },
        [&] { doc = xml_document_new(); });
}

TEST(allocation_failure, growable_string_setup_returns_status_2) {
    xml_sgs sgs{};
    work.fail_at = 0;
    EXPECT_EQ(xml_sgs_setup(&sgs), 2);
    work = {};
    EXPECT_EQ(sgs.buffer, nullptr);
    EXPECT_EQ(sgs.capacity, 0U);
}

TEST(allocation_failure, full_string_keeps_the_character_and_grows_with_the_next) {
    xml_sgs *const sgs = xml_sgs_new();
    xml_sgs_append_string(sgs, std::string(2047, 'x').c_str());
    work = {};
    work.fail_at = 0;
    EXPECT_EQ(xml_sgs_append_character(sgs, 'y'), 2);
    EXPECT_EQ(sgs->length, 2048U);
    EXPECT_EQ(sgs->capacity, 2048U);
    EXPECT_EQ(sgs->buffer[2047], 'y');
    EXPECT_EQ(xml_sgs_append_character(sgs, 'z'), 2);
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs, "zz", 2), 2);
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs, "zz", 0), 0);
    EXPECT_EQ(sgs->length, 2048U);
    EXPECT_EQ(sgs->buffer[2047], 'y');
    work = {};
    EXPECT_EQ(xml_sgs_append_character(sgs, 'z'), 0);
    EXPECT_EQ(std::string(sgs->buffer, sgs->length), std::string(2047, 'x') + "yz");
    EXPECT_EQ(sgs->buffer[sgs->length], '\0');
    EXPECT_EQ(sgs->capacity, 4096U);
    xml_sgs_delete(sgs);
}

TEST(allocation_failure, string_that_cannot_grow_is_unchanged) {
    xml_sgs *const sgs = xml_sgs_new();
    xml_sgs_append_string(sgs, "kept");
    work = {};
    work.fail_at = 0;
    EXPECT_EQ(xml_sgs_append_string(sgs, std::string(2044, 'x').c_str()), 2);
    work = {};
    EXPECT_STREQ(sgs->buffer, "kept");
    EXPECT_EQ(sgs->capacity, 2048U);
    xml_sgs_delete(sgs);
}

// Escaped runs fail at the byte where single characters would.
TEST(allocation_failure, growable_string_sink_gets_error_2) {
    xml_sgs *const sgs = xml_sgs_new();
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_sgs);
    out.target.sgs = sgs;
    work = {};
    work.fail_at = 0;
    EXPECT_EQ(xml_output_escape_string(&out, std::string(3000, 'x').c_str()), 2);
    EXPECT_EQ(sgs->length, 2048U);
    EXPECT_EQ(sgs->capacity, 2048U);
    EXPECT_EQ(xml_output_lengthed_string(&out, "ab", 2), 2);
    EXPECT_EQ(sgs->length, 2048U);
    out.error = 0;
    EXPECT_EQ(xml_output_function_to_sgs(&out, "ab", 2), 2);
    EXPECT_EQ(out.error, 2);
    work = {};
    xml_sgs_delete(sgs);
}

// Without the help of LeakSanitizer, which not all builds have.
TEST(deletion, frees_every_block) {
    const long before = allocated;
    xml_output_delete(xml_output_new(xml_output_function_to_sgs));
    EXPECT_EQ(allocated, before);
    xml_refiller_delete(xml_refiller_new(nullptr, nullptr, 0, 0));
    EXPECT_EQ(allocated, before);
    xml_sgs_delete(xml_sgs_new());
    EXPECT_EQ(allocated, before);
    xml_index *const index = xml_index_new();
    index->buffer = malloc(1);
    xml_index_delete(index);
    EXPECT_EQ(allocated, before);
    for (const unsigned flags : {0U, unsigned{xml_flag_compact}}) {
        xml_document *const doc = xml_document_new();
        std::string text = std::string(sample) + "<a>" + std::string(5000, 't') + "</a>";
        read_text(doc, text, flags);
        xml_iterator_delete(xml_iterator_new(doc));
        xml_node_delete(xml_node_clone_tree(doc->root));
        free_document(doc);
        EXPECT_EQ(allocated, before);
    }
}

TEST(deletion, text_that_becomes_the_value_of_a_node_frees_the_value_before) {
    const long before = allocated;
    xml_document *const doc = xml_document_new();
    doc->root->value = static_cast<char *>(malloc(1));
    doc->root->value[0] = '\0';
    std::string text = "t</x>";
    read_text(doc, text);
    EXPECT_STREQ(doc->root->value, "t");
    free_document(doc);
    EXPECT_EQ(allocated, before);
}

TEST(deletion, compact_node_without_strings_may_be_deleted_alone) {
    const long before = allocated;
    xml_document *const doc = xml_document_new();
    std::string text = "<a>x&;y</a>"; // the first text has no value
    read_text(doc, text, xml_flag_compact);
    xml_node *const alone = doc->root->first_child->first_child;
    EXPECT_EQ(alone->value, nullptr);
    xml_node_unlink(alone);
    free_document(doc);
    xml_node_delete(alone);
    EXPECT_EQ(allocated, before);
}

// Where a slab is full, strings end right before a record.
TEST(deletion, compact_trees_with_strings_of_any_length_free_every_block) {
    for (size_t length = 0; length < 40; ++length) {
        const long before = allocated;
        xml_document *const doc = xml_document_new();
        std::string text;
        for (int i = 0; i < 100; ++i) {
            text += "<a b='" + std::string(length, 'v') + "'/>";
        }
        read_text(doc, text, xml_flag_compact);
        free_document(doc);
        EXPECT_EQ(allocated, before);
    }
}

struct pieces {
    const std::string &text;
    size_t given;
    size_t calls;
};

int give_piece(xml_refiller *r) {
    auto *from = static_cast<pieces *>(r->source.pointer);
    r->fill = static_cast<unsigned>(from->text.copy(r->buffer, r->capacity, from->given));
    r->position = 0;
    from->given += r->fill;
    ++from->calls;
    return 0;
}

/// Reads in pieces. How often it had to refill.
size_t read_in_pieces(xml_document *doc, const std::string &text, unsigned capacity, unsigned flags = 0,
                      int *result = nullptr) {
    std::string buffer(capacity, '\0');
    pieces from{text, 0, 0};
    xml_refiller r{};
    xml_refiller_setup(&r, give_piece, buffer.data(), 0, capacity);
    r.source.pointer = &from;
    const int got = xml_node_read(&r, doc->root, doc, flags);
    if (result != nullptr) {
        *result = got;
    }
    return from.calls;
}

void read_with_each_allocation_failing(const std::string &text, unsigned capacity, unsigned flags) {
    xml_document *doc = nullptr;
    int result = -1;
    const long before = allocated;
    with_each_allocation_failing(
        [&](bool ran_out) {
            EXPECT_EQ(result, ran_out ? 2 : 0);
            EXPECT_EQ(doc->status, result);
            EXPECT_EQ(dump(*doc->root).find(varnel::test::broken), std::string::npos);
            free_document(doc);
            EXPECT_EQ(allocated, before);
        },
        [&] {
            const size_t fail_at = std::exchange(work.fail_at, static_cast<size_t>(-1));
            doc = xml_document_new();
            work.fail_at = fail_at;
            work.allocations = 0;
            read_in_pieces(doc, text, capacity, flags, &result);
        });
}

TEST(allocation_failure, reading_ends_with_status_2_and_keeps_attached_nodes) {
    const std::string text = std::string(sample) + "<d>" + std::string(9000, 't') + "&lt;</d>";
    for (const unsigned capacity : {1U, 5U, 2048U, 20000U}) {
        read_with_each_allocation_failing(text, capacity, 0);
    }
}

// Long enough for small slabs and big ones.
TEST(allocation_failure, compact_reading_ends_with_status_two_and_keeps_what_was_attached) {
    std::string text = std::string(sample) + "<d>" + std::string(9000, 't') + "&lt;</d>";
    for (int i = 0; i < 500; ++i) {
        text += sample;
    }
    for (const unsigned capacity : {1U, 2048U, 100000U}) {
        read_with_each_allocation_failing(text, capacity, xml_flag_compact);
    }
}

TEST(allocation_failure, reading_an_attribute_returns_2_and_stores_nothing) {
    xml_document *const doc = xml_document_new();
    char before[] = "before";
    const xml_attribute unread{before, before, nullptr};
    xml_attribute a = unread;
    int result = -1;
    with_each_allocation_failing(
        [&](bool ran_out) {
            EXPECT_EQ(result, ran_out ? 2 : 0);
            EXPECT_EQ(a.name == before, ran_out);
            EXPECT_EQ(a.value == before, ran_out);
            if (!ran_out) {
                free(a.name);
                free(a.value);
            }
            a = unread;
            doc->status = 0;
        },
        [&] {
            char text[] = "name='value'";
            xml_refiller r{};
            xml_refiller_setup(&r, nullptr, text, sizeof text - 1, sizeof text - 1);
            result = xml_attribute_read(&r, &a, doc, 0);
        });
    free_document(doc);
}

TEST(allocation_failure, writing_a_tree_without_parent_links_sets_error_2) {
    xml_node chain[400]{};
    char name[] = "n";
    for (size_t i = 0; i < 400; ++i) {
        chain[i].name = name;
        chain[i].first_child = i < 399 ? &chain[i + 1] : nullptr;
    }
    xml_output out{};
    with_each_allocation_failing([&](bool ran_out) { EXPECT_EQ(out.error, ran_out ? 2 : 0); },
                                 [&] {
                                     xml_output_setup(&out,
                                                      [](xml_output *, const char *, unsigned) { return 0; });
                                     xml_node_write(&out, chain, 0);
                                 });
}

size_t owned_blocks(const xml_node *node) {
    size_t blocks = 0;
    for (; node != nullptr; node = node->next) {
        blocks += 1U + (node->name != nullptr ? 1U : 0U) + (node->value != nullptr ? 1U : 0U);
        for (const xml_attribute *a = node->attributes; a != nullptr; a = a->next) {
            blocks += 1U + (a->name != nullptr ? 1U : 0U) + (a->value != nullptr ? 1U : 0U);
        }
        blocks += owned_blocks(node->first_child);
    }
    return blocks;
}

TEST(amount_of_work, reading_from_memory_allocates_only_what_the_tree_owns) {
    xml_document *const doc = xml_document_new();
    std::string text = "<?p body?><a x='1' y='2'><b>text</b><c>t<d/>u</c><!--c--></a>";
    work = {};
    read_text(doc, text);
    EXPECT_EQ(work.allocations, owned_blocks(doc->root->first_child));
    free_document(doc);
}

TEST(amount_of_work, compact_reading_allocates_slabs) {
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text += "<a x='1' y='2'><b>text</b><c>t<d/>u</c><!--c--></a>";
    }
    xml_document *const doc = xml_document_new();
    work = {};
    read_text(doc, text, xml_flag_compact);
    EXPECT_LT(work.allocations, owned_blocks(doc->root->first_child) / 300);
    free_document(doc);
}

// Work for n, ten and a hundred times n of something: it grows tenfold, give or take what does not grow.

struct effort {
    size_t allocations, bytes, copied, calls;
};

effort effort_of_reading(const std::string &text) {
    xml_document *const doc = xml_document_new();
    work = {};
    const size_t calls = read_in_pieces(doc, text, 2048);
    const effort done{work.allocations, work.bytes, work.copied, calls};
    EXPECT_EQ(doc->status, 0);
    free_document(doc);
    return done;
}

void expect_tenfold(size_t small, size_t big, const char *what) {
    EXPECT_LE(big, 11 * small + 100000) << what;
}

void expect_linear(const std::function<effort(size_t)> &measure) {
    effort before = measure(1000);
    for (const size_t n : {10000U, 100000U}) {
        const effort now = measure(n);
        expect_tenfold(before.allocations, now.allocations, "allocations");
        expect_tenfold(before.bytes, now.bytes, "bytes allocated");
        expect_tenfold(before.copied, now.copied, "bytes copied");
        expect_tenfold(before.calls, now.calls, "calls");
        before = now;
    }
}

std::string repeated(const std::string &text, size_t n) {
    std::string result;
    for (size_t i = 0; i < n; ++i) {
        result += text;
    }
    return result;
}

TEST(amount_of_work, reading_is_linear_in_the_input) {
    expect_linear([](size_t n) { return effort_of_reading(repeated("<a>", n) + repeated("</a>", n)); });
    expect_linear([](size_t n) { return effort_of_reading("<r>" + repeated("<a>t</a>", n) + "</r>"); });
    expect_linear([](size_t n) { return effort_of_reading("<a" + repeated(" x='1'", n) + "/>"); });
    expect_linear([](size_t n) { return effort_of_reading("<a>" + repeated("text ", n) + "</a>"); });
    expect_linear([](size_t n) { return effort_of_reading("<a>" + repeated("&amp;", n) + "</a>"); });
    expect_linear([](size_t n) { return effort_of_reading("<!--" + repeated("- -", n) + "-->"); });
    expect_linear([](size_t n) { return effort_of_reading("<r>" + repeated("t<a/>", n) + "</r>"); });
}

// One refill for each block of the input, and one that finds its end for each element still open.
TEST(amount_of_work, reading_refills_once_for_each_block) {
    for (const size_t n : {1000U, 10000U, 100000U}) {
        const std::string text = "<r>" + repeated("<a x='1'>text</a>", n) + "</r>";
        EXPECT_EQ(effort_of_reading(text).calls, text.size() / 2048 + 2);
    }
}

effort effort_of_writing(const std::string &text, unsigned flags) {
    xml_document *const doc = document_of(text);
    xml_output out{};
    xml_output_setup(&out, [](xml_output *self, const char *, unsigned length) {
        ++self->count; // the writer adds one for each node
        work.copied += length;
        return 0;
    });
    work = {};
    xml_node_write(&out, doc->root, flags);
    const effort done{work.allocations, work.bytes, work.copied, out.count};
    EXPECT_LE(work.depth_counts, 1U); // deep trees would make counting depths anew slow
    free_document(doc);
    return done;
}

TEST(amount_of_work, writing_is_linear_and_allocates_nothing) {
    const auto expect = [](const std::function<effort(size_t)> &measure) {
        expect_linear(measure);
        EXPECT_EQ(measure(100).allocations, 0U);
    };
    expect([](size_t n) { return effort_of_writing(repeated("<a>", n), 0); });
    expect([](size_t n) { return effort_of_writing("<r>" + repeated("<a>t</a>", n) + "</r>", 1); });
    expect([](size_t n) { return effort_of_writing("<a" + repeated(" x='1'", n) + "/>", 0); });
    expect([](size_t n) { return effort_of_writing("<a>" + repeated("&amp;", n) + "</a>", 0); });
}

TEST(amount_of_work, depth_is_not_counted_again_for_each_node) {
    xml_document *const doc = document_of(repeated("<a>", 300) + repeated("<b/>", 300));
    xml_output out{};
    xml_output_setup(&out, [](xml_output *, const char *, unsigned) { return 0; });
    work = {};
    xml_node_write(&out, doc->root, 1);
    EXPECT_EQ(work.depth_counts, 1U);
    free_document(doc);
}

// xml_node_add_child() leaves later siblings that come along without a parent.
TEST(amount_of_work, depth_is_not_counted_again_for_siblings_without_parents) {
    constexpr size_t depth = 1000;
    constexpr size_t siblings = 1000;
    xml_document *const doc = document_of(repeated("<a>", depth));
    xml_node *innermost = doc->root;
    while (innermost->first_child != nullptr) {
        innermost = innermost->first_child;
    }
    xml_node *chain = nullptr;
    for (size_t i = 0; i < siblings; ++i) {
        xml_node *const node = xml_node_new();
        node->next = chain;
        chain = node;
    }
    xml_node_add_child(innermost, chain);
    xml_output out{};
    xml_output_setup(&out, [](xml_output *, const char *, unsigned) { return 0; });
    work = {};
    xml_node_write(&out, doc->root, 1);
    EXPECT_EQ(out.count, 1 + depth + siblings);
    EXPECT_LE(work.levels_counted, depth + siblings);
    free_document(doc);
}

TEST(amount_of_work, cloning_allocates_only_what_the_copy_owns) {
    for (const std::string &text :
         {repeated("<a>", 20000), "<r>" + repeated("<a x='1'>t</a>", 20000) + "</r>",
          "<a" + repeated(" x='1'", 20000) + "/>"}) {
        xml_document *const doc = document_of(text);
        work = {};
        xml_node *const copy = xml_node_clone_tree(doc->root);
        size_t blocks = 0;
        for (xml_iterator it{nullptr, copy, copy, 0, 0}; it.current != nullptr;) {
            blocks += 1U + (it.current->name != nullptr ? 1U : 0U) + (it.current->value != nullptr ? 1U : 0U);
            for (const xml_attribute *a = it.current->attributes; a != nullptr; a = a->next) {
                blocks += 1U + (a->name != nullptr ? 1U : 0U) + (a->value != nullptr ? 1U : 0U);
            }
            if (xml_iterator_next(&it) == nullptr) {
                break;
            }
        }
        EXPECT_EQ(work.allocations, blocks);
        xml_node_delete(copy);
        EXPECT_EQ(work.allocations, blocks); // deleting needs none
        free_document(doc);
    }
}

} // namespace
