// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;

namespace {

/// A daemon's own write function: keeps each call, fails from one of them on.
struct recorder {
    std::vector<std::string> calls;
    size_t fail_at = static_cast<size_t>(-1);
};

int record(xml_output *out, const char *bytes, unsigned length) {
    auto *to = static_cast<recorder *>(out->target.pointer);
    if (to->calls.size() >= to->fail_at) {
        out->error = 9;
    }
    to->calls.emplace_back(bytes, length);
    return -5;
}

class output_calls : public ::testing::Test {
  protected:
    output_calls() {
        xml_output_setup(&out_, record);
        out_.target.pointer = &recorded_;
    }

    recorder recorded_;
    xml_output out_{};
};

TEST(output_setup, stores_the_function_and_clears_the_error) {
    xml_output out{};
    out.error = 5;
    out.count = 7;
    out.target.descriptor = 3;
    EXPECT_EQ(xml_output_setup(&out, record), 0);
    EXPECT_EQ(out.error, 0);
    EXPECT_EQ(out.write, record);
    EXPECT_EQ(out.count, 7U);
    EXPECT_EQ(out.target.descriptor, 3);
}

TEST(output_setup, null_function_is_refused) {
    xml_output out{};
    out.error = 5;
    EXPECT_EQ(xml_output_setup(&out, nullptr), 14);
    EXPECT_EQ(out.error, 5);
    EXPECT_EQ(xml_output_new(nullptr), nullptr);
}

TEST(output_new, returns_a_sink_that_delete_frees) {
    xml_output *const out = xml_output_new(record);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->error, 0);
    EXPECT_EQ(out->count, 0U);
    xml_output_delete(out);
    xml_output_delete(nullptr);
}

TEST_F(output_calls, each_function_makes_one_call) {
    EXPECT_EQ(xml_output_char(&out_, 'c'), 0);
    EXPECT_EQ(xml_output_lengthed_string(&out_, "a\0b", 3), 0);
    EXPECT_EQ(xml_output_string(&out_, "string"), 0);
    EXPECT_EQ(xml_output_string(&out_, ""), 0);
    EXPECT_THAT(recorded_.calls, ElementsAre("c", std::string("a\0b", 3), "string", ""));
}

TEST_F(output_calls, sink_in_error_is_still_written_to) {
    out_.error = 3;
    EXPECT_EQ(xml_output_char(&out_, 'c'), 3);
    EXPECT_EQ(xml_output_string(&out_, "s"), 3);
    EXPECT_THAT(recorded_.calls, ElementsAre("c", "s"));
}

TEST_F(output_calls, escaping_makes_one_call_for_each_character_and_entity) {
    EXPECT_EQ(xml_output_escape_string(&out_, "a<b>& 'c\""), 0);
    EXPECT_THAT(recorded_.calls,
                ElementsAre("a", "&lt;", "b", "&gt;", "&amp;", " ", "&apos;", "c", "&quot;"));
}

TEST_F(output_calls, escaping_an_empty_string_makes_no_call) {
    EXPECT_EQ(xml_output_escape_string(&out_, ""), 0);
    out_.error = 4;
    EXPECT_EQ(xml_output_escape_string(&out_, ""), 4);
    EXPECT_TRUE(recorded_.calls.empty());
}

TEST_F(output_calls, escaping_ends_after_the_first_error) {
    recorded_.fail_at = 2;
    EXPECT_EQ(xml_output_escape_string(&out_, "abcd"), 9);
    EXPECT_THAT(recorded_.calls, ElementsAre("a", "b", "c"));
    EXPECT_EQ(xml_output_escape_string(&out_, "<x"), 9); // in error from the beginning: one more
    EXPECT_THAT(recorded_.calls, ElementsAre("a", "b", "c", "&lt;"));
}

std::string content_of(std::FILE *stream) {
    std::string text;
    rewind(stream);
    for (int c = fgetc(stream); c != EOF; c = fgetc(stream)) {
        text += static_cast<char>(c);
    }
    return text;
}

TEST(output_to_stream, returns_what_fputc_and_fwrite_return) {
    std::FILE *const stream = tmpfile();
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_file_stream);
    out.target.stream = stream;
    EXPECT_EQ(out.write(&out, "\xE9", 1), 0xE9);
    EXPECT_EQ(out.write(&out, "two", 3), 3);
    EXPECT_EQ(out.write(&out, "", 0), 0);
    EXPECT_EQ(xml_output_escape_string(&out, "plain <&> text"), 0);
    EXPECT_EQ(out.error, 0);
    EXPECT_EQ(content_of(stream), "\xE9twoplain &lt;&amp;&gt; text");
    (void)fclose(stream);
}

