// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_refiller.h"

#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

constexpr int end_of_input = -256;

int no_refill(xml_refiller * /*r*/) { return 0; }

TEST(refiller_setup, uses_the_buffer_with_its_content) {
    xml_refiller r{};
    char buffer[8] = "abc";
    r.error = 4;
    r.position = 5;
    r.source.descriptor = 17;
    EXPECT_EQ(xml_refiller_setup(&r, no_refill, buffer, 3, 8), 0);
    EXPECT_EQ(r.error, 0);
    EXPECT_EQ(r.buffer, buffer);
    EXPECT_EQ(r.fill, 3U);
    EXPECT_EQ(r.capacity, 8U);
    EXPECT_EQ(r.position, 0U);
    EXPECT_EQ(r.pushed, -256);
    EXPECT_EQ(r.refill, no_refill);
    EXPECT_EQ(r.source.descriptor, 17);
}

TEST(refiller_setup, null_buffer_needs_a_refill_function) {
    xml_refiller r{};
    EXPECT_EQ(xml_refiller_setup(&r, no_refill, nullptr, 3, 8), 0);
    EXPECT_EQ(r.buffer, nullptr);
    EXPECT_EQ(r.fill, 0U);
    EXPECT_EQ(r.capacity, 0U);
}

TEST(refiller_setup, neither_buffer_nor_function_is_refused) {
    xml_refiller r{};
    r.error = 4;
    EXPECT_EQ(xml_refiller_setup(&r, nullptr, nullptr, 0, 0), 14);
    EXPECT_EQ(r.error, 4);
    EXPECT_EQ(xml_refiller_new(nullptr, nullptr, 0, 0), nullptr);
}

TEST(refiller_new, delete_does_not_free_the_buffer) {
    char buffer[] = "ab";
    xml_refiller *const r = xml_refiller_new(nullptr, buffer, 2, 2);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(xml_refiller_get_char(r), 'a');
    xml_refiller_delete(r);
    xml_refiller_delete(nullptr);
    EXPECT_STREQ(buffer, "ab");
}

TEST(refiller_get_char, end_of_a_fixed_text_is_returned_every_time) {
    char text[] = "\xFF\0x";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text, 2, 2);
    EXPECT_EQ(xml_refiller_get_char(&r), 255);
    EXPECT_EQ(xml_refiller_get_char(&r), 0);
    EXPECT_EQ(xml_refiller_get_char(&r), end_of_input);
    EXPECT_EQ(xml_refiller_get_char(&r), end_of_input);
    EXPECT_EQ(r.position, 2U);
}

TEST(refiller_get_char, pushed_character_is_read_first_without_consuming_input) {
    char text[] = "a";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text, 1, 1);
    xml_refiller_set_char(&r, 'y');
    xml_refiller_set_char(&r, 'x');
    EXPECT_EQ(xml_refiller_get_char(&r), 'x');
    EXPECT_EQ(r.pushed, -256);
    EXPECT_EQ(r.position, 0U);
    EXPECT_EQ(xml_refiller_get_char(&r), 'a');
}

TEST(refiller_get_char, value_above_255_can_be_pushed_back) {
    char text[] = "a";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text, 1, 1);
    xml_refiller_set_char(&r, 1000);
    EXPECT_EQ(xml_refiller_get_char(&r), 1000);
}

TEST(refiller_get_char, refills_when_the_buffer_is_used_up) {
    xml_refiller r{};
    char buffer[2] = {'a', 'b'};
    xml_refiller_setup(
        &r,
        [](xml_refiller *self) {
            EXPECT_EQ(self->position, self->fill);
            self->buffer[0] = 'c';
            self->fill = 1;
            self->position = 0;
            return 77;
        },
        buffer, 2, 2);
    for (const char expected : {'a', 'b', 'c', 'c'}) {
        EXPECT_EQ(xml_refiller_get_char(&r), expected);
    }
}

TEST(refiller_get_char, failed_refill_is_the_end_of_input) {
    xml_refiller r{};
    char buffer[2];
    xml_refiller_setup(
        &r,
        [](xml_refiller *self) {
            self->fill = 1; // even with bytes
            self->position = 0;
            self->error = 6;
            return 0;
        },
        buffer, 0, 2);
    EXPECT_EQ(xml_refiller_get_char(&r), end_of_input);
    EXPECT_EQ(r.error, 6);
    EXPECT_EQ(r.position, 0U);
}

TEST(refiller_from_stream, reads_up_to_the_capacity) {
    std::FILE *const stream = tmpfile();
    (void)fputs("abcde", stream);
    rewind(stream);
    char buffer[3];
    xml_refiller r{};
    xml_refiller_setup(&r, xml_refiller_function_from_file_stream, buffer, 0, 3);
    r.source.stream = stream;
    r.position = 2;
    EXPECT_EQ(r.refill(&r), 0);
    EXPECT_EQ(std::string(buffer, r.fill), "abc");
    EXPECT_EQ(r.position, 0U);
    EXPECT_EQ(r.refill(&r), 0);
    EXPECT_EQ(std::string(buffer, r.fill), "de");
    EXPECT_EQ(r.refill(&r), 0);
    EXPECT_EQ(r.fill, 0U);
    EXPECT_EQ(r.error, 0);
    (void)fclose(stream);
}

TEST(refiller_from_stream, failed_read_keeps_fill_and_position) {
    std::FILE *const stream = fopen("/dev/null", "w"); // not open for reading
    char buffer[3];
    xml_refiller r{};
    xml_refiller_setup(&r, xml_refiller_function_from_file_stream, buffer, 2, 3);
    r.source.stream = stream;
    r.position = 2;
    const int result = r.refill(&r);
    EXPECT_NE(result, 0);
    EXPECT_EQ(result, ferror(stream));
    EXPECT_EQ(r.error, 1);
    EXPECT_EQ(r.fill, 2U);
    EXPECT_EQ(r.position, 2U);
    (void)fclose(stream);
}

TEST(refiller_from_descriptor, reads_the_bytes_available) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(write(ends[1], "ab", 2), 2);
    char buffer[8];
    xml_refiller r{};
    xml_refiller_setup(&r, xml_refiller_function_from_file_descriptor, buffer, 0, 8);
    r.source.descriptor = ends[0];
    r.position = 2;
    EXPECT_EQ(r.refill(&r), 0);
    EXPECT_EQ(std::string(buffer, r.fill), "ab");
    EXPECT_EQ(r.position, 0U);
    (void)close(ends[1]);
    EXPECT_EQ(r.refill(&r), 0);
    EXPECT_EQ(r.fill, 0U);
    (void)close(ends[0]);
}

TEST(refiller_from_descriptor, failed_read_keeps_fill_and_position) {
    char buffer[8];
    xml_refiller r{};
    xml_refiller_setup(&r, xml_refiller_function_from_file_descriptor, buffer, 3, 8);
    r.source.descriptor = -1;
    r.position = 3;
    EXPECT_EQ(r.refill(&r), -1);
    EXPECT_EQ(r.error, 1);
    EXPECT_EQ(r.fill, 3U);
    EXPECT_EQ(r.position, 3U);
}

} // namespace
