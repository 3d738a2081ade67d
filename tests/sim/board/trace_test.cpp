// SPDX-License-Identifier: Apache-2.0
#include "sim/board/trace.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/hex.h"
#include "sim/board/replay.h"
#include "sim/capture/kernel_trace.h"
#include "sim/capture/pcapng.h"
#include "sim/capture/vcd.h"
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

/// "S 20w+ 02+ Sr 20r+ 7a- P": addresses and bytes with + where they were acknowledged.
std::string text_of(const sim::capture::wire_activity &activity) {
    const auto mark = [](bool acknowledged) { return acknowledged ? '+' : '-'; };
    std::string text = activity.arbitration_lost ? "lost " : "";
    bool begun = false;
    for (const sim::capture::wire_message &message : activity.messages) {
        text += fmt::format("{} {}{}", begun ? "Sr" : "S", message.way == sim::direction::read ? "r" : "w",
                            mark(message.address_acknowledged));
        for (std::size_t i = 0; i < message.bytes.size(); ++i) {
            const bool last = i + 1 == message.bytes.size();
            text += fmt::format(" {:02x}{}", message.bytes[i], mark(!last || message.last_acknowledged));
        }
        text += message.stop ? " P" : " ";
        begun = !message.stop;
    }
    const bool data = activity.held == sim::capture::held_line::data;
    return text + (activity.held == sim::capture::held_line::none ? "" : data ? " SDA" : " SCL");
}

class on_the_wire : public traced_board {
  public:
    std::string transfer(sim::operation kind, const std::vector<uint8_t> &data, std::size_t length) {
        return text_of(sim::capture::activity_of(record(kind, 0x20, data, length)));
    }
    std::string write() { return transfer(sim::operation::write, {2, 7}, 0); }
    std::string write_read(std::size_t length = 2) {
        return transfer(sim::operation::write_read, {2}, length);
    }
    void inject(sim::fault_kind kind, std::optional<uint64_t> parameter = {}) {
        bench.board.inject("a", kind, sim::fault({.count = 1, .parameter = parameter}));
    }
};

TEST_F(on_the_wire, transfers_have_start_stop_and_acknowledgements) {
    EXPECT_EQ(write(), "S w+ 02+ 07+ P");
    EXPECT_EQ(transfer(sim::operation::read, {}, 2), "S r+ 7a+ 7b- P");
    EXPECT_EQ(write_read(), "S w+ 02+ Sr r+ 7a+ 7b- P");
    EXPECT_EQ(transfer(sim::operation::write, {}, 0), "S w+ P");
    EXPECT_EQ(transfer(sim::operation::read, {}, 0), "S r+ P");
    EXPECT_EQ(transfer(sim::operation::write_read, {2}, 0), "S w+ 02+ Sr r+ P");
}

TEST_F(on_the_wire, failed_transfers_end_where_they_failed) {
    const auto with = [this](sim::fault_kind kind, std::optional<uint64_t> parameter = {}) {
        inject(kind, parameter);
        return write_read();
    };
    EXPECT_EQ(with(sim::fault_kind::nack), "S w- P");
    EXPECT_EQ(with(sim::fault_kind::nack_byte, 1), "S w+ 02- P");
    EXPECT_EQ(with(sim::fault_kind::short_data), "S w+ 02+ Sr r+ 7a- P");
    EXPECT_EQ(with(sim::fault_kind::arbitration), "lost S w- P");
    EXPECT_EQ(with(sim::fault_kind::stuck), " SDA");
    EXPECT_EQ(with(sim::fault_kind::clock_held), " SCL");
    EXPECT_EQ(with(sim::fault_kind::stretch, 1), "S w+ 02+ P SCL");
    EXPECT_EQ(with(sim::fault_kind::stretch, 2), "S w+ 02+ Sr r+ 7a- P SCL");
    inject(sim::fault_kind::short_data);
    EXPECT_EQ(write_read(1), "S w+ 02+ Sr r+ P");
    inject(sim::fault_kind::short_data);
    EXPECT_EQ(write(), "S w+ 02+ P");
    inject(sim::fault_kind::nack_byte, 2);
    EXPECT_EQ(write(), "S w+ 02+ 07- P");
}

