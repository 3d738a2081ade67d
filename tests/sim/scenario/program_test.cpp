// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "sim/scenario/program.h"
#include "support/scratch_folder.h"

namespace varnel::test {

/// In place of a supervisor: leaves the process group, and is at work for a while after the program has been killed.
[[noreturn]] void serve(pid_t program, const std::string &file_at_end) {
    setsid();
    (void)!write(STDOUT_FILENO, "served\n", 7);
    while (getppid() == program) {
        usleep(1000);
    }
    usleep(100'000);
    write_file(file_at_end, "");
    _exit(0);
}

TEST(scenario_program, cutting_off_waits_until_nobody_serves_the_program) {
    const scratch_folder folder;
    const std::string file = folder.file("end");
    const sim::scenario::runner become = [&](const std::vector<std::string> &) {
        const pid_t self = getpid();
        if (fork() == 0) {
            serve(self, file);
        }
        pause();
    };
    sim::scenario::program program(become, {"served"}, -1);
    while (!program.status() && program.lines().all().empty()) {
        program.look();
        usleep(1000);
    }
    program.cut_off();
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(program.status(), 128 + SIGKILL);
}

} // namespace varnel::test
