// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <cerrno>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/board/fake_chips.h"

namespace varnel::test {

using sim::fault;
using sim::fault_kind;
using sim::fault_terms;
using namespace std::chrono_literals;
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
    EXPECT_EQ(once.terms().count, 1U);
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
    EXPECT_EQ(fault::at_rate(0.5, 7).terms(), (fault_terms{.count = std::nullopt, .rate = 0.5, .seed = 7}));
}

TEST(fault, window_of_transfers_counts_those_it_could_strike) {
    EXPECT_EQ(strikes(fault({.count = 1, .from = {.transfer = 3}}), 6), "..X...");
    EXPECT_EQ(strikes(fault({.count = std::nullopt, .from = {.transfer = 2}, .until = {.transfer = 4}}), 6),
              ".XXX..");
    EXPECT_EQ(strikes(fault({.count = 9, .until = {.transfer = 2}}), 4), "XX..");
    fault over({.count = std::nullopt, .until = {.transfer = 1}});
    EXPECT_FALSE(over.spent());
    EXPECT_TRUE(over.strikes());
    EXPECT_TRUE(over.spent());
}

TEST(fault, window_of_time_includes_both_ends) {
    fault waiting({.count = std::nullopt, .from = {.time = 2s}, .until = {.time = 4s}});
    std::string pattern;
    for (const auto now : {1s, 2s, 3s, 4s, 5s}) {
        pattern += waiting.strikes({now}) ? 'X' : '.';
    }
    EXPECT_EQ(pattern, ".XXX.");
    EXPECT_FALSE(waiting.spent({4s}));
    EXPECT_TRUE(waiting.spent({5s}));
}

TEST(fault, window_of_the_boards_transfers_counts_all) {
    fault waiting({.count = std::nullopt, .from = {.board_transfer = 5}, .until = {.board_transfer = 7}});
    std::string pattern;
    for (const uint64_t transfer : {1U, 4U, 5U, 7U, 8U}) {
        pattern += waiting.strikes({0s, transfer}) ? 'X' : '.';
    }
    EXPECT_EQ(pattern, "..XX.");
}

TEST(fault, count_and_rate_both_limit) {
    EXPECT_EQ(strikes(fault({.count = 2, .rate = 0.25, .seed = 1}), 40),
              "XX......................................");
    EXPECT_EQ(strikes(fault({.count = 3, .rate = 0.25, .seed = 1}), 40),
              "XX.X....................................");
}

TEST(fault_kinds, each_has_a_name_of_its_own_an_effect_and_a_source) {
    std::set<std::string_view> names;
    for (const sim::fault_facts &each : sim::fault_kinds()) {
        EXPECT_TRUE(names.insert(each.name).second) << each.name;
        EXPECT_EQ(sim::fault_kind_named(each.name), each.kind);
        EXPECT_EQ(&sim::facts_of(each.kind), &each);
        EXPECT_FALSE(each.effect.empty() || each.seen.empty() || each.source.empty()) << each.name;
        EXPECT_EQ(each.parameter == sim::fault_parameter::none, sim::facts_of(each.parameter) == nullptr);
    }
    EXPECT_EQ(sim::fault_kind_named("none"), std::nullopt);
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
    void inject(const char *chip, fault_kind kind, const fault_terms &terms) {
        bench.board.inject(chip, kind, fault(terms));
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

TEST_F(faulty_board, nack_byte_refuses_one_byte_that_the_chip_does_not_take) {
    inject("a", fault_kind::nack_byte, {.parameter = 2});
    EXPECT_EQ(bench.write(0, 0x20, {1}).result, 1); // has no second byte
    const auto struck = bench.write(0, 0x20, {1, 2, 3});
    EXPECT_EQ(struck.error, EIO);
    EXPECT_THAT(struck.written, ElementsAre(1, 2));
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::nack_byte));
    EXPECT_EQ(log_of(0), "S 1 P S 1 P ");
    EXPECT_EQ(bench.write(0, 0x20, {1, 2, 3}).result, 3);
}

