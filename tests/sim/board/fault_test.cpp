// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/board/fake_chips.h"

namespace varnel::test {

using sim::fault;
using sim::fault_kind;
using ::testing::ElementsAre;

/// Which of `transfers` a fault strikes: "X" or ".".
std::string strikes(fault waiting, int transfers) {
    std::string pattern;
    for (int i = 0; i < transfers; ++i) {
        pattern += waiting.strikes() ? 'X' : '.';
    }
    return pattern;
}

TEST(fault, strikes_the_next_n_transfers) {
    EXPECT_EQ(strikes(fault::next_transfers(3, 1), 6), "XXX...");
    fault once = fault::next_transfers(1, 1);
    EXPECT_FALSE(once.spent());
    EXPECT_EQ(once.remaining(), 1U);
    EXPECT_TRUE(once.strikes());
    EXPECT_TRUE(once.spent());
}

TEST(fault, rate_and_seed_give_the_same_pattern_on_every_machine) {
    // From the published mt19937_64: the top 53 bits of each output, as a fraction, below 0.25.
    EXPECT_EQ(strikes(fault::at_rate(0.25, 1), 40), "XX.X...X..X..X.X.........XXX......X...X.");
    EXPECT_EQ(strikes(fault::at_rate(0.25, 2), 40), ".....XXXX....XXX....XX.....X.X..........");
    EXPECT_EQ(strikes(fault::at_rate(0.25, 1), 40), strikes(fault::at_rate(0.25, 1), 40));
}

TEST(fault, rate_0_never_strikes_and_rate_1_always) {
    EXPECT_EQ(strikes(fault::at_rate(0, 5), 20), std::string(20, '.'));
    EXPECT_EQ(strikes(fault::at_rate(1, 5), 20), std::string(20, 'X'));
    EXPECT_FALSE(fault::at_rate(0, 5).spent());
    EXPECT_EQ(fault::at_rate(0.5, 7).remaining(), std::nullopt);
    EXPECT_EQ(fault::at_rate(0.5, 7).rate(), 0.5);
    EXPECT_EQ(fault::at_rate(0.5, 7).seed(), 7U);
}

class faulty_board : public ::testing::Test {
  public:
    faulty_board()
        : bench("[a]\ntype = echo\nbus = 0\naddress = 0x20\nfill = 16\n"
                "[b]\ntype = echo\nbus = 0\naddress = 0x21\n"
                "[mux]\ntype = switch\nbus = 0\naddress = 0x70\n"
                "[psu]\ntype = echo\nbus = mux.0\naddress = 0x58\n"
                "[c]\ntype = echo\nbus = 1\naddress = 0x20\n") {}

    void inject(const char *chip, fault_kind kind, uint64_t count = 1) {
        bench.board.inject(chip, kind, fault::next_transfers(count, 1));
    }
    [[nodiscard]] const std::string &log_of(std::size_t n) { return bench.chip<echo_chip>(n).log; }

    bench_board bench;
};

TEST_F(faulty_board, nack_fails_the_next_transfers_to_the_chip_with_enxio) {
    inject("a", fault_kind::nack, 2);
    EXPECT_EQ(bench.read(0, 0x21, 1).result, 1);
    const auto struck = bench.write_read(0, 0x20, {1}, 1);
    EXPECT_EQ(struck.error, ENXIO);
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::nack));
    EXPECT_EQ(struck.addressed.size(), 1u);
    EXPECT_EQ(bench.write(0, 0x20, {}).error, ENXIO);
    EXPECT_EQ(log_of(0), "");
    EXPECT_EQ(bench.write_read(0, 0x20, {1}, 1).result, 0);
}

TEST_F(faulty_board, nack_is_decided_once_for_both_starts_of_a_write_read) {
    bench.board.inject("a", fault_kind::nack, fault::at_rate(0.5, 3));
    for (int i = 0; i < 64; ++i) {
        const auto outcome = bench.write_read(0, 0x20, {1}, 1);
        ASSERT_EQ(outcome.written.size(), outcome.read.size()) << i;
    }
}

