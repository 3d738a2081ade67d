// SPDX-License-Identifier: Apache-2.0
// Many programs on the device files of one board, and programs that are killed: nothing is left of them.
//
// VARNEL_PROGRAMS=N in the environment: how many programs are started one after another (default: 50), and for a fifth of
// that number a board each.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include <sys/prctl.h>
#include <sys/wait.h>

#include "tests/sim/system/workbench.h"

namespace varnel::test {

namespace fs = std::filesystem;
using ::testing::EndsWith;

class device_files_limits : public workbench {
  public:
    device_files_limits() {
        fs::create_directory(temporary());
        setenv("TMPDIR", temporary().c_str(), 1);
        prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0); // servers and supervisors become children of the test
    }
    ~device_files_limits() override {
        prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
        unsetenv("TMPDIR");
    }

    /// Waits for all processes to end; then there is only the lock file of the board.
    void expect_nothing_left() const {
        while (wait(nullptr) > 0) {
        }
        EXPECT_TRUE(fs::is_empty(temporary()));
        for (const auto &file : fs::directory_iterator(runtime_directory())) {
            EXPECT_THAT(file.path().string(), EndsWith(".lock"));
        }
    }

    /// A run of a shell command, with $3 for the standard input of programs in the background.
    [[nodiscard]] process shell(const std::string &command) const {
        return process(on_board({"sh", "-c", "exec 3<&0; " + command}));
    }

    /// Reads "ready PID" lines.
    static std::vector<pid_t> ready(process &programs, std::size_t count) {
        std::vector<pid_t> ids;
        while (ids.size() < count) {
            const std::string line = programs.read_line();
            if (!line.starts_with("ready ")) {
                ADD_FAILURE() << "'" << line << "'";
                break;
            }
            ids.push_back(std::stoi(line.substr(line.find(' '))));
        }
        return ids;
    }

  private:
    [[nodiscard]] std::string temporary() const { return folder() + "/tmp"; }
};

int count_of_programs() {
    const char *const wanted = std::getenv("VARNEL_PROGRAMS");
    return wanted == nullptr ? 50 : std::stoi(wanted);
}

/// Descriptors that a process has open.
std::ptrdiff_t descriptors_of(pid_t id) {
    const fs::directory_iterator all("/proc/" + std::to_string(id) + "/fd");
    return std::distance(begin(all), end(all));
}

std::string times(int count, const std::string &command) {
    return "i=0; while [ $i -lt " + std::to_string(count) + " ]; do i=$((i+1)); " + command + "; done; ";
}

std::string lines(int count, const std::string &text) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text + "\n";
    }
    return all;
}

TEST_F(device_files_limits, runs_one_after_another_leave_nothing) {
    for (int i = count_of_programs() / 5; i > 0; --i) {
        EXPECT_EQ(run(on_board({BUS_FILE, "read-write"})).out, "good\n");
    }
    expect_nothing_left();
}

TEST_F(device_files_limits, programs_one_after_another_leave_no_descriptors) {
    process programs =
        shell("echo $PPID; while read go; do " +
              times(count_of_programs(), BUS_FILE " read-write >" + folder() + "/out || exit 1") +
              "echo done; done");
    const pid_t supervisor = std::stoi(programs.read_line());
    const auto before = descriptors_of(supervisor);
    programs.write("go\n");
    EXPECT_EQ(programs.read_line(), "done");
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (descriptors_of(supervisor) != before && std::chrono::steady_clock::now() < end) {
    }
    EXPECT_EQ(descriptors_of(supervisor), before);
    EXPECT_EQ(programs.finish().status, 0);
    expect_nothing_left();
}

TEST_F(device_files_limits, board_serves_64_programs_at_once) {
    std::vector<process> runs;
    for (int i = 0; i < 4; ++i) {
        runs.push_back(shell(times(16, "{ " BUS_FILE " wait <&3 & }") + "exec 3<&-; wait"));
        EXPECT_EQ(ready(runs.back(), 16).size(), 16U);
    }
    for (process &each : runs) {
        EXPECT_EQ(each.finish().out, lines(16, "good"));
    }
    expect_nothing_left();
}

TEST_F(device_files_limits, killed_programs_harm_no_other) {
    process programs = shell(BUS_FILE " wait <&3 & " + times(16, "{ " BUS_FILE " repeat & }") + "wait");
    // They may become ready in any order. All but the one that waits have no input.
    for (const pid_t id : ready(programs, 17)) {
        if (fs::read_symlink("/proc/" + std::to_string(id) + "/fd/0") == "/dev/null") {
            EXPECT_EQ(kill(id, SIGKILL), 0); // in the middle of a transfer, most likely
        }
    }
    EXPECT_EQ(programs.finish().out, "good\n");
    expect_nothing_left();
}

} // namespace varnel::test
