// SPDX-License-Identifier: Apache-2.0
// One key of a 100-line INI file read and written: this library, inih and libiniparser in turn, in one run.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <INIReader.h>
#include <fcntl.h>
#include <ini.h>
#include <iniparser/iniparser.h>
#include <unistd.h>

#include "varnel/iniparser.h"

namespace {

constexpr int rounds = 401;
constexpr int calls_per_round = 50;
constexpr double goal = 5;

// The last key of the file: every reader has to look at all of it.
constexpr const char *section = "sensor9";
constexpr const char *key = "location";
constexpr const char *iniparser_name = "sensor9:location";
constexpr const char *values[] = {"rear panel", "front panel, left"};

[[noreturn]] void fail(const std::string &what) { throw std::runtime_error(what); }

/// 100 lines of about 30 bytes, as Debian's unit files, .desktop files and .ini files have on average.
std::string hundred_lines() {
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
        text += std::string("location=") + values[0] + "\n";
    }
    return text;
}

struct wanted {
    std::string value;
    bool found = false;
};

int take_if_wanted(void *user, const char *s, const char *name, const char *value) {
    if (std::strcmp(s, section) == 0 && std::strcmp(name, key) == 0) {
        auto *const w = static_cast<wanted *>(user);
        w->value = value;
        w->found = true;
    }
    return 1;
}

/// The least that any reader can do: what is left for it is the time above this.
std::string only_read(const char *path) {
    std::array<char, 16384> bytes;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t n = pread(file, bytes.data(), bytes.size(), 0);
    close(file);
    return n > 0 ? values[0] : "";
}

std::string get_varnel(const char *path) {
    std::array<char, 256> value{};
    return get_config_string(path, section, key, value.data()) == 0 ? value.data() : "";
}

std::string get_inih(const char *path) {
    wanted w;
    return ini_parse(path, take_if_wanted, &w) == 0 ? w.value : "";
}

std::string get_inireader(const char *path) { return INIReader(path).Get(section, key, ""); }

std::string get_iniparser(const char *path) {
    dictionary *const all = iniparser_load(path);
    std::string value = iniparser_getstring(all, iniparser_name, "");
    iniparser_freedict(all);
    return value;
}

const char *next_value() {
    static unsigned int calls = 0;
    return values[++calls % 2];
}

std::string set_varnel(const char *path) {
    const char *const value = next_value();
    return set_config_string(path, section, key, value) == 0 ? value : "";
}

std::string set_iniparser(const char *path) {
    const char *const value = next_value();
    dictionary *const all = iniparser_load(path);
    iniparser_set(all, iniparser_name, value);
    std::FILE *const file = std::fopen(path, "w");
    iniparser_dump_ini(all, file);
    const bool written = std::fclose(file) == 0;
    iniparser_freedict(all);
    return written ? value : "";
}

struct subject {
    const char *job;
    const char *name;
    std::string (*run)(const char *path);
    bool writes;
    std::vector<double> microseconds{};
};

std::vector<subject> subjects() {
    return {{"get", "varnel", get_varnel, false},          {"get", "(read alone)", only_read, false},
            {"get", "inih ini_parse", get_inih, false},    {"get", "inih INIReader", get_inireader, false},
            {"get", "libiniparser", get_iniparser, false}, {"set", "varnel", set_varnel, true},
            {"set", "libiniparser", set_iniparser, true}};
}

/// A folder in memory, so that no disk is measured.
class bench_file {
  public:
    bench_file() {
        if (mkdtemp(folder_.data()) == nullptr) {
            fail("cannot create a folder in /dev/shm");
        }
    }
    ~bench_file() {
        unlink(path().c_str());
        rmdir(folder_.c_str());
    }
    bench_file(const bench_file &) = delete;
    bench_file &operator=(const bench_file &) = delete;

    std::string path() const { return folder_ + "/board.ini"; }
    void write() const {
        std::ofstream file(path());
        file << hundred_lines();
        if (!file.flush()) {
            fail("cannot write " + path());
        }
    }

  private:
    std::string folder_ = "/dev/shm/varnel-bench-XXXXXX";
};

void measure(subject &s, const bench_file &file) {
    file.write(); // each round from the same text, so that no subject reads what another wrote
    const std::string path = file.path();
    const auto start = std::chrono::steady_clock::now();
    for (int call = 0; call < calls_per_round; ++call) {
        if (s.run(path.c_str()).empty()) {
            fail(std::string(s.name) + " did not " + s.job + " the value");
        }
    }
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    s.microseconds.push_back(took.count() / calls_per_round);
}

