// SPDX-License-Identifier: Apache-2.0
#include "sim/usb_adapter/guest_time.h"

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sim/protocol/message.h"
#include "tests/sim/device_files/scripted_adapter.h"

namespace {

using namespace varnel::sim;
using namespace varnel::test;

struct socket_pair {
    explicit socket_pair(int type) {
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, type, 0, ends.data()), 0);
        ours = descriptor(ends[0]);
        theirs = descriptor(ends[1]);
    }
    descriptor ours;
    descriptor theirs;
};

void say(const descriptor &to, std::string_view text) {
    EXPECT_EQ(write(to.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string heard(const descriptor &from) {
    std::string text(4096, '\0');
    const ssize_t size = recv(from.get(), text.data(), text.size(), MSG_DONTWAIT);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
}

/// A machine that answers each question with a line.
class machine {
  public:
    machine(const descriptor &socket, std::vector<std::string> lines)
        : thread_([&socket, lines = std::move(lines)] {
              for (const std::string &line : lines) {
                  char question = 0;
                  EXPECT_EQ(read(socket.get(), &question, 1), 1);
                  EXPECT_EQ(question, '\n');
                  say(socket, line);
              }
          }) {}
    ~machine() { thread_.join(); }
    machine(const machine &) = delete;
    machine &operator=(const machine &) = delete;

  private:
    std::thread thread_;
};

TEST(guest_clock, is_asked_and_answers_in_nanoseconds) {
    socket_pair pair(SOCK_STREAM);
    const guest_clock clock(std::move(pair.ours));
    const machine guest(pair.theirs, {"0\n", "7200000000001\n"});
    EXPECT_EQ(clock.now(), std::chrono::nanoseconds(0));
    EXPECT_EQ(clock.now(), std::chrono::hours(2) + std::chrono::nanoseconds(1));
}

TEST(guest_clock, late_answer_is_not_that_to_the_next_question) {
    socket_pair pair(SOCK_STREAM);
    const guest_clock clock(std::move(pair.ours));
    say(pair.theirs, "1\n");
    const machine guest(pair.theirs, {"2\n"});
    EXPECT_EQ(clock.now(), std::chrono::nanoseconds(2));
}

TEST(guest_clock, has_no_time_without_a_number_or_a_machine) {
    socket_pair pair(SOCK_STREAM);
    const guest_clock clock(std::move(pair.ours));
    {
        const machine guest(pair.theirs, {"noon\n", "-1\n", "\n"});
        EXPECT_EQ(clock.now(), std::nullopt);
        EXPECT_EQ(clock.now(), std::nullopt);
        EXPECT_EQ(clock.now(), std::nullopt);
    }
    pair.theirs.close();
    EXPECT_EQ(clock.now(), std::nullopt);
}

class guest_time : public ::testing::Test {
  public:
    void board_says(std::string_view json) { say(server.theirs, control(json)); }
    std::string board_hears() { return heard(server.theirs).substr(1); }
    static std::string control(std::string_view json) {
        return std::string(1, static_cast<char>(message_kind::control)) + std::string(json);
    }

    socket_pair port{SOCK_STREAM};
    socket_pair server{SOCK_SEQPACKET};
    channel board{std::move(server.ours)};
    guest_clock clock{std::move(port.ours)};
    scripted_adapter bus;
};

TEST_F(guest_time, is_the_boards_from_the_first_message_of_a_transfer_on) {
    board_says(R"({"now":0})");
    bus_in_guest_time adapter(bus, board, clock);
    EXPECT_EQ(board_hears(), R"({"command":"keep-time"})");
    EXPECT_EQ(board_hears(), R"({"command":"wait-until","number":1,"time":null,"drives":false})");

    board_says(R"({"turn":2,"now":5000})");
    std::vector<device_files::i2c_message> messages{{0x20, 0, {1}}};
    {
        const machine guest(port.theirs, {"5000\n"});
        EXPECT_EQ(adapter.transfer_part(messages, {false, true}), 0);
    }
    EXPECT_EQ(adapter.transfer_part(messages, {true, false}), 0);
    EXPECT_EQ(board_hears(), R"({"command":"wait-until","number":2,"time":5000,"drives":true})");
    EXPECT_EQ(board_hears(), R"({"command":"wait-until","number":3,"time":null,"drives":false})");
    EXPECT_EQ(heard(server.theirs), "");
    EXPECT_EQ(bus.asked, "20W[01] ... ... 20W[01] ");
}

TEST_F(guest_time, without_an_answer_fails_the_transfer) {
    board_says(R"({"now":0})");
    bus_in_guest_time adapter(bus, board, clock);
    port.theirs.close();
    std::vector<device_files::i2c_message> messages{{0x20, 0, {1}}};
    EXPECT_EQ(adapter.transfer_part(messages, {}), ETIMEDOUT);
    EXPECT_EQ(bus.asked, "");
}

TEST_F(guest_time, is_refused_by_a_board_in_real_time) {
    board_says(R"({"error":"this board lives in real time"})");
    EXPECT_THROW(bus_in_guest_time(bus, board, clock), std::runtime_error);
}

} // namespace
