// SPDX-License-Identifier: Apache-2.0
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/board/fake_chips.h"

namespace varnel::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using bytes = std::vector<uint8_t>;

/// Bus 0: echo 0x20, switch 0x70; behind its channels 0 and 1 an echo 0x58 each (fills 0xF0 and 0x3C), behind
/// channel 2 a switch 0x71 with an echo 0x30 behind its channel 3. Bus 1: echo 0x20.
class board_wiring : public ::testing::Test {
  public:
    board_wiring()
        : bench("[a]\ntype = echo\nbus = 0\naddress = 0x20\nfill = 10\n"
                "[mux]\ntype = switch\nbus = 0\naddress = 0x70\n"
                "[psu0]\ntype = echo\nbus = mux.0\naddress = 0x58\nfill = 240\n"
                "[psu1]\ntype = echo\nbus = mux.1\naddress = 0x58\nfill = 60\n"
                "[inner]\ntype = switch\nbus = mux.2\naddress = 0x71\n"
                "[deep]\ntype = echo\nbus = inner.3\naddress = 0x30\n"
                "[b]\ntype = echo\nbus = 1\naddress = 0x20\nfill = 99\n") {}

    void select(unsigned int channels) { ASSERT_EQ(bench.write(0, 0x70, {uint8_t(channels)}).result, 1); }
    [[nodiscard]] const std::string &log_of(std::size_t n) { return bench.chip<echo_chip>(n).log; }

    bench_board bench;
    enum : std::size_t { a, mux, psu0, psu1, inner, deep, b };
};

TEST_F(board_wiring, write_sends_the_bytes_and_returns_their_number) {
    const auto outcome = bench.write(0, 0x20, {1, 2, 0xAB});
    EXPECT_EQ(outcome.result, 3);
    EXPECT_EQ(outcome.error, 0);
    EXPECT_EQ(log_of(a), "S 1 2 ab P ");
    EXPECT_EQ(log_of(b), "");
}

TEST_F(board_wiring, read_returns_the_bytes_of_the_chip_and_their_number) {
    const auto outcome = bench.read(0, 0x20, 3);
    EXPECT_EQ(outcome.result, 3);
    EXPECT_THAT(outcome.read, ElementsAre(10, 11, 12));
    EXPECT_EQ(log_of(a), "Sr P ");
}

TEST_F(board_wiring, write_read_has_a_repeated_start_and_one_stop_and_returns_0) {
    const auto outcome = bench.write_read(0, 0x20, {7}, 2);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.read, ElementsAre(10, 11));
    EXPECT_EQ(log_of(a), "S 7 Sr P ");
}

TEST_F(board_wiring, quick_commands_are_an_address_and_a_stop) {
    EXPECT_EQ(bench.write(0, 0x20, {}).result, 0);
    EXPECT_EQ(bench.read(0, 0x20, 0).result, 0);
    EXPECT_EQ(log_of(a), "S P Sr P ");
    const auto nobody = bench.write(0, 0x21, {});
    EXPECT_EQ(nobody.result, -1);
    EXPECT_EQ(nobody.error, ENXIO);
}

TEST_F(board_wiring, unacknowledged_address_fails_with_enxio) {
    const auto outcome = bench.write_read(0, 0x21, {7}, 2);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.error, ENXIO);
    EXPECT_THAT(outcome.written, IsEmpty());
    EXPECT_THAT(outcome.addressed, IsEmpty());
}

TEST_F(board_wiring, unacknowledged_byte_ends_the_transfer_with_eio) {
    bench.chip<echo_chip>(a).accepts = 1;
    const auto outcome = bench.write(0, 0x20, {1, 2, 3});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.error, EIO);
    EXPECT_EQ(log_of(a), "S 1 2 P ");
}