TEST_F(on_the_wire, nothing_is_seen_of_an_adapter_that_is_not_there) {
    const sim::transfer_request request{sim::operation::write, 9, 0x20, {}, 0};
    const auto made = sim::record_of({}, request, bench.transfer(request));
    EXPECT_EQ(text_of(sim::capture::activity_of(made)), "");
    EXPECT_EQ(sim::capture::pcapng().blocks_of(made), "");
}

TEST_F(on_the_wire, parts_of_a_combined_transfer_have_one_stop) {
    sim::transfer_record first = record(sim::operation::write, 0x20, {2}, 0);
    first.stop = false;
    EXPECT_EQ(text_of(sim::capture::activity_of(first)), "S w+ 02+ ");
}

TEST_F(traced_board, capture_says_what_it_has_lost_and_how_much_it_cut) {
    sim::capture::pcapng capture;
    const std::string whole = capture.blocks_of(record(sim::operation::read, 0x20, {}, 300));
    const std::string packet =
        whole.substr(whole.find("i2c-0") + 16); // after name, its padding, and what ends the block
    EXPECT_EQ(packet.substr(0, 1), "\x06");
    const auto number = [&packet](std::size_t at) {
        return static_cast<uint8_t>(packet[at]) | static_cast<uint8_t>(packet[at + 1]) << 8;
    };
    EXPECT_EQ(number(20), 5 + 1 + 256); // bus, flags, address, bytes kept
    EXPECT_EQ(number(24), 5 + 1 + 300);
    capture.lose(3);
    const std::string next = capture.blocks_of(record(sim::operation::write, 0x20, {2}, 0));
    EXPECT_NE(next.find(std::string("\x04\0\x08\0\x03\0\0\0\0\0\0\0", 12)), std::string::npos);
}

/// The value of a wire at each rise of another.
std::string sampled(const std::string &dump, const std::string &wire, const std::string &at_rise_of) {
    std::istringstream lines(dump);
    std::string values;
    char value = 'x';
    for (std::string line; std::getline(lines, line);) {
        if (line.size() == 2 && line.substr(1) == wire) {
            value = line[0];
        } else if (line == "1" + at_rise_of) {
            values += value;
        }
    }
    return values;
}

TEST_F(traced_board, dump_has_each_bit_while_the_clock_is_high) {
    sim::capture::vcd dump(sim::capture::standard_mode, bench.board.status());
    const std::string head = dump.beginning();
    EXPECT_NE(head.find("$timescale 1 us $end\n"), std::string::npos);
    EXPECT_NE(head.find("$var wire 1 ! SDA0 $end\n$var wire 1 \" SCL0 $end\n"), std::string::npos);
    EXPECT_EQ(dump.transfer(record(sim::operation::write_read, 0x20, {2}, 1)), "");
    const std::string body = dump.finish();
    EXPECT_EQ(body.substr(0, 40), "#12034562\n$dumpvars\n1!\n1\"\n$end\n#12034567");
    // idle, address and W, 02, repeated START, address and R, 7a, STOP; an acknowledgement is 0
    EXPECT_EQ(sampled(body, "!", "\""), "1"
                                        "010000000"
                                        "000000100"
                                        "1"
                                        "010000010"
                                        "011110101"
                                        "0");
}

TEST_F(traced_board, dump_keeps_the_order_of_time_among_buses_and_transfers) {
    sim::capture::vcd dump(sim::capture::fast_mode, bench.board.status());
    std::string body = dump.transfer(record(sim::operation::write, 0x20, {2}, 0));
    body += dump.transfer(record(sim::operation::write, 0x20, {3}, 0)); // at the same time: it waits
    body += dump.finish();
    std::istringstream lines(body);
    int64_t last = -1;
    int starts_and_stops = 0;
    char clock = '1';
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('#')) {
            EXPECT_GT(std::stoll(line.substr(1)), last);
            last = std::stoll(line.substr(1));
        } else if (line.ends_with('"')) {
            clock = line[0];
        } else if (line.ends_with('!') && clock == '1') {
            ++starts_and_stops;
        }
    }
    EXPECT_EQ(starts_and_stops, 1 + 4); // idle; two transfers
}

/// The transfers in lines of a kernel's trace, as a trace of ours prints them.
std::string transfers_in(const std::vector<std::string> &lines) {
    sim::capture::kernel_trace kernel;
    std::string text;
    for (const std::string &line : lines) {
        for (const sim::transfer_record &record : kernel.add(line)) {
            text += sim::trace_line(record) + (record.stop ? "\n" : " +\n");
        }
    }
    return text;
}

