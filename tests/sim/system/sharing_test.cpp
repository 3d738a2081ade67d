// SPDX-License-Identifier: Apache-2.0
// Several programs, one board: what they share, when it begins and ends, and what it survives.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/protocol/meeting_point.h"
#include "sim/protocol/message.h"
#include "tests/sim/system/workbench.h"

namespace varnel::test {

class board_sharing : public workbench {
  public:
    [[nodiscard]] std::string read_output() const { return call({"0x2000", "rb", "2"}); }

    void kill_server() const;

    /// The test as somebody who talks to the server by hand.
    [[nodiscard]] sim::channel connect() const {
        return sim::channel(sim::meeting_point::of_board(board).connect());
    }
};

TEST_F(board_sharing, programs_see_each_others_writes) {
    process keeper = keep_powered();
    EXPECT_EQ(call({"0x2000", "wb", "2", "0x5a"}), "wb ok\n");
    EXPECT_EQ(read_output(), "rb 5a ok\n");
    EXPECT_EQ(keeper.finish().status, 0);
}

TEST_F(board_sharing, board_is_reset_after_the_last_program_ends) {
    EXPECT_EQ(call({"0x2000", "wb", "2", "0x5a"}), "wb ok\n");
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(call({"0x2000", "rb", "2", "wb", "2", "0x5a"}), "rb ff ok\nwb ok\n");
    }
}

TEST_F(board_sharing, boards_of_different_files_are_separate) {
    const std::string twin = file("twin.ini", "[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\n");
    process keeper = keep_powered();
    EXPECT_EQ(run(on(twin, {i2c_call(), "0x2000", "wb", "2", "0x5a"})).status, 0);
    EXPECT_EQ(read_output(), "rb ff ok\n");
}

/// Boards of their own for programs on the same file.
class private_boards : public board_sharing {
  public:
    [[nodiscard]] words on_private_board(const words &program) const {
        words all = sim({"run", "--private", "--board", board, "--"});
        all.insert(all.end(), program.begin(), program.end());
        return all;
    }
};

TEST_F(private_boards, are_separate_from_each_other_and_from_the_shared_one) {
    process keeper = keep_powered();
    process first(
        on_private_board({"sh", "-c", "\"$0\" 0x2000 wb 2 0x5a; read line; \"$0\" 0x2000 rb 2", i2c_call()}));
    EXPECT_EQ(first.read_line(), "wb ok");
    EXPECT_EQ(run(on_private_board({i2c_call(), "0x2000", "rb", "2"})).out, "rb ff ok\n");
    EXPECT_EQ(read_output(), "rb ff ok\n");
    first.write("\n");
    EXPECT_EQ(first.finish().out, "rb 5a ok\n");
}

TEST_F(private_boards, commands_and_runs_inside_are_on_them) {
    process keeper = keep_powered();
    const std::string commands =
        "\"$0\" set gpio.0 low; \"$0\" set --board \"$1\" gpio.1 low; "
        "\"$0\" run -- \"$2\" 0x2000 rb 0; \"$0\" run --board \"$1\" -- \"$2\" 0x2000 rb 0";
    EXPECT_EQ(run(on_private_board({"sh", "-c", commands, sim({}).front(), board, i2c_call()})).out,
              "rb fc ok\nrb fc ok\n");
    EXPECT_EQ(call({"0x2000", "rb", "0"}), "rb ff ok\n");
}

TEST_F(private_boards, outside_commands_do_not_find_them) {
    process inside(on_private_board({"sh", "-c", "echo powered; read line"}));
    EXPECT_EQ(inside.read_line(), "powered");
    EXPECT_EQ(sim_run({"show"}).err,
              "varnel-sim: no board is running, and none is named with --board FILE\n");
    EXPECT_EQ(sim_run({"show", "--board", board}).status, 2);
}