TEST_F(board_wiring, unacknowledged_command_ends_a_write_read_before_the_read) {
    bench.chip<echo_chip>(a).accepts = 0;
    const auto outcome = bench.write_read(0, 0x20, {1}, 2);
    EXPECT_EQ(outcome.error, EIO);
    EXPECT_EQ(log_of(a), "S 1 P ");
}

TEST_F(board_wiring, missing_adapter_fails_with_enodev) {
    const auto outcome = bench.read(2, 0x20, 1);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.error, ENODEV);
}

TEST_F(board_wiring, adapters_have_separate_address_spaces) {
    EXPECT_THAT(bench.read(1, 0x20, 1).read, ElementsAre(99));
}

TEST_F(board_wiring, chip_behind_a_closed_channel_does_not_answer) {
    EXPECT_EQ(bench.read(0, 0x58, 1).error, ENXIO);
    select(1);
    EXPECT_THAT(bench.read(0, 0x58, 1).read, ElementsAre(0xF0));
    select(2);
    EXPECT_THAT(bench.read(0, 0x58, 1).read, ElementsAre(0x3C));
    select(0);
    EXPECT_EQ(bench.read(0, 0x58, 1).error, ENXIO);
    EXPECT_EQ(bench.read(1, 0x58, 1).error, ENXIO);
}

TEST_F(board_wiring, two_open_channels_and_reads_together_and_both_get_writes) {
    select(3);
    EXPECT_THAT(bench.read(0, 0x58, 1).read, ElementsAre(0xF0 & 0x3C));
    EXPECT_EQ(bench.write(0, 0x58, {5}).result, 1);
    EXPECT_EQ(log_of(psu0), "Sr P S 5 P ");
    EXPECT_EQ(log_of(psu1), "Sr P S 5 P ");
}

TEST_F(board_wiring, one_acknowledgement_of_two_chips_is_enough) {
    select(3);
    bench.chip<echo_chip>(psu0).accepts = 0;
    EXPECT_EQ(bench.write(0, 0x58, {5, 6}).result, 2);
    bench.chip<echo_chip>(psu0).accepts = 0;
    bench.chip<echo_chip>(psu1).accepts = 0;
    EXPECT_EQ(bench.write(0, 0x58, {5, 6}).error, EIO);
}

TEST_F(board_wiring, chip_behind_nested_multiplexers_needs_both_channels_open) {
    EXPECT_EQ(bench.write(0, 0x71, {8}).error, ENXIO);
    select(4);
    EXPECT_EQ(bench.read(0, 0x30, 1).error, ENXIO);
    EXPECT_EQ(bench.write(0, 0x71, {8}).result, 1);
    const auto outcome = bench.read(0, 0x30, 1);
    EXPECT_EQ(outcome.result, 1);
    ASSERT_EQ(outcome.addressed.size(), 1u);
    EXPECT_EQ(outcome.addressed[0].path, "0/mux.2/inner.3");
    select(0);
    EXPECT_EQ(bench.read(0, 0x30, 1).error, ENXIO);
    select(4); // the inner switch has kept its setting
    EXPECT_EQ(bench.read(0, 0x30, 1).result, 1);
}

/// The wiring of a board with one switch and an echo 0x58 behind each of two channels, driven piece by piece.
class bus_transaction : public ::testing::Test {
  public:
    bus_transaction() {
        wires.segments = {{"0"}, {"mux.0"}, {"mux.1"}};
        wires.adapters = {{uint8_t{0}, 0}};
        wires.clock = &clock;
        mux.downstream = {1, 2};
        wires.segments[0].connections = {{&mux, 0, 0x70}};
        wires.segments[1].connections = {{&psu0, 0, 0x58}};
        wires.segments[2].connections = {{&psu1, 0, 0x58}};
    }

    [[nodiscard]] static std::string log_of(const sim::board_chip &part) {
        return dynamic_cast<const echo_chip &>(*part.model).log;
    }

