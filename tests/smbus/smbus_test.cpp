// SPDX-License-Identifier: Apache-2.0
#include "varnel/smbus.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "support/assertion_lines.h"
#include "support/captured_output.h"
#include "support/scripted_bus.h"

namespace {

using namespace varnel::test;
using ::testing::ElementsAre;
using ::testing::KilledBySignal;

constexpr uint32_t device = 0x5A07; // bus 7, slave 0x5A
constexpr uint8_t untouched = 0xEE;

/// 0x10, 0x11, ...: every byte shows its position.
bytes counting(unsigned int length) {
    bytes all(length);
    std::iota(all.begin(), all.end(), uint8_t{0x10});
    return all;
}

bytes operator+(bytes head, const bytes &tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

/// A count byte followed by zeros: the content of the buffer that a block read passes to the primitive.
bytes preset_block(uint8_t count) { return bytes{count} + bytes(count, 0); }

class smbus : public scripted_bus {};
using smbus_DeathTest = smbus;

// --- Device handle ---

TEST_F(smbus, upper_half_of_the_handle_is_ignored) {
    EXPECT_EQ(smbus_send_byte_to_device(0x12345A07, 0x42), 0);
    EXPECT_EQ(smbus_send_byte_to_device(0xFFFF0000, 0x42), 0);
    EXPECT_EQ(smbus_send_byte_to_device(0x0000FFFF, 0x42), 0);
    EXPECT_THAT(calls,
                ElementsAre(write_of(7, 0x5A, {0x42}), write_of(0, 0, {0x42}), write_of(0xFF, 0xFF, {0x42})));
}

// --- Frames ---

TEST_F(smbus, quick_write_sends_no_bytes) {
    EXPECT_EQ(smbus_quick_to_device(device, 0), 0);
    EXPECT_THAT(calls, ElementsAre(write_of(7, 0x5A, {})));
}

TEST_F(smbus, quick_reads_for_any_nonzero_flag) {
    EXPECT_EQ(smbus_quick_to_device(device, 1), 0);
    EXPECT_EQ(smbus_quick_to_device(device, 2), 0);
    EXPECT_EQ(smbus_quick_to_device(device, 0x80000000U), 0);
    EXPECT_THAT(calls, ElementsAre(read_of(7, 0x5A, {}), read_of(7, 0x5A, {}), read_of(7, 0x5A, {})));
}

TEST_F(smbus, send_byte_writes_one_byte) {
    EXPECT_EQ(smbus_send_byte_to_device(device, 0xC3), 0);
    EXPECT_THAT(calls, ElementsAre(write_of(7, 0x5A, {0xC3})));
}

TEST_F(smbus, receive_byte_reads_straight_into_the_callers_byte) {
    answers({{{0x99}}});
    uint8_t byte = untouched;
    EXPECT_EQ(smbus_recv_byte_to_device(device, &byte), 0);
    EXPECT_EQ(byte, 0x99);
    EXPECT_THAT(calls, ElementsAre(read_of(7, 0x5A, {untouched})));
}

TEST_F(smbus, write_byte_sends_command_and_data) {
    EXPECT_EQ(smbus_write_byte_to_device(device, 0x06, 0xFE), 0);
    EXPECT_THAT(calls, ElementsAre(write_of(7, 0x5A, {0x06, 0xFE})));
}

TEST_F(smbus, read_byte_reads_straight_into_the_callers_byte) {
    answers({{{0x99}}});
    uint8_t byte = untouched;
    EXPECT_EQ(smbus_read_byte_to_device(device, 0x81, &byte), 0);
    EXPECT_EQ(byte, 0x99);
    EXPECT_THAT(calls, ElementsAre(write_read_of(7, 0x5A, {0x81}, {untouched})));
}

TEST_F(smbus, words_are_sent_and_received_low_byte_first) {
    EXPECT_EQ(smbus_write_word_to_device(device, 0x3B, 0xA1B2), 0);
    answers({{{0x34, 0x12}}});
    uint16_t word = 0xEEEE;
    EXPECT_EQ(smbus_read_word_to_device(device, 0xE2, &word), 0);
    EXPECT_EQ(word, 0x1234);
    EXPECT_THAT(calls,
                ElementsAre(write_of(7, 0x5A, {0x3B, 0xB2, 0xA1}), write_read_of(7, 0x5A, {0xE2}, {0, 0})));
}

TEST_F(smbus, read_word_touches_two_bytes_only) {
    answers({{{0x34, 0x12}}});
    std::array<uint16_t, 3> words{0xEEEE, 0xEEEE, 0xEEEE};
    EXPECT_EQ(smbus_read_word_to_device(device, 0xE2, &words[1]), 0);
    EXPECT_THAT(words, ElementsAre(0xEEEE, 0x1234, 0xEEEE));
}

TEST_F(smbus, write_block_sends_command_count_and_data) {
    const bytes data = counting(40);
    struct row {
        unsigned int count;
        uint8_t sent;
    };
    for (const row &r : std::vector<row>{{0, 0},
                                         {1, 1},
                                         {31, 31},
                                         {32, 32},
                                         {33, 32},
                                         {40, 32},
                                         {255, 32},
                                         {0x100, 0},
                                         {0x105, 5},
                                         {0x120, 32},
                                         {0xFFFFFF03, 3}}) {
        calls.clear();
        EXPECT_EQ(smbus_write_block_to_device(device, 0x77, r.count, data.data()), 0) << r.count;
        EXPECT_THAT(calls, ElementsAre(write_of(7, 0x5A, bytes{0x77, r.sent} + counting(r.sent)))) << r.count;
    }
}

TEST_F(smbus, empty_write_block_accepts_null_data) {
    EXPECT_EQ(smbus_write_block_to_device(device, 0x77, 0, nullptr), 0);
    EXPECT_THAT(calls, ElementsAre(write_of(7, 0x5A, {0x77, 0})));
}

TEST_F(smbus, read_block_copies_the_requested_number_of_bytes) {
    struct row {
        unsigned int count;
        uint8_t read;
    };
    for (const row &r :
         std::vector<row>{{0, 0}, {1, 1}, {31, 31}, {32, 32}, {33, 32}, {40, 32}, {0x120, 32}, {0x100, 0}}) {
        calls.clear();
        answers({{bytes{r.read} + counting(r.read)}});
        bytes block(40, untouched);
        EXPECT_EQ(smbus_read_block_to_device(device, 0x30, r.count, block.data()), 0) << r.count;
        EXPECT_EQ(block, counting(r.read) + bytes(40U - r.read, untouched)) << r.count;
        EXPECT_THAT(calls, ElementsAre(write_read_of(7, 0x5A, {0x30}, preset_block(r.read)))) << r.count;
    }
}

TEST_F(smbus, read_block_ignores_the_count_byte_of_the_chip) {
    for (const uint8_t announced : {0, 2, 5, 40, 255}) {
        answers({{bytes{announced} + counting(5)}});
        bytes block(6, untouched);
        EXPECT_EQ(smbus_read_block_to_device(device, 0x30, 5, block.data()), 0);
        EXPECT_EQ(block, counting(5) + bytes{untouched});
    }
}

TEST_F(smbus, process_call_writes_a_word_and_reads_one) {
    answers({{{0x78, 0x56}}});
    uint16_t word = 0xEEEE;
    EXPECT_EQ(smbus_process_call_to_device(device, 0x0C, 0x1234, &word), 0);
    EXPECT_EQ(word, 0x5678);
    EXPECT_THAT(calls, ElementsAre(write_read_of(7, 0x5A, {0x0C, 0x34, 0x12}, {0, 0})));
}

TEST_F(smbus, block_process_call_writes_and_reads_32_bytes_in_total) {
    const bytes data = counting(40);
    struct row {
        unsigned int write_count;
        uint8_t written;
        uint8_t read_count;
    };
    for (const row &r : std::vector<row>{{1, 1, 1}, {16, 16, 16}, {31, 31, 1}, {1, 1, 31}, {0x110, 16, 16}}) {
        calls.clear();
        answers({{bytes{99} + counting(r.read_count)}});
        bytes answer(40, untouched);
        EXPECT_EQ(smbus_block_write_block_read_process_call_to_device(
                      device, 0x0D, r.write_count, data.data(), r.read_count, answer.data()),
                  0);
        EXPECT_EQ(answer, counting(r.read_count) + bytes(40U - r.read_count, untouched));
        EXPECT_THAT(calls, ElementsAre(write_read_of(7, 0x5A, bytes{0x0D, r.written} + counting(r.written),
                                                     preset_block(r.read_count))));
    }
}

TEST_F(smbus, block_process_call_refuses_other_counts_without_traffic) {
    const bytes data = counting(40);
    struct row {
        unsigned int write_count;
        uint8_t read_count;
    };
    for (const row &r : std::vector<row>{{16, 17},
                                         {17, 16},
                                         {0, 1},
                                         {1, 0},
                                         {0, 0},
                                         {0x100, 1},
                                         {32, 1},
                                         {1, 32},
                                         {255, 1},
                                         {1, 255},
                                         {128, 128}}) {
        bytes answer(40, untouched);
        EXPECT_EQ(smbus_block_write_block_read_process_call_to_device(
                      device, 0x0D, r.write_count, data.data(), r.read_count, answer.data()),
                  -1)
            << r.write_count << " " << int{r.read_count};
        EXPECT_EQ(answer, bytes(40, untouched));
    }
    EXPECT_TRUE(calls.empty());
}

TEST_F(smbus, flexible_call_without_write_data_only_reads) {
    answers({{{1, 2, 3}}});
    bytes data(4, untouched);
    EXPECT_EQ(smbus_flexible_write_read_to_device(device, 0x55, 9, nullptr, 3, data.data()), 0);
    EXPECT_THAT(data, ElementsAre(1, 2, 3, untouched));
    EXPECT_THAT(calls, ElementsAre(read_of(7, 0x5A, bytes(3, untouched))));
}

TEST_F(smbus, flexible_call_without_read_data_only_writes) {
    const bytes data = counting(255);
    EXPECT_EQ(smbus_flexible_write_read_to_device(device, 0x55, 255, data.data(), 9, nullptr), 0);
    EXPECT_EQ(smbus_flexible_write_read_to_device(device, 0x55, 0x102, data.data(), 9, nullptr), 0);
    EXPECT_EQ(smbus_flexible_write_read_to_device(device, 0x55, 0x100, data.data(), 9, nullptr), 0);
    EXPECT_THAT(calls,
                ElementsAre(write_of(7, 0x5A, data), write_of(7, 0x5A, {0x10, 0x11}), write_of(7, 0x5A, {})));
}

TEST_F(smbus, flexible_call_with_both_buffers_writes_then_reads) {
    answers({{counting(255)}});
    const bytes written{1, 2, 3};
    bytes data(255, untouched);
    EXPECT_EQ(smbus_flexible_write_read_to_device(device, 0x55, 0x103, written.data(), 255, data.data()), 0);
    EXPECT_EQ(data, counting(255));
    EXPECT_THAT(calls, ElementsAre(write_read_of(7, 0x5A, {1, 2, 3}, bytes(255, untouched))));
}

// --- Results of the primitives ---

struct judged {
    int result;
    int expected;
};

/// Results whose low 16 bits, as a signed number, are `length`, and similar results that are failures.
std::vector<judged> counts_for(int length) {
    return {{length, 0},      {length + 0x10000, 0}, {length - 0x10000, 0},
            {length + 1, -1}, {length - 1, -1},      {length + 0x8000, -1},
            {-1, -1},         {-0x8000, -1},         {0x7FFF0000 + length, 0}};
}

TEST_F(smbus, writes_and_reads_succeed_when_the_low_16_bits_are_the_length) {
    uint8_t data[34] = {};
    const std::vector<std::pair<int, std::function<int()>>> transactions{
        {0, [&] { return smbus_quick_to_device(device, 0); }},
        {0, [&] { return smbus_quick_to_device(device, 1); }},
        {1, [&] { return smbus_send_byte_to_device(device, 1); }},
        {1, [&] { return smbus_recv_byte_to_device(device, data); }},
        {2, [&] { return smbus_write_byte_to_device(device, 1, 2); }},
        {3, [&] { return smbus_write_word_to_device(device, 1, 2); }},
        {2, [&] { return smbus_write_block_to_device(device, 1, 0, data); }},
        {34, [&] { return smbus_write_block_to_device(device, 1, 32, data); }},
        {5, [&] { return smbus_flexible_write_read_to_device(device, 1, 5, data, 0, nullptr); }},
        {6, [&] { return smbus_flexible_write_read_to_device(device, 1, 0, nullptr, 6, data); }},
    };
    for (const auto &[length, transaction] : transactions) {
        for (const judged &j : counts_for(length)) {
            answers({{{}, j.result}});
            EXPECT_EQ(transaction(), j.expected) << "length " << length << " result " << j.result;
        }
    }
}

TEST_F(smbus, write_reads_succeed_when_the_low_16_bits_are_0) {
    uint8_t data[34] = {};
    uint16_t word = 0;
    const std::vector<std::function<int()>> transactions{
        [&] { return smbus_read_byte_to_device(device, 1, data); },
        [&] { return smbus_read_word_to_device(device, 1, &word); },
        [&] { return smbus_read_block_to_device(device, 1, 3, data); },
        [&] { return smbus_process_call_to_device(device, 1, 2, &word); },
        [&] { return smbus_block_write_block_read_process_call_to_device(device, 1, 3, data, 4, data); },
        [&] { return smbus_flexible_write_read_to_device(device, 1, 3, data, 4, data); },
    };
    for (const auto &transaction : transactions) {
        for (const judged &j : std::vector<judged>{{0, 0},
                                                   {0x10000, 0},
                                                   {-0x10000, 0},
                                                   {1, -1},
                                                   {2, -1},
                                                   {-1, -1},
                                                   {0x8000, -1},
                                                   {0x10001, -1}}) {
            answers({{{}, j.result}});
            EXPECT_EQ(transaction(), j.expected) << j.result;
        }
    }
}

TEST_F(smbus, each_transaction_is_one_primitive_call_even_when_it_fails) {
    uint8_t byte = 0;
    answers({{{}, -1}, {{}, -1}});
    EXPECT_EQ(smbus_write_byte_to_device(device, 1, 2), -1);
    EXPECT_EQ(smbus_read_byte_to_device(device, 1, &byte), -1);
    EXPECT_EQ(calls.size(), 2U);
}

// --- Buffers after failures ---

TEST_F(smbus, failed_word_and_block_reads_leave_the_result_untouched) {
    answers({{{1, 2}, -1}, {{1, 2}, -1}, {{3, 1, 2, 3}, -1}, {{3, 1, 2, 3}, -1}});
    uint16_t word = 0xEEEE;
    bytes block(3, untouched);
    EXPECT_EQ(smbus_read_word_to_device(device, 1, &word), -1);
    EXPECT_EQ(smbus_process_call_to_device(device, 1, 2, &word), -1);
    EXPECT_EQ(word, 0xEEEE);
    EXPECT_EQ(smbus_read_block_to_device(device, 1, 3, block.data()), -1);
    EXPECT_EQ(
        smbus_block_write_block_read_process_call_to_device(device, 1, 1, block.data(), 3, block.data()), -1);
    EXPECT_EQ(block, bytes(3, untouched));
}

TEST_F(smbus, failed_byte_reads_leave_what_the_primitive_stored) {
    answers({{{0x21}, -1}, {{0x22}, -1}});
    uint8_t received = untouched;
    uint8_t read = untouched;
    EXPECT_EQ(smbus_recv_byte_to_device(device, &received), -1);
    EXPECT_EQ(smbus_read_byte_to_device(device, 1, &read), -1);
    EXPECT_EQ(received, 0x21);
    EXPECT_EQ(read, 0x22);
}

TEST_F(smbus, nothing_is_printed) {
    answers({{{}, -1}, {{}, 1}});
    uint8_t byte = 0;
    captured_output output;
    EXPECT_EQ(smbus_send_byte_to_device(device, 1), -1);
    EXPECT_EQ(smbus_read_byte_to_device(device, 1, &byte), -1);
    EXPECT_EQ(output.text(), "");
}

// --- Null pointers ---

struct broken_call {
    const char *function;
    std::function<void()> call;
    const char *expression;
};

TEST_F(smbus_DeathTest, null_results_end_the_process_before_bus_traffic) {
    const std::vector<broken_call> broken_calls{
        {"smbus_recv_byte_to_device", [] { smbus_recv_byte_to_device(device, nullptr); },
         "byte != \\(\\(void \\*\\)0\\)"},
        {"smbus_read_byte_to_device", [] { smbus_read_byte_to_device(device, 1, nullptr); },
         "byte != \\(\\(void \\*\\)0\\)"},
        {"smbus_read_word_to_device", [] { smbus_read_word_to_device(device, 1, nullptr); },
         "word != \\(\\(void \\*\\)0\\)"},
        {"smbus_read_block_to_device", [] { smbus_read_block_to_device(device, 1, 1, nullptr); },
         "block != \\(\\(void \\*\\)0\\)"},
        {"smbus_process_call_to_device", [] { smbus_process_call_to_device(device, 1, 1, nullptr); },
         "process_ret_val != \\(\\(void \\*\\)0\\)"},
        // The pointer is checked before the counts.
        {"smbus_block_write_block_read_process_call_to_device",
         [] { smbus_block_write_block_read_process_call_to_device(device, 1, 0, nullptr, 0, nullptr); },
         "process_ret_vals != \\(\\(void \\*\\)0\\)"},
        {"smbus_flexible_write_read_to_device",
         [] { smbus_flexible_write_read_to_device(device, 1, 1, nullptr, 1, nullptr); },
         "\\(write_data != \\(\\(void \\*\\)0\\)\\) \\|\\| \\(read_data != \\(\\(void \\*\\)0\\)\\)"},
    };
    assertion_lines lines("smbus");
    for (const broken_call &broken : broken_calls) {
        EXPECT_EXIT(broken.call(), KilledBySignal(SIGABRT),
                    lines.message(broken.function, broken.expression));
    }
    EXPECT_EQ(lines.count(), broken_calls.size());
}

// --- Hex dump ---

TEST_F(smbus, printf_buf_prints_bytes_between_newlines) {
    const bytes data{0x00, 0xAB, 0x05};
    captured_output output;
    EXPECT_EQ(printf_buf(data.data(), 3), '\n');
    EXPECT_EQ(output.text(), "\n0x0 0xab 0x5 \n");
}

TEST_F(smbus, printf_buf_of_nothing_prints_two_newlines) {
    captured_output output;
    EXPECT_EQ(printf_buf(nullptr, 0), '\n');
    EXPECT_EQ(printf_buf(nullptr, -5), '\n');
    EXPECT_EQ(output.text(), "\n\n\n\n");
    EXPECT_TRUE(calls.empty());
}

#ifdef __GLIBC__ // elsewhere a program cannot replace stdout
TEST_F(smbus, printf_buf_returns_eof_when_the_last_newline_is_lost) {
    std::fflush(stdout);
    std::FILE *const terminal = stdout;
    std::FILE *const full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    std::setvbuf(full, nullptr, _IONBF, 0);
    stdout = full;
    const int result = printf_buf(nullptr, 0);
    stdout = terminal;
    std::fclose(full);
    EXPECT_EQ(result, EOF);
}
#endif

} // namespace