TEST_F(faulty_board, nack_byte_strikes_the_command_of_a_write_read_by_default) {
    inject("a", fault_kind::nack_byte);
    EXPECT_EQ(bench.read(0, 0x20, 2).result, 2); // writes nothing
    const auto struck = bench.write_read(0, 0x20, {7}, 2);
    EXPECT_EQ(struck.error, EIO);
    EXPECT_THAT(struck.read, ElementsAre());
}

TEST_F(faulty_board, busy_chip_refuses_its_address_for_a_time_after_a_write) {
    inject("a", fault_kind::busy, {.parameter = 30});
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
    const auto written = bench.write(0, 0x20, {1});
    EXPECT_EQ(written.result, 1);
    EXPECT_THAT(written.faults, ElementsAre(fault_kind::busy));
    const auto refused = bench.read(0, 0x20, 1);
    EXPECT_EQ(refused.error, ENXIO);
    EXPECT_THAT(refused.faults, ElementsAre(fault_kind::busy));
    EXPECT_EQ(bench.read(0, 0x21, 1).result, 1);
    bench.clock.pass(29ms);
    EXPECT_EQ(bench.write(0, 0x20, {}).error, ENXIO);
    bench.clock.pass(1ms);
    EXPECT_EQ(bench.write(0, 0x20, {1}).result, 1);
    EXPECT_EQ(bench.write(0, 0x20, {1}).result, 1);
}

TEST_F(faulty_board, stuck_chip_lets_go_after_the_clocks_that_it_needs) {
    inject("b", fault_kind::stuck, {.parameter = 10}); // nine after each failed transfer
    EXPECT_EQ(bench.read(0, 0x20, 1).error, ETIMEDOUT);
    EXPECT_EQ(bench.read(0, 0x20, 1).error, ETIMEDOUT);
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
}

TEST_F(faulty_board, held_clock_blocks_every_transfer_on_its_bus) {
    inject("psu", fault_kind::clock_held, {.count = std::nullopt});
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
    EXPECT_EQ(bench.write(0, 0x70, {1}).result, 1);
    for (int i = 0; i < 20; ++i) {
        const auto struck = bench.read(0, 0x20, 1);
        ASSERT_EQ(struck.error, ETIMEDOUT);
        ASSERT_THAT(struck.faults, ElementsAre(fault_kind::clock_held));
    }
    bench.board.clear_faults("psu");
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
}

TEST_F(faulty_board, lost_arbitration_fails_with_eagain_and_reaches_no_chip) {
    inject("a", fault_kind::arbitration);
    EXPECT_EQ(bench.read(0, 0x21, 1).result, 1);
    const auto struck = bench.write(0, 0x20, {1});
    EXPECT_EQ(struck.result, -1);
    EXPECT_EQ(struck.error, EAGAIN);
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::arbitration));
    EXPECT_EQ(log_of(0), "");
    EXPECT_EQ(bench.write(0, 0x20, {1}).result, 1);
}

TEST_F(faulty_board, stretched_clock_times_out_after_a_byte_that_the_chip_has_taken) {
    inject("a", fault_kind::stretch);
    EXPECT_EQ(bench.write(0, 0x20, {}).result, 0); // no byte
    const auto struck = bench.write(0, 0x20, {1, 2});
    EXPECT_EQ(struck.error, ETIMEDOUT);
    EXPECT_THAT(struck.written, ElementsAre(1));
    EXPECT_EQ(log_of(0), "S P S 1 P ");
    inject("a", fault_kind::stretch, {.parameter = 3});
    const auto reading = bench.write_read(0, 0x20, {9}, 4);
    EXPECT_EQ(reading.error, ETIMEDOUT);
    EXPECT_EQ(reading.read.size(), 2U);
    EXPECT_THAT(reading.faults, ElementsAre(fault_kind::stretch));
}

