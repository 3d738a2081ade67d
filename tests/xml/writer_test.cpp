// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_writer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "xml/guarded_page.h"
#include "xml/model.h"
#include "xml/read_text.h"
#include "xml/reference_writer.h"

using namespace varnel::test;

namespace {

/// A document read from a text.
class document {
  public:
    explicit document(std::string text, unsigned flags = 0) { read_text(doc_, text, flags | tree_kind); }
    ~document() {
        xml_node_delete(doc_->root);
        xml_document_delete(doc_);
    }
    document(const document &) = delete;
    document &operator=(const document &) = delete;

    xml_document *operator->() const { return doc_; }
    operator xml_document *() const { return doc_; }

  private:
    xml_document *doc_ = xml_document_new();
};

std::string written(xml_node *node, unsigned flags) {
    xml_sgs *const text = xml_sgs_new();
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_sgs);
    out.target.sgs = text;
    xml_node_write(&out, node, flags);
    EXPECT_EQ(out.error, 0);
    std::string result(text->buffer, text->length);
    xml_sgs_delete(text);
    return result;
}

std::string written(const std::string &text, unsigned flags) { return written(document(text)->root, flags); }

const char *const sample = "<?xml version='1'?><!DOCTYPE r><r><!--c--><i n=\"a&quot;b\" m='&lt;'/>"
                           "<v>1 &amp; 2</v><x>one<y/>two</x><z><w/>val&gt;</z></r>";

TEST(writer, flags_choose_the_layout) {
    const std::string plain =
        "<?xml version='1'?>\n<!DOCTYPE r>\n<r>\n<!-- c -->\n<i n=\"a&quot;b\" m=\"&lt;\"/>\n"
        "<v>1 &amp; 2</v>\n<x>\none<y/>\ntwo</x>\n<z>\n<w/>\nval&gt;</z>\n</r>\n\n";
    const std::string raw = "<?xml version='1'?>\n<!DOCTYPE r>\n<r>\n<!-- c -->\n<i n=\"a\"b\" m=\"<\"/>\n"
                            "<v>1 & 2</v>\n<x>\none<y/>\ntwo</x>\n<z>\n<w/>\nval></z>\n</r>\n\n";
    // "u" stands for one unit of indentation.
    const std::string indented =
        "<?xml version='1'?>\n<!DOCTYPE r>\n<r>\nu<!-- c -->\nu<i n=\"a&quot;b\" m=\"&lt;\"/>\n"
        "u<v>1 &amp; 2</v>\nu<x>\nuuoneuu<y/>\nuutwou</x>\nu<z>\nuu<w/>\nuuval&gt;u</z>\n</r>\n\n";
    const std::string indented_raw =
        "<?xml version='1'?>\n<!DOCTYPE r>\n<r>\nu<!-- c -->\nu<i n=\"a\"b\" m=\"<\"/>\n"
        "u<v>1 & 2</v>\nu<x>\nuuoneuu<y/>\nuutwou</x>\nu<z>\nuu<w/>\nuuval>u</z>\n</r>\n\n";
    const auto with_unit = [](std::string text, const std::string &unit) {
        for (size_t at = text.find('u'); at != std::string::npos; at = text.find('u', at + unit.size())) {
            if (text.compare(at, 3, "uot") == 0) { // the one of &quot;
                at += 3;
                continue;
            }
            text.replace(at, 1, unit);
        }
        return text;
    };
    for (const unsigned unindented : {0U, 2U, 4U, 6U}) {
        EXPECT_EQ(written(sample, unindented), plain) << unindented;
        EXPECT_EQ(written(sample, unindented | 8), raw) << unindented;
    }
    EXPECT_EQ(written(sample, 1), with_unit(indented, " "));
    EXPECT_EQ(written(sample, 1 | 2), with_unit(indented, "\t"));
    EXPECT_EQ(written(sample, 1 | 4), with_unit(indented, "   "));
    EXPECT_EQ(written(sample, 1 | 2 | 4), with_unit(indented, "\t"));
    EXPECT_EQ(written(sample, 8 | 1), with_unit(indented_raw, " "));
    EXPECT_EQ(written(sample, 8 | 1 | 2), with_unit(indented_raw, "\t"));
    EXPECT_EQ(written(sample, 8 | 1 | 4), with_unit(indented_raw, "   "));
    EXPECT_EQ(written(sample, 8 | 1 | 2 | 4), with_unit(indented_raw, "\t"));
}