TEST(output_to_stream, error_is_the_error_indicator_of_the_stream) {
    const cookie_io_functions_t takes_nothing = {
        .read = nullptr,
        .write = [](void *, const char *, size_t) -> ssize_t { return 0; },
        .seek = nullptr,
        .close = nullptr};
    std::FILE *const stream = fopencookie(nullptr, "w", takes_nothing);
    ASSERT_NE(stream, nullptr);
    (void)setvbuf(stream, nullptr, _IONBF, 0);
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_file_stream);
    out.target.stream = stream;
    EXPECT_EQ(out.write(&out, "x", 1), EOF);
    EXPECT_EQ(out.error, 1);
    out.error = 0;
    EXPECT_EQ(out.write(&out, "", 0), 0); // the indicator is still set
    EXPECT_EQ(out.error, 1);
    out.error = 0;
    EXPECT_EQ(xml_output_escape_string(&out, "xyz"), 1);
    (void)fclose(stream);
}

// A run that fills the buffer to the last byte stays in it, as single bytes do.
TEST(output_to_stream, full_buffer_is_written_only_with_the_next_byte) {
    for (const size_t size : {size_t{1024}, size_t{4096}}) {
        std::string passed_on;
        const cookie_io_functions_t appends = {.read = nullptr,
                                               .write =
                                                   [](void *to, const char *bytes, size_t length) {
                                                       static_cast<std::string *>(to)->append(bytes, length);
                                                       return static_cast<ssize_t>(length);
                                                   },
                                               .seek = nullptr,
                                               .close = nullptr};
        std::FILE *const stream = fopencookie(&passed_on, "w", appends);
        std::vector<char> buffer(size);
        (void)setvbuf(stream, buffer.data(), _IOFBF, size);
        xml_output out{};
        xml_output_setup(&out, xml_output_function_to_file_stream);
        out.target.stream = stream;
        EXPECT_EQ(xml_output_escape_string(&out, std::string(size, 'p').c_str()), 0);
        EXPECT_EQ(__fpending(stream), size);
        EXPECT_EQ(passed_on, "");
        EXPECT_EQ(xml_output_escape_string(&out, "<"), 0);
        (void)fclose(stream);
        EXPECT_EQ(passed_on, std::string(size, 'p') + "&lt;");
    }
}

// A pipe takes a piece of up to PIPE_BUF bytes as a whole or not at all.
TEST(output_to_stream, unbuffered_stream_on_a_nearly_full_pipe_gets_what_fits) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    const std::string filling(4096 - 10, 'f');
    ASSERT_EQ(write(ends[1], filling.data(), filling.size()), 4096 - 10);
    std::FILE *const stream = fdopen(ends[1], "w");
    (void)setvbuf(stream, nullptr, _IONBF, 0);
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_file_stream);
    out.target.stream = stream;
    EXPECT_EQ(xml_output_escape_string(&out, "0123456789abcdefghij"), 1);
    std::string text(5000, '\0');
    EXPECT_EQ(read(ends[0], text.data(), text.size()), 4096);
    EXPECT_EQ(text.substr(4096 - 10, 10), "0123456789");
    (void)fclose(stream);
    (void)close(ends[0]);
}

class output_to_pipe : public ::testing::Test {
  protected:
    output_to_pipe() {
        EXPECT_EQ(pipe2(ends_, O_NONBLOCK), 0);
        (void)fcntl(ends_[1], F_SETPIPE_SZ, 4096);
        xml_output_setup(&out_, xml_output_function_to_file_descriptor);
        out_.target.descriptor = ends_[1];
    }
    ~output_to_pipe() override {
        (void)close(ends_[0]);
        (void)close(ends_[1]);
    }

    std::string drain() {
        char buffer[8192];
        const ssize_t size = read(ends_[0], buffer, sizeof buffer);
        return {buffer, static_cast<size_t>(size < 0 ? 0 : size)};
    }

    int ends_[2];
    xml_output out_{};
};

TEST_F(output_to_pipe, returns_what_write_returns) {
    EXPECT_EQ(out_.write(&out_, "x", 1), 1);
    EXPECT_EQ(out_.write(&out_, "bytes", 5), 5);
    EXPECT_EQ(out_.error, 0);
    EXPECT_EQ(drain(), "xbytes");
}

