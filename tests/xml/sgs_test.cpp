// SPDX-License-Identifier: Apache-2.0
#include "varnel/xml_sgs.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/mman.h>

#include <gtest/gtest.h>

namespace {

class growable_string : public ::testing::Test {
  protected:
    ~growable_string() override { xml_sgs_delete(sgs_); }

    void expect(const std::string &content, unsigned capacity) const {
        EXPECT_EQ(std::string(sgs_->buffer, sgs_->length), content);
        EXPECT_EQ(sgs_->buffer[sgs_->length], '\0');
        EXPECT_EQ(sgs_->capacity, capacity);
    }

    xml_sgs *sgs_ = xml_sgs_new();
};

TEST_F(growable_string, new_string_is_empty_with_a_capacity_of_2048) { expect("", 2048); }

TEST(growable_string_setup, makes_an_empty_string) {
    xml_sgs sgs{};
    EXPECT_EQ(xml_sgs_setup(&sgs), 0);
    EXPECT_EQ(sgs.capacity, 2048U);
    EXPECT_EQ(sgs.length, 0U);
    EXPECT_STREQ(sgs.buffer, "");
    free(sgs.buffer);
}

TEST_F(growable_string, character_that_fills_the_string_grows_it_by_2048) {
    for (int i = 0; i < 2047; ++i) {
        ASSERT_EQ(xml_sgs_append_character(sgs_, 'x'), 0);
    }
    expect(std::string(2047, 'x'), 2048);
    EXPECT_EQ(xml_sgs_append_character(sgs_, 'y'), 0);
    expect(std::string(2047, 'x') + "y", 4096);
}

TEST_F(growable_string, characters_may_be_any_byte) {
    xml_sgs_append_character(sgs_, '\0');
    xml_sgs_append_character(sgs_, '\xFF');
    expect(std::string("\0\xFF", 2), 2048);
}

TEST_F(growable_string, appended_bytes_grow_the_capacity_to_a_multiple_of_2048) {
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs_, std::string(5000, 'x').c_str(), 5000), 0);
    expect(std::string(5000, 'x'), 6144);
}

TEST_F(growable_string, bytes_without_room_for_the_nul_grow_the_string) {
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs_, std::string(2048, 'x').c_str(), 2048), 0);
    expect(std::string(2048, 'x'), 4096);
}

TEST_F(growable_string, bytes_that_just_fit_do_not_grow_the_string) {
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs_, std::string(2047, 'x').c_str(), 2047), 0);
    expect(std::string(2047, 'x'), 2048);
}

TEST_F(growable_string, appending_reads_no_byte_past_the_given_length) {
    const char *const exact = static_cast<char *>(memset(malloc(3), 'z', 3)); // ASan checks what is after it
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs_, exact, 3), 0);
    free(const_cast<char *>(exact));
    expect("zzz", 2048);
}

TEST_F(growable_string, appending_nothing_changes_nothing) {
    EXPECT_EQ(xml_sgs_append_lengthed_string(sgs_, nullptr, 0), 0);
    EXPECT_EQ(xml_sgs_append_string(sgs_, ""), 0);
    expect("", 2048);
}

TEST_F(growable_string, strings_append_up_to_their_terminator) {
    EXPECT_EQ(xml_sgs_append_string(sgs_, "one "), 0);
    EXPECT_EQ(xml_sgs_append_string(sgs_, "two"), 0);
    expect("one two", 2048);
}

#if UINTPTR_MAX > UINT32_MAX

// Lengths at the limit of 32 bits, over address space that is never touched but at the end.
class growable_string_at_the_limit : public ::testing::Test {
  protected:
    static constexpr uint64_t size = uint64_t{1} << 32;

    growable_string_at_the_limit()
        : memory_(static_cast<char *>(mmap(nullptr, size, PROT_READ | PROT_WRITE,
                                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {}
    ~growable_string_at_the_limit() override { munmap(memory_, size); }

    char *memory_;
};

TEST_F(growable_string_at_the_limit, lengths_above_32_bits_are_refused) {
    ASSERT_NE(memory_, MAP_FAILED);
    xml_sgs sgs{memory_, UINT32_MAX - 2047, UINT32_MAX - 2060};
    EXPECT_EQ(xml_sgs_append_lengthed_string(&sgs, memory_, 3000), 2);
    EXPECT_EQ(sgs.length, UINT32_MAX - 2060);
    EXPECT_EQ(sgs.capacity, UINT32_MAX - 2047);
    EXPECT_EQ(xml_sgs_append_lengthed_string(&sgs, "0123456789ab", 12), 0);
    EXPECT_EQ(xml_sgs_append_character(&sgs, 'c'), 2); // stored, but the capacity cannot grow
    EXPECT_EQ(sgs.length, sgs.capacity);
    EXPECT_EQ(memory_[sgs.length - 1], 'c');
    EXPECT_EQ(xml_sgs_append_character(&sgs, 'd'), 2);
    EXPECT_EQ(sgs.length, sgs.capacity);
}

#endif

} // namespace