TEST_F(faulty_board, short_ends_a_transfer_one_byte_early) {
    inject("a", fault_kind::short_data, 4);
    EXPECT_EQ(bench.write(0, 0x20, {1, 2, 3}).result, 2);
    EXPECT_EQ(log_of(0), "S 1 2 P ");
    const auto read = bench.read(0, 0x20, 3);
    EXPECT_EQ(read.result, 2);
    EXPECT_THAT(read.read, ElementsAre(16, 17));
    EXPECT_EQ(bench.write(0, 0x20, {1}).result, 0);
    const auto combined = bench.write_read(0, 0x20, {9}, 2);
    EXPECT_EQ(combined.result, -1);
    EXPECT_EQ(combined.error, EIO);
    EXPECT_THAT(combined.faults, ElementsAre(fault_kind::short_data));
    EXPECT_EQ(bench.write_read(0, 0x20, {9}, 2).result, 0);
}

TEST_F(faulty_board, short_does_not_strike_a_transfer_without_bytes) {
    inject("a", fault_kind::short_data);
    EXPECT_EQ(bench.write(0, 0x20, {}).result, 0);
    EXPECT_EQ(bench.write(0, 0x20, {1, 2}).result, 1);
}

TEST_F(faulty_board, flip_inverts_one_bit_read) {
    inject("a", fault_kind::flip);
    const auto outcome = bench.write_read(0, 0x20, {7}, 2);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.written, ElementsAre(7));
    EXPECT_THAT(outcome.read, ElementsAre(16, 16));
    EXPECT_THAT(bench.write_read(0, 0x20, {7}, 2).read, ElementsAre(16, 17));
}

TEST_F(faulty_board, flip_inverts_one_bit_written_when_nothing_is_read) {
    inject("a", fault_kind::flip);
    EXPECT_EQ(bench.write(0, 0x20, {0, 0}).result, 2);
    EXPECT_EQ(log_of(0), "S 0 1 P ");
}

TEST_F(faulty_board, stuck_chip_blocks_every_transfer_on_its_bus) {
    inject("b", fault_kind::stuck, 2);
    EXPECT_EQ(bench.read(1, 0x20, 1).result, 1);
    const auto struck = bench.read(0, 0x20, 1);
    EXPECT_EQ(struck.result, -1);
    EXPECT_EQ(struck.error, ETIMEDOUT);
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::stuck));
    EXPECT_EQ(bench.write(0, 0x33, {}).error, ETIMEDOUT);
    EXPECT_EQ(log_of(0), "");
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
}

TEST_F(faulty_board, stuck_chip_behind_a_channel_blocks_the_bus_when_it_is_on) {
    inject("psu", fault_kind::stuck, 1);
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
    EXPECT_EQ(bench.write(0, 0x70, {1}).result, 1);
    EXPECT_EQ(bench.read(0, 0x20, 1).error, ETIMEDOUT);
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
}

TEST_F(faulty_board, kinds_combine_and_the_same_kind_replaces_the_earlier) {
    inject("a", fault_kind::nack, 5);
    inject("a", fault_kind::nack, 1);
    inject("a", fault_kind::short_data, 1);
    EXPECT_EQ(bench.read(0, 0x20, 2).error, ENXIO);
    EXPECT_EQ(bench.read(0, 0x20, 2).result, 1);
    EXPECT_EQ(bench.read(0, 0x20, 2).result, 2);
}

TEST_F(faulty_board, clearing_removes_all_faults_of_the_chip) {
    inject("a", fault_kind::nack, 5);
    inject("b", fault_kind::nack, 1);
    bench.board.clear_faults("a");
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
    EXPECT_EQ(bench.read(0, 0x21, 1).error, ENXIO);
    EXPECT_THROW(bench.board.clear_faults("z"), sim::bad_request);
    EXPECT_THROW(inject("z", fault_kind::nack), sim::bad_request);
}

TEST_F(faulty_board, status_lists_remaining_faults) {
    inject("a", fault_kind::nack, 2);
    bench.board.inject("a", fault_kind::flip, fault::at_rate(0.25, 9));
    const auto faults = [this] { return bench.board.status().chips.front().faults; };
    ASSERT_EQ(faults().size(), 2U);
    EXPECT_EQ(faults()[0].kind, fault_kind::nack);
    EXPECT_EQ(faults()[0].transfers, 2U);
    EXPECT_EQ(faults()[1].kind, fault_kind::flip);
    EXPECT_EQ(faults()[1].transfers, std::nullopt);
    EXPECT_EQ(faults()[1].rate, 0.25);
    EXPECT_EQ(faults()[1].seed, 9U);
    EXPECT_EQ(bench.read(0, 0x20, 0).error, ENXIO);
    EXPECT_EQ(bench.read(0, 0x20, 0).error, ENXIO);
    ASSERT_EQ(faults().size(), 1U);
    EXPECT_EQ(faults()[0].kind, fault_kind::flip);
}

} // namespace varnel::test