TEST_F(output_to_pipe, short_write_is_an_error_and_is_not_continued) {
    const int size = fcntl(ends_[1], F_GETPIPE_SZ);
    const std::string text(static_cast<size_t>(size) + 100, 'x');
    EXPECT_EQ(out_.write(&out_, text.data(), static_cast<unsigned>(text.size())), size);
    EXPECT_EQ(out_.error, 1);
    out_.error = 0;
    EXPECT_EQ(out_.write(&out_, "y", 1), -1);
    EXPECT_EQ(out_.error, 1);
}

// One write(2) for a run: a pipe in packet mode gives each write back by itself.
TEST(output_to_packet_pipe, text_without_entities_is_one_write) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_DIRECT | O_NONBLOCK), 0);
    xml_output out{};
    xml_output_setup(&out, xml_output_function_to_file_descriptor);
    out.target.descriptor = ends[1];
    EXPECT_EQ(xml_output_escape_string(&out, "one run<another"), 0);
    std::vector<std::string> packets;
    char buffer[100];
    for (ssize_t size = read(ends[0], buffer, sizeof buffer); size > 0;
         size = read(ends[0], buffer, sizeof buffer)) {
        packets.emplace_back(buffer, static_cast<size_t>(size));
    }
    EXPECT_THAT(packets, ElementsAre("one run", "&lt;", "another"));
    out.error = 1; // a sink in error is sent one byte more, not a run
    EXPECT_EQ(xml_output_escape_string(&out, "abc"), 1);
    EXPECT_EQ(read(ends[0], buffer, sizeof buffer), 1);
    EXPECT_EQ(read(ends[0], buffer, sizeof buffer), -1);
    (void)close(ends[0]);
    (void)close(ends[1]);
}

class output_to_sgs : public ::testing::Test {
  protected:
    output_to_sgs() {
        xml_output_setup(&out_, xml_output_function_to_sgs);
        out_.target.sgs = sgs_;
    }
    ~output_to_sgs() override { xml_sgs_delete(sgs_); }

    xml_sgs *sgs_ = xml_sgs_new();
    xml_output out_{};
};

TEST_F(output_to_sgs, appends_characters_and_strings) {
    EXPECT_EQ(out_.write(&out_, "x", 1), 0);
    EXPECT_EQ(out_.write(&out_, "two", 3), 0);
    EXPECT_EQ(xml_output_escape_string(&out_, "a<b & 'c'"), 0);
    EXPECT_STREQ(sgs_->buffer, "xtwoa&lt;b &amp; &apos;c&apos;");
}

// As one is after its growth failed: the next byte makes it grow first.
TEST_F(output_to_sgs, escaped_text_goes_behind_a_full_string) {
    sgs_->length = sgs_->capacity;
    EXPECT_EQ(xml_output_escape_string(&out_, "ab"), 0);
    EXPECT_STREQ(sgs_->buffer + 2048, "ab");
    EXPECT_EQ(sgs_->length, 2050U);
}

// 2047 bytes in one piece fit; one by one the 2048th place makes the string grow.
TEST_F(output_to_sgs, single_bytes_grow_the_string_like_characters) {
    const std::string text(2047, 'x');
    EXPECT_EQ(out_.write(&out_, text.data(), 2047), 0);
    EXPECT_EQ(sgs_->capacity, 2048U);
    EXPECT_EQ(out_.write(&out_, "y", 1), 0);
    EXPECT_EQ(sgs_->capacity, 4096U);
}

// Escaped runs leave the capacity that single characters leave, from any capacity on.
TEST_F(output_to_sgs, escaped_text_grows_the_string_like_characters) {
    for (const unsigned capacity : {1U, 7U, 2048U, 3000U}) {
        for (const unsigned length : {1U, 6U, 2047U, 2048U, 2049U, 10000U}) {
            xml_sgs runs{static_cast<char *>(calloc(capacity, 1)), capacity, 0};
            xml_sgs characters{static_cast<char *>(calloc(capacity, 1)), capacity, 0};
            std::string text(length, 'r');
            std::ranges::generate(text,
                                  [letter = 0]() mutable { return static_cast<char>('a' + letter++ % 26); });
            out_.target.sgs = &runs;
            EXPECT_EQ(xml_output_escape_string(&out_, text.c_str()), 0);
            for (const char c : text) {
                xml_sgs_append_character(&characters, c);
            }
            EXPECT_EQ(runs.capacity, characters.capacity) << capacity << " " << length;
            EXPECT_EQ(runs.length, characters.length);
            EXPECT_STREQ(runs.buffer, characters.buffer);
            free(runs.buffer);
            free(characters.buffer);
        }
    }
}

} // namespace
