// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace varnel::bench {

/// What one run came to.
struct outcome {
    double rate = 0;      ///< per second
    double processor = 0; ///< processor time of all processes, in the comparison's unit
};

struct contender {
    std::string name;
    std::function<outcome()> run;
};

/// Runs all contenders in turn, round after round, each round beginning with another one, and prints for each
/// the median, the spread, and how the first contender (ours) compares: the median of the ratios of each
/// round. `unit` is what the rates count; with a `processor_unit` processor times are printed, too. `goal`
/// names a contender and the percentage of it that ours is to reach.
struct comparison {
    std::string title;
    std::string unit;
    int rounds;
    std::string goal_peer = "";
    double goal_percent = 0;
    std::string processor_unit = "";
};
void compare(const comparison &what, const std::vector<contender> &contenders);

double median(std::vector<double> values);

double now(); ///< seconds, monotonic

/// Ends the benchmark with the failed call and its error when `result` is negative.
long checked(long result, const char *call);

/// Runs `body` in another process.
pid_t start_process(const std::function<void()> &body);
/// Waits for its end; returns the processor seconds it used. Its failure ends the benchmark.
double finish_process(pid_t id);

/// Processor seconds of this process so far.
double processor_seconds();

} // namespace varnel::bench