TEST_F(faulty_board, frozen_chip_answers_what_it_first_answered) {
    inject("a", fault_kind::frozen, {.count = std::nullopt});
    EXPECT_THAT(bench.write_read(0, 0x20, {1}, 1).read, ElementsAre(16));
    EXPECT_THAT(bench.write_read(0, 0x20, {2}, 1).read, ElementsAre(16));
    bench.board.set({{"a", "fill", "32"}});
    const auto struck = bench.write_read(0, 0x20, {1}, 1);
    EXPECT_EQ(struck.result, 0);
    EXPECT_THAT(struck.read, ElementsAre(16));
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::frozen));
    EXPECT_THAT(bench.write_read(0, 0x20, {3}, 1).read, ElementsAre(32)); // never read before
    bench.board.clear_faults("a");
    EXPECT_THAT(bench.write_read(0, 0x20, {1}, 1).read, ElementsAre(32));
}

TEST_F(faulty_board, chip_with_a_wrong_address_answers_together_with_the_one_there) {
    inject("a", fault_kind::address, {.parameter = 0x21});
    bench.board.set({{"b", "fill", "33"}});
    EXPECT_EQ(bench.write(0, 0x70, {}).result, 0); // not the fault's
    const auto both = bench.read(0, 0x21, 1);
    EXPECT_THAT(both.read, ElementsAre(16 & 33));
    ASSERT_EQ(both.addressed.size(), 2U);
    EXPECT_THAT(both.faults, ElementsAre(fault_kind::address));
    EXPECT_THAT(bench.read(0, 0x21, 1).read, ElementsAre(33));
    inject("a", fault_kind::address, {.parameter = 0x21});
    EXPECT_EQ(bench.read(0, 0x20, 1).error, ENXIO);
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
    EXPECT_THROW(inject("a", fault_kind::address), sim::bad_request);
    EXPECT_THROW(inject("a", fault_kind::address, {.parameter = 0x78}), sim::bad_request);
    EXPECT_THROW(inject("a", fault_kind::nack, {.parameter = 1}), sim::bad_request);
}

TEST(faulty_supply, pec_spoils_the_packet_error_code_of_reads_that_have_one) {
    bench_board bench("[psu]\ntype = car2512\nbus = 0\naddress = 0x58\n");
    bench.board.inject("psu", fault_kind::pec, fault::next_transfers(1, 1));
    const auto without = bench.write_read(0, 0x58, {0x79}, 2);
    const auto struck = bench.write_read(0, 0x58, {0x79}, 3);
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::pec));
    const auto right = bench.write_read(0, 0x58, {0x79}, 3);
    ASSERT_EQ(right.read.size(), 3U);
    EXPECT_EQ(std::popcount(static_cast<unsigned int>(struck.read[2] ^ right.read[2])), 1);
    EXPECT_EQ((std::vector{struck.read[0], struck.read[1]}), without.read);
    EXPECT_THAT(without.faults, ElementsAre());
}

TEST_F(faulty_board, window_of_the_boards_transfers_strikes_that_transfer) {
    inject("a", fault_kind::nack, {.from = {.board_transfer = 3}, .until = {.board_transfer = 3}});
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
    EXPECT_EQ(bench.read(0, 0x21, 1).result, 1);
    EXPECT_EQ(bench.read(0, 0x20, 1).error, ENXIO);
    EXPECT_EQ(bench.read(0, 0x20, 1).result, 1);
}

TEST(faulty_expander, brownout_puts_registers_to_their_power_on_values) {
    bench_board bench("[exp]\ntype = pca9555\nbus = 0\naddress = 0x20\n");
    EXPECT_EQ(bench.write(0, 0x20, {6, 0}).result, 2);
    EXPECT_THAT(bench.write_read(0, 0x20, {6}, 1).read, ElementsAre(0));
    bench.board.inject("exp", fault_kind::brownout, fault::next_transfers(1, 1));
    const auto struck = bench.write_read(0, 0x20, {6}, 1);
    EXPECT_THAT(struck.read, ElementsAre(0xFF));
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::brownout));
}

TEST(faulty_mux, brownout_switches_the_channels_off_before_the_transfer) {
    bench_board bench("[mux]\ntype = pca9548\nbus = 0\naddress = 0x70\n"
                      "[fru]\ntype = 24c02\nbus = mux.0\naddress = 0x50\n");
    EXPECT_EQ(bench.write(0, 0x70, {1}).result, 1);
    bench.board.inject("mux", fault_kind::brownout, fault::next_transfers(1, 1));
    EXPECT_EQ(bench.read(0, 0x50, 1).result, 1); // not the mux's
    EXPECT_THAT(bench.read(0, 0x70, 1).read, ElementsAre(0));
    EXPECT_EQ(bench.read(0, 0x50, 1).error, ENXIO);
}

