// SPDX-License-Identifier: Apache-2.0
#include "support/processes.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace varnel::bench {

namespace {

double seconds_of(const timespec &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double seconds_of(const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double read_clock(clockid_t which) {
    timespec time{};
    clock_gettime(which, &time);
    return seconds_of(time);
}

} // namespace

double now() { return read_clock(CLOCK_MONOTONIC); }

double processor_seconds() { return read_clock(CLOCK_PROCESS_CPUTIME_ID); }

long checked(long result, const char *call) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), call);
    }
    return result;
}

pid_t start_process(const std::function<void()> &body) {
    std::fflush(nullptr);
    const auto id = static_cast<pid_t>(checked(fork(), "fork"));
    if (id != 0) {
        return id;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL); // ends with a benchmark that fails
    try {
        body();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        _exit(1);
    }
    _exit(0);
}

double finish_process(pid_t id) {
    int status = 0;
    rusage use{};
    checked(wait4(id, &status, 0, &use), "wait4");
    if (status != 0) {
        throw std::runtime_error("a process failed with status " + std::to_string(status));
    }
    return seconds_of(use.ru_utime) + seconds_of(use.ru_stime);
}

std::vector<double> measured_apart(std::size_t count, const std::function<std::vector<double>()> &measure) {
    std::array<int, 2> ends{};
    checked(pipe2(ends.data(), O_CLOEXEC), "pipe2");
    const auto [out, in] = ends;
    const std::size_t size = count * sizeof(double);
    const pid_t id = start_process([&] {
        const std::vector<double> values = measure();
        checked(write(in, values.data(), size), "write");
    });
    close(in);
    std::vector<double> values(count);
    const ssize_t got = read(out, values.data(), size);
    close(out);
    finish_process(id);
    if (got != static_cast<ssize_t>(size)) {
        throw std::runtime_error("a process did not say what it measured");
    }
    return values;
}

} // namespace varnel::bench
