// SPDX-License-Identifier: Apache-2.0
// Unchanged programs on a board: what varnel-sim run does for them, and what they may do to the library.

#include <csignal>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

#include "tests/sim/system/workbench.h"

namespace varnel::test {

using ::testing::HasSubstr;
using ::testing::StartsWith;

/// LD_PRELOAD of this test's own, which AddressSanitizer's runtime is told to tolerate.
class own_preload {
  public:
    explicit own_preload(const std::string &library) {
        setenv("LD_PRELOAD", library.c_str(), 1);
        setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    }
    ~own_preload() {
        unsetenv("LD_PRELOAD");
        unsetenv("ASAN_OPTIONS");
    }
    own_preload(const own_preload &) = delete;
    own_preload &operator=(const own_preload &) = delete;
};

class programs_on_a_board : public workbench {
  public:
    void expect_good(const words &arguments) const {
        words program{awkward()};
        program.insert(program.end(), arguments.begin(), arguments.end());
        const finished result = run(on_board(program));
        EXPECT_EQ(result.out, "good\n");
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
    }
};

TEST_F(programs_on_a_board, transfers_reach_the_board) {
    EXPECT_EQ(call({"0x2000", "wb", "2", "0xa5", "rb", "2", "q", "0x3801", "rb", "3"}),
              "wb ok\nrb a5 ok\nq ok\nrb ff ok\n");
    EXPECT_EQ(call({"0x5000", "wr", "0", "5"}), "wr 48 65 6c 6c 6f ok\n");
}

TEST_F(programs_on_a_board, failed_transfers_set_errno) {
    EXPECT_EQ(call({"0x2100", "rb", "2"}), "rb failed: No such device or address\n");
    EXPECT_EQ(call({"0x2007", "rb", "2"}), "rb failed: No such device\n");
}

TEST_F(programs_on_a_board, chip_behind_a_closed_channel_does_not_answer) {
    EXPECT_EQ(
        call({"0x5800", "q", "0x7000", "sb", "1", "0x5800", "q", "0x7000", "sb", "0", "0x5800", "q"}),
        "q failed: No such device or address\nsb ok\nq ok\nsb ok\nq failed: No such device or address\n");
}

TEST_F(programs_on_a_board, transfers_of_65535_bytes_work_in_both_directions) {
    EXPECT_EQ(call({"0x5000", "read", "65535", "0x2000", "write", "65535"}),
              "read 48 65 6c 6c 6f ff ff ff ff ff ff ff ff ff ff ff ok\nwrite 65535 of 65535 bytes\n");
}

TEST_F(programs_on_a_board, may_fork) { expect_good({"fork"}); }
TEST_F(programs_on_a_board, may_have_threads) { expect_good({"threads"}); }
TEST_F(programs_on_a_board, may_fork_while_other_threads_use_the_bus) { expect_good({"fork-among-threads"}); }
TEST_F(programs_on_a_board, may_close_all_descriptors) { expect_good({"close"}); }
TEST_F(programs_on_a_board, may_use_every_descriptor_number_for_files_of_their_own) {
    expect_good({"replace", folder() + "/mine"});
}
TEST_F(programs_on_a_board, may_have_a_low_descriptor_limit) { expect_good({"few"}); }
TEST_F(programs_on_a_board, may_be_interrupted_by_signals) { expect_good({"interrupt"}); }
TEST_F(programs_on_a_board, successful_transfer_keeps_errno) { expect_good({"errno"}); }

TEST_F(programs_on_a_board, may_exec_other_programs) {
    const finished result = run(on_board({awkward(), "exec", i2c_call(), "0x2000", "rb", "2"}));
    EXPECT_EQ(result.out, "rb 22 ok\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(programs_on_a_board, queues_work_without_a_platform_library) {
    const finished result = run(on_board({queue_call()}));
    EXPECT_EQ(result.out, "fan0 failed\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(programs_on_a_board, platform_library_of_the_program_is_preferred) {
    EXPECT_EQ(run(on_board({QUEUE_CALL_WITH_LOCKS})).out, "own lock\nown unlock\nfan0 failed\n");
}

#ifdef I2C_CALL_WITH_PLATFORM
TEST_F(programs_on_a_board, program_without_its_environment_still_reaches_the_board) {
    process keeper = keep_powered();
    const finished result = run(
        on_board({"env", "-i", I2C_CALL_WITH_PLATFORM, "0x2000", "wb", "2", "0xa5", "0x2007", "rb", "2"}));
    EXPECT_EQ(result.out, "wb ok\nrb failed: No such device\n");
    EXPECT_EQ(call({"0x2000", "rb", "2"}), "rb a5 ok\n");
}
#endif

TEST_F(programs_on_a_board, board_stays_on_for_a_daemon_that_made_no_transfer_yet) {
    const std::string gate = folder() + "/gate";
    const std::string result = folder() + "/result";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(result.c_str(), 0600), 0);
    process starter(on_board({awkward(), "daemon", gate, result}));
    EXPECT_EQ(starter.read_line(), "good");
    EXPECT_EQ(run(on_board({i2c_call(), "0x2000", "wb", "3", "0x12"})).status, 0);
    std::ofstream(gate) << 'x';
    std::string word;
    std::ifstream(result) >> word;
    EXPECT_EQ(word, "good");
    EXPECT_EQ(starter.finish().status, 0);
}

TEST_F(programs_on_a_board, run_exits_with_the_status_of_the_program) {
    EXPECT_EQ(run(on_board({"sh", "-c", "exit 7"})).status, 7);
    EXPECT_EQ(run(on_board({"sh", "-c", "kill -SEGV $$"})).status, 128 + SIGSEGV);
}

TEST_F(programs_on_a_board, missing_program_exits_127_and_unexecutable_126) {
    const finished missing = run(on_board({"./no-such-program"}));
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.err, "varnel-sim: ./no-such-program: No such file or directory\n");
    const finished folder_itself = run(on_board({folder()}));
    EXPECT_EQ(folder_itself.status, 126);
    EXPECT_EQ(folder_itself.err, "varnel-sim: " + folder() + ": Permission denied\n");
}

TEST_F(programs_on_a_board, arguments_reach_the_program_unchanged) {
    EXPECT_EQ(run(on_board({"printf", "%s|", "--", "--board", "-x", "show", ""})).out,
              "--|--board|-x|show||");
}

TEST_F(programs_on_a_board, standard_streams_belong_to_the_program) {
    process cat(on_board({"sh", "-c", "cat; echo oops >&2"}));
    cat.write("through\n");
    EXPECT_EQ(cat.read_line(), "through");
    EXPECT_EQ(cat.finish().err, "oops\n");
}

TEST_F(programs_on_a_board, environment_names_the_board_and_keeps_ld_preload) {
    const own_preload preload("libm.so.6");
    const std::string out =
        run(on_board({"sh", "-c",
                      "echo $LD_PRELOAD; echo $VARNEL_SIM_BOARD; test -S $VARNEL_SIM_SOCKET && echo socket"}))
            .out;
    EXPECT_EQ(out, library() + ":libm.so.6\n" + board + "\nsocket\n");
}

TEST_F(programs_on_a_board, options_of_address_sanitizer_are_kept) {
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    const std::string out = run(on_board({"sh", "-c", "echo $ASAN_OPTIONS"})).out;
    unsetenv("ASAN_OPTIONS");
    EXPECT_EQ(out, "verify_asan_link_order=0:detect_leaks=0\n");
}

TEST_F(programs_on_a_board, run_forwards_sigterm_to_the_program) {
    process waiting(
        on_board({"sh", "-c", "trap 'echo told; exit 3' TERM; echo ready; while :; do read line; done"}));
    EXPECT_EQ(waiting.read_line(), "ready");
    waiting.send(SIGTERM);
    EXPECT_EQ(waiting.read_line(), "told");
    EXPECT_EQ(waiting.finish().status, 3);
}

TEST_F(programs_on_a_board, run_ignores_sigint_and_sigquit) {
    process waiting(on_board({"sh", "-c", "echo ready; read line; echo $line; exit 4"}));
    EXPECT_EQ(waiting.read_line(), "ready");
    waiting.send(SIGINT);
    waiting.send(SIGQUIT);
    waiting.write("still here\n");
    EXPECT_EQ(waiting.read_line(), "still here");
    EXPECT_EQ(waiting.finish().status, 4);
}

TEST_F(programs_on_a_board, transfers_without_a_board_fail_with_enodev_and_one_line) {
    const own_preload preload(library());
    const finished unset = run({i2c_call(), "0x2000", "rb", "2", "rb", "2"});
    setenv("VARNEL_SIM_SOCKET", (folder() + "/none").c_str(), 1);
    const finished missing = run({i2c_call(), "0x2000", "rb", "2", "q"});
    unsetenv("VARNEL_SIM_SOCKET");
    EXPECT_EQ(unset.out, "rb failed: No such device\nrb failed: No such device\n");
    EXPECT_EQ(unset.err, "libvarnel_sim: VARNEL_SIM_SOCKET is not set: start programs with varnel-sim run\n");
    EXPECT_EQ(missing.out, "rb failed: No such device\nq failed: No such device\n");
    EXPECT_EQ(missing.err, "libvarnel_sim: no simulated board at " + folder() +
                               "/none: start programs with varnel-sim run\n");
}

TEST_F(programs_on_a_board, trace_of_a_run_has_each_transfer_before_run_ends) {
    const std::string file = folder() + "/trace";
    const finished result = run(
        sim({"run", "--board", board,    "--trace", file, "--trace", "-",  "--", i2c_call(), "0x2000", "wb",
             "2",   "0xa5",    "0x7000", "sb",      "1",  "0x5800",  "rb", "1",  "0x5000",   "q"}));
    EXPECT_EQ(result.status, 0);
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    std::istringstream lines(text.str());
    std::string line;
    std::string without_origin;
    while (std::getline(lines, line)) {
        EXPECT_THAT(line, ::testing::ContainsRegex("^[0-9]+[.][0-9]{6} i2c_call[[][0-9]+[]] 0"));
        without_origin += line.substr(line.find("] ") + 2) + "\n";
        EXPECT_THAT(result.out, HasSubstr(line + "\n"));
    }
    EXPECT_EQ(without_origin, "0 gpio@0x20 Output port 0(0x02) <- a5  ok\n"
                              "0 mux@0x70 <- 01  ok\n"
                              "0/mux.0 psu@0x58 OPERATION(0x01) -> 80  ok\n"
                              "0 fru@0x50 quick write  ok\n");
}

TEST_F(programs_on_a_board, failed_trace_output_does_not_disturb_the_program) {
    const finished result =
        run(sim({"run", "--board", board, "--trace", "/dev/full", "--", i2c_call(), "0x2000", "q", "q"}));
    EXPECT_EQ(result.out, "q ok\nq ok\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "varnel-sim: trace: /dev/full: No space left on device\n");
}

TEST_F(programs_on_a_board, program_does_not_start_when_the_trace_file_cannot_be_created) {
    const finished result =
        run(sim({"run", "--board", board, "--trace", folder() + "/none/trace", "--", "echo", "started"}));
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "varnel-sim: " + folder() + "/none/trace: No such file or directory\n");
    EXPECT_EQ(result.status, 2);
}

TEST_F(programs_on_a_board, bad_description_is_refused_before_the_program_starts) {
    const std::string bad = file("bad.ini", "[a]\ntype = pca9555\nbus = 0\naddress = 0x99\n");
    const finished result = run(on(bad, {"echo", "started"}));
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "varnel-sim: " + bad + ":4: address 0x99 is outside 0x03 to 0x77\n");
    EXPECT_EQ(result.status, 2);
}

TEST_F(programs_on_a_board, demo_board_has_the_described_chips_and_levels) {
    const std::string steps = i2c_call() +
                              " 0x2000 rb 0 rb 1 0x3800 rb 0 0x2400 rb 0 0x6800 q 0x7401 q 0x7501 q "
                              "0x5800 q 0x7000 sb 3 0x5800 q";
    const finished result = run(on(demo_board(), {"sh", "-c", steps}));
    EXPECT_EQ(result.out,
              "rb ff ok\nrb fc ok\nrb fe ok\nrb ff ok\nq ok\nq failed: No such device or address\nq ok\n"
              "q failed: No such device or address\nsb ok\nq ok\n");
}

} // namespace varnel::test