    sim::board_chip mux{"mux", std::make_unique<switch_chip>(), {}};
    sim::board_chip psu0{"psu0", std::make_unique<echo_chip>(), {}};
    sim::board_chip psu1{"psu1", std::make_unique<echo_chip>(), {}};
    stopped_clock clock;
    sim::wiring wires;
};

TEST_F(bus_transaction, multiplexer_switches_only_at_stop) {
    sim::transaction transfer(wires, 0);
    ASSERT_TRUE(transfer.start(0x70, sim::direction::write));
    ASSERT_TRUE(transfer.write(1));
    EXPECT_FALSE(transfer.start(0x58, sim::direction::write)); // repeated START, the channel is still off
    transfer.stop();
    sim::transaction next(wires, 0);
    EXPECT_TRUE(next.start(0x58, sim::direction::write));
}

TEST_F(bus_transaction, every_addressed_chip_gets_one_stop) {
    dynamic_cast<switch_chip &>(*mux.model).on = 3;
    wires.segments[2].connections[0].address = 0x59;
    {
        sim::transaction transfer(wires, 0);
        EXPECT_TRUE(transfer.start(0x58, sim::direction::write));
        EXPECT_TRUE(transfer.start(0x59, sim::direction::write));
        EXPECT_TRUE(transfer.write(4));
        EXPECT_TRUE(transfer.start(0x58, sim::direction::read));
        EXPECT_EQ(log_of(psu0), "S Sr ");
    } // a transaction that goes away stops
    EXPECT_EQ(log_of(psu0), "S Sr P ");
    EXPECT_EQ(log_of(psu1), "S 4 P ");
}

/// A selector with masters on buses 0 (0x74) and 1 (0x75) and an echo 0x50 behind it.
class selector_board : public ::testing::Test {
  public:
    selector_board()
        : bench("[sel]\ntype = pca9541\nbus = 0\naddress = 0x74\nother_bus = 1\nother_address = 0x75\n"
                "[fru]\ntype = echo\nbus = sel\naddress = 0x50\n") {}

    /// As Linux does it: the value that leads from what the control register says to bus owned and on.
    void take(unsigned int bus, unsigned int address) {
        static constexpr uint8_t next[] = {4, 0, 1, 5, 4, 4, 5, 5, 0, 0, 1, 1, 0, 4, 5, 1};
        const auto control = bench.write_read(bus, address, {1}, 1);
        ASSERT_EQ(control.result, 0);
        ASSERT_EQ(bench.write(bus, address, {1, next[control.read[0] & 0xF]}).result, 2);
        const auto state = bench.write_read(bus, address, {1}, 1).read[0] & 0xF;
        ASSERT_EQ(bench.write(bus, address, {1, next[state]}).result, 2); // owned first, then on
    }

    bench_board bench;
};

TEST_F(selector_board, only_the_owner_reaches_the_chips_behind_the_selector) {
    EXPECT_EQ(bench.write(0, 0x50, {}).error, ENXIO);
    take(0, 0x74);
    const auto outcome = bench.write(0, 0x50, {});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.addressed.at(0).path, "0/sel");
    EXPECT_EQ(bench.write(1, 0x50, {}).error, ENXIO);
    take(1, 0x75);
    EXPECT_EQ(bench.write(1, 0x50, {}).result, 0);
    EXPECT_EQ(bench.write(0, 0x50, {}).error, ENXIO);
}

TEST_F(selector_board, each_master_uses_its_own_address) {
    EXPECT_EQ(bench.write(0, 0x74, {}).result, 0);
    EXPECT_EQ(bench.write(0, 0x75, {}).error, ENXIO);
    EXPECT_EQ(bench.write(1, 0x75, {}).result, 0);
}

