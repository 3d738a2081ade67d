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

TEST(RefillerSetup, TakesTheBufferAsItIs) {
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

TEST(RefillerSetup, FunctionMayBringItsOwnBuffer) {
    xml_refiller r{};
    EXPECT_EQ(xml_refiller_setup(&r, no_refill, nullptr, 3, 8), 0);
    EXPECT_EQ(r.buffer, nullptr);
    EXPECT_EQ(r.fill, 0U);
    EXPECT_EQ(r.capacity, 0U);
}

TEST(RefillerSetup, RefusesNeither) {
    xml_refiller r{};
    r.error = 4;
    EXPECT_EQ(xml_refiller_setup(&r, nullptr, nullptr, 0, 0), 14);
    EXPECT_EQ(r.error, 4);
    EXPECT_EQ(xml_refiller_new(nullptr, nullptr, 0, 0), nullptr);
}

TEST(RefillerNew, DeleteLeavesTheBuffer) {
    char buffer[] = "ab";
    xml_refiller *const r = xml_refiller_new(nullptr, buffer, 2, 2);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(xml_refiller_get_char(r), 'a');
    xml_refiller_delete(r);
    xml_refiller_delete(nullptr);
    EXPECT_STREQ(buffer, "ab");
}

TEST(RefillerGetChar, FixedTextEndsForEver) {
    char text[] = "\xFF\0x";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text, 2, 2);
    EXPECT_EQ(xml_refiller_get_char(&r), 255);
    EXPECT_EQ(xml_refiller_get_char(&r), 0);
    EXPECT_EQ(xml_refiller_get_char(&r), end_of_input);
    EXPECT_EQ(xml_refiller_get_char(&r), end_of_input);
    EXPECT_EQ(r.position, 2U);
}

TEST(RefillerGetChar, PushedCharacterComesFirstAndConsumesNothing) {
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

TEST(RefillerGetChar, AnythingCanBePushed) {
    char text[] = "a";
    xml_refiller r{};
    xml_refiller_setup(&r, nullptr, text, 1, 1);
    xml_refiller_set_char(&r, 1000);
    EXPECT_EQ(xml_refiller_get_char(&r), 1000);
}

TEST(RefillerGetChar, RefillsWhenTheBufferIsUsedUp) {
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

TEST(RefillerGetChar, FailedRefillIsTheEndOfInput) {
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

TEST(RefillerFromStream, ReadsUpToTheCapacity) {
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

TEST(RefillerFromStream, FailureLeavesFillAndPosition) {
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

TEST(RefillerFromDescriptor, ReadsWhatIsThere) {
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

TEST(RefillerFromDescriptor, FailureLeavesFillAndPosition) {
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
