// SPDX-License-Identifier: Apache-2.0
// varnel-sim show, set, fault and trace while a board is on.

#include <algorithm>
#include <sstream>

#include "tests/sim/system/workbench.h"

namespace varnel::test {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using json = nlohmann::ordered_json;

class commands : public workbench {
  public:
    /// A command that is to succeed without a word; its output.
    static std::string good(const words &arguments) {
        const finished result = sim_run(arguments);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.status, 0);
        return result.out;
    }

    process keeper = keep_powered();
};

TEST_F(commands, show_prints_the_tree_of_buses_and_chips) {
    ASSERT_EQ(call({"0x7000", "sb", "1"}), "sb ok\n");
    good({"fault", "psu", "nack", "--count", "3"});
    const std::string text = good({"show"});
    EXPECT_THAT(text, StartsWith("board bench, on for "));
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    EXPECT_THAT(lines, ::testing::IsSupersetOf({"bus 0", "  0x20 gpio (pca9555)", "  0x50 fru (24c02)",
                                                "  0x70 mux (pca9548)", "    mux.0 on",
                                                "      0x58 psu (car2512)  fault: nack 3 more", "bus 1",
                                                "  0x38 other (pca9554)"}));
    EXPECT_THAT(text, ::testing::Not(HasSubstr("mux.1")));
    EXPECT_TRUE(std::ranges::all_of(lines, [](const std::string &line) { return line.size() <= 100; }));
}

TEST_F(commands, show_of_chips_prints_settings_and_channels) {
    const std::string text = good({"show", "psu", "mux"});
    EXPECT_THAT(text, StartsWith("psu (car2512) 0x58 on bus mux.0\n"));
    EXPECT_THAT(text, HasSubstr("\n  * load "));
    EXPECT_THAT(text, HasSubstr("\nmux (pca9548) 0x70 on bus 0\n"));
    EXPECT_THAT(text, HasSubstr("\n    mux.0 off\n"));
}

TEST_F(commands, show_json_has_numbers_with_units_in_the_keys) {
    const json all = json::parse(good({"show", "--json"}));
    EXPECT_EQ(all["board"], "bench");
    EXPECT_EQ(all["file"], board);
    EXPECT_GT(all["uptime_seconds"].get<double>(), 0);
    EXPECT_EQ(all["programs"][0]["process"], "sh");
    EXPECT_EQ(all["programs"].size(), 1u);
    EXPECT_EQ(all["chips"].size(), 5u);
    const json one = json::parse(good({"show", "psu", "--json"}));
    EXPECT_EQ(one["chips"].size(), 1u);
    const json &readings = one["chips"]["psu"]["readings"];
    EXPECT_EQ(readings["load_watts"].dump(), "100.0");
    EXPECT_EQ(readings["fan_speed_rpm"].dump(), "10000");
    EXPECT_EQ(readings["write-protect"].dump(), "128");
    EXPECT_EQ(readings["fan"], "ok");
}

TEST_F(commands, set_changes_pins_and_loads) {
    EXPECT_EQ(good({"set", "gpio.lid", "low", "psu.load", "180W"}), "");
    EXPECT_EQ(call({"0x2000", "rb", "0"}), "rb f7 ok\n");
    EXPECT_EQ(state()["chips"]["psu"]["readings"]["load_watts"], 180.0);
}

TEST_F(commands, set_accepts_negative_values) {
    good({"set", "psu.ambient", "-5C"});
    EXPECT_EQ(state()["chips"]["psu"]["readings"]["ambient_celsius"], -5.0);
}

TEST_F(commands, unplugged_chip_neither_answers_nor_shows_readings_until_it_is_plugged_in) {
    good({"unplug", "gpio", "psu"});
    EXPECT_EQ(call({"0x2000", "q"}), "q failed: No such device or address\n");
    EXPECT_THAT(good({"show", "gpio"}), StartsWith("gpio (pca9555) 0x20 on bus 0, unplugged\n"));
    EXPECT_THAT(good({"show"}), HasSubstr("      0x58 psu (car2512)  unplugged\n\nbus 1\n"));
    EXPECT_EQ(state()["chips"]["psu"]["plugged"], false);
    good({"plug", "gpio"});
    EXPECT_EQ(call({"0x2000", "q"}), "q ok\n");
}