TEST(alert_response, is_the_lowest_address_of_the_chips_that_alert) {
    bench_board bench("[warm]\ntype = tmp75\nbus = 0\naddress = 0x49\n"
                      "[hot]\ntype = tmp75\nbus = mux.1\naddress = 0x48\n"
                      "[old]\ntype = lm75\nbus = 0\naddress = 0x47\n"
                      "[mux]\ntype = pca9548\nbus = 0\naddress = 0x70\n");
    ASSERT_EQ(bench.write(0, 0x70, {2}).result, 1);
    for (const unsigned int address : {0x47U, 0x48U, 0x49U}) {
        ASSERT_EQ(bench.write(0, address, {1, 0x02}).result, 2); // interrupt mode
    }
    EXPECT_EQ(bench.read(0, 0x0C, 1).error, ENXIO) << "nobody alerts";
    bench.board.set(
        {{"warm", "temperature", "90"}, {"hot", "temperature", "90"}, {"old", "temperature", "90"}});
    EXPECT_EQ(bench.write(0, 0x0C, {}).error, ENXIO) << "only reads";
    const auto first = bench.read(0, 0x0C, 1);
    EXPECT_THAT(first.read, ::testing::ElementsAre(0x91));
    EXPECT_EQ(first.addressed.at(0).at.part->name, "hot");
    EXPECT_THAT(bench.read(0, 0x0C, 1).read, ::testing::ElementsAre(0x93));
    EXPECT_EQ(bench.read(0, 0x0C, 1).error, ENXIO) << "the lm75 has no alert response";
    bench.board.set({{"warm", "temperature", "20"}});
    EXPECT_THAT(bench.read(0, 0x0C, 1).read, ::testing::ElementsAre(0x92)) << "no longer too warm";
    EXPECT_EQ(bench.write_read(0, 0x49, {1}, 1).read.at(0), 0x02) << "registers are read as ever";
}

TEST(bus_clock, counts_nine_bits_a_byte_and_one_a_start_and_stop) {
    bench_board bench(
        "[board]\nclock.1 = 400\nclock = 100kHz\n"
        "[a]\ntype = echo\nbus = 0\naddress = 0x20\n[b]\ntype = echo\nbus = 1\naddress = 0x21\n");
    const std::vector<uint8_t> two{1, 2};
    const auto bits = [&](const sim::transfer_request &request) {
        return sim::wire_bits(request, bench.transfer(request));
    };
    EXPECT_EQ(bits({sim::operation::write, 0, 0x20, two}), 1U + 9 + 2 * 9 + 1);
    EXPECT_EQ(bits({sim::operation::read, 0, 0x20, {}, 3}), 1U + 9 + 3 * 9 + 1);
    EXPECT_EQ(bits({sim::operation::write_read, 0, 0x20, two, 3}), 1U + 9 + 2 * 9 + 1 + 9 + 3 * 9 + 1);
    EXPECT_EQ(bits({sim::operation::write, 0, 0x55, two}), 1U + 9 + 1) << "nobody answers";
    EXPECT_EQ(bits({sim::operation::write, 7, 0x20, two}), 0U) << "no such bus";
}

TEST(bus_clock, makes_the_duration_of_transfers) {
    bench_board bench(
        "[board]\nclock.1 = 400\nclock = 100kHz\n"
        "[a]\ntype = echo\nbus = 0\naddress = 0x20\n[b]\ntype = echo\nbus = 1\naddress = 0x21\n");
    const sim::transfer_request slow{sim::operation::read, 0, 0x20, {}, 1};
    EXPECT_EQ(bench.board.duration(slow, bench.transfer(slow)), std::chrono::microseconds(200));
    const sim::transfer_request fast{sim::operation::read, 1, 0x21, {}, 1};
    EXPECT_EQ(bench.board.duration(fast, bench.transfer(fast)), std::chrono::microseconds(50));
    bench_board other("[a]\ntype = echo\nbus = 0\naddress = 0x20\n");
    EXPECT_EQ(other.board.duration(slow, other.transfer(slow)), std::chrono::nanoseconds(0));
}

} // namespace varnel::test
