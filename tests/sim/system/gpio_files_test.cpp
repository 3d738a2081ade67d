// SPDX-License-Identifier: Apache-2.0
// /dev/gpiochipN for programs that know nothing of this project: a statically linked one, and those of libgpiod.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "tests/sim/system/workbench.h"

namespace varnel::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class gpio_files : public workbench {
  public:
    gpio_files() { board = file("pins.ini", description()); }

    static std::string description() {
        std::string text = "[board]\nname = pins\n"
                           "[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\nname.3 = lid\ngpiochip = yes\n";
        for (int line = 8; line < 16; ++line) {
            text += std::to_string(line) + " = high\n";
        }
        return text;
    }

    [[nodiscard]] finished on_pins(const words &program) const { return run(on_board(program)); }
    void expect_good(const std::string &way) const {
        const finished result = on_pins({PIN_FILE, way});
        EXPECT_EQ(result.out, "good\n");
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
    }
    void expect_edges(const std::string &way) const {
        process program(on_board({PIN_FILE, way}));
        EXPECT_EQ(program.read_line(), "ready");
        set("gpio.8", "low");
        set("gpio.8", "high");
        EXPECT_EQ(program.finish().out, "good\n");
    }
    void set(const std::string &name, const std::string &value) const {
        EXPECT_EQ(sim_run({"set", "--board", board, name, value}).status, 0);
    }
    /// Registers and data of the transfers that a program causes.
    [[nodiscard]] std::vector<std::string> transfers_of(const words &program) const {
        words all = sim({"run", "--board", board, "--trace", folder() + "/trace", "--"});
        all.insert(all.end(), program.begin(), program.end());
        EXPECT_EQ(run(all).status, 0);
        std::istringstream lines(read_file(folder() + "/trace").value_or(""));
        std::vector<std::string> transfers;
        for (std::string line; std::getline(lines, line);) {
            const auto start = line.find("@0x20 ");
            transfers.push_back(line.substr(start == line.npos ? 0 : start + 6));
        }
        return transfers;
    }
};

TEST_F(gpio_files, are_found_by_stat_and_in_the_folder) { expect_good("found"); }
TEST_F(gpio_files, tell_about_chip_and_lines) { expect_good("info"); }
TEST_F(gpio_files, fail_with_the_errno_of_linux) { expect_good("fail"); }
TEST_F(gpio_files, lines_have_one_user) { expect_good("v2"); }
TEST_F(gpio_files, lines_are_set_and_configured) { expect_good("set"); }
TEST_F(gpio_files, first_version_of_the_requests_works) { expect_good("v1"); }
TEST_F(gpio_files, lines_are_shared_with_children) { expect_good("share"); }
TEST_F(gpio_files, changes_of_watched_lines_are_reported) { expect_good("watch"); }
TEST_F(gpio_files, lines_may_be_requested_many_times) { expect_good("many"); }
TEST_F(gpio_files, edges_are_reported) { expect_edges("edges-v2"); }
TEST_F(gpio_files, edges_are_reported_in_the_first_version) { expect_edges("edges-v1"); }

TEST_F(gpio_files, lines_of_a_killed_program_are_free) {
    process holder(on_board({PIN_FILE, "hold"}));
    EXPECT_EQ(holder.read_line(), "ready");
    EXPECT_THAT(on_pins({"gpioget", "gpiochip0", "0"}).err, HasSubstr("Device or resource busy"));
    EXPECT_THAT(on_pins({"gpioinfo", "gpiochip0"}).out,
                HasSubstr("line   0:      unnamed   \"pin_file\"  output  active-high [used]"));
    holder.send(SIGTERM);
    EXPECT_EQ(holder.finish().status, 128 + SIGTERM);
    EXPECT_EQ(on_pins({"gpioget", "gpiochip0", "0"}).out, "1\n");
}

TEST_F(gpio_files, tools_of_libgpiod_find_chips_and_lines) {
    EXPECT_EQ(on_pins({"gpiodetect"}).out, "gpiochip0 [0-0020] (16 lines)\n");
    EXPECT_EQ(on_pins({"gpiofind", "lid"}).out, "gpiochip0 3\n");
    EXPECT_THAT(on_pins({"gpioinfo"}).out,
                HasSubstr("line   3:        \"lid\"       unused   input  active-high"));
    EXPECT_EQ(on_pins({"gpioget", "0-0020", "3", "8"}).out, "1 1\n");
    const finished missing = on_pins({"gpioget", "gpiochip1", "0"});
    EXPECT_THAT(missing.err, HasSubstr("No such file or directory"));
    EXPECT_NE(missing.status, 0);
}

