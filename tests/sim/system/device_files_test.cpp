// SPDX-License-Identifier: Apache-2.0
// /dev/i2c-N for programs that know nothing of this project: a statically linked one, i2c-tools, a daemon.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/sim/system/workbench.h"

namespace varnel::test {

using ::testing::HasSubstr;

class device_files : public workbench {
  public:
    [[nodiscard]] finished bus_file(const std::string &way) const { return run(on_board({BUS_FILE, way})); }
    void expect_good(const std::string &way) const {
        const finished result = bus_file(way);
        EXPECT_EQ(result.out, "good\n");
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
    }
};

TEST_F(device_files, can_be_read_and_written) { expect_good("read-write"); }
TEST_F(device_files, perform_several_messages_as_one_transfer) { expect_good("transfer"); }
TEST_F(device_files, fail_with_the_errno_of_linux) { expect_good("fail"); }
TEST_F(device_files, are_found_by_stat_access_and_poll) { expect_good("found"); }
TEST_F(device_files, are_shared_by_copies_and_children) { expect_good("share"); }
TEST_F(device_files, pass_through_exec) { expect_good("execute"); }
TEST_F(device_files, may_be_opened_and_closed_thousands_of_times) { expect_good("many"); }

TEST_F(device_files, transfers_are_traced_under_the_programs_name) {
    const finished result =
        run({sim({"run"})[0], "run", "--board", board, "--trace", "-", "--", BUS_FILE, "transfer"});
    EXPECT_THAT(result.out, HasSubstr("bus_file["));
    EXPECT_THAT(result.out, HasSubstr("gpio@0x20 Output port 0(0x02) <- 12 34"));
    EXPECT_THAT(result.out, HasSubstr("gpio@0x20 Output port 0(0x02) -> 12"));
}

TEST_F(device_files, buses_are_listed_below_sys) {
    EXPECT_EQ(run(on_board({"sh", "-c", "ls /sys/class/i2c-dev; cat /sys/bus/i2c/devices/i2c-1/name"})).out,
              "i2c-0\ni2c-1\nvarnel-sim bench bus 1\n");
}

TEST_F(device_files, board_ends_with_the_last_program) {
    expect_good("read-write");
    EXPECT_THAT(sim_run({"show", "--board", board}).err, HasSubstr("is not running"));
}

TEST_F(device_files, board_stays_on_for_a_program_in_the_background) {
    const std::string gate = folder() + "/gate";
    EXPECT_EQ(run(on_board({"sh", "-c",
                            BUS_FILE " repeat >" + gate + " 2>&1 & until grep -q ready " + gate +
                                "; do :; done; echo $! >" + gate + ".pid"}))
                  .status,
              0);
    EXPECT_EQ(sim_run({"show", "--board", board}).status, 0);
    pid_t background = 0;
    std::ifstream(gate + ".pid") >> background;
    EXPECT_EQ(kill(background, SIGKILL), 0); // in the middle of a transfer, most likely
    expect_good("read-write");
}

TEST_F(device_files, many_programs_share_the_board) {
    const process keeper = keep_powered();
    std::vector<std::jthread> programs;
    for (int i = 0; i < 16; ++i) {
        programs.emplace_back([this] { expect_good("transfer"); });
    }
}

TEST_F(device_files, a_run_inside_a_run_uses_the_files_of_the_outer_one) {
    const finished result = run(on_board({sim({"run"})[0], "run", "--", BUS_FILE, "read-write"}));
    EXPECT_EQ(result.out, "good\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(device_files, i2c_tools_work) {
    EXPECT_THAT(run(on_board({"/usr/sbin/i2cdetect", "-l"})).out, HasSubstr("i2c-1\ti2c"));
    EXPECT_THAT(run(on_board({"/usr/sbin/i2cdetect", "-y", "0"})).out,
                HasSubstr("50: 50 -- -- -- -- -- -- -- -- -- -- -- -- -- -- --"));
    EXPECT_EQ(run(on_board({"/usr/sbin/i2cget", "-y", "0", "0x50", "1"})).out, "0x65\n");
    EXPECT_EQ(run(on_board({"/usr/sbin/i2ctransfer", "-y", "0", "w1@0x50", "0", "r5"})).out,
              "0x48 0x65 0x6c 0x6c 0x6f\n");
    const finished missing = run(on_board({"/usr/sbin/i2cget", "-y", "9", "0x50"}));
    EXPECT_THAT(missing.err, HasSubstr("No such file or directory"));
    EXPECT_NE(missing.status, 0);
}

class run_verbose : public device_files {
  public:
    /// Messages of `run` with a program; with `around`, `run` itself is started by that.
    [[nodiscard]] std::string said(const words &program, const std::string &options = {},
                                   const words &around = {}) const {
        words all = around;
        for (const std::string &word : sim({"run", "--board", board})) {
            all.push_back(word);
        }
        if (!options.empty()) {
            all.push_back(options);
        }
        all.push_back("--");
        all.insert(all.end(), program.begin(), program.end());
        return run(all).err;
    }
};

TEST_F(run_verbose, names_what_serves_files_and_primitives) {
    const std::string primitives =
        "; the library's I2C primitives are the board's, by LD_PRELOAD=" + library() + "\n";
    EXPECT_EQ(said({"true"}, "--verbose"),
              "varnel-sim: /dev/i2c-0, /dev/i2c-1 are the board's, by a supervisor" + primitives);
    EXPECT_THAT(said({sim({})[0], "run", "--verbose", "--", "true"}),
                HasSubstr("are the board's, by the supervisor of the run around this one; "));
    EXPECT_EQ(said({"true"}), "");
}

TEST_F(run_verbose, host_devices_are_named) {
    EXPECT_EQ(run(sim({"run", "--board", board, "--host-devices", "--verbose", "--", "true"})).err,
              "varnel-sim: /dev/i2c-* and /dev/gpiochip* are this machine's: --host-devices\n");
}

TEST_F(run_verbose, kernel_that_refuses_supervision_is_named_always) {
    EXPECT_EQ(said({"true"}, "", {WITHOUT_CALL, "seccomp"}),
              "varnel-sim: /dev/i2c-* and /dev/gpiochip* are this machine's, not the board's: seccomp: "
              "Operation not permitted\n");
    EXPECT_EQ(said({"true"}, "", {WITHOUT_CALL, "process_vm_readv"}),
              "varnel-sim: /dev/i2c-* and /dev/gpiochip* are this machine's, not the board's: "
              "process_vm_readv: Operation not "
              "permitted\n");
}

TEST_F(run_verbose, files_of_an_outer_board_are_named_always) {
    const std::string twin = file("twin.ini", "[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\n");
    EXPECT_EQ(said({sim({})[0], "run", "--board", twin, "--", "true"}),
              "varnel-sim: /dev/i2c-* and /dev/gpiochip* are those of " + board + ", not of " + twin + "\n");
}

TEST_F(run_verbose, set_user_id_program_is_named_always) {
    const std::string program = folder() + "/program";
    std::filesystem::copy_file("/bin/true", program);
    if (chown(program.c_str(), getuid() + 1, getgid()) != 0) {
        GTEST_SKIP() << "only root can make a program of another user";
    }
    chmod(program.c_str(), 04755);
    EXPECT_EQ(said({program}),
              "varnel-sim: " + program +
                  " does not get its set-user-ID, set-group-ID or capabilities on a board (it does with "
                  "--host-devices)\n");
}

TEST_F(run_verbose, program_for_another_machine_is_named_always) {
    const std::string program = file("program", std::string("\x7f"
                                                            "ELF\x01\x01\x01",
                                                            7) +
                                                    std::string(57, '\0'));
    chmod(program.c_str(), 0755);
    EXPECT_THAT(said({program}), HasSubstr("varnel-sim: " + program +
                                           " is for another machine: it finds this machine's "
                                           "/dev/i2c-* and /dev/gpiochip*, not the board's\n"));
}

class device_files_pec : public device_files {
  public:
    /// Runs commands of i2c-tools with the supply's channel enabled.
    [[nodiscard]] finished with_psu(const std::string &commands) const {
        return run(on_board({"sh", "-c", "PATH=/usr/sbin:$PATH; i2cset -y 0 0x70 1; " + commands}));
    }
};

TEST_F(device_files_pec, is_checked_when_a_supply_is_read) {
    EXPECT_EQ(with_psu("i2cget -y 0 0x58 0x79 wp; i2cget -y 0 0x58 0x98 bp").out, "0x0000\n0x22\n");
    EXPECT_EQ(with_psu("i2ctransfer -y 0 w1@0x58 0x79 r3").out, "0x00 0x00 0xd4\n");
}

TEST_F(device_files_pec, of_a_chip_without_it_is_wrong) {
    const finished result = with_psu("i2cget -y 0 0x20 0 bp");
    EXPECT_THAT(result.err, HasSubstr("Error: Read failed"));
    EXPECT_NE(result.status, 0);
}

TEST_F(device_files_pec, is_checked_by_a_supply_that_is_written) {
    EXPECT_EQ(with_psu("i2cset -y 0 0x58 0x10 0 bp && i2cget -y 0 0x58 0x10 bp").out, "0x00\n");
    EXPECT_EQ(with_psu("i2ctransfer -y 0 w3@0x58 0x10 0 0xbd && i2cget -y 0 0x58 0x10").out, "0x00\n");
    const finished wrong =
        with_psu("i2ctransfer -y 0 w3@0x58 0x10 0 0xbc || i2cget -y 0 0x58 0x7e; i2cget -y 0 0x58 0x10");
    EXPECT_EQ(wrong.out, "0x20\n0x80\n");
    EXPECT_THAT(wrong.err, HasSubstr("Input/output error"));
}

TEST_F(device_files_pec, finds_an_inverted_bit) {
    const std::string fault = sim({})[0] + " fault psu flip --count 1; ";
    EXPECT_EQ(with_psu(fault + "i2cget -y 0 0x58 0x98").status, 0);
    EXPECT_THAT(with_psu(fault + "i2cget -y 0 0x58 0x98 bp").err, HasSubstr("Error: Read failed"));
    EXPECT_THAT(with_psu(fault + "i2cset -y 0 0x58 0x10 0 bp; i2cget -y 0 0x58 0x10").out, HasSubstr("0x80"));
}

} // namespace varnel::test