TEST(kernel_trace, write_and_read_of_one_address_is_a_write_read) {
    EXPECT_EQ(
        transfers_in(
            {"# tracer: nop",
             "  my-tool 2-812    [000] .....    51.100001: i2c_write: i2c-3 #0 a=058 f=0000 l=1 [88]",
             "  my-tool 2-812    [000] .....    51.100002: i2c_read: i2c-3 #1 a=058 f=0001 l=2",
             "  my-tool 2-812    [000] d..1.    51.100600: i2c_reply: i2c-3 #1 a=058 f=0001 l=2 [7c-f0]",
             "  my-tool 2-812    [000] .....    51.100601: i2c_result: i2c-3 n=2 ret=2"}),
        "51.100001 my-tool 2[812] 3 ?@0x58 <- 88 -> 7c f0  ok\n");
}

/// Printed by Linux 6.1 on 32-bit ARM, with the adapter of varnel-sim-usb.
TEST(kernel_trace, lines_of_a_real_kernel_are_read) {
    EXPECT_EQ(
        transfers_in(
            {"       inventory-135     [000] .....    10.391621: i2c_write: i2c-0 #0 a=070 f=0200 l=1 [01]",
             "       inventory-135     [000] .....    10.433753: i2c_result: i2c-0 n=1 ret=1",
             "       inventory-135     [000] .....    10.437568: i2c_write: i2c-0 #0 a=058 f=0200 l=1 [ef]",
             "       inventory-135     [000] .....    10.438648: i2c_read: i2c-0 #1 a=058 f=0201 l=2",
             "       inventory-135     [000] .....    10.477204: i2c_reply: i2c-0 #1 a=058 f=0201 l=2 "
             "[3b-08]",
             "       inventory-135     [000] .n...    10.477592: i2c_result: i2c-0 n=2 ret=2",
             "          i2cget-139     [000] .....    11.175076: i2c_write: i2c-0 #0 a=033 f=0000 l=1 [00]",
             "          i2cget-139     [000] .n...    11.175303: i2c_read: i2c-0 #1 a=033 f=0001 l=1",
             "          i2cget-139     [000] .....    11.178946: i2c_result: i2c-0 n=2 ret=-6"}),
        "10.391621 inventory[135] 0 ?@0x70 <- 01  ok\n"
        "10.437568 inventory[135] 0 ?@0x58 <- ef -> 3b 08  ok\n"
        "11.175076 i2cget[139] 0 ?@0x33 <- 00  ENXIO (No such device or address)\n");
}

TEST(kernel_trace, buses_may_alternate_and_parts_have_one_stop) {
    EXPECT_EQ(transfers_in({"a-1 [0] . 1.0: i2c_write: i2c-0 #0 a=020 f=0000 l=2 [02-fe]",
                            "b-2 [0] . 1.1: i2c_read: i2c-1 #0 a=050 f=0001 l=1",
                            "a-1 [0] . 1.2: i2c_write: i2c-0 #1 a=021 f=0000 l=1 [07]",
                            "c-3 [0] . 1.3: sched_waking: comm=x",
                            "b-2 [0] . 1.4: i2c_reply: i2c-1 #0 a=050 f=0001 l=1 [ff]",
                            "a-1 [0] . 1.5: i2c_result: i2c-0 n=2 ret=2",
                            "b-2 [0] . 1.6: i2c_result: i2c-1 n=1 ret=1"}),
              "1.000000 a[1] 0 ?@0x20 <- 02 fe  ok +\n"
              "1.000000 a[1] 0 ?@0x21 <- 07  ok\n"
              "1.100000 b[2] 1 ?@0x50 -> ff  ok\n");
}

TEST(kernel_trace, failed_call_is_a_transfer_that_failed) {
    EXPECT_EQ(transfers_in({"a-1 [0] . 1.0: i2c_write: i2c-0 #0 a=020 f=0000 l=1 [02]",
                            "a-1 [0] . 1.1: i2c_read: i2c-0 #1 a=020 f=0001 l=1",
                            "a-1 [0] . 1.2: i2c_result: i2c-0 n=2 ret=-6"}),
              "1.000000 a[1] 0 ?@0x20 <- 02  ENXIO (No such device or address)\n");
}

