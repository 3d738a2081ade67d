// SPDX-License-Identifier: Apache-2.0
// What a benchmark finds: printed as a table as it comes, and kept as JSON for the report.
#pragma once

#include <functional>
#include <optional>
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

/// The ratio to reach, to one contender or, without a name, to each peer.
struct goal {
    double ratio;
    std::string against;
};

struct figure {
    std::string id;    ///< FAMILY.WHAT, as "ini.get": README and the report find it by this
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
        std::vector<std::vector<double>> values; ///< for each size its rounds
    };
    std::vector<line> lines;
};

/// What a family of figures (the first word of their ids) compares, in plain words: the head of its section.
struct family {
    std::string id;    ///< "ini"
    std::string title; ///< "INI files"
    std::string about;
};

double median(std::vector<double> values);

/// How many times better we are: above 1 we are ahead, whatever the unit. Median of the ratios of each round;
/// none where a round divides by zero.
std::optional<double> ratio(const figure &of, const measurement &peer);

/// Whether the wanted ratio is reached.
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

/// Runs all contenders in turn, round after round, each round beginning with another one.
std::vector<measurement> interleaved(int rounds, const std::vector<contender> &contenders);

/// One whose rounds come to several values, as records per second and processor time.
struct contender_of_several {
    std::string name;
    role who;
    std::function<std::vector<double>()> run;
};

/// As interleaved(), with measurements for each of the `count` values. NaN is a value that a contender does
/// not have: it is left out there.
std::vector<std::vector<measurement>> interleaved(int rounds, std::size_t count,
                                                  const std::vector<contender_of_several> &contenders);

/// The lines of a growth: for each size its contenders, which have the same names in the same order, in turn.
std::vector<growth::line>
measured_growth(int rounds, const std::vector<double> &sizes,
                const std::function<std::vector<contender>(std::size_t size)> &contenders_of);

/// The main function of a benchmark: bench_NAME [--json FILE] [--quick] [PART...]. Runs the named parts, or
/// all of them, saves what they found when asked, and turns exceptions into a line on standard error and
/// status 1.
/// --quick runs a tenth of the rounds, three at least, to try a benchmark.
struct part {
    std::string name;
    std::function<void(results &)> run;
};
int run_benchmark(int argc, char **argv, const std::vector<part> &parts,
                  const std::vector<family> &families = {});

} // namespace varnel::bench