TEST_F(private_boards, leave_no_file) {
    EXPECT_EQ(run(on_private_board({"true"})).status, 0);
    EXPECT_TRUE(std::filesystem::is_empty(runtime_directory()));
    write_file(board, "[gpio]\ntype = none\n");
    EXPECT_EQ(run(on_private_board({"true"})).status, 2);
    EXPECT_TRUE(std::filesystem::is_empty(runtime_directory()));
}

TEST_F(private_boards, inside_another_board_say_whose_bus_files_programs_see) {
    const words inner = sim({"run", "--private", "--", "true"});
    EXPECT_EQ(run(on_board(inner)).err, "varnel-sim: /dev/i2c-* and /dev/gpiochip* are those of " + board +
                                            ", not of a private board of " + board + "\n");
}

TEST_F(board_sharing, runtime_directory_may_have_a_long_name) {
    const std::string deep = folder() + "/" + std::string(200, 'd');
    std::filesystem::create_directory(deep);
    setenv("XDG_RUNTIME_DIR", deep.c_str(), 1);
    process keeper = keep_powered();
    EXPECT_EQ(call({"0x2000", "wb", "2", "0x5a"}), "wb ok\n");
    EXPECT_EQ(read_output(), "rb 5a ok\n");
    EXPECT_EQ(sim_run({"show", "--board", board}).status, 0);
    struct stat status {};
    ASSERT_EQ(stat((deep + "/varnel-sim-" + std::to_string(getuid())).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(board_sharing, one_file_is_one_board_under_any_path) {
    const std::string alias = folder() + "/alias.ini";
    std::filesystem::create_symlink(board, alias);
    process keeper = keep_powered();
    EXPECT_EQ(run(on(folder() + "/./alias.ini", {i2c_call(), "0x2000", "wb", "2", "0x5a"})).status, 0);
    EXPECT_EQ(read_output(), "rb 5a ok\n");
}

TEST_F(board_sharing, programs_started_at_the_same_time_share_one_board) {
    std::vector<process> keepers;
    for (int i = 0; i < 8; ++i) {
        keepers.emplace_back(
            on_board({"sh", "-c", "echo powered; read line; exec \"$0\" 0x2000 rb 2", i2c_call()}));
    }
    for (process &keeper : keepers) {
        EXPECT_EQ(keeper.read_line(), "powered");
    }
    EXPECT_EQ(call({"0x2000", "wb", "2", "0x5a"}), "wb ok\n");
    for (process &keeper : keepers) {
        keeper.write("\n");
        EXPECT_EQ(keeper.read_line(), "rb 5a ok");
        EXPECT_EQ(keeper.finish().status, 0);
    }
}

TEST_F(board_sharing, programs_that_start_while_others_end_always_have_a_board) {
    std::vector<std::thread> callers;
    std::array<int, 4> good{};
    for (int &count : good) {
        callers.emplace_back([this, &count] {
            for (int i = 0; i < 25; ++i) {
                count += run(on_board({i2c_call(), "0x2000", "q", "q"})).out == "q ok\nq ok\n" ? 1 : 0;
            }
        });
    }
    for (std::thread &caller : callers) {
        caller.join();
    }
    EXPECT_THAT(good, ::testing::Each(25));
}

TEST_F(board_sharing, transfers_of_several_programs_are_not_mixed) {
    process keeper = keep_powered();
    std::vector<process> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(on_board({awkward(), "threads"}));
    }
    for (process &one : threads) {
        EXPECT_EQ(one.finish().out, "good\n");
    }
}

TEST_F(board_sharing, killed_program_leaves_the_board_working) {
    process keeper = keep_powered();
    process caller(on_board({"sh", "-c", "echo $$; exec \"$0\" for-ever", awkward()}));
    const pid_t victim = std::stoi(caller.read_line());
    EXPECT_EQ(sim_run({"trace", "--board", board, "--count", "10"}).status, 0); // it is in full swing
    ASSERT_EQ(kill(victim, SIGKILL), 0);
    EXPECT_EQ(caller.finish().status, 128 + SIGKILL);
    EXPECT_EQ(call({"0x2000", "wb", "2", "0x12", "rb", "2"}), "wb ok\nrb 12 ok\n");
}

TEST_F(board_sharing, board_stays_on_when_only_run_is_killed) {
    process orphaned(on_board({"sh", "-c", "echo $$; read line"}));
    const pid_t program = std::stoi(orphaned.read_line());
    ASSERT_EQ(call({"0x2000", "wb", "2", "0x5a"}), "wb ok\n");
    orphaned.send(SIGKILL);
    EXPECT_EQ(read_output(), "rb 5a ok\n");
    kill(program, SIGKILL);
    EXPECT_EQ(orphaned.finish().status, 128 + SIGKILL);
}

TEST_F(board_sharing, killed_server_fails_transfers_and_is_started_again) {
    process keeper(on_board({"sh", "-c", "echo powered; read line; exec \"$0\" 0x2000 q q", i2c_call()}));
    EXPECT_EQ(keeper.read_line(), "powered");
    kill_server();
    keeper.write("\n");
    const finished missed = keeper.finish();
    EXPECT_EQ(missed.out, "q failed: No such device\nq failed: No such device\n");
    EXPECT_THAT(missed.err, ::testing::MatchesRegex("libvarnel_sim: no simulated board at [^\n]*\n"
                                                    "varnel-sim: [^\n]*: the board's server ended before the "
                                                    "program did\n"));
    EXPECT_EQ(missed.status, 1);
    EXPECT_TRUE(std::filesystem::exists(sim::meeting_point::of_board(board).socket_path()));
    EXPECT_EQ(read_output(), "rb ff ok\n");
    EXPECT_FALSE(std::filesystem::exists(sim::meeting_point::of_board(board).socket_path()));
}

/// Kills the server of the bench board, and waits until its sockets are closed.
void board_sharing::kill_server() const {
    const sim::descriptor until_it_is_gone = sim::meeting_point::of_board(board).connect();
    ASSERT_EQ(kill(state()["server"].get<pid_t>(), SIGKILL), 0);
    char byte = 0;
    ASSERT_EQ(recv(until_it_is_gone.get(), &byte, 1, 0), 0);
}

TEST_F(board_sharing, run_fails_when_the_server_ended_before_the_program) {
    const std::string message =
        "varnel-sim: " + board + ": the board's server ended before the program did\n";
    for (const auto &[program_status, status] : {std::pair(0, 1), std::pair(7, 7)}) {
        const std::string program = "echo powered; read line; exit " + std::to_string(program_status);
        process plain(on_board({"sh", "-c", program}));
        process traced(sim({"run", "--board", board, "--trace", "-", "--", "sh", "-c", program}));
        ASSERT_EQ(plain.read_line(), "powered");
        ASSERT_EQ(traced.read_line(), "powered");
        kill_server();
        for (process *const each : {&plain, &traced}) {
            const finished result = each->finish();
            EXPECT_EQ(result.err, message);
            EXPECT_EQ(result.status, status);
        }
    }
}

TEST_F(board_sharing, commands_report_a_server_that_ends_before_its_reply) {
    ASSERT_EQ(run(on_board({"true"})).status, 0); // makes the runtime directory
    const sim::meeting_point here = sim::meeting_point::of_board(board);
    for (const char *const command : {"show", "trace --last 3", "set gpio.lid low"}) {
        sim::descriptor listener = here.listen();
        process asking(
            {"sh", "-c", "exec \"$0\" " + std::string(command) + " --board \"$1\"", sim({})[0], board});
        pollfd waiting{listener.get(), POLLIN, 0};
        ASSERT_EQ(poll(&waiting, 1, -1), 1);
        listener.close();
        const finished result = asking.finish();
        EXPECT_EQ(result.err, "varnel-sim: the board's server has ended\n") << command;
        EXPECT_EQ(result.status, 1) << command;
    }
    here.remove();
}

TEST_F(board_sharing, trace_reports_a_server_that_ends_within_its_reply) {
    ASSERT_EQ(run(on_board({"true"})).status, 0);
    const sim::meeting_point here = sim::meeting_point::of_board(board);
    sim::descriptor listener = here.listen();
    process asking(sim({"trace", "--last", "3", "--board", board}));
    pollfd waiting{listener.get(), POLLIN, 0};
    ASSERT_EQ(poll(&waiting, 1, -1), 1);
    sim::channel server(sim::descriptor(accept(listener.get(), nullptr, nullptr)));
    ASSERT_TRUE(server.receive_control());
    server.send(nlohmann::ordered_json::object());
    server = sim::channel(sim::descriptor{});
    const finished result = asking.finish();
    EXPECT_EQ(result.err, "varnel-sim: the board's server has ended\n");
    EXPECT_EQ(result.status, 1);
    here.remove();
}

/// A board whose server may open few files, full of connections.
class board_at_its_descriptor_limit : public board_sharing {
  public:
    board_at_its_descriptor_limit() {
        EXPECT_EQ(keeper.read_line(), "powered");
        do {
            connections.push_back(connect());
            connections.back().send({{"command", "hello"}});
        } while (!refused(connections.back()));
        connections.pop_back();
    }

    static bool refused(sim::channel &who) {
        const auto reply = who.receive();
        EXPECT_FALSE(reply.empty());
        return sim::message_kind{reply.at(0)} == sim::message_kind::refusal;
    }

    words few_files(words command) const {
        command.insert(command.begin(), {"sh", "-c", "ulimit -n 24; exec \"$0\" \"$@\""});
        return command;
    }

    static constexpr const char *reason = "its server has reached its limit of open files (ulimit -n)\n";
    process keeper{
        few_files(on_board({"sh", "-c", "echo powered; read line; \"$0\" 0x2000 q q; exit $?", i2c_call()}))};
    std::vector<sim::channel> connections;
};

TEST_F(board_at_its_descriptor_limit, refuses_commands_and_runs_with_one_line) {
    EXPECT_GT(connections.size(), 8U);
    const std::string message = std::string("varnel-sim: this board takes no more connections: ") + reason;
    for (const words &command : {sim({"show", "--board", board}), on_board({"echo", "started"})}) {
        const finished result = run(command);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, message);
        EXPECT_EQ(result.status, 1);
    }
}

TEST_F(board_at_its_descriptor_limit, refuses_programs_with_one_line) {
    keeper.write("\n");
    const finished result = keeper.finish();
    EXPECT_EQ(result.out, "q failed: No such device\nq failed: No such device\n");
    EXPECT_EQ(result.err, "libvarnel_sim: the board at " + sim::meeting_point::of_board(board).socket_path() +
                              " takes no more connections: " + reason);
}

TEST_F(board_at_its_descriptor_limit, accepts_connections_again_when_others_have_closed) {
    connections.clear();
    EXPECT_EQ(read_output(), "rb ff ok\n");
}

/// Processor time of a process in clock ticks.
uint64_t ticks_of(pid_t process) {
    std::string word;
    std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
    for (int skipped = 0; skipped < 13; ++skipped) {
        stat >> word;
    }
    uint64_t user = 0;
    uint64_t system = 0;
    stat >> user >> system;
    return user + system;
}

/// Takes the right to open another descriptor from a process, and gives it back at the end.
class no_more_descriptors {
  public:
    explicit no_more_descriptors(pid_t process) : process_(process) {
        rlimit none{};
        EXPECT_EQ(prlimit(process_, RLIMIT_NOFILE, nullptr, &before_), 0);
        none.rlim_max = before_.rlim_max;
        const std::string open = "/proc/" + std::to_string(process) + "/fd/";
        while (std::filesystem::is_symlink(
            std::filesystem::symlink_status(open + std::to_string(none.rlim_cur)))) {
            ++none.rlim_cur;
        }
        EXPECT_EQ(prlimit(process_, RLIMIT_NOFILE, &none, nullptr), 0);
    }
    ~no_more_descriptors() { prlimit(process_, RLIMIT_NOFILE, &before_, nullptr); }
    no_more_descriptors(const no_more_descriptors &) = delete;
    no_more_descriptors &operator=(const no_more_descriptors &) = delete;

  private:
    pid_t process_;
    rlimit before_{};
};

TEST_F(board_sharing, unaccepted_connection_waits_without_processor_time) {
    process keeper = keep_powered();
    const auto server = state()["server"].get<pid_t>();
    std::vector<sim::channel> others;
    for (int i = 0; i < 8; ++i) {
        others.push_back(connect());
        others.back().send({{"command", "hello"}});
        ASSERT_TRUE(others.back().receive_control());
    }
    std::optional<no_more_descriptors> limited(server);
    sim::channel late = connect();
    late.send({{"command", "hello"}});
    pollfd reply{late.get(), POLLIN, 0};
    const uint64_t before = ticks_of(server);
    EXPECT_EQ(poll(&reply, 1, 500), 0); // the time that is measured
    EXPECT_LT(ticks_of(server) - before, static_cast<uint64_t>(sysconf(_SC_CLK_TCK)) / 10);
    limited.reset();
    EXPECT_TRUE(late.receive_control());
}

TEST_F(board_sharing, changed_description_is_reported_and_not_applied) {
    process keeper = keep_powered();
    EXPECT_EQ(run(on_board({"true"})).err, "");
    std::ofstream(board, std::ios::app) << "[late]\ntype = pca9554\nbus = 0\naddress = 0x39\n";
    const finished joined = run(on_board({i2c_call(), "0x3900", "q"}));
    EXPECT_EQ(joined.err,
              "varnel-sim: " + board + " has changed since this board was powered on; it stays as it was\n");
    EXPECT_EQ(joined.out, "q failed: No such device or address\n");
    keeper.finish();
    const finished anew = run(on_board({i2c_call(), "0x3900", "q"}));
    EXPECT_EQ(anew.err, "");
    EXPECT_EQ(anew.out, "q ok\n");
}

TEST_F(board_sharing, malformed_message_ends_only_its_own_connection) {
    process keeper = keep_powered();
    const std::vector<std::vector<uint8_t>> nonsense{
        {0},
        {9, 9, 9},
        {1, 1, 0},                      // half a header
        {1, 1, 0, 0x20, 2, 0, 0, 0, 7}, // fewer bytes than announced
        {1, 1, 0, 0x20, 0, 0, 0, 0, 7}, // more
        {1, 99, 0, 0x20, 0, 0, 0, 0},   // another version
        {4, '{'},                       // no JSON
        {4, '[', ']'},                  // no object
        {4, '{', '}'},                  // no command
    };
    for (const auto &message : nonsense) {
        sim::channel by_hand = connect();
        ASSERT_TRUE(by_hand.send(message, {}));
        EXPECT_TRUE(by_hand.receive().empty()) << ::testing::PrintToString(message);
    }
    EXPECT_EQ(read_output(), "rb ff ok\n");
}

TEST_F(board_sharing, transfer_messages_have_the_documented_bytes) {
    process keeper = keep_powered();
    sim::channel by_hand = connect();
    by_hand.send(std::vector<uint8_t>{3, 1, 0, 0x50, 1, 0, 2, 0, 0x01}, {});
    EXPECT_EQ(by_hand.receive(), (std::vector<uint8_t>{5, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x65, 0x6c}));
    by_hand.send(std::vector<uint8_t>{2, 1, 0, 0x51, 0, 0, 2, 0}, {});
    EXPECT_EQ(by_hand.receive(), (std::vector<uint8_t>{5, 1, 0, 0, 255, 255, 255, 255, ENXIO, 0, 0, 0}));
}

TEST_F(board_sharing, slow_trace_reader_gets_the_number_of_lost_transfers) {
    process keeper = keep_powered();
    sim::channel slow = connect();
    slow.send({{"command", "trace"}, {"last", nullptr}, {"follow", true}});
    EXPECT_EQ(slow.receive_control()->dump(), "{}");
    process caller(on_board({"sh", "-c", "\"$0\" threads; \"$0\" threads", awkward()}));
    EXPECT_EQ(caller.finish().out, "good\ngood\n");
    slow.send({{"command", "end-trace"}});
    uint64_t transfers = 0;
    uint64_t lost = 0;
    for (auto message = slow.receive_control(); message && !message->contains("end");
         message = slow.receive_control()) {
        transfers += message->contains("transfer") ? 1 : 0;
        lost += message->value("lost", uint64_t{0});
    }
    EXPECT_EQ(transfers + lost, 2u * 8u * 500u);
    EXPECT_GT(lost, 0u);
}

TEST_F(board_sharing, trace_reader_does_not_keep_the_board_on) {
    process keeper = keep_powered();
    call({"0x2000", "q"});
    process looker(sim({"trace", "--board", board, "--last", "1", "--follow"}));
    EXPECT_NE(looker.read_line(), "");
    keeper.finish();
    EXPECT_EQ(looker.finish().status, 0);
    EXPECT_EQ(sim_run({"show", "--board", board}).status, 2);
}

TEST_F(board_sharing, transfers_take_their_time_on_a_bus_with_a_clock_and_others_do_not_wait) {
    const std::string slow = file("slow.ini", "[board]\nclock.0 = 1kHz\n"
                                              "[a]\ntype = 24c02\nbus = 0\naddress = 0x50\n"
                                              "[b]\ntype = 24c02\nbus = 1\naddress = 0x51\n");
    process keeper(on(slow, {"sh", "-c", "echo powered; read line"}));
    ASSERT_EQ(keeper.read_line(), "powered");
    const auto times = [&](const char *last) {
        std::vector<double> all;
        std::istringstream lines(sim_run({"trace", "--board", slow, "--last", last, "--json"}).out);
        for (std::string line; std::getline(lines, line);) {
            all.push_back(nlohmann::ordered_json::parse(line)["time_seconds"]);
        }
        return all;
    };
    ASSERT_EQ(run(on(slow, {i2c_call(), "0x5000", "read", "20", "q"})).status, 0);
    const auto both = times("2");
    ASSERT_EQ(both.size(), 2U);
    EXPECT_GE(both[1] - both[0], 0.191) << "a START, 21 bytes of nine bits and a STOP";

    process long_reader(on(slow, {i2c_call(), "0x5000", "read", "4000"})); // 36 s
    while (times("1") == std::vector{both[1]}) {
    }
    EXPECT_EQ(run(on(slow, {i2c_call(), "0x5101", "q"})).out, "q ok\n");
    EXPECT_LT(times("2").at(1) - times("2").at(0), 36);
    long_reader.send(SIGTERM);
    EXPECT_EQ(long_reader.finish().status, 128 + SIGTERM);
}

TEST_F(board_sharing, runtime_directory_has_mode_0700_or_is_refused) {
    EXPECT_EQ(read_output(), "rb ff ok\n");
    struct stat status {};
    ASSERT_EQ(stat(runtime_directory().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_EQ(chmod(runtime_directory().c_str(), 0770), 0);
    const finished refused = run(on_board({"echo", "started"}));
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err,
              "varnel-sim: " + runtime_directory() + ": not a directory that only you can use\n");
    EXPECT_EQ(refused.status, 1);
}

TEST_F(board_sharing, server_does_not_keep_the_pipes_of_its_starter) {
    process first(on_board({"true"}));
    EXPECT_EQ(first.read_line(), "");
    process keeper = keep_powered();
    process starter(on_board({"true"}));
    const finished result = starter.finish(); // reads to the end of its output, though the board goes on
    EXPECT_EQ(result.status, 0);
}

} // namespace varnel::test