TEST(kernel_trace, lines_without_a_whole_event_are_left_out) {
    EXPECT_EQ(
        transfers_in({"", "a-1 [0] . 1.0: i2c_",
                      "a-1 [0] . 1.0: i2c_write: ", "a-1 [0] . 1.0: i2c_write: i2c-0 #0 a=0",
                      "a-1 [0] . 1.0: i2c_write: i2c-999 #0 a=020 f=0000 l=1 [02]",
                      "a-1 [0] . 1.2: i2c_result: i2c-0 n=1 ret=1", "1.2: i2c_result: i2c-0 n=1 ret=1"}),
        "");
    EXPECT_EQ(transfers_in({": i2c_write: i2c-0 #0 a=020 f=0000 l=1 [0", ": i2c_result: i2c-0 n=1 ret=1"}),
              "");
}

TEST(kernel_trace, calls_of_which_events_are_lost_are_left_out) {
    EXPECT_EQ(
        transfers_in({"a-1 [0] . 1.0: i2c_write: i2c-0 #0 a=020 f=0000 l=1 [02]", "CPU:0 [LOST 2 EVENTS]",
                      "a-1 [0] . 1.4: i2c_write: i2c-0 #0 a=020 f=0000 l=1 [03]",
                      "a-1 [0] . 1.5: i2c_result: i2c-0 n=1 ret=1",
                      "a-1 [0] . 1.6: i2c_read: i2c-0 #1 a=020 f=0001 l=1",
                      "a-1 [0] . 1.6: i2c_reply: i2c-0 #1 a=020 f=0001 l=1 [07]",
                      "a-1 [0] . 1.7: i2c_result: i2c-0 n=2 ret=2"}),
        "1.400000 a[1] 0 ?@0x20 <- 03  ok\n");
    EXPECT_TRUE(sim::capture::kernel_trace::tells_of_loss("CPU:0 [LOST 2 EVENTS]"));
    EXPECT_TRUE(sim::capture::kernel_trace::tells_of_loss("CPU:11 [LOST EVENTS]"));
    EXPECT_FALSE(sim::capture::kernel_trace::tells_of_loss("LOST-1 [0] . 1.5: i2c_result: i2c-0 n=1 ret=1"));
}

TEST(kernel_trace, read_after_an_empty_write_is_a_transfer_of_its_own) {
    EXPECT_EQ(transfers_in({"a-1 [0] . 1.0: i2c_write: i2c-0 #0 a=020 f=0000 l=0 []",
                            "a-1 [0] . 1.1: i2c_read: i2c-0 #1 a=020 f=0001 l=1",
                            "a-1 [0] . 1.2: i2c_reply: i2c-0 #1 a=020 f=0001 l=1 [ff]",
                            "a-1 [0] . 1.3: i2c_result: i2c-0 n=2 ret=2"}),
              "1.000000 a[1] 0 ?@0x20 quick write  ok +\n"
              "1.000000 a[1] 0 ?@0x20 -> ff  ok\n");
}

/// A recording that answers, and what programs got from it.
class replayed : public ::testing::Test {
  public:
    void record(const std::string &process, uint8_t bus, sim::operation kind, uint8_t address,
                const sim::traced_data &written, const sim::traced_data &read) {
        sim::transfer_record made{};
        made.time = std::chrono::seconds(recorded.size() + 1);
        made.process = process;
        made.bus = bus;
        made.kind = kind;
        made.address = address;
        made.written = written;
        made.read = read;
        made.result = static_cast<int>(kind == sim::operation::write  ? written.length
                                       : kind == sim::operation::read ? read.length
                                                                      : 0);
        recorded.push_back(made);
    }
    void record_read(const std::string &process, uint8_t address, uint8_t value) {
        record(process, 0, sim::operation::read, address, {{}, 0}, {{value}, 1});
    }

    /// What a transfer gives: bytes, or an errno.
    std::string ask(const std::string &program, const sim::transfer_request &request) {
        if (!answers) {
            answers.emplace("a.trace", recorded);
        }
        const sim::transfer_outcome outcome = answers->perform(program, 7, std::span(&request, 1)).front();
        return outcome.error != 0 ? strerrorname_np(outcome.error)
                                  : fmt::format("{}:{}", outcome.result, host::hex(outcome.read, " "));
    }
    std::string read(const std::string &program, uint8_t address, std::size_t length = 1) {
        return ask(program, {sim::operation::read, 0, address, {}, length});
    }
    std::string write(const std::string &program, uint8_t address, const std::vector<uint8_t> &data) {
        return ask(program, {sim::operation::write, 0, address, data});
    }
    [[nodiscard]] std::string departure() const {
        EXPECT_EQ(answers->departures().size(), 1U);
        return answers->departures().front();
    }

