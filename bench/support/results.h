// SPDX-License-Identifier: Apache-2.0
// The results of a benchmark: printed as a table when found, and saved as JSON for the report.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace varnel::bench {

enum class role {
    ours,
    peer,
    floor ///< the cost of the job without a library, a lower bound for all
};

/// One value for each round; all contenders of a figure have the same number of rounds. Counts that are
/// always the same (instructions, bytes, system calls) have one value.
struct measurement {
    std::string name;
    role who;
    std::vector<double> values;
};

enum class better { lower, higher };

/// The ratio to reach, to one contender or, without a name, to each peer.
struct goal {
    double ratio;
    std::string against;
};

struct figure {
    std::string id;    ///< FAMILY.WHAT, such as "ini.get": identifies it in README and the report
    std::string title; ///< "Reading the last key of a 100-line file"
    std::string unit;  ///< "us", "records/s", "instructions"
    better direction;
    std::string how;                     ///< how it was measured, in a sentence or two
    std::vector<measurement> contenders; ///< ours first
    std::optional<goal> wanted = {};
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
        std::vector<std::vector<double>> values; ///< by size and round
    };
    std::vector<line> lines;
};

/// A family of figures (the first word of their ids): title and introduction of its section.
struct family {
    std::string id;    ///< "ini"
    std::string title; ///< "INI files"
    std::string about;
};

double median(std::vector<double> values);

/// How many times better we are: above 1 ours is better, in any unit. The median of the ratios of all rounds;
/// none when a round divides by zero.
std::optional<double> ratio(const figure &of, const measurement &peer);

/// Whether the wanted ratio is reached. Throws std::logic_error when there is no such contender.
bool is_met(const figure &of, const goal &wanted);

class results {
  public:
    void add(const family &about);
    void add(const figure &found);
    void add(const growth &found);
    /// Throws std::runtime_error when that fails.
    void save(const std::string &path) const;

  private:
    std::vector<family> families_;
    std::vector<figure> figures_;
    std::vector<growth> growths_;
};

/// One contender of interleaved(): `run` does the work of one round and returns the value of that round.
struct contender {
    std::string name;
    role who;
    std::function<double()> run;
};

/// Runs all contenders in turn, round after round; each round begins with another contender.
std::vector<measurement> interleaved(int rounds, const std::vector<contender> &contenders);

/// A contender whose rounds have several values, such as records per second and processor time.
struct contender_of_several {
    std::string name;
    role who;
    std::function<std::vector<double>()> run;
};

/// As above, with measurements for each of the `count` values. A contender without a value returns NaN and is
/// left out of those measurements.
std::vector<std::vector<measurement>> interleaved(int rounds, std::size_t count,
                                                  const std::vector<contender_of_several> &contenders);

/// The lines of a growth. `contenders_of` returns contenders with the same names in the same order for each
/// size.
std::vector<growth::line>
measured_growth(int rounds, const std::vector<double> &sizes,
                const std::function<std::vector<contender>(std::size_t size)> &contenders_of);

/// The main function of a benchmark: bench_NAME [--json FILE] [--quick] [PART...]. Runs the named parts, or
/// all of them, saves the results if requested, and turns exceptions into a line on standard error and status
/// 1. With --quick it runs a tenth of the rounds, at least three, to try a benchmark.
struct part {
    std::string name;
    std::function<void(results &)> run;
};
int run_benchmark(int argc, char **argv, const std::vector<part> &parts,
                  const std::vector<family> &families = {});

} // namespace varnel::bench