/// What a subject is supposed to do, it does.
void check(const subject &s, const bench_file &file) {
    file.write();
    const std::string value = s.run(file.path().c_str());
    if (value != (s.writes ? get_inih(file.path().c_str()) : values[0])) {
        fail(std::string(s.name) + " got or stored the wrong value");
    }
}

double median(std::vector<double> all) {
    std::nth_element(all.begin(), all.begin() + static_cast<long>(all.size() / 2), all.end());
    return all[all.size() / 2];
}

/// The system calls of one run, by strace, between the two getppid() calls that run_once() makes.
std::string system_calls(std::size_t index, const bench_file &file, const std::string &self) {
    file.write();
    const std::string command =
        "strace -qq -o /dev/stdout " + self + " --once " + std::to_string(index) + " " + file.path();
    std::FILE *const trace = popen(command.c_str(), "r");
    std::map<std::string, int> counts;
    int total = 0;
    int marks = 0;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), trace) != nullptr) {
        const std::string name(line.data(), std::strcspn(line.data(), "("));
        if (name == "getppid") {
            ++marks;
        } else if (marks == 1) {
            ++counts[name];
            ++total;
        }
    }
    if (pclose(trace) != 0 || marks != 2) {
        fail("strace did not work; without it system calls cannot be counted");
    }
    std::string text = std::to_string(total) + ":";
    for (const auto &[name, count] : counts) {
        text += " " + name + (count > 1 ? " x" + std::to_string(count) : "");
    }
    return text;
}

int run_once(std::span<char *> arguments) {
    const subject s = subjects().at(static_cast<std::size_t>(std::atoi(arguments[2])));
    s.run(arguments[3]); // libraries are bound and the heap is set up
    getppid();
    s.run(arguments[3]);
    getppid();
    return 0;
}

/// Ratios to the first subject of the same job; for reading also without the time that reading alone takes.
void print_row(const subject &s, const subject &first, double read_alone, const std::string &calls) {
    const double us = median(s.microseconds);
    const double ours = median(first.microseconds);
    std::printf("%-4s %-14s %8.2f %6.1f", s.job, s.name, us, us / ours);
    if (s.writes || s.run == only_read) {
        std::printf(" %9s %6s", "", "");
    } else {
        std::printf(" %9.2f %6.1f", us - read_alone, (us - read_alone) / (ours - read_alone));
    }
    std::printf("  %s\n", calls.c_str());
}

void print_table(const std::vector<subject> &all, const bench_file &file, const std::string &self) {
    std::printf("One key of a 100-line INI file (%zu bytes, in memory), the last one; medians of %d rounds "
                "of %d calls.\n"
                "set: the value is changed in the file; inih has no way to do that.\n"
                "(read alone): open, read and close without looking at the bytes; \"own\" is the time above "
                "that.\n\n",
                hundred_lines().size(), rounds, calls_per_round);
    std::printf("%-4s %-14s %8s %6s %9s %6s  %s\n", "", "", "us/call", "ratio", "own us", "ratio",
                "system calls");
    const auto floor =
        std::find_if(all.begin(), all.end(), [](const subject &x) { return x.run == only_read; });
    const double read_alone = median(floor->microseconds);
    const subject *first = nullptr;
    for (std::size_t i = 0; i < all.size(); ++i) {
        first = std::string_view(all[i].name) == "varnel" ? &all[i] : first;
        print_row(all[i], *first, read_alone, system_calls(i, file, self));
    }
    std::printf("\nGoal: peers at a ratio of %.0f or more.\n", goal);
}

void compare(const std::string &self) {
    const bench_file file;
    std::vector<subject> all = subjects();
    for (const subject &s : all) {
        check(s, file);
    }
    for (int round = 0; round < rounds; ++round) {
        for (subject &s : all) {
            measure(s, file);
        }
    }
    print_table(all, file, self);
}

} // namespace

int main(int argc, char **argv) {
    const std::span<char *> arguments(argv, static_cast<std::size_t>(argc));
    if (arguments.size() == 4 && std::string_view(arguments[1]) == "--once") {
        return run_once(arguments);
    }
    try {
        compare(arguments[0]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench_ini: %s\n", error.what());
        return 1;
    }
    return 0;
}