    std::vector<sim::transfer_record> recorded;
    std::optional<sim::replay> answers;
};

TEST_F(replayed, transfers_get_the_recorded_replies_in_order) {
    record_read("a", 0x20, 1);
    record("a", 0, sim::operation::write, 0x20, {{2, 3}, 2}, {{}, 0});
    record("a", 0, sim::operation::write_read, 0x21, {{4}, 1}, {{5, 6}, 2});
    record_read("a", 0x20, 7);
    EXPECT_EQ(read("a", 0x20), "1:01");
    EXPECT_EQ(write("a", 0x20, {2, 3}), "2:");
    const std::vector<uint8_t> data{4};
    EXPECT_EQ(ask("a", {sim::operation::write_read, 0, 0x21, data, 2}), "0:05 06");
    EXPECT_EQ(answers->so_far().made, 3U);
    EXPECT_EQ(answers->so_far().recorded, 4U);
    EXPECT_EQ(read("a", 0x20), "1:07");
    EXPECT_TRUE(answers->departures().empty());
}

TEST_F(replayed, failure_is_the_recorded_one) {
    record("a", 0, sim::operation::write, 0x20, {{}, 1}, {{}, 0});
    recorded.back().error = EREMOTEIO;
    recorded.back().result = -1;
    recorded.back().selected = sim::traced_register{2, ""};
    EXPECT_EQ(write("a", 0x20, {2}), "EREMOTEIO");
    recorded[0].error = ENXIO;
    answers.reset();
    EXPECT_EQ(write("a", 0x20, {3}), "ENODATA");
    EXPECT_EQ(departure(),
              "a.trace: a[7] leaves the recording on bus 0 at transfer 1 (1.000000): recorded 0x20 "
              "write 02, sent 0x20 write 03");
}

TEST_F(replayed, short_read_is_short_again) {
    record("a", 0, sim::operation::read, 0x20, {{}, 0}, {{1, 2}, 3});
    recorded.back().result = 2;
    EXPECT_EQ(read("a", 0x20, 3), "2:01 02");
}

TEST_F(replayed, after_the_first_other_transfer_all_of_the_program_fail) {
    record_read("a", 0x20, 1);
    record_read("a", 0x21, 2);
    record("a", 1, sim::operation::read, 0x22, {{}, 0}, {{3}, 1});
    recorded[1].chips = {{"exp0", "0"}};
    EXPECT_EQ(read("a", 0x20), "1:01");
    EXPECT_EQ(read("a", 0x21, 2), "ENODATA");
    EXPECT_EQ(read("a", 0x21), "ENODATA");
    EXPECT_EQ(ask("a", {sim::operation::read, 1, 0x22, {}, 1}), "ENODATA");
    EXPECT_EQ(departure(), "a.trace: a[7] leaves the recording on bus 0 at transfer 2 (2.000000): recorded "
                           "exp0@0x21 read 1, sent 0x21 read 2");
}

TEST_F(replayed, programs_are_answered_whatever_their_order_was) {
    record_read("a", 0x20, 1);
    record_read("b", 0x21, 2);
    record_read("a", 0x20, 3);
    record_read("c", 0x22, 4);
    EXPECT_EQ(read("b", 0x21), "1:02");
    EXPECT_EQ(read("a", 0x20), "1:01");
    EXPECT_EQ(read("a", 0x20), "1:03");
    EXPECT_EQ(answers->so_far().recorded, 3U);
    EXPECT_EQ(read("b", 0x21), "ENODATA");
    EXPECT_EQ(departure(),
              "a.trace: b[7] leaves the recording on bus 0 after transfer 2 (2.000000), the last "
              "one: sent 0x21 read 1");
}