TEST(faulty_eeprom, power_loss_keeps_the_first_bytes_of_a_write) {
    bench_board bench("[fru]\ntype = 24c02\nbus = 0\naddress = 0x50\n");
    bench.board.inject("fru", fault_kind::power_loss, fault::next_transfers(1, 1));
    EXPECT_EQ(bench.write_read(0, 0x50, {0}, 1).result, 0);
    const auto struck = bench.write(0, 0x50, {0, 1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(struck.result, 9);
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::power_loss));
    bench.clock.pass(10ms);
    const auto stored = bench.write_read(0, 0x50, {0}, 8).read;
    ASSERT_EQ(stored.size(), 8U);
    std::size_t kept = 0;
    while (kept < 8 && stored[kept] == kept + 1) {
        ++kept;
    }
    EXPECT_LT(kept, 8U);
    EXPECT_THAT(std::vector(stored.begin() + static_cast<std::ptrdiff_t>(kept), stored.end()),
                ::testing::Each(0xFF));
}

class faulty_selector : public ::testing::Test {
  public:
    void take_bus() { // as master 0: MYBUS 0, BUSON 1
        EXPECT_EQ(bench.write(0, 0x74, {1, 4}).result, 2);
        EXPECT_EQ(bench.read(0, 0x50, 1).result, 1);
    }

    bench_board bench{"[sel]\ntype = pca9541\nbus = 0\naddress = 0x74\nother_bus = 1\n"
                      "[fru]\ntype = 24c02\nbus = sel\naddress = 0x50\n"};
};

TEST_F(faulty_selector, other_master_takes_the_bus_before_a_transfer_through_it) {
    take_bus();
    bench.board.inject("sel", fault_kind::taken, fault::next_transfers(1, 1));
    const auto struck = bench.read(0, 0x50, 1);
    EXPECT_EQ(struck.error, ENXIO);
    EXPECT_THAT(struck.faults, ElementsAre(fault_kind::taken));
    EXPECT_EQ(bench.read(1, 0x50, 1).result, 1);
    EXPECT_THAT(bench.write_read(0, 0x74, {2}, 1).read, ElementsAre(4 | 8)); // BUSOK before, BUSLOST now
}

TEST_F(faulty_selector, other_master_takes_the_bus_before_a_transfer_to_it) {
    take_bus();
    bench.board.inject("sel", fault_kind::taken, fault::next_transfers(1, 1));
    EXPECT_THAT(bench.write_read(0, 0x74, {2}, 1).faults, ElementsAre(fault_kind::taken));
    EXPECT_EQ(bench.read(0, 0x50, 1).error, ENXIO);
    EXPECT_THROW(bench.board.inject("fru", fault_kind::taken, fault::next_transfers(1, 1)), sim::bad_request);
}

TEST_F(faulty_board, status_lists_remaining_faults) {
    inject("a", fault_kind::nack, 2);
    bench.board.inject("a", fault_kind::flip, fault::at_rate(0.25, 9));
    const auto faults = [this] { return bench.board.status().chips.front().faults; };
    ASSERT_EQ(faults().size(), 2U);
    EXPECT_EQ(faults()[0].kind, fault_kind::nack);
    EXPECT_EQ(faults()[0].terms.count, 2U);
    EXPECT_EQ(faults()[1].kind, fault_kind::flip);
    EXPECT_EQ(faults()[1].terms, (fault_terms{.count = std::nullopt, .rate = 0.25, .seed = 9}));
    EXPECT_EQ(bench.read(0, 0x20, 0).error, ENXIO);
    EXPECT_EQ(bench.read(0, 0x20, 0).error, ENXIO);
    ASSERT_EQ(faults().size(), 1U);
    EXPECT_EQ(faults()[0].kind, fault_kind::flip);
}

} // namespace varnel::test
