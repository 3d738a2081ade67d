// SPDX-License-Identifier: Apache-2.0
// PROGRAM SHAPE DEVICES COUNT: does COUNT transactions with DEVICES devices in turn, after an uncounted one
// with each. Prints their nanoseconds and allocations; allocations are -1 unless the counter is preloaded.
#include "smbus/transactions.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <time.h>

namespace {

using namespace varnel::bench;
using transaction = bool (*)(chip with);

std::vector<chip> chips(std::size_t count) {
    std::vector<chip> all;
    for (std::size_t n = 0; n < count; ++n) {
        all.push_back({static_cast<uint8_t>(n / devices_per_bus),
                       static_cast<uint8_t>(first_slave + n % devices_per_bus)});
    }
    return all;
}

void repeat(transaction run, const std::vector<chip> &with, unsigned long count) {
    auto next = with.begin();
    for (unsigned long i = 0; i < count; ++i) {
        if (!run(*next)) {
            (void)std::fputs("a transaction failed or gave a wrong answer\n", stderr);
            std::exit(1);
        }
        if (++next == with.end()) {
            next = with.begin();
        }
    }
}

/// Processor time so far.
long nanoseconds() {
    timespec now{};
    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

} // namespace

int main(int argc, char **argv) {
    const std::map<std::string, transaction> shapes{{"read_byte", read_byte},
                                                    {"read_word", read_word},
                                                    {"write_word", write_word},
                                                    {"read_block", read_block}};
    if (argc != 4 || !shapes.contains(argv[1])) {
        (void)std::fputs("usage: PROGRAM SHAPE DEVICES COUNT\n", stderr);
        return 2;
    }
    const transaction run = shapes.at(argv[1]);
    const std::vector<chip> devices = chips(std::strtoul(argv[2], nullptr, 10));
    const unsigned long count = std::strtoul(argv[3], nullptr, 10);
    const auto *const allocations =
        static_cast<const unsigned long *>(dlsym(RTLD_DEFAULT, "bench_allocation_counts"));
    repeat(run, devices, devices.size());
    const unsigned long allocated_before = allocations == nullptr ? 0 : *allocations;
    const long begin = nanoseconds();
    repeat(run, devices, count);
    const long taken = nanoseconds() - begin;
    std::printf("%ld %ld\n", taken,
                allocations == nullptr ? -1 : static_cast<long>(*allocations - allocated_before));
    return 0;
}
