// SPDX-License-Identifier: Apache-2.0
// The cost of one SMBus transaction above a bus that answers at once: time, instructions and allocations, and
// the time as the number of devices grows. Each contender is a program of its own (transactions.cpp): ours on
// the null port; ours with its platform for Linux, and libi2c, on the same null adapter, which replaces the
// kernel's ioctl(); and direct calls of the null port's functions.
//
// bench_smbus [--json FILE] [time|instructions|allocations|growth]...
#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/results.h"

namespace {

using namespace varnel::bench;

struct program {
    std::string name;
    role who;
    std::string file;
};

const std::vector<program> programs{{"varnel", role::ours, SMBUS_VARNEL},
                                    {"varnel and its platform for Linux", role::ours, SMBUS_VARNEL_LINUX},
                                    {"libi2c", role::peer, SMBUS_LIBI2C},
                                    {"the port's function, no library", role::floor, SMBUS_BARE}};

struct shape {
    std::string name;
    std::string title;
};

const std::vector<shape> shapes{{"read_byte", "SMBus read byte"},
                                {"read_word", "SMBus read word"},
                                {"write_word", "SMBus write word"},
                                {"read_block", "SMBus block read, 32 bytes"}};

const std::string contenders_do =
    " The null bus answers at once. It is below the port for varnel and the floor; below ioctl() "
    "for varnel with its platform, which also checks each time whether its descriptor is still "
    "that of the adapter (fstat), and for libi2c, whose slave address is set before.";

/// The cost of all transactions of a run.
struct cost {
    double nanoseconds;
    double allocations;
};

std::string command_line(const program &who, const std::string &shape_name, std::size_t devices, int count) {
    return quoted(who.file) + " " + shape_name + " " + std::to_string(devices) + " " + std::to_string(count);
}

cost cost_of(const std::string &command) {
    cost found{};
    std::istringstream output(output_of(command));
    if (!(output >> found.nanoseconds >> found.allocations)) {
        throw std::runtime_error("no result of: " + command);
    }
    return found;
}

std::vector<contender> timed(const std::string &shape_name, std::size_t devices) {
    constexpr int transactions = 50'000;
    std::vector<contender> all;
    for (const program &each : programs) {
        const std::string command = command_line(each, shape_name, devices, transactions);
        all.push_back(
            {each.name, each.who, [command] { return cost_of(command).nanoseconds / transactions; }});
    }
    return all;
}

void measure_time(results &found) {
    for (const shape &each : shapes) {
        found.add(figure{"smbus." + each.name, each.title + " on a null bus", "ns", better::lower,
                         "Processor time, 50,000 transactions with one device, including the calling loop "
                         "and a check of the "
                         "answer.",
                         interleaved(31, timed(each.name, 1))});
    }
}

/// Instructions of the whole program.
double instructions_of(const std::string &command) {
    const std::string output =
        output_of("valgrind --tool=callgrind --callgrind-out-file=/dev/null " + command + " 2>&1");
    const std::string label = "Collected : ";
    const std::size_t at = output.find(label);
    if (at == std::string::npos) {
        throw std::runtime_error("callgrind counted nothing: " + command);
    }
    return std::stod(output.substr(at + label.size()));
}

void count_instructions(results &found) {
    constexpr int transactions = 10'000;
    for (const shape &each : shapes) {
        std::vector<measurement> counted;
        for (const program &who : programs) {
            const double once = instructions_of(command_line(who, each.name, 1, transactions));
            const double twice = instructions_of(command_line(who, each.name, 1, 2 * transactions));
            // Printing times of different lengths causes a fraction.
            counted.push_back({who.name, who.who, {std::round((twice - once) / transactions)}});
        }
        found.add(figure{"smbus." + each.name + ".instructions", "Instructions of " + each.title,
                         "instructions", better::lower,
                         "Counted by callgrind, outside the kernel: the difference between 20,000 and 10,000 "
                         "transactions, "
                         "including the calling loop and a check of the answer.",
                         counted});
    }
}

void count_allocations(results &found) {
    constexpr int transactions = 1000;
    std::vector<measurement> counted;
    for (const program &who : programs) {
        double most = 0;
        for (const shape &each : shapes) {
            const double allocations = cost_of("LD_PRELOAD=" + quoted(ALLOCATION_COUNTER) + " " +
                                               command_line(who, each.name, 1, transactions))
                                           .allocations /
                                       transactions;
            if (allocations < 0) {
                throw std::runtime_error("the allocation counter is not loaded");
            }
            most = std::max(most, allocations);
        }
        counted.push_back({who.name, who.who, {most}});
    }
    found.add(figure{
        "smbus.allocations", "Memory allocations of an SMBus transaction", "allocations", better::lower,
        "malloc() and similar calls, counted in 1,000 transactions each of read byte, read word, write "
        "word and block read; the maximum of the four.",
        counted});
}

void measure_growth(results &found) {
    const std::vector<double> sizes{1, 10, 100, 1000};
    found.add(growth{
        "smbus.read_word.devices", "SMBus read word, devices in turn", "devices", "ns",
        "Processor time of one transaction when 1 to 1000 devices are read in turn, up to 100 on "
        "an adapter or multiplexer channel (Linux gives each a bus number). libi2c keeps a "
        "descriptor for each bus and sets the slave address whenever it changes; our handles "
        "contain it.",
        sizes, measured_growth(15, sizes, [](std::size_t devices) { return timed("read_word", devices); })});
}

} // namespace

int main(int argc, char **argv) {
    const family smbus{
        "smbus", "SMBus transactions",
        "Processor cost of a transaction on a bus that answers at once. On a real bus, read word "
        "takes about half a millisecond at 100 kHz." +
            contenders_do};
    return run_benchmark(argc, argv,
                         {{"time", measure_time},
                          {"instructions", count_instructions},
                          {"allocations", count_allocations},
                          {"growth", measure_growth}},
                         {smbus});
}