TEST(writer, each_kind_of_node_has_its_form) {
    EXPECT_EQ(written("<a/>", 0), "<a/>\n\n");
    EXPECT_EQ(written("<a x='1' y='2'/>", 0), "<a x=\"1\" y=\"2\"/>\n\n");
    EXPECT_EQ(written("<a>t</a>", 0), "<a>t</a>\n\n");
    EXPECT_EQ(written("<a><b/></a>", 0), "<a>\n<b/>\n</a>\n\n");
    EXPECT_EQ(written("<!--<&>-->", 0), "<!-- <&> -->\n\n");
    EXPECT_EQ(written("<?p <&>?>", 0), "<?p <&>?>\n\n");
    EXPECT_EQ(written("<?p ?>", 0), "<?p ?>\n\n"); // an empty value is one
    EXPECT_EQ(written("<!D <&>>", 0), "<!D <&>\n&gt;\n");
    EXPECT_EQ(written("t &lt;", 0), "t &lt;\n");
    EXPECT_EQ(written("", 0), "\n");
}

TEST(writer, null_strings_are_empty) {
    xml_node node{};
    EXPECT_EQ(written(&node, 0), "</>\n");
    xml_attribute no_name{nullptr, nullptr, nullptr};
    char name[] = "x";
    xml_attribute no_value{name, nullptr, &no_name};
    node.attributes = &no_value;
    EXPECT_EQ(written(&node, 0), "< x=\"\"/>\n");
    node.attributes = nullptr;
    node.kind = xml_kind_comment;
    EXPECT_EQ(written(&node, 0), "<!--  -->\n");
    node.kind = xml_kind_processing_instruction;
    EXPECT_EQ(written(&node, 0), "<?"
                                 "?>\n");
    node.kind = xml_kind_declaration;
    EXPECT_EQ(written(&node, 0), "<!>\n");
    node.kind = xml_kind_text;
    EXPECT_EQ(written(&node, 0), "");
    xml_node child{}; // which only documents and elements can have
    child.kind = xml_kind_element;
    node.first_child = node.last_child = &child;
    EXPECT_EQ(written(&node, 0), "");
    EXPECT_EQ(written(&node, 8), "");
}

TEST(writer, empty_value_closes_with_an_end_tag) {
    xml_node node{};
    char name[] = "a";
    char value[] = "";
    node.name = name;
    node.value = value;
    EXPECT_EQ(written(&node, 0), "<a></a>\n");
}

TEST(writer, nul_ends_a_written_string) {
    document doc(std::string("<a>x\0y</a>", 10));
    EXPECT_EQ(doc->root->first_child->value_length, 3U);
    EXPECT_EQ(written(doc->root, 0), "<a>x</a>\n\n");
}

TEST(writer, subtrees_are_indented_by_their_depth_in_the_document) {
    document doc("<a><b><c/></b><d/></a>");
    xml_node *const b = doc->root->first_child->first_child;
    EXPECT_EQ(written(b, 1), " <b>\n  <c/>\n </b>\n"); // without its sibling
    xml_node_unlink(b);
    EXPECT_EQ(written(b, 1), "<b>\n <c/>\n</b>\n");
    xml_node_delete(b);
}

TEST(writer, nodes_of_unknown_kind_are_skipped) {
    document doc("<a><b/><c/></a>");
    doc->root->first_child->first_child->kind = 77;
    EXPECT_EQ(written_by_library(*doc->root, 0), written_by_reference(*doc->root, 0));
    EXPECT_EQ(written(doc->root, 0), "<a>\n<c/>\n</a>\n\n");
}

TEST(writer, counts_the_nodes_written_without_an_error) {
    document doc("<a>t<b/>u</a><!--c-->");
    xml_output out{};
    xml_output_setup(&out, [](xml_output *, const char *, unsigned) { return 0; });
    out.count = 10;
    xml_node_write(&out, doc->root, 0);
    EXPECT_EQ(out.count, 16U); // document, a, t, b, u, comment
}

