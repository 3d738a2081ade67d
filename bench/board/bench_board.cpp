// SPDX-License-Identifier: Apache-2.0
// What the simulated board costs programs that know nothing of it: a transfer through an open /dev/i2c-0, the start of a
// program, and system calls that have nothing to do with the board. The supervisor answers calls that may concern
// /dev/i2c-N; beside it stand the primitive of the preloaded library, and programs without a supervisor
// (run --host-devices). All work is done by a program of its own (board_work.c).
//
// bench_board [--json FILE] [transfer|start|calls]...
#include <cstdlib>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/memory_folder.h"
#include "support/results.h"

namespace {

using namespace varnel::bench;

const std::string with_supervisor = "with the board's device files";
const std::string without_supervisor = "with the machine's (--host-devices)";

/// The nanoseconds of one piece of work, done by a program on the board.
double nanoseconds(const std::string &run_options, const std::string &work) {
    return std::stod(output_of(quoted(VARNEL_SIM) + " run --board " + quoted(BOARD) + " " + run_options +
                               " -- " + quoted(BOARD_WORK) + " " + work));
}

contender on_board(const std::string &name, role who, double divisor, const std::string &run_options,
                   const std::string &work) {
    return {name, who, [=] { return nanoseconds(run_options, work) / divisor; }};
}

constexpr double microsecond = 1e3;
constexpr double millisecond = 1e6;

void measure_transfer(results &found) {
    found.add(
        figure{"board.transfer", "Reading a register of a chip on the simulated board", "us", better::lower,
               "Mean of 10,000 write-reads of one register (I2C_RDWR through an open /dev/i2c-0, and the "
               "primitive that the library imports).",
               interleaved(15, {on_board("/dev/i2c-0", role::ours, microsecond, "", "transfer 10000"),
                                on_board("primitive of the preloaded library", role::floor, microsecond,
                                         "--host-devices", "primitive 10000")})});
}

void measure_start(results &found) {
    found.add(
        figure{"board.start", "Starting i2cget on the simulated board", "ms", better::lower,
               "Mean of 100 starts, one after another, each with the simulator's library preloaded; i2cget "
               "also reads a register.",
               interleaved(15, {on_board("i2cget -y 0 0x20 2", role::ours, millisecond, "",
                                         "start 100 /usr/sbin/i2cget -y 0 0x20 2"),
                                on_board("true", role::floor, millisecond, "", "start 100 /bin/true"),
                                on_board("true, " + without_supervisor, role::floor, millisecond,
                                         "--host-devices", "start 100 /bin/true")})});
}

void measure_calls(results &found) {
    const auto compare = [&](const std::string &id, const std::string &title, const std::string &how,
                             const std::string &work) {
        found.add(figure{id, title, "us", better::lower, how,
                         interleaved(15, {on_board(with_supervisor, role::ours, microsecond, "", work),
                                          on_board(without_supervisor, role::floor, microsecond,
                                                   "--host-devices", work)})});
    };
    compare(
        "board.open", "Opening and closing another file on the simulated board",
        "Mean of 10,000 open() and close() of /dev/null: the supervisor looks at the path of every open().",
        "open 10000");
    compare("board.read", "Reading a byte of another file on the simulated board",
            "Mean of 1,000,000 read() of /dev/zero: the filter in the kernel lets them pass.",
            "read 1000000");
}

} // namespace

int main(int argc, char **argv) {
    const memory_folder here; // for boards of the benchmark's own, whatever else runs on the machine
    setenv("XDG_RUNTIME_DIR", here.file("").c_str(), 1);
    const family board{
        "board", "Programs on the simulated board",
        "What varnel-sim costs unchanged programs, which find the board's buses as /dev/i2c-N."};
    return run_benchmark(argc, argv,
                         {{"transfer", measure_transfer}, {"start", measure_start}, {"calls", measure_calls}},
                         {board});
}
