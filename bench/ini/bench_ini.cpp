// SPDX-License-Identifier: Apache-2.0
// Reading and writing one key of an INI file: this library, inih, libiniparser and GLib in turn.
#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ini/contenders.h"
#include "ini/system_calls.h"
#include "support/memory_folder.h"
#include "support/processes.h"
#include "support/results.h"

namespace varnel::bench {

namespace {

constexpr int rounds = 401;
constexpr int growth_rounds = 101;
constexpr int calls_per_round = 50;
const goal five_times{5, {}};
constexpr const char *first_value = "rear panel";

/// A text and its last key, so that every reader has to read all of it.
struct document {
    std::string text;
    std::string section;
    std::string key;
};

/// 100 lines of about 30 bytes, as Debian's unit files, .desktop files and .ini files have on average.
document hundred_lines() {
    std::string text;
    for (int s = 0; s < 10; ++s) {
        const std::string n = std::to_string(s);
        text += "# Temperature sensor " + n + ", polled once a second; thresholds in degrees Celsius\n";
        text += "[sensor" + n + "]\n";
        text += "bus=" + n + "\n";
        text += "address=0x4" + n + "\n";
        text += "description=Inlet air, slot " + n + "\n";
        text += "# Crossing a threshold is logged; above the critical one fans run at full speed\n";
        text += "upper_warning_threshold=75\n";
        text += "upper_critical_threshold=90\n";
        text += "hysteresis=2\n";
        text += std::string("location=") + first_value + "\n";
    }
    return {text, "sensor9", "location"};
}

/// One section. No key is a prefix of another, because this library would find the prefix.
document many_keys(std::size_t count) {
    document result{"[fan]\n", "fan", ""};
    for (std::size_t i = 0; i < count; ++i) {
        result.key = "k" + std::to_string(1000 + i);
        result.text += result.key + "=" + (i + 1 < count ? "7" : first_value) + "\n";
    }
    return result;
}

/// A file with a document, on which the jobs work.
class workplace {
  public:
    explicit workplace(document what) : what_(std::move(what)) {}

    [[nodiscard]] const entry &where() const { return where_; }
    void write_file() const {
        std::ofstream file(where_.path);
        file << what_.text;
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + where_.path);
        }
    }

  private:
    document what_;
    memory_folder folder_;
    entry where_{folder_.file("board.ini"), what_.section, what_.key};
};

struct job {
    const char *name;
    action library::*run;
};
constexpr job getting{"get", &library::get};
constexpr job setting{"set", &library::set};

/// Checks that a library reads or writes the right value. inih reads the result, since it can read every
/// library's layout.
void check(const library &who, const job &what, const workplace &place) {
    place.write_file();
    const std::string value = (who.*what.run)(place.where());
    const std::string stored = libraries().at(1).get(place.where());
    if (value.empty() || (who.who != role::floor && value != stored)) {
        throw std::runtime_error(std::string(who.name) + " did not " + what.name + " the right value");
    }
}

/// Each round begins with the same text, so that no library reads what another one wrote.
double microseconds(const library &who, const job &what, const workplace &place) {
    place.write_file();
    const double before = now();
    for (int call = 0; call < calls_per_round; ++call) {
        if ((who.*what.run)(place.where()).empty()) {
            throw std::runtime_error(std::string(who.name) + " did not " + what.name + " the value");
        }
    }
    return (now() - before) / calls_per_round * 1e6;
}

std::vector<contender> contenders(const job &what, const workplace &place) {
    std::vector<contender> all;
    for (const library &who : libraries()) {
        if (who.*what.run != nullptr) {
            check(who, what, place);
            all.push_back({who.name, who.who, [&] { return microseconds(who, what, place); }});
        }
    }
    return all;
}

/// The time of each above the floor, which is last.
std::vector<measurement> above_the_floor(std::vector<measurement> all) {
    const double floor = *std::ranges::min_element(all.back().values);
    all.pop_back();
    for (measurement &each : all) {
        for (double &value : each.values) {
            value -= floor;
        }
    }
    return all;
}