TEST(writer, callers_output_function_gets_one_call_for_each_piece) {
    document doc("<a x='1'>b&amp;c</a>");
    EXPECT_EQ(
        written_by_library(*doc->root, 1 | 4),
        "0 [<]\n0 [a]\n0 [ ]\n0 [x]\n0 [=]\n0 [\"]\n0 [1]\n0 [\"]\n0 [>]\n0 [b]\n0 [&amp;]\n0 [c]\n0 [</]\n"
        "0 [a]\n0 [>\n]\n1 [\n]\ncount 2 error 0");
    document nested("<a><b/></a>");
    EXPECT_EQ(written_by_library(*nested->root, 1 | 4),
              "0 [<]\n0 [a]\n0 [>]\n0 [\n]\n0 [   ]\n0 [<]\n0 [b]\n0 [/>\n]\n1 [</]\n1 [a]\n1 [>\n]\n2 [\n]\n"
              "count 3 error 0");
}

const std::vector<std::string> various = {
    sample,
    "<a x='1' y='&amp;'>text<b/><c><d>&lt;&gt;</d><!--x--></c></a>",
    "<a>one<b/>two<c k='v'/>three</a>tail",
    "<a><b><c><d><e>deep</e></d></c></b></a><f/>",
};

TEST(writer, makes_the_calls_of_the_reference_writer) {
    for (const std::string &text : various) {
        document doc(text);
        for (unsigned flags = 0; flags < 16; ++flags) {
            EXPECT_EQ(written_by_library(*doc->root, flags), written_by_reference(*doc->root, flags));
        }
    }
}

TEST(writer, makes_the_calls_of_the_reference_writer_after_any_error) {
    for (const std::string &text : various) {
        document doc(text);
        for (const unsigned flags : {0U, 1U, 1U | 8U}) {
            for (size_t fail_at = 0; fail_at < 200; ++fail_at) {
                ASSERT_EQ(written_by_library(*doc->root, flags, fail_at),
                          written_by_reference(*doc->root, flags, fail_at))
                    << flags << " " << fail_at;
            }
        }
    }
}

TEST(writer, sink_in_error_gets_no_attributes_and_one_indent) {
    document doc("<a><b><c x='1'/></b></a>");
    xml_sgs *const text = xml_sgs_new();
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_sgs);
    out.target.sgs = text;
    out.error = 2;
    xml_node_write(&out, doc->root, 1);
    EXPECT_STREQ(text->buffer, "<a>\n <b>\n <c/>\n </b>\n</a>\n\n");
    EXPECT_EQ(out.count, 0U);
    xml_sgs_delete(text);
    EXPECT_EQ(written_by_library(*doc->root, 1, no_failure, 5),
              written_by_reference(*doc->root, 1, no_failure, 5));
}

TEST(attribute_writer, writes_name_and_quoted_value) {
    char name[] = "x";
    char value[] = "a\"b";
    xml_attribute a{name, value, nullptr};
    for (size_t fail_at = 0; fail_at < 9; ++fail_at) {
        for (const unsigned flags : {0U, 8U}) {
            EXPECT_EQ(written_by_library(a, flags, fail_at), written_by_reference(a, flags, fail_at));
        }
    }
    EXPECT_EQ(written_by_library(a, 0),
              "0 [x]\n0 [=]\n0 [\"]\n0 [a]\n0 [&quot;]\n0 [b]\n0 [\"]\ncount 0 error 0");
}

TEST(attribute_writer, writes_nothing_without_a_name) {
    char value[] = "1";
    xml_attribute a{nullptr, value, nullptr};
    EXPECT_EQ(written_by_library(a, 0), "count 0 error 0");
    xml_output out{};
    xml_output_setup(&out, [](xml_output *, const char *, unsigned) { return 0; });
    out.error = 6;
    EXPECT_EQ(xml_attribute_write(&out, &a, 0), 6);
}

// Trees that a daemon has linked in its own way are written as first_child and next say.
TEST(writer, ignores_parent_links) {
    document doc("<a><b><c/><d/></b><e><f/></e></a><g><h><i/></h></g>");
    xml_node *const a = doc->root->first_child;
    a->parent = nullptr;
    a->first_child->parent = a->next;
    a->first_child->next->parent = doc->root;
    a->first_child->first_child->parent = nullptr;
    a->next->first_child->first_child->parent = a;
    for (unsigned flags = 0; flags < 4; ++flags) {
        EXPECT_EQ(written_by_library(*doc->root, flags), written_by_reference(*doc->root, flags));
    }
}