TEST_F(gpio_files, gpiomon_prints_edges) {
    process monitor(
        on_board({"gpiomon", "--num-events=2", "--format=%o %e", "--line-buffered", "gpiochip0", "8"}));
    const process keeper = keep_powered();
    while (sim_run({"show", "--board", board, "gpio"}).status != 0 ||
           on_pins({"gpioinfo"}).out.find("gpiomon") == std::string::npos) {
    }
    set("gpio.8", "low");
    set("gpio.8", "high");
    EXPECT_EQ(monitor.finish().out, "8 0\n8 1\n");
}

TEST_F(gpio_files, interrupt_of_another_chip_that_comes_with_time_is_an_edge) {
    board = file("alarm.ini", "[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\ngpiochip = yes\n"
                              "[rtc]\ntype = ds3232\nbus = 0\naddress = 0x68\ninterrupt = gpio.5\n");
    process monitor(
        on_board({"gpiomon", "--num-events=1", "--format=%o %e", "--line-buffered", "gpiochip0", "5"}));
    const process keeper = keep_powered();
    while (on_pins({"gpioinfo"}).out.find("gpiomon") == std::string::npos) {
    }
    EXPECT_EQ(call({"0x6800", "wb", "7", "0x80", "wb", "8", "0x80", "wb", "9", "0x80", "wb", "10", "0x80"}),
              "wb ok\nwb ok\nwb ok\nwb ok\n");
    EXPECT_EQ(call({"0x6800", "wb", "14", "0x05"}), "wb ok\n") << "an alarm each second";
    EXPECT_EQ(monitor.finish().out, "5 0\n");
}

TEST_F(gpio_files, transfers_are_those_of_the_driver) {
    EXPECT_THAT(transfers_of({"gpioset", "gpiochip0", "9=0"}),
                ElementsAre("Configuration port 0(0x06) -> ff  ok", "Configuration port 1(0x07) -> ff  ok",
                            "Output port 1(0x03) -> ff  ok", "Output port 1(0x03) <- fd  ok",
                            "Configuration port 1(0x07) <- fd  ok"));
    EXPECT_THAT(transfers_of({"gpioget", "gpiochip0", "3"}),
                ElementsAre("Configuration port 0(0x06) -> ff  ok", "Configuration port 1(0x07) -> ff  ok",
                            "Configuration port 0(0x06) <- ff  ok", "Input port 0(0x00) -> ff ff  ok"));
}

TEST_F(gpio_files, folder_lists_the_boards_devices_only) {
    const finished result = on_pins(
        {"find", "/dev/", "-maxdepth", "1", "-name", "gpiochip*", "-o", "-maxdepth", "1", "-name", "i2c-*"});
    EXPECT_THAT(result.out, ::testing::AnyOf("/dev/i2c-0\n/dev/gpiochip0\n", "/dev/gpiochip0\n/dev/i2c-0\n"));
}

TEST_F(gpio_files, many_requests_leave_no_descriptors) {
    process programs(on_board({"sh", "-c", "echo $PPID; while read go; do " PIN_FILE " many; done"}));
    const std::string supervisor = "/proc/" + programs.read_line() + "/fd";
    programs.write("go\n");
    EXPECT_EQ(programs.read_line(), "good");
    const auto open_now = [&supervisor] {
        const std::filesystem::directory_iterator all(supervisor);
        return std::distance(begin(all), end(all));
    };
    const auto before = open_now();
    programs.write("go\n");
    EXPECT_EQ(programs.read_line(), "good");
    const auto limit = std::chrono::steady_clock::now() + deadline;
    while (open_now() > before && std::chrono::steady_clock::now() < limit) {
    }
    EXPECT_LE(open_now(), before);
    EXPECT_LT(before, 32);
}

TEST_F(gpio_files, without_chips_there_are_none) {
    const std::string none = file("none.ini", "[fru]\ntype = 24c02\nbus = 0\naddress = 0x50\n");
    EXPECT_EQ(run(on(none, {"gpiodetect"})).out, "");
    EXPECT_EQ(run(on(none, {"sh", "-c", "ls /dev/gpiochip* /sys/bus/gpio/devices 2>/dev/null"})).out,
              "/sys/bus/gpio/devices:\n");
}

} // namespace varnel::test
