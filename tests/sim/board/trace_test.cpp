// SPDX-License-Identifier: Apache-2.0
#include "sim/board/trace.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/sim/board/fake_chips.h"

namespace varnel::test {

class traced_board : public ::testing::Test {
  public:
    traced_board()
        : bench("[a]\ntype = echo\nbus = 0\naddress = 0x20\nfill = 122\n"
                "[mux]\ntype = switch\nbus = 0\naddress = 0x70\n"
                "[psu0]\ntype = echo\nbus = mux.0\naddress = 0x58\n"
                "[psu1]\ntype = echo\nbus = mux.3\naddress = 0x58\n") {}

    sim::transfer_record record(sim::operation kind, uint8_t address, const std::vector<uint8_t> &data,
                                std::size_t read_length) {
        using namespace std::chrono_literals;
        const sim::transfer_request request{kind, 0, address, data, read_length};
        return sim::record_of({12034567890ns, "monitor", 1234}, request, bench.transfer(request));
    }

    /// The line without time and process, which are the same in all tests.
    std::string line(sim::operation kind, uint8_t address, const std::vector<uint8_t> &data,
                     std::size_t read_length) {
        const std::string text = sim::trace_line(record(kind, address, data, read_length));
        const std::string head = "12.034567 monitor[1234] ";
        EXPECT_EQ(text.substr(0, head.size()), head);
        return text.substr(head.size());
    }
    std::string write(uint8_t address, const std::vector<uint8_t> &data) {
        return line(sim::operation::write, address, data, 0);
    }
    std::string read(uint8_t address, std::size_t length) {
        return line(sim::operation::read, address, {}, length);
    }
    std::string write_read(uint8_t address, const std::vector<uint8_t> &data, std::size_t length) {
        return line(sim::operation::write_read, address, data, length);
    }

    bench_board bench;
};

TEST_F(traced_board, registers_have_their_names) {
    EXPECT_EQ(write_read(0x20, {2}, 2), "0 a@0x20 LOW(0x02) -> 7a 7b  ok");
    EXPECT_EQ(write(0x20, {2, 0xAB, 1}), "0 a@0x20 LOW(0x02) <- ab 01  ok");
    EXPECT_EQ(write(0x20, {0xE2, 5}), "0 a@0x20 0xE2 <- 05  ok");
    EXPECT_EQ(write_read(0x20, {2, 3}, 1), "0 a@0x20 LOW(0x02) <- 03 -> 7a  ok");
    EXPECT_EQ(read(0x20, 1), "0 a@0x20 -> 7a  ok");
}

TEST_F(traced_board, multiplexers_show_bytes_and_appear_in_the_path) {
    EXPECT_EQ(write(0x70, {1}), "0 mux@0x70 <- 01  ok");
    EXPECT_EQ(read(0x58, 1), "0/mux.0 psu0@0x58 -> 00  ok");
    EXPECT_EQ(write(0x70, {9}), "0 mux@0x70 <- 09  ok");
    EXPECT_EQ(read(0x58, 1), "0/mux.0,0/mux.3 psu0,psu1@0x58 -> 00  ok");
}

TEST_F(traced_board, quick_commands_show_their_direction) {
    EXPECT_EQ(write(0x20, {}), "0 a@0x20 quick write  ok");
    EXPECT_EQ(read(0x20, 0), "0 a@0x20 quick read  ok");
}

TEST_F(traced_board, failures_show_errno_name_and_text) {
    EXPECT_EQ(write_read(0x58, {2}, 1), "0 ?@0x58  ENXIO (No such device or address)");
    bench.chip<echo_chip>(0).accepts = 1;
    EXPECT_EQ(write(0x20, {2, 0xAB, 1}), "0 a@0x20 LOW(0x02) <- ab  EIO (Input/output error)");
}

TEST_F(traced_board, faults_are_shown_with_the_register_addressed) {
    bench.board.inject("a", sim::fault_kind::nack, sim::fault::next_transfers(1, 1));
    EXPECT_EQ(write_read(0x20, {2}, 1), "0 a@0x20 LOW(0x02)  ENXIO (No such device or address)  fault: nack");
    bench.board.inject("a", sim::fault_kind::short_data, sim::fault::next_transfers(1, 1));
    EXPECT_EQ(write(0x20, {2, 7, 8}), "0 a@0x20 LOW(0x02) <- 07  2 of 3 bytes  fault: short");
    bench.board.inject("mux", sim::fault_kind::stuck, sim::fault::next_transfers(1, 1));
    EXPECT_EQ(write(0x20, {2}), "0 a@0x20 LOW(0x02)  ETIMEDOUT (Connection timed out)  fault: stuck");
}

TEST_F(traced_board, long_transfers_are_cut_and_show_their_length) {
    const std::string text = read(0x20, 300);
    EXPECT_EQ(text.substr(0, 21), "0 a@0x20 -> 7a 7b 7c ");
    const std::string end = " 79 ... (300 bytes)  ok";
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    EXPECT_EQ(record(sim::operation::read, 0x20, {}, 300).read.bytes.size(), 256u);
    EXPECT_EQ(read(0x20, 256).find("..."), std::string::npos);
}

} // namespace varnel::test