TEST(writer, follows_right_parent_links_below_a_wrong_one) {
    document doc("<a><b><c/></b><d/></a><e/>");
    doc->root->first_child->parent = nullptr;
    for (unsigned flags = 0; flags < 4; ++flags) {
        EXPECT_EQ(written_by_library(*doc->root, flags), written_by_reference(*doc->root, flags));
    }
}

TEST(writer, writes_deep_trees_without_parent_links) {
    std::vector<xml_node> chain(100);
    char name[] = "n";
    for (size_t i = 0; i < chain.size(); ++i) {
        chain[i].name = name;
        chain[i].first_child = i + 1 < chain.size() ? &chain[i + 1] : nullptr;
    }
    xml_node sibling{};
    sibling.name = name;
    chain[50].next = &sibling;
    EXPECT_EQ(written_by_library(chain[0], 1), written_by_reference(chain[0], 1));
}

TEST(writer, document_node_inside_a_tree_resets_the_depth) {
    document doc("<a><b><c/></b><d/></a>");
    doc->root->first_child->first_child->kind = xml_kind_document;
    EXPECT_EQ(written_by_library(*doc->root, 1), written_by_reference(*doc->root, 1));
}

// The library's own functions, called directly by the writer; and through a function of a daemon's that does
// the same, so that every piece is one call. Nothing that can be seen may differ.

int through_stream(xml_output *out, const char *bytes, unsigned length) {
    return xml_output_function_to_file_stream(out, bytes, length);
}

int through_sgs(xml_output *out, const char *bytes, unsigned length) {
    return xml_output_function_to_sgs(out, bytes, length);
}

int through_descriptor(xml_output *out, const char *bytes, unsigned length) {
    return xml_output_function_to_file_descriptor(out, bytes, length);
}

/// A device that takes so many bytes and no more.
struct limited_device {
    size_t limit;
    std::string taken;

    static ssize_t write(void *self, const char *bytes, size_t size) {
        auto *device = static_cast<limited_device *>(self);
        const size_t room = std::min(size, device->limit - device->taken.size());
        device->taken.append(bytes, room);
        return static_cast<ssize_t>(room);
    }
};

struct buffering {
    int mode;
    size_t size;
};

/// What came out, and what the sink says.
struct device_outcome {
    std::string before_closing;
    size_t pending; ///< in the stream's buffer, before it is closed
    std::string taken;
    int error;
    unsigned count;

    bool operator==(const device_outcome &) const = default;
};

std::ostream &operator<<(std::ostream &to, const device_outcome &o) {
    return to << o.before_closing << "| " << o.pending << " pending |" << o.taken << "| error " << o.error
              << " count " << o.count;
}

device_outcome written_to_device(xml_node *node, xml_output_function write, size_t limit, buffering how,
                                 int error = 0) {
    limited_device device{limit, {}};
    std::FILE *const stream = fopencookie(
        &device, "w", {.read = nullptr, .write = limited_device::write, .seek = nullptr, .close = nullptr});
    std::vector<char> buffer(std::max<size_t>(how.size, 1));
    (void)setvbuf(stream, how.size > 0 ? buffer.data() : nullptr, how.mode, how.size);
    xml_output out{};
    xml_output_setup(&out, write);
    out.target.stream = stream;
    xml_node_write(&out, node, xml_flag_indent);
    out.error = error != 0 ? error : out.error;
    xml_node_write(&out, node, xml_flag_indent);
    const std::string before_closing = device.taken;
    const size_t pending = __fpending(stream);
    (void)fclose(stream);
    return {before_closing, pending, device.taken, out.error, out.count};
}

const std::vector<buffering> all_bufferings = {
    {_IONBF, 0},    {_IOLBF, 64},   {_IOLBF, 4096},  {_IOFBF, 1},    {_IOFBF, 2},
    {_IOFBF, 7},    {_IOFBF, 64},   {_IOFBF, 512},   {_IOFBF, 1000}, {_IOFBF, 1024},
    {_IOFBF, 2048}, {_IOFBF, 4096}, {_IOFBF, 100000}};