TEST_F(commands, wait_ends_when_the_reading_has_the_value) {
    process waiting(sim({"wait", "psu.load", "180W"}));
    good({"set", "psu.load", "180W"});
    EXPECT_EQ(waiting.finish().status, 0);
}

TEST_F(commands, wait_takes_values_as_show_prints_them_or_a_word) {
    for (const char *const value : {"100", "100W", "100.0 W"}) {
        EXPECT_EQ(good({"wait", "psu.load", value, "--timeout", "1ms"}), "") << value;
    }
    good({"set", "gpio.lid", "low"});
    EXPECT_EQ(good({"wait", "gpio.lid", "low", "--timeout", "1ms"}), "");
    EXPECT_EQ(good({"wait", "psu.write-protect", "0x80", "--timeout", "1ms"}), "");
}

TEST_F(commands, wait_fails_after_its_timeout) {
    for (const char *const value : {"101W", "100V", "W", "1e", ""}) {
        const finished result = sim_run({"wait", "psu.load", value, "--timeout", "20ms"});
        EXPECT_EQ(result.err,
                  "varnel-sim: psu.load is '100.0 W' after 20 ms, not '" + std::string(value) + "'\n");
        EXPECT_EQ(result.status, 1);
    }
}

TEST_F(commands, fault_count_fails_that_many_transfers) {
    good({"fault", "gpio", "nack", "--count", "2"});
    EXPECT_EQ(call({"0x2000", "q", "q", "q"}),
              "q failed: No such device or address\nq failed: No such device or address\nq ok\n");
    good({"fault", "gpio", "short"});
    EXPECT_EQ(call({"0x2000", "read", "3", "read", "3"}), "read ff ff 2 of 3 bytes\nread ff ff ff ok\n");
    good({"fault", "fru", "stuck"});
    EXPECT_EQ(call({"0x3801", "q", "0x2000", "q", "q"}), "q ok\nq failed: Connection timed out\nq ok\n");
    good({"fault", "gpio", "nack", "--count", "9"});
    good({"fault", "gpio", "none"});
    EXPECT_EQ(call({"0x2000", "q"}), "q ok\n");
}

TEST_F(commands, fault_window_and_parameter_are_shown_and_kept) {
    good({"fault", "gpio", "nack", "--from", "2", "--until", "3"});
    good({"fault", "gpio", "stretch", "--byte", "2", "--count", "1", "--from", "2"});
    EXPECT_THAT(good({"show", "gpio"}),
                HasSubstr("    fault: nack rate 1 seed 1 from transfer 2 until transfer 3\n"
                          "    fault: stretch 1 more from transfer 2, byte 2\n"));
    EXPECT_EQ(call({"0x2000", "q", "q", "q", "q"}),
              "q ok\nq failed: No such device or address\nq failed: No such device or address\nq ok\n");
}

TEST_F(commands, fault_seed_strikes_the_same_transfers_in_every_run) {
    const words quick{"0x2000", "q", "q", "q", "q", "q", "q", "q", "q", "q", "q", "q", "q"};
    const words reads{"0x2000", "read", "2", "read", "2", "read", "2"};
    std::string patterns[2];
    std::string flips[2];
    for (int i = 0; i < 2; ++i) {
        good({"fault", "gpio", "nack", "--rate", "0.5", "--seed", "42"});
        patterns[i] = call(quick);
        good({"fault", "gpio", "none"});
        good({"fault", "gpio", "flip", "--count", "0x3", "--seed", "7"});
        flips[i] = call(reads);
    }
    EXPECT_EQ(patterns[0], patterns[1]);
    EXPECT_THAT(patterns[0], HasSubstr("q ok"));
    EXPECT_THAT(patterns[0], HasSubstr("q failed"));
    EXPECT_EQ(flips[0], flips[1]);
    EXPECT_NE(flips[0], "read ff ff ok\nread ff ff ok\nread ff ff ok\n");
    good({"fault", "gpio", "nack", "--rate", "0.5", "--seed", "43"});
    EXPECT_NE(call(quick), patterns[0]);
}

