// SPDX-License-Identifier: Apache-2.0
// What a benchmark finds: printed as a table as it comes, and kept as JSON for the report.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace varnel::bench {

enum class role {
    ours,
    peer,
    floor ///< what the job costs without anybody's library: nobody can be better
};

/// Several values are one for each round; all contenders of a figure have the same number of rounds. What is
/// counted and always the same (instructions, bytes, system calls) has one.
struct measurement {
    std::string name;
    role who;
    std::vector<double> values;
};

enum class better { lower, higher };

struct figure {
    std::string id;    ///< FAMILY.WHAT, as "ini.get": README and the report find it by this
    std::string title; ///< "Reading the last key of a 100-line file"
    std::string unit;  ///< "us", "records/s", "instructions"
    better direction;
    std::string how;                     ///< how it was measured, in a sentence or two
    std::vector<measurement> contenders; ///< ours first
};

/// Cost as work grows: the points of each line are in the order of `sizes`.
struct growth {
    std::string id;
    std::string title;
    std::string size_name; ///< "keys"
    std::string unit;
    std::string how;
    std::vector<double> sizes; ///< 1, 10, 100, 1000
    struct line {
        std::string name;
        role who;
        std::vector<std::vector<double>> values; ///< for each size its rounds
    };
    std::vector<line> lines;
};

double median(std::vector<double> values);

/// How many times better we are: above 1 we are ahead, whatever the unit. Median of the ratios of each round.
double ratio(const figure &of, const measurement &peer);

class results {
  public:
    void add(const figure &found);
    void add(const growth &found);
    /// Throws std::runtime_error when that fails.
    void save(const std::string &path) const;

  private:
    std::vector<figure> figures_;
    std::vector<growth> growths_;
};

/// One contender of measure(): `run` does the work of one round and returns the value of that round.
struct contender {
    std::string name;
    role who;
    std::function<double()> run;
};

/// Runs all contenders in turn, round after round, each round beginning with another one.
std::vector<measurement> interleaved(int rounds, const std::vector<contender> &contenders);

/// The main function of a benchmark: bench_NAME [--json FILE] [PART...]. Runs the named parts, or all of
/// them, saves what they found when asked, and turns exceptions into a line on standard error and status 1.
struct part {
    std::string name;
    std::function<void(results &)> run;
};
int run_benchmark(int argc, char **argv, const std::vector<part> &parts);

} // namespace varnel::bench