TEST(writer_to_stream, gathered_writes_equal_single_writes_in_every_buffering) {
    document doc(various[0] + various[1] + std::string("<long x='") + std::string(250, 'v') + "'>" +
                 std::string(3000, 't') + "</long>" + various[3]);
    const size_t all = 2 * bytes_by_reference(*doc->root, xml_flag_indent).size();
    for (const buffering how : all_bufferings) {
        for (size_t limit = 0; limit <= all + 1; limit += limit < 700 || limit > all - 5 ? 1 : 397) {
            ASSERT_EQ(written_to_device(doc->root, xml_output_function_to_file_stream, limit, how),
                      written_to_device(doc->root, through_stream, limit, how))
                << "mode " << how.mode << " size " << how.size << " limit " << limit;
        }
    }
}

TEST(writer_to_stream, sink_in_error_gets_one_byte_of_each_text_and_one_indent) {
    document doc("<a><b x='1'><c>it's</c><d>'n'<e/>more</d></b></a>");
    for (const buffering how : all_bufferings) {
        const device_outcome ours =
            written_to_device(doc->root, xml_output_function_to_file_stream, 10000, how, 4);
        ASSERT_EQ(ours, written_to_device(doc->root, through_stream, 10000, how, 4));
        EXPECT_EQ(ours.error, 4);
    }
}

TEST(writer_to_stream, document_is_not_flushed) {
    document doc("<a/>");
    limited_device device{100, {}};
    std::FILE *const stream = fopencookie(
        &device, "w", {.read = nullptr, .write = limited_device::write, .seek = nullptr, .close = nullptr});
    (void)fputs("before ", stream);
    xml_write_file(doc, stream, 0);
    EXPECT_EQ(device.taken, "");
    (void)fputs("after", stream);
    (void)fclose(stream);
    EXPECT_EQ(device.taken, "before <a/>\n\nafter");
}

TEST(writer_to_stream, strings_are_read_up_to_their_terminator_wherever_they_lie) {
    guarded_page page;
    const std::string text = "a&bcdefghijklmnopqr<stuvwxyz0123456789";
    const std::string escaped = "a&amp;bcdefghijklmnopqr&lt;stuvwxyz0123456789";
    char name[] = "n";
    for (size_t distance = 0; distance < 20; ++distance) {
        for (size_t length = 0; length <= text.size(); ++length) {
            const std::string value = text.substr(text.size() - length);
            xml_node node{};
            node.kind = xml_kind_element;
            node.name = name;
            node.value = page.copy_before_end({value.c_str(), value.size() + 1}, distance);
            xml_node comment{};
            comment.kind = xml_kind_comment;
            comment.value = node.value;
            char taken[200]{};
            std::FILE *const stream = fmemopen(taken, sizeof taken, "w");
            std::array<char, 1024> buffer;
            (void)setvbuf(stream, buffer.data(), _IOFBF, buffer.size());
            (void)fputc(' ', stream); // from now on pieces are gathered
            xml_document doc{};
            for (xml_node *each : {&node, &comment}) {
                doc.root = each;
                xml_write_file(&doc, stream, 0);
            }
            (void)fclose(stream);
            const size_t skipped = text.size() - length;
            const size_t skipped_escaped = skipped + (skipped > 1 ? 4 : 0) + (skipped > 19 ? 3 : 0);
            ASSERT_EQ(taken, " <n>" + escaped.substr(skipped_escaped) + "</n>\n<!-- " + value + " -->\n");
        }
    }
}

TEST(writer_to_stream, stream_read_before_is_appended_to) {
    document doc("<a/>");
    std::FILE *const stream = tmpfile();
    (void)fputs("12345", stream);
    rewind(stream);
    EXPECT_EQ(fgetc(stream), '1');
    (void)fseek(stream, 0, SEEK_END);
    xml_write_file(doc, stream, 0);
    rewind(stream);
    char buffer[32]{};
    (void)fread(buffer, 1, sizeof buffer, stream);
    EXPECT_STREQ(buffer, "12345<a/>\n\n");
    (void)fclose(stream);
}

