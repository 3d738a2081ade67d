// SPDX-License-Identifier: Apache-2.0
// Programs that live in the board's time: what they see of it, and that they always see the same.

#include <algorithm>
#include <sstream>

#include "tests/sim/system/workbench.h"

namespace varnel::test {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class virtual_time : public workbench {
  public:
    [[nodiscard]] words in_virtual_time(const words &program, const words &options = {}) const {
        words all = sim({"run", "--time", "virtual", "--board", board});
        all.insert(all.end(), options.begin(), options.end());
        all.push_back("--");
        all.insert(all.end(), program.begin(), program.end());
        return all;
    }
    [[nodiscard]] std::string output_of(const words &program) const {
        const finished result = run(in_virtual_time(program));
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
        return result.out;
    }
    [[nodiscard]] std::string shell(const std::string &commands) const {
        return output_of({"sh", "-c", commands, i2c_call(), sim({})[0]});
    }
};

TEST_F(virtual_time, days_pass_at_once) {
    EXPECT_EQ(shell("date -u +'%F %T'; sleep 10d; date -u +'%F %T'"),
              "2026-01-01 00:00:00\n2026-01-11 00:00:00\n");
}

TEST_F(virtual_time, waits_take_their_limit) {
    EXPECT_EQ(output_of({TIMED_WAITS, "ends"}), "nanosleep                done 1.5000 1.5000\n"
                                                "clock_nanosleep          done 1.5000 1.5000\n"
                                                "usleep                   done 1.5000 1.5000\n"
                                                "poll                     done 1.5000 1.5000\n"
                                                "ppoll                    done 1.5000 1.5000\n"
                                                "select                   done 1.5000 1.5000\n"
                                                "pselect                  done 1.5000 1.5000\n"
                                                "epoll_wait               done 1.5000 1.5000\n"
                                                "pthread_cond_timedwait   ETIMEDOUT 1.5000 1.5000\n"
                                                "pthread_cond_clockwait   ETIMEDOUT 1.5000 1.5000\n"
                                                "sem_timedwait            ETIMEDOUT 1.5000 1.5000\n"
                                                "semtimedop               EAGAIN 1.5000 1.5000\n"
                                                "mq_timedreceive          ETIMEDOUT 1.5000 1.5000\n"
                                                "sigtimedwait             EAGAIN 1.5000 1.5000\n"
                                                "timerfd                  done 1.5000 1.5000\n"
                                                "setitimer                done 1.5000 1.5000\n"
                                                "timer_create             done 1.5000 1.5000\n"
                                                "pthread_mutex_timedlock  ETIMEDOUT 1.5000 1.5000\n");
}

TEST_F(virtual_time, waits_end_when_another_thread_ends_them) {
    EXPECT_EQ(output_of({TIMED_WAITS, "woken"}), "nanosleep                EINTR 1.2500 1.2500\n"
                                                 "clock_nanosleep          EINTR 1.2500 1.2500\n"
                                                 "usleep                   EINTR 1.2500 1.2500\n"
                                                 "poll                     done 1.2500 1.2500\n"
                                                 "poll, signal             EINTR 1.2500 1.2500\n"
                                                 "ppoll                    done 1.2500 1.2500\n"
                                                 "select                   done 1.2500 1.2500\n"
                                                 "pselect                  done 1.2500 1.2500\n"
                                                 "epoll_wait               done 1.2500 1.2500\n"
                                                 "pthread_cond_timedwait   done 1.2500 1.2500\n"
                                                 "pthread_cond_clockwait   done 1.2500 1.2500\n"
                                                 "sem_timedwait            done 1.2500 1.2500\n"
                                                 "sem_timedwait, signal    EINTR 1.2500 1.2500\n"
                                                 "semtimedop               done 1.2500 1.2500\n"
                                                 "mq_timedreceive          done 1.2500 1.2500\n"
                                                 "sigtimedwait             done 1.2500 1.2500\n"
                                                 "pthread_mutex_timedlock  done 1.2490 1.2490\n");
}

TEST_F(virtual_time, moves_for_a_program_that_only_looks_at_the_clock) {
    EXPECT_EQ(output_of({TIMED_WAITS, "spin"}), "10 ms have passed\n");
}

/// The EEPROM does not answer for 5 ms after it was written to.
TEST_F(virtual_time, moves_for_a_program_that_asks_a_busy_chip_again_and_again) {
    words program{i2c_call(), "0x5000", "wb", "0", "1"};
    for (int i = 0; i < 300; ++i) {
        program.insert(program.end(), {"rb", "0"});
    }
    const std::string out = run(in_virtual_time(program)).out;
    EXPECT_THAT(out, StartsWith("wb ok\nrb failed: No such device or address\n"));
    EXPECT_THAT(out, EndsWith("rb 01 ok\n"));
}

/// It makes no system call that the supervisor is asked about.
TEST_F(virtual_time, stands_still_while_a_child_computes) {
    EXPECT_EQ(
        shell(
            "(i=0; while [ $i -lt 20000 ]; do i=$((i + 1)); done; echo child) & sleep 1; echo parent; wait"),
        "child\nparent\n");
}

TEST_F(virtual_time, chips_live_in_it) {
    const std::string shown = shell("$1 set psu.fan stopped; sleep 10m; $1 show");
    EXPECT_THAT(shown, HasSubstr("on for 600.0 s"));
    EXPECT_THAT(shown, HasSubstr("output off (tripped)"));
}

/// Reading a byte takes 39 bits: four bytes of nine, two STARTs and a STOP.
TEST_F(virtual_time, moves_during_transfers_on_a_bus_with_a_clock) {
    const std::string slow =
        file("slow.ini", "[board]\nclock = 100kHz\n[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\n");
    const std::string trace = folder() + "/trace";
    const finished result = run(
        sim({"run", "--time", "virtual", "--board", slow, "--trace", trace, "--", "sh", "-c",
             "$0 0x2000 rb 0 rb 0 >$1; date +%s.%N; sleep 1; $0 0x2000 rb 0 >$1", i2c_call(), "/dev/null"}));
    EXPECT_EQ(result.out, "1767225600.000780000\n");
    EXPECT_EQ(run({"grep", "-o", "^[0-9.]*", trace}).out, "0.000000\n0.000390\n1.000780\n");
}

TEST_F(virtual_time, several_programs_make_the_same_trace_in_every_run) {
    const words three = in_virtual_time(
        {"sh", "-c",
         "for s in 0.3 0.2 0.1; do (for n in 1 2 3; do sleep $s; $0 0x2000 rb 0; done) & done; wait",
         i2c_call()},
        {"--trace", "-"});
    const auto only_trace = [](const std::string &text) {
        std::string trace;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            trace += line.starts_with("rb") ? "" : line + '\n';
        }
        return trace;
    };
    const std::string first = only_trace(run(three).out);
    EXPECT_THAT(first, StartsWith("0.100000 i2c_call[1] 0 gpio@0x20"));
    EXPECT_THAT(first, HasSubstr("\n0.900000 i2c_call[9] "));
    EXPECT_EQ(std::ranges::count(first, '\n'), 9);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(only_trace(run(three).out), first);
    }
}

