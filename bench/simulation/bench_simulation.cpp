// SPDX-License-Identifier: Apache-2.0
// What virtual time saves: an hour of board_monitor, runs a second, and whether each run of several programs is the same.
//
// bench_simulation [--json FILE] [hour|runs|traces]...
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "support/command.h"
#include "support/memory_folder.h"
#include "support/results.h"

namespace {

using namespace varnel::bench;

std::string on_the_board(const std::string &options, const std::string &program) {
    return quoted(VARNEL_SIM) + " run --private --board " + quoted(BOARD) + " " + options + " -- " + program;
}

double seconds_of(const std::string &command) {
    const auto begin = std::chrono::steady_clock::now();
    output_of(command);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

contender timed(const std::string &name, role who, const std::string &command) {
    return {name, who, [=] { return seconds_of(command); }};
}

void measure_hour(results &found) {
    const std::string monitor = quoted(BOARD_MONITOR) + " -n 3600 -i ";
    found.add(figure{
        "simulation.hour", "An hour of board_monitor, at one poll a second", "s", better::lower,
        "Wall time of 3,600 polls; the floor is the same polls in real time without a wait between them.",
        interleaved(5, {timed("virtual time", role::ours, on_the_board("--time virtual", monitor + "1")),
                        timed("the polls alone", role::floor, on_the_board("", monitor + "0"))})});
}

/// How many runs a second, one after another.
double rate_of(const std::string &command) {
    static constexpr int runs = 20;
    return runs /
           seconds_of("for i in $(seq " + std::to_string(runs) + "); do " + command + " || exit 1; done");
}

void measure_runs(results &found) {
    const std::string monitor = quoted(BOARD_MONITOR) + " -n 1 >/dev/null";
    const auto rate = [&](const std::string &name, role who, const std::string &options) {
        return contender{name, who, [=] { return rate_of(on_the_board(options, monitor)); }};
    };
    found.add(figure{"simulation.runs", "Runs of a program, each on a board of its own", "runs/s",
                     better::higher,
                     "board_monitor -n 1: a board is powered on, the program polls it once, the board ends.",
                     interleaved(5, {rate("virtual time", role::ours, "--time virtual"),
                                     rate("real time", role::floor, "")})});
}

std::string content_of(const std::string &file) {
    std::ifstream input(file);
    return {std::istreambuf_iterator<char>(input), {}};
}

/// How many different traces three programs make in 20 runs.
double different_traces() {
    static constexpr int runs = 20;
    const memory_folder here;
    const std::string trace = here.file("trace");
    const std::string monitor = quoted(BOARD_MONITOR) + " -n 10 -i ";
    const std::string three = "sh -c " + quoted(monitor + "1 & " + monitor + "2 & " + monitor + "3 & wait");
    std::set<std::string> traces;
    for (int i = 0; i < runs; ++i) {
        output_of(on_the_board("--time virtual --trace " + quoted(trace), three));
        traces.insert(content_of(trace));
    }
    return static_cast<double>(traces.size());
}

void measure_traces(results &found) {
    found.add(figure{"simulation.traces",
                     "Different traces in 20 runs of three programs",
                     "traces",
                     better::lower,
                     "board_monitor three times on one board in virtual time, at 1, 2 and 3 seconds a poll.",
                     {{"virtual time", role::ours, {different_traces()}}}});
}

} // namespace

int main(int argc, char **argv) {
    const memory_folder here; // for boards of the benchmark's own, whatever else runs on the machine
    setenv("XDG_RUNTIME_DIR", here.file("").c_str(), 1);
    const family simulation{"simulation", "Virtual time",
                            "What an hour on the simulated board costs with varnel-sim run --time virtual."};
    return run_benchmark(argc, argv,
                         {{"hour", measure_hour}, {"runs", measure_runs}, {"traces", measure_traces}},
                         {simulation});
}