TEST(writer_to_sgs, same_bytes_and_capacity_as_with_single_calls) {
    document doc("<a>" + std::string(5000, 't') + "&lt;</a>" + various[0]);
    for (const unsigned first : {1U, 100U, 2048U, 3001U}) {
        xml_sgs one{static_cast<char *>(calloc(first, 1)), first, 0};
        xml_sgs two{static_cast<char *>(calloc(first, 1)), first, 0};
        xml_output out{};
        xml_output_setup(&out, xml_output_function_to_sgs);
        out.target.sgs = &one;
        xml_node_write(&out, doc->root, 1);
        xml_output_setup(&out, through_sgs);
        out.target.sgs = &two;
        xml_node_write(&out, doc->root, 1);
        EXPECT_EQ(std::string(one.buffer, one.length), bytes_by_reference(*doc->root, 1));
        EXPECT_EQ(std::string(two.buffer, two.length), bytes_by_reference(*doc->root, 1));
        EXPECT_EQ(one.capacity, two.capacity);
        free(one.buffer);
        free(two.buffer);
    }
}

std::string written_to_pipe(xml_node *node, xml_output_function write) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_NONBLOCK), 0);
    (void)fcntl(ends[1], F_SETPIPE_SZ, 4096);
    xml_output out{};
    xml_output_setup(&out, write);
    out.target.descriptor = ends[1];
    xml_node_write(&out, node, 0);
    (void)close(ends[1]);
    std::string text(1 << 20, '\0');
    size_t size = 0;
    for (ssize_t got = 1; got > 0; size += static_cast<size_t>(got)) {
        got = read(ends[0], text.data() + size, text.size() - size);
        EXPECT_GE(got, 0);
    }
    (void)close(ends[0]);
    text.resize(size);
    return text + " count " + std::to_string(out.count) + " error " + std::to_string(out.error);
}

TEST(writer_to_descriptor, same_bytes_as_with_single_calls_when_the_pipe_is_full) {
    for (const size_t length : {10U, 4000U, 4096U, 70000U}) {
        document doc("<a>" + std::string(length, 't') + "</a>");
        EXPECT_EQ(written_to_pipe(doc->root, xml_output_function_to_file_descriptor),
                  written_to_pipe(doc->root, through_descriptor));
    }
}

class writing_a_file : public ::testing::Test {
  protected:
    ~writing_a_file() override { (void)unlink(path_.c_str()); }

    std::string content() const {
        std::FILE *const stream = fopen(path_.c_str(), "r");
        char buffer[100]{};
        (void)fread(buffer, 1, sizeof buffer - 1, stream);
        (void)fclose(stream);
        return buffer;
    }

    std::string path_ = ::testing::TempDir() + "varnel_writer_test_" + std::to_string(getpid()) + ".xml";
};

TEST_F(writing_a_file, replaces_the_file_and_returns_the_status) {
    document doc("<a/>");
    doc->status = 11;
    std::FILE *const stream = fopen(path_.c_str(), "w");
    (void)fputs("something longer than the document", stream);
    (void)fclose(stream);
    EXPECT_EQ(xml_write(doc, path_.c_str(), 0), 11);
    EXPECT_EQ(content(), "<a/>\n\n");
}

TEST_F(writing_a_file, unopenable_file_sets_status_1) {
    document doc("<a/>");
    EXPECT_EQ(xml_write(doc, "/nonexistent/file.xml", 0), 1);
    EXPECT_EQ(doc->status, 1);
}

TEST_F(writing_a_file, failure_on_close_sets_status_1) {
    struct stat device {};
    if (stat("/dev/full", &device) != 0 || !S_ISCHR(device.st_mode)) {
        GTEST_SKIP() << "no /dev/full here";
    }
    document doc("<a/>");
    EXPECT_EQ(xml_write(doc, "/dev/full", 0), 1);
    EXPECT_EQ(doc->status, 1);
}

// The buffer ran over before closing, and what is left at closing is written well: nothing is reported.
TEST_F(writing_a_file, failure_before_close_is_not_reported) {
    document doc("<a/>");
    limited_device device{0, {}};
    std::FILE *const stream = fopencookie(
        &device, "w", {.read = nullptr, .write = limited_device::write, .seek = nullptr, .close = nullptr});
    (void)setvbuf(stream, nullptr, _IONBF, 0);
    xml_write_file(doc, stream, 0);
    EXPECT_NE(ferror(stream), 0);
    EXPECT_EQ(doc->status, 0);
    EXPECT_EQ(fclose(stream), 0);
}

} // namespace
