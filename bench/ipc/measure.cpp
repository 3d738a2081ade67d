// SPDX-License-Identifier: Apache-2.0
#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace varnel::bench {

namespace {

double seconds_of(const rusage &use) {
    return static_cast<double>(use.ru_utime.tv_sec + use.ru_stime.tv_sec) +
           static_cast<double>(use.ru_utime.tv_usec + use.ru_stime.tv_usec) / 1e6;
}

using column = std::vector<double>;

double median_ratio(const column &ours, const column &peer) {
    column ratios;
    for (std::size_t round = 0; round < ours.size(); ++round) {
        ratios.push_back(ours[round] / peer[round]);
    }
    return median(ratios);
}

void print_row(const comparison &what, const contender &who, const column &rates, const column &processor,
               const column &ours) {
    std::printf("  %-34s %12.0f %12.0f %12.0f %9.0f %%", who.name.c_str(), median(rates),
                *std::min_element(rates.begin(), rates.end()), *std::max_element(rates.begin(), rates.end()),
                100 * median_ratio(ours, rates));
    if (!what.processor_unit.empty()) {
        std::printf(" %11.3f", median(processor));
    }
    std::puts("");
}

} // namespace

void compare(const comparison &what, const std::vector<contender> &contenders) {
    std::vector<column> rates(contenders.size());
    std::vector<column> processor(contenders.size());
    for (int round = 0; round < what.rounds; ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const std::size_t i = (turn + static_cast<std::size_t>(round)) % contenders.size();
            const outcome result = contenders[i].run();
            rates[i].push_back(result.rate);
            processor[i].push_back(result.processor);
        }
    }
    std::printf("\n%s, %d rounds\n  %-34s %12s %12s %12s %11s", what.title.c_str(), what.rounds,
                what.unit.c_str(), "median", "lowest", "highest", "ours/this");
    std::printf(what.processor_unit.empty() ? "\n" : " %11s\n", what.processor_unit.c_str());
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        print_row(what, contenders[i], rates[i], processor[i], rates[0]);
        if (contenders[i].name == what.goal_peer) {
            const double reached = 100 * median_ratio(rates[0], rates[i]);
            std::printf("    goal: at least %.0f %% of it: %s\n", what.goal_percent,
                        reached >= what.goal_percent ? "met" : "NOT MET");
        }
    }
    std::fflush(stdout);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

long checked(long result, const char *call) {
    if (result < 0) {
        std::perror(call);
        std::exit(1);
    }
    return result;
}

pid_t start_process(const std::function<void()> &body) {
    std::fflush(nullptr);
    const auto id = static_cast<pid_t>(checked(fork(), "fork"));
    if (id == 0) {
        body();
        _exit(0);
    }
    return id;
}

double finish_process(pid_t id) {
    int status = 0;
    rusage use{};
    checked(wait4(id, &status, 0, &use), "wait4");
    if (status != 0) {
        std::fprintf(stderr, "bench_ipc: a process failed with status 0x%x\n",
                     static_cast<unsigned int>(status));
        std::exit(1);
    }
    return seconds_of(use);
}

double processor_seconds() {
    rusage use{};
    getrusage(RUSAGE_SELF, &use);
    return seconds_of(use);
}

} // namespace varnel::bench