TEST_F(replayed, unknown_program_gets_the_replies_of_all) {
    record_read("a", 0x20, 1);
    record_read("b", 0x21, 2);
    EXPECT_EQ(read("new", 0x20), "1:01");
    EXPECT_EQ(read("new", 0x21), "1:02");
    EXPECT_EQ(ask("new", {sim::operation::write, 3, 0x21}), "ENODATA");
    EXPECT_EQ(
        departure(),
        "a.trace: new[7] leaves the recording on bus 3 where nothing is recorded: sent 0x21 quick write");
}

TEST_F(replayed, buses_are_those_that_answered) {
    record("a", 3, sim::operation::write, 0x20, {{}, 0}, {{}, 0});
    record_read("a", 0x20, 1);
    record("a", 9, sim::operation::write, 0x20, {{}, 0}, {{}, 0});
    recorded.back().error = ENODEV;
    EXPECT_EQ(sim::replay("a", recorded).buses(), (std::vector<uint8_t>{0, 3}));
}

TEST_F(replayed, parts_of_a_transfer_have_one_stop) {
    record("a", 0, sim::operation::write, 0x20, {{1}, 1}, {{}, 0});
    recorded.back().stop = false;
    record("a", 0, sim::operation::write, 0x21, {{2}, 1}, {{}, 0});
    const std::vector<uint8_t> one{1};
    const std::vector<uint8_t> two{2};
    const std::vector<sim::transfer_request> parts{{sim::operation::write, 0, 0x20, one},
                                                   {sim::operation::write, 0, 0x21, two}};
    EXPECT_EQ(sim::replay("a", recorded).perform("a", 1, parts).back().error, 0);
    EXPECT_EQ(sim::replay("a", recorded).perform("a", 1, parts, true).back().error, ENODATA);
    EXPECT_EQ(write("a", 0x20, one), "ENODATA");
    EXPECT_EQ(departure(),
              "a.trace: a[7] leaves the recording on bus 0 at transfer 1 (1.000000): recorded 0x20 "
              "write 01 without STOP, sent 0x20 write 01");
}

TEST_F(replayed, bytes_that_a_recording_lacks_are_not_made_up) {
    const std::vector<uint8_t> long_data(100, 0xA5);
    const std::vector<uint8_t> kept(64, 0xA5);
    record("a", 0, sim::operation::write, 0x50, {kept, 100}, {{}, 0});
    record("a", 0, sim::operation::read, 0x50, {{}, 0}, {kept, 100});
    EXPECT_EQ(write("a", 0x50, long_data), "100:");
    EXPECT_EQ(read("a", 0x50, 100), "ENODATA");
    EXPECT_EQ(departure(),
              "a.trace: a[7] leaves the recording on bus 0 at transfer 2 (2.000000): not all bytes "
              "that were read by 0x50 read 100 are recorded");
}

TEST_F(replayed, block_has_as_many_bytes_as_its_count_says) {
    const sim::transfer_request block{sim::operation::read, 0, 0x58, {}, 1, true};
    record("a", 0, sim::operation::read, 0x58, {{}, 0}, {{2, 8, 9}, 1});
    EXPECT_EQ(ask("a", block), "1:02 08 09");
    for (const std::vector<uint8_t> &bytes : {std::vector<uint8_t>{200, 1}, {3, 1}, {0, 1}}) {
        recorded[0].read.bytes = bytes;
        answers.reset();
        EXPECT_EQ(ask("a", block), "ENODATA") << host::hex(bytes);
    }
    recorded[0].read.bytes = {2, 8, 9};
    answers.reset();
    EXPECT_EQ(read("a", 0x58), "ENODATA");
    EXPECT_EQ(departure(),
              "a.trace: a[7] leaves the recording on bus 0 at transfer 1 (1.000000): recorded 0x58 "
              "read block, sent 0x58 read 1");
}

TEST_F(replayed, recordings_that_make_no_sense_are_departed_from) {
    record("a", 0, sim::operation::write, 0x58, {{1, 2, 3}, 1}, {{}, 0});
    EXPECT_EQ(write("a", 0x58, {1}), "ENODATA");
    recorded[0].written = {{1}, 1};
    recorded[0].read.bytes = {1, 2};
    answers.reset();
    EXPECT_EQ(write("a", 0x58, {1}), "ENODATA");
    recorded[0].kind = sim::operation::read;
    recorded[0].written = {{}, 0};
    recorded[0].read = {{1}, 1};
    recorded[0].result = -5;
    answers.reset();
    EXPECT_EQ(read("a", 0x58), "ENODATA");
}

} // namespace varnel::test