TEST_F(commands, trace_prints_the_latest_transfers) {
    call({"0x2000", "q", "rb", "0", "0x3801", "rb", "0"});
    const std::string text = good({"trace", "--last", "2"});
    EXPECT_THAT(text,
                ::testing::ContainsRegex(
                    "^[0-9]+[.][0-9]{6} i2c_call[[][0-9]+[]] 0 gpio@0x20 Input port 0[(]0x00[)] -> ff  ok\n"
                    "[0-9]+[.][0-9]{6} i2c_call[[][0-9]+[]] 1 other@0x38 .*[(]0x00[)] -> ff  ok\n$"));
    EXPECT_EQ(good({"trace", "--last", "0"}), "");
    EXPECT_EQ(std::ranges::count(good({"trace", "--last", "1000000"}), '\n'), 3);
}

TEST_F(commands, trace_json_prints_one_object_a_transfer) {
    call({"0x2100", "rb", "0", "0x2000", "rb", "1"});
    std::istringstream lines(good({"trace", "--last", "2", "--json"}));
    std::string line;
    std::getline(lines, line);
    const json failed = json::parse(line);
    EXPECT_EQ(failed["error"], "ENXIO");
    EXPECT_EQ(failed["chips"], json::array());
    std::getline(lines, line);
    json record = json::parse(line);
    EXPECT_EQ(record["process"], "i2c_call");
    EXPECT_GT(record["pid"].get<int>(), 0);
    EXPECT_GE(record["time_seconds"].get<double>(), failed["time_seconds"].get<double>());
    for (const char *const origin : {"time_seconds", "process", "pid"}) {
        record.erase(origin);
    }
    EXPECT_EQ(record.dump(),
              R"({"bus":0,"path":["0"],"chips":["gpio"],"address":32,"operation":"write-read",)"
              R"("register":1,"register_name":"Input port 1","written":[1],"written_length":1,)"
              R"("read":[255],"read_length":1,"result":0,"error":null,"error_text":null,)"
              R"("faults":[],"stop":true})");
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(commands, trace_follow_prints_each_transfer_at_once) {
    call({"0x2000", "q"});
    process follower(sim({"trace", "--board", board, "--last", "1", "--follow"}));
    EXPECT_THAT(follower.read_line(), HasSubstr("gpio@0x20 quick write  ok"));
    call({"0x5000", "q"});
    EXPECT_THAT(follower.read_line(), HasSubstr("fru@0x50 quick write  ok"));
    keeper.finish();
    EXPECT_EQ(follower.finish().status, 0); // with the board
}

TEST_F(commands, trace_count_ends_after_that_many_transfers) {
    call({"0x2000", "q", "q", "q"});
    EXPECT_EQ(std::ranges::count(good({"trace", "--last", "3", "--count", "2"}), '\n'), 2);
    EXPECT_EQ(good({"trace", "--count", "0"}), "");
}

TEST_F(commands, closed_output_pipe_ends_commands_without_a_message) {
    call({"0x2000", "q", "q", "q"});
    for (const char *const command : {"show", "show --json", "trace --last 3", "trace --last 3 --follow"}) {
        const finished result =
            run({"sh", "-c", "{ \"$0\" " + std::string(command) + "; echo $? >&2; } | :", sim({})[0]});
        EXPECT_THAT(result.err, ::testing::AnyOf("141\n", "1\n", "0\n"))
            << command; // SIGPIPE, or the reader had left before, or it was faster than `:`
    }
}

TEST_F(commands, trace_follow_ends_with_its_reader_without_new_transfers) {
    call({"0x2000", "q"});
    const finished result = run({"sh", "-c", "\"$0\" trace --last 1 --follow | head -n 1", sim({})[0]});
    EXPECT_THAT(result.out, HasSubstr("gpio@0x20 quick write  ok\n"));
    EXPECT_EQ(result.err, "");
}

/// Its exit status, with standard streams as `redirections` say.
int status_with(const std::string &command, const std::string &redirections, const std::string &varnel_sim) {
    return run({"sh", "-c", "\"$0\" " + command + " " + redirections, varnel_sim}).status;
}

TEST_F(commands, output_that_cannot_be_written_is_an_error) {
    call({"0x2000", "q"});
    const std::string program = sim({})[0];
    const finished result = run({"sh", "-c", "\"$0\" show >/dev/full", program});
    EXPECT_EQ(result.err, "varnel-sim: standard output: No space left on device\n");
    EXPECT_EQ(result.status, 1);
    for (const char *const command : {"show", "show --json", "trace --last 5", "trace --last 5 --json",
                                      "--help", "--version", "run --help"}) {
        for (const char *const streams : {">&-", "<&- >&-", ">&- 2>&-", "<&- >&- 2>&-", ">/dev/full"}) {
            EXPECT_EQ(status_with(command, streams, program), 1) << command << ' ' << streams;
        }
        EXPECT_EQ(status_with(command, "<&- 2>&- >/dev/null", program), 0) << command;
    }
}

TEST_F(commands, trace_follow_fails_when_its_reader_exited_before) {
    const finished result = run({"sh", "-c",
                                 "{ until [ -e \"$1\" ]; do :; done; \"$0\" trace --last 1 --follow; "
                                 "echo $? >&2; } | { exec <&-; : >\"$1\"; }",
                                 sim({})[0], folder() + "/gone"});
    EXPECT_EQ(result.err, "1\n");
}

TEST_F(commands, bad_arguments_fail_with_standard_error_closed_or_full) {
    for (const char *const command : {"--nope", "nope", "show nothere", "set", "trace --last x"}) {
        for (const char *const streams : {"2>&-", "2>/dev/full", "<&- >&- 2>&-"}) {
            EXPECT_EQ(status_with(command, streams, sim({})[0]), 2) << command << ' ' << streams;
        }
    }
    EXPECT_EQ(status_with("run -- ./nothing", "2>&-", sim({})[0]), 127);
}

TEST_F(commands, commands_work_in_a_shell_started_by_run) {
    const std::string script = "\"$0\" set gpio.lid low && \"$0\" show gpio | grep lid && \"$1\" 0x2000 rb 0";
    const finished result = run(on_board({"sh", "-c", script, sim({})[0], i2c_call()}));
    EXPECT_THAT(result.out, ::testing::ContainsRegex("^  [*] lid +input low.*\nrb f7 ok\n$"));
    EXPECT_EQ(result.status, 0);
}

struct mistake {
    const char *what;
    std::vector<std::string> arguments;
    const char *message;
};

const mistake mistakes[] = {
    {"nothing",
     {},
     "missing verb (one of run, show, set, plug, unplug, fault, trace, record, compare, wait, test, "
     "campaign, web); see "
     "--help"},
    {"command", {"shwo"}, "unexpected argument: shwo; did you mean 'show'?"},
    {"option", {"--nope", "show"}, "unexpected argument: --nope"},
    {"show_chip", {"show", "psu9"}, "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"show_one_of_two",
     {"show", "psu", "psu9"},
     "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"show_option", {"show", "--nope"}, "unexpected argument: --nope"},
    {"show_program", {"show", "--", "ls"}, "only run, record and campaign take a program after --"},
    {"board_missing", {"show", "--board", "/no/such.ini"}, "/no/such.ini: No such file or directory"},
    {"board_without_name", {"show", "--board"}, "--board: 1 required FILE missing"},
    {"set_nothing", {"set"}, "missing argument: CHIP.NAME VALUE..."},
    {"set_chip", {"set", "psu9.load", "1W"}, "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"set_no_name", {"set", "psu", "1W"}, "'psu' is not CHIP.NAME"},
    {"set_empty_name", {"set", "psu.", "1W"}, "'psu.' is not CHIP.NAME"},
    {"set_empty_chip", {"set", ".load", "1W"}, "'.load' is not CHIP.NAME"},
    {"set_no_value", {"set", "psu.load", "1W", "psu.ambient"}, "missing argument: value of psu.ambient"},
    {"set_option", {"set", "--nope", "psu.load", "1W"}, "unexpected argument: --nope"},
    {"set_second_bad",
     {"set", "psu.load", "1W", "psu9.load", "1W"},
     "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"unplug_nothing", {"unplug"}, "missing argument: CHIP"},
    {"unplug_chip",
     {"unplug", "psu", "psu9"},
     "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"fault_nothing", {"fault"}, "missing argument: CHIP KIND"},
    {"fault_no_kind", {"fault", "psu"}, "missing argument: CHIP KIND"},
    {"fault_chip",
     {"fault", "psu9", "nack"},
     "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"fault_clear_chip",
     {"fault", "psu9", "none"},
     "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"fault_kind",
     {"fault", "psu", "nak"},
     "there is no fault 'nak', only nack, nack-byte, busy, short, stuck, scl-stuck, arbitration, stretch, "
     "flip, pec, "
     "frozen, address, brownout, power-loss, taken and none"},
    {"fault_parameter", {"fault", "psu", "nack", "--byte", "2"}, "--byte is not for nack"},
    {"fault_without_parameter", {"fault", "psu", "address"}, "the fault address needs --address"},
    {"fault_parameter_range",
     {"fault", "psu", "address", "--address", "0x78"},
     "--address: '0x78' is not a number from 3 to 119"},
    {"fault_from",
     {"fault", "psu", "nack", "--from", "soon"},
     "--from: 'soon' is neither the number of a transfer nor a time, such as 500ms or 2s"},
    {"fault_for", {"fault", "psu", "busy", "--for", "5"}, "--for: '5' is not a time, such as 500ms or 2s"},
    {"fault_extra", {"fault", "psu", "nack", "3"}, "unexpected argument: 3"},
    {"fault_count_word",
     {"fault", "psu", "nack", "--count", "two"},
     "--count: 'two' is not a whole number of 1 or more"},
    {"fault_count_sign",
     {"fault", "psu", "nack", "--count", "-1"},
     "--count: '-1' is not a whole number of 1 or more"},
    {"fault_count_unit",
     {"fault", "psu", "nack", "--count", "3x"},
     "--count: '3x' is not a whole number of 1 or more"},
    {"fault_count_zero",
     {"fault", "psu", "nack", "--count", "0"},
     "--count: '0' is not a whole number of 1 or more"},
    {"fault_count_huge",
     {"fault", "psu", "nack", "--count", "18446744073709551616"},
     "--count: '18446744073709551616' is not a whole number of 1 or more"},
    {"fault_rate_word", {"fault", "psu", "nack", "--rate", "x"}, "--rate: 'x' is not a number from 0 to 1"},
    {"fault_rate_high",
     {"fault", "psu", "nack", "--rate", "1.01"},
     "--rate: '1.01' is not a number from 0 to 1"},
    {"fault_rate_low",
     {"fault", "psu", "nack", "--rate", "-0.1"},
     "--rate: '-0.1' is not a number from 0 to 1"},
    {"fault_rate_nan",
     {"fault", "psu", "nack", "--rate", "nan"},
     "--rate: 'nan' is not a number from 0 to 1"},
    {"fault_seed", {"fault", "psu", "nack", "--seed", "s"}, "--seed: 's' is not a whole number"},
    {"trace_last", {"trace", "--last", "x"}, "--last: 'x' is not a whole number"},
    {"trace_count", {"trace", "--count", "1.5"}, "--count: '1.5' is not a whole number"},
    {"trace_chip", {"trace", "psu"}, "unexpected argument: psu"},
    {"wait_nothing", {"wait"}, "missing argument: CHIP.READING"},
    {"wait_no_value", {"wait", "psu.load"}, "missing argument: VALUE"},
    {"wait_no_name", {"wait", "psu", "1"}, "'psu' is not CHIP.READING"},
    {"wait_chip",
     {"wait", "psu9.load", "1"},
     "there is no chip 'psu9' on board 'bench'; did you mean 'psu'?"},
    {"wait_reading", {"wait", "psu.laod", "1"}, "psu has no reading 'laod'; did you mean 'load'?"},
    {"wait_timeout",
     {"wait", "psu.load", "1", "--timeout", "soon"},
     "--timeout: 'soon' is not a time, such as 500ms, 1s or 2m"},
    {"run_nothing", {"run"}, "missing argument: -- PROGRAM ARGS..."},
    {"run_no_program", {"run", "--"}, "missing argument: -- PROGRAM ARGS..."},
    {"run_without_mark", {"run", "ls"}, "unexpected argument: ls"},
    {"run_board",
     {"run", "--board", "/no/such.ini", "--", "true"},
     "/no/such.ini: No such file or directory"},
    {"run_folder", {"run", "--board", "/", "--", "true"}, "/: Is a directory"},
};

TEST_F(commands, mistakes_are_refused_with_one_line_and_status_2_and_change_nothing) {
    const json before = state();
    for (const mistake &each : mistakes) {
        SCOPED_TRACE(each.what);
        const finished result = sim_run(each.arguments);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, std::string("varnel-sim: ") + each.message + "\n");
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(state(), before);
    }
}

/// Messages that chips word themselves.
TEST_F(commands, unknown_pin_or_bad_value_is_named_and_changes_nothing) {
    const json before = state();
    const words attempts[] = {{"set", "gpio.lib", "low"},
                              {"set", "gpio.lid", "lowish"},
                              {"set", "psu.load", "12V"},
                              {"set", "gpio.lid", "low", "psu.load", "99kW"},
                              {"set", "gpio.lid", "low", "psu.laod", "1W"}};
    const char *const named[] = {"lib", "lowish", "12V", "99kW", "laod"};
    for (std::size_t i = 0; i < std::size(attempts); ++i) {
        const finished result = sim_run(attempts[i]);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, ::testing::MatchesRegex("varnel-sim: (gpio|psu): [^\n]*\n"));
        EXPECT_THAT(result.err, HasSubstr(named[i]));
        EXPECT_EQ(state(), before);
    }
}

class board_not_named : public workbench {};

TEST_F(board_not_named, commands_fail_when_no_board_is_running) {
    for (const words &command :
         {words{"show"}, {"set", "a.b", "c"}, {"fault", "a", "nack"}, {"trace"}, {"run", "--", "true"}}) {
        const finished result = sim_run(command);
        EXPECT_EQ(result.err, "varnel-sim: no board is running, and none is named with --board FILE\n");
        EXPECT_EQ(result.status, 2);
    }
    const finished named = sim_run({"show", "--board", board});
    EXPECT_EQ(named.err, "varnel-sim: board " + board +
                             " is not running; start it with: varnel-sim run --board " + board +
                             " -- PROGRAM\n");
    EXPECT_EQ(named.status, 2);
}

TEST_F(board_not_named, commands_ask_for_board_when_several_are_running) {
    const std::string twin = file("twin.ini", "[gpio]\ntype = pca9555\nbus = 0\naddress = 0x20\n");
    process keeper = keep_powered();
    EXPECT_EQ(sim_run({"show"}).status, 0);
    process other(on(twin, {"sh", "-c", "echo powered; read line"}));
    EXPECT_EQ(other.read_line(), "powered");
    const finished result = sim_run({"show"});
    EXPECT_THAT(result.err, StartsWith("varnel-sim: several boards are running; choose one with --board: /"));
    EXPECT_THAT(result.err, HasSubstr(board));
    EXPECT_THAT(result.err, HasSubstr(twin));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(sim_run({"show", "gpio", "--board", twin}).status, 0);
}

TEST_F(board_not_named, run_joins_the_only_board) {
    process keeper = keep_powered();
    EXPECT_EQ(run(sim({"run", "--", i2c_call(), "0x3801", "q"})).out, "q ok\n");
}

TEST_F(board_not_named, run_in_a_shell_on_a_board_joins_it) {
    const finished result = run(on_board(
        {"sh", "-c", "\"$1\" 0x2000 wb 2 1; \"$0\" run -- \"$1\" 0x2000 rb 2", sim({})[0], i2c_call()}));
    EXPECT_EQ(result.out, "wb ok\nrb 01 ok\n");
}

TEST_F(board_not_named, version_is_that_of_the_project) {
    const finished result = sim_run({"--version"});
    EXPECT_EQ(result.out, "varnel-sim 1.0.0\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(board_not_named, help_describes_each_command) {
    for (const char *const command : {"run", "show", "set", "fault", "trace"}) {
        EXPECT_THAT(sim_run({"--help"}).out, HasSubstr(command));
        const finished help = sim_run({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.out, HasSubstr("--board"));
    }
}

} // namespace varnel::test
