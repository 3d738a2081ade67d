// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "faults/faults.h"
#include "varnel/xml.h"
#include "xml/document_text.h"

namespace varnel::test {
namespace {

const std::string sample = "<a x=\"1\">text<b/></a>\n<c>" + std::string(9000, 't') + "</c>\n";

std::string written(xml_document *doc) {
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_sgs);
    out.target.sgs = xml_sgs_new();
    xml_node_write(&out, doc->root, 0);
    std::string text(out.target.sgs->buffer, out.target.sgs->length);
    xml_sgs_delete(out.target.sgs);
    return text;
}

class xml_faults : public faults {
  protected:
    ~xml_faults() override { free_document(doc_); }

    /// Something reads `sample` from a file that is open, as a stream and as a descriptor.
    void try_reading(const std::function<void(answer &)> &read, const std::function<void(run &)> &judge) {
        try_all({.prepare = [this] { write_file(file(), sample); },
                 .call = read,
                 .judge =
                     [this, judge](run &r) {
                         EXPECT_EQ(read_file(file()), sample);
                         if (!r.killed()) {
                             judge(r);
                         }
                     },
                 .file = file(),
                 .begin = [this] { open_file("r"); }});
    }

    /// Something writes into a file that is open. What a kill leaves is the beginning of what it writes.
    void try_writing(const std::string &expected, const std::function<void(answer &)> &write,
                     const std::function<void(run &, const std::string &)> &judge) {
        try_all({.prepare = [this] { write_file(file(), ""); },
                 .call = write,
                 .judge =
                     [=, this](run &r) {
                         const std::string now = read_file(file()).value();
                         if (r.killed()) {
                             EXPECT_TRUE(expected.starts_with(now));
                         } else {
                             judge(r, now);
                         }
                     },
                 .file = file(),
                 .begin = [this] { open_file("w"); }});
    }

    /// One piece by write(2). It is there as a whole, or `error` is 1 and nothing or half of it is there.
    void try_piece(const std::string &expected, const std::function<int(xml_output &)> &write) {
        try_writing(
            expected,
            [=, this](answer &said) {
                xml_output out = to_descriptor();
                said.numbers = {write(out), out.error};
            },
            [=](run &r, const std::string &now) {
                const bool broken = r.failed("write") || r.cut_short("write");
                EXPECT_EQ(r.said.numbers[1], broken ? 1 : 0);
                EXPECT_EQ(now,
                          r.failed("write") ? "" : expected.substr(0, expected.size() / (broken ? 2 : 1)));
            });
    }

    [[nodiscard]] std::string file() const { return path("tree.xml"); }
    [[nodiscard]] std::FILE *stream() const { return stream_; }

    [[nodiscard]] xml_output to_descriptor() const {
        xml_output out{};
        xml_output_setup(&out, xml_output_function_to_file_descriptor);
        out.target.descriptor = fileno(stream_);
        return out;
    }

    /// Reads from the file.
    [[nodiscard]] xml_refiller from(xml_refiller_function refill) {
        xml_refiller in{};
        xml_refiller_setup(&in, refill, buffer_.data(), 0, static_cast<unsigned>(buffer_.size()));
        if (refill == xml_refiller_function_from_file_stream) {
            in.source.stream = stream_;
        } else {
            in.source.descriptor = fileno(stream_);
        }
        return in;
    }

    /// A tree that was read: complete with result 0, and well linked in any case.
    static void note_tree(answer &said, int result, xml_document *doc) {
        const std::string tree = dump(*doc->root);
        said.numbers = {result, doc->status, tree == tree_of(sample), tree.find(broken) == std::string::npos};
        free_document(doc);
    }

    static void expect_tree(const run &r, bool failed) {
        EXPECT_EQ(r.said.numbers[0], failed ? xml_status_input_failed : 0);
        EXPECT_EQ(r.said.numbers[1], r.said.numbers[0]);
        EXPECT_TRUE(failed || r.said.numbers[2]);
        EXPECT_TRUE(r.said.numbers[3]);
    }

    xml_document *const doc_ = document_of(sample);
    const std::string text_ = written(doc_);

  private:
    void open_file(const char *mode) { stream_ = std::fopen(file().c_str(), mode); }