void get(results &found) {
    const workplace place(hundred_lines());
    const std::vector<measurement> all = interleaved(rounds, contenders(getting, place));
    found.add(
        {"ini.get", "Reading the last key of a file of 100 lines", "us", better::lower,
         "Time of a call, over 50 calls a round. The floor makes the same system calls as we do and does "
         "not look at the bytes.",
         all, five_times});
    found.add({"ini.get.own", "Reading a key, without opening, reading and closing", "us", better::lower,
               "The same rounds, less the floor's lowest.", above_the_floor(all)});
}

void set(results &found) {
    const workplace place(hundred_lines());
    found.add({"ini.set", "Changing the last key of a file of 100 lines", "us", better::lower,
               "Time of a call, over 50 calls a round. We overwrite the file in place and keep its comments; "
               "libiniparser rewrites it without them; GKeyFile keeps them, writes a second file and renames "
               "it. inih cannot write.",
               interleaved(rounds, contenders(setting, place)), five_times});
}

std::string listed(const std::string &name, const std::map<std::string, int> &calls) {
    std::string text = name + ": ";
    for (const auto &[call, count] : calls) {
        text += (text.ends_with(": ") ? "" : ", ") + call + (count > 1 ? " x" + std::to_string(count) : "");
    }
    return text + ". ";
}

double total(const std::map<std::string, int> &calls) {
    double sum = 0;
    for (const auto &[call, count] : calls) {
        sum += count;
    }
    return sum;
}

void count_system_calls(results &found, const job &what, const std::string &title) {
    const workplace place(hundred_lines());
    figure counted{std::string("ini.") + what.name + ".system_calls",           title, "calls", better::lower,
                   "Counted by strace, in a second call of the same process. ", {}};
    for (const library &who : libraries()) {
        if (who.*what.run != nullptr) {
            place.write_file();
            const auto calls = system_calls(who.name, what.name, place.where());
            counted.contenders.push_back({who.name, who.who, {total(calls)}});
            counted.how += listed(who.name, calls);
        }
    }
    counted.how.pop_back();
    found.add(counted);
}

void all_system_calls(results &found) {
    count_system_calls(found, getting, "System calls to read a key");
    count_system_calls(found, setting, "System calls to change a key");
}

void grow(results &found, const job &what, const std::string &title) {
    const std::vector<double> sizes{1, 10, 100, 1000};
    std::vector<growth::line> lines = measured_growth(growth_rounds, sizes, [&](std::size_t size) {
        const auto place = std::make_shared<workplace>(many_keys(size));
        std::vector<contender> all = contenders(what, *place);
        for (contender &each : all) {
            each.run = [place, run = each.run] { return run(); };
        }
        return all;
    });
    found.add(
        {std::string("ini.") + what.name + ".keys", title, "keys", "us",
         "Time of a call for the last key of one section; a file of 1000 keys has 8 kB, and ours may have "
         "up to 16 KiB.",
         sizes, lines});
}

void keys(results &found) {
    grow(found, getting, "Reading a key as the file grows");
    grow(found, setting, "Changing a key as the file grows");
}

} // namespace

} // namespace varnel::bench

int main(int argc, char **argv) {
    using namespace varnel::bench;
    if (ran_once({argv, static_cast<std::size_t>(argc)})) {
        return 0;
    }
    const family ini{
        "ini", "INI files",
        "One key of a file is read, or its value changed: each call opens the file, finds the last "
        "key and closes the file, as a daemon does that looks up a setting. The others load the "
        "whole file first, and can then return more keys. Files are in memory; every value is "
        "checked."};
    return run_benchmark(
        argc, argv, {{"get", get}, {"set", set}, {"system_calls", all_system_calls}, {"keys", keys}}, {ini});
}
