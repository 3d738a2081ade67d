// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <istream>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace varnel::sim::scenario {

using std::chrono::milliseconds;

/// "exp0.led-fault low"
struct reading_is {
    std::string chip;
    std::string reading;
    std::string value;
};

/// "transfer to psu1"
struct transfer_to {
    std::string chip;
};

/// "monitor prints /regex/": a line of either stream, after those that have already been matched.
struct prints_line {
    std::string program;
    std::string pattern; ///< extended regular expression
};

/// "log monitor.log has /regex/": a line, after those that have already been matched.
struct log_has {
    std::string file;
    std::string pattern; ///< extended regular expression
};

/// "queue events has /regex/": the payload of a record, after those that have already been matched.
struct queue_has {
    std::string file;
    std::string pattern; ///< extended regular expression
};

/// "monitor ends with 0"
struct ends_with {
    std::string program;
    std::optional<int> status; ///< nothing: any
};

/// "succeeds grep -q fan board_monitor.log"
struct command_succeeds {
    std::string command; ///< for the shell
};

using condition =
    std::variant<reading_is, transfer_to, prints_line, log_has, queue_has, ends_with, command_succeeds>;

/// "start monitor board_monitor -i 1"
struct start_program {
    std::string name;
    std::string command; ///< for the shell
};

/// "stop monitor", "kill monitor"
struct end_program {
    std::string name;
    int signal;
};

/// "power off", "power on": of the board with all its programs.
struct switch_power {
    bool on;
};

/// "at 2s", "after 500ms"
struct pause {
    milliseconds time;
    bool since_begin;
};

/// "when CONDITION", "expect within 5s CONDITION"
struct expect_soon {
    condition what;
    milliseconds within;
};

/// "expect no CONDITION for 10s"
struct expect_none {
    condition what;
    milliseconds during;
};

/// "run COMMAND": to its end, which has to be a success.
struct run_command {
    std::string command;
};

/// "set psu0.load 700W", "fault mux0 nack": of varnel-sim.
struct board_command {
    std::vector<std::string> words;
};

using action = std::variant<start_program, end_program, switch_power, pause, expect_soon, expect_none,
                            run_command, board_command>;

struct step {
    int line;
    std::string text; ///< as written
    action what;
};

/// A scenario: what happens to a board, and what has to follow.
struct script {
    std::string file;
    std::string title; ///< its first line, a comment
    std::string board; ///< description, relative to the scenario
    std::vector<step> steps;
    std::set<std::string> queues = {}; ///< that conditions name
};

/// How long "when" and "expect" wait without "within".
inline constexpr milliseconds usual_wait{5000};

/// Reads a scenario; `file` is for messages. Throws host::bad_line.
[[nodiscard]] script read_script(std::istream &input, const std::string &file);

} // namespace varnel::sim::scenario