TEST_F(virtual_time, seed_chooses_the_order_of_what_happens_at_the_same_time) {
    const auto order = [this](const std::string &seed) {
        const std::string trace = folder() + "/trace";
        run(in_virtual_time(
            {"sh", "-c", "for n in 0 1 2 3 4; do (sleep 1; exec $0 0x2000 wb 2 $n) & done; wait", i2c_call()},
            {"--seed", seed, "--trace", trace}));
        return run({"grep", "-o", "<- ..", trace}).out;
    };
    const std::string in_order = "<- 00\n<- 01\n<- 02\n<- 03\n<- 04\n";
    const std::string first = order("1");
    EXPECT_EQ(order("0"), in_order);
    EXPECT_EQ(order("1"), first);
    EXPECT_NE(order("2"), first);
    EXPECT_EQ(first.size(), in_order.size());
}

TEST_F(virtual_time, program_that_connects_to_another_machine_is_named) {
    const finished result =
        run(in_virtual_time({"bash", "-c", "exec 3<>/dev/udp/192.0.2.1/9; exec 3<>/dev/udp/127.0.0.1/9"}));
    EXPECT_THAT(result.err, ::testing::MatchesRegex(
                                "varnel-sim: bash\\[[0-9]+\\] connects to 192.0.2.1, which does not live in "
                                "the board's time\n(bash: .*)?"));
}

TEST_F(virtual_time, is_the_same_in_all_runs_on_a_board) {
    process other(in_virtual_time({"sh", "-c", "echo powered; read line; date -u +%T"}));
    EXPECT_EQ(other.read_line(), "powered");
    EXPECT_EQ(output_of({"sleep", "1h"}), "");
    other.write("\n");
    EXPECT_EQ(other.read_line(), "01:00:00");
    EXPECT_EQ(other.finish().status, 0);
}

/// The reader computes, without a system call that its supervisor is asked about, after the writer has begun to wait.
TEST_F(virtual_time, does_not_move_before_programs_of_other_runs_have_done_what_there_is_to_do) {
    const std::string pipe = folder() + "/pipe";
    const std::string silent = folder() + "/silent";
    process reader(in_virtual_time({"sh", "-c",
                                    "mkfifo $0 $1; echo made; read line <$0; i=0;"
                                    "while [ $i -lt 20000 ]; do i=$((i + 1)); done; date -u +%T",
                                    pipe, silent}));
    EXPECT_EQ(reader.read_line(), "made");
    run(in_virtual_time(
        {"bash", "-c", "exec 4<>$0; sleep 1; echo go >&4; read -t 3600 line <>$1", pipe, silent}));
    EXPECT_EQ(reader.read_line(), "00:00:01");
    EXPECT_EQ(reader.finish().status, 0);
}

TEST_F(virtual_time, is_chosen_when_the_board_is_powered_on) {
    const process keeper = keep_powered();
    const finished refused = run(in_virtual_time({"true"}));
    EXPECT_EQ(refused.err, "varnel-sim: " + board + " is running in real time: its time cannot be virtual\n");
    EXPECT_EQ(refused.status, 2);
}

TEST_F(virtual_time, stands_still_on_the_board_of_a_program_that_has_the_machines_devices) {
    const finished result = run(in_virtual_time({sim({})[0], "show", "--json"}, {"--host-devices"}));
    EXPECT_EQ(nlohmann::ordered_json::parse(result.out).at("uptime_seconds"), 0) << result.err;
}

TEST_F(virtual_time, options_that_contradict_it_are_refused) {
    EXPECT_EQ(sim_run({"run", "--board", board, "--seed", "1", "--", "true"}).err,
              "varnel-sim: --seed: only with --time virtual\n");
}

} // namespace varnel::test