    std::FILE *stream_ = nullptr;
    std::array<char, 2048> buffer_{};
};

TEST_F(xml_faults, xml_read) {
    try_reading(
        [this](answer &said) {
            xml_document *const doc = xml_document_new();
            note_tree(said, xml_read(doc, file().c_str(), 0), doc);
        },
        [](run &r) { expect_tree(r, r.failed("openat") || r.failed("read") || r.failed("close")); });
}

TEST_F(xml_faults, xml_read_file) {
    try_reading(
        [this](answer &said) {
            xml_document *const doc = xml_document_new();
            note_tree(said, xml_read_file(doc, stream(), 0), doc);
        },
        [](run &r) { expect_tree(r, r.failed("read")); });
}

TEST_F(xml_faults, xml_node_read) {
    try_reading(
        [this](answer &said) {
            xml_refiller in = from(xml_refiller_function_from_file_descriptor);
            xml_document *const doc = xml_document_new();
            note_tree(said, xml_node_read(&in, doc->root, doc, 0), doc);
        },
        [](run &r) { expect_tree(r, r.failed("read")); });
}

TEST_F(xml_faults, xml_attribute_read) {
    try_reading(
        [this](answer &said) {
            xml_refiller in = from(xml_refiller_function_from_file_descriptor);
            xml_document *const doc = xml_document_new();
            xml_attribute *const attribute = xml_attribute_new();
            in.capacity = 3; // "<a ", of which nothing belongs to the attribute
            xml_refiller_function_from_file_descriptor(&in);
            in.position = in.fill;
            said.numbers = {xml_attribute_read(&in, attribute, doc, 0), in.error};
            xml_attribute_delete(attribute);
            free_document(doc);
        },
        [](run &r) {
            EXPECT_EQ(r.said.numbers[1], r.failed("read") ? 1 : 0);
            EXPECT_EQ(r.said.numbers[0] != 0, r.failed("read") || r.cut_short("read", 0));
        });
}

TEST_F(xml_faults, xml_refiller_get_char) {
    try_reading(
        [this](answer &said) {
            xml_refiller in = from(xml_refiller_function_from_file_descriptor);
            said.numbers = {xml_refiller_get_char(&in), in.error};
        },
        [](run &r) {
            EXPECT_EQ(r.said.numbers[0], r.failed("read") ? -256 : '<');
            EXPECT_EQ(r.said.numbers[1], r.failed("read") ? 1 : 0);
        });
}

TEST_F(xml_faults, xml_refiller_function_from_file_descriptor) {
    try_reading(
        [this](answer &said) {
            xml_refiller in = from(xml_refiller_function_from_file_descriptor);
            said.numbers = {xml_refiller_function_from_file_descriptor(&in), in.error, in.fill};
        },
        [](run &r) {
            EXPECT_EQ(r.said.numbers[0], r.failed("read") ? -1 : 0);
            EXPECT_EQ(r.said.numbers[1], r.failed("read") ? 1 : 0);
            EXPECT_EQ(r.said.numbers[2], r.failed("read") ? 0 : r.cut_short("read") ? 1024 : 2048);
        });
}

TEST_F(xml_faults, xml_refiller_function_from_file_stream) {
    try_reading(
        [this](answer &said) {
            xml_refiller in = from(xml_refiller_function_from_file_stream);
            said.numbers = {xml_refiller_function_from_file_stream(&in), in.error, in.fill};
        },
        [](run &r) {
            EXPECT_EQ(r.said.numbers[0] != 0, r.failed("read"));
            EXPECT_EQ(r.said.numbers[1], r.failed("read") ? 1 : 0);
            EXPECT_EQ(r.said.numbers[2], r.failed("read") ? 0 : 2048);
        });
}

TEST_F(xml_faults, xml_node_write) {
    try_writing(
        text_,
        [this](answer &said) {
            xml_output out = to_descriptor();
            xml_node_write(&out, doc_->root, 0);
            said.numbers[0] = out.error;
        },
        [this](run &r, const std::string &now) {
            EXPECT_TRUE(r.said.numbers[0] == 0 || r.said.numbers[0] == 1);
            EXPECT_EQ(r.said.numbers[0] == 0, now == text_);
            EXPECT_TRUE(r.said.numbers[0] == 0 || r.disturbed("write"));
        });
}

TEST_F(xml_faults, xml_write) {
    const std::string old = "<old/>\n";
    try_all({.prepare = [&] { write_file(file(), old); },
             .call =
                 [&](answer &said) {
                     said.numbers = {xml_write(doc_, file().c_str(), 0), doc_->status};
                 },
             .judge =
                 [&](run &r) {
                     const std::string now = read_file(file()).value();
                     if (r.killed()) {
                         EXPECT_TRUE(now == old || text_.starts_with(now));
                         return;
                     }
                     const bool last_write_failed = r.failed("write") && now.size() >= 4096 * 2;
                     const bool reported = r.failed("openat") || r.failed("close") || last_write_failed;
                     EXPECT_EQ(r.said.numbers[0], reported ? xml_status_input_failed : 0);
                     EXPECT_EQ(r.said.numbers[1], r.said.numbers[0]);
                     EXPECT_TRUE(r.failed("write") || now == (r.failed("openat") ? old : text_));
                 },
             .file = file()});
}

TEST_F(xml_faults, xml_write_file) {
    try_writing(
        text_,
        [this](answer &said) {
            xml_write_file(doc_, stream(), 0);
            std::fflush(stream());
            said.numbers[0] = std::ferror(stream());
        },
        [this](run &r, const std::string &now) {
            EXPECT_EQ(r.said.numbers[0] != 0, r.failed("write"));
            EXPECT_TRUE(r.failed("write") || now == text_);
        });
}

TEST_F(xml_faults, xml_output_function_to_file_stream) {
    try_writing(
        "bytes",
        [this](answer &said) {
            xml_output out{};
            xml_output_setup(&out, xml_output_function_to_file_stream);
            out.target.stream = stream();
            std::setvbuf(stream(), nullptr, _IONBF, 0);
            said.numbers = {xml_output_function_to_file_stream(&out, "bytes", 5), out.error};
        },
        [](run &r, const std::string &now) {
            EXPECT_EQ(r.said.numbers[0], r.failed("write") ? 0 : 5);
            EXPECT_EQ(r.said.numbers[1], r.failed("write") ? 1 : 0);
            EXPECT_EQ(now, r.failed("write") ? "" : "bytes");
        });
}

TEST_F(xml_faults, xml_output_function_to_file_descriptor) {
    try_piece("bytes!",
              [](xml_output &out) { return xml_output_function_to_file_descriptor(&out, "bytes!", 6); });
}

TEST_F(xml_faults, xml_output_char) {
    try_piece("b", [](xml_output &out) { return xml_output_char(&out, 'b'); });
}

TEST_F(xml_faults, xml_output_string) {
    try_piece("bytes!", [](xml_output &out) { return xml_output_string(&out, "bytes!"); });
}

TEST_F(xml_faults, xml_output_lengthed_string) {
    try_piece("bytes!", [](xml_output &out) { return xml_output_lengthed_string(&out, "bytes!", 6); });
}

/// What a write leaves out is sent byte by byte.
TEST_F(xml_faults, xml_output_escape_string) {
    try_writing(
        "a&lt;b",
        [this](answer &said) {
            xml_output out = to_descriptor();
            said.numbers = {xml_output_escape_string(&out, "a<b"), out.error};
        },
        [](run &r, const std::string &now) {
            EXPECT_EQ(r.said.numbers[0], r.said.numbers[1]);
            EXPECT_EQ(r.said.numbers[0] == 0, now == "a&lt;b");
            EXPECT_TRUE(r.said.numbers[0] == 0 || r.disturbed("write"));
        });
}

TEST_F(xml_faults, xml_attribute_write) {
    try_writing(
        "x=\"1\"",
        [this](answer &said) {
            xml_output out = to_descriptor();
            said.numbers[0] = xml_attribute_write(&out, doc_->root->first_child->attributes, 0);
        },
        [](run &r, const std::string &now) {
            EXPECT_EQ(r.said.numbers[0] == 0, now == "x=\"1\"");
            EXPECT_TRUE(r.said.numbers[0] == 0 || r.disturbed("write"));
        });
}

} // namespace
} // namespace varnel::test
