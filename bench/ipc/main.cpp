// SPDX-License-Identifier: Apache-2.0
// Compares the library's locks, queues and file transfer with what a daemon could use instead.
#include <array>
#include <cstdio>
#include <string_view>

#include "benches.h"

namespace {

struct bench {
    std::string_view name;
    void (*run)();
};

constexpr std::array<bench, 3> benches{{{"queues", varnel::bench::queues},
                                        {"locks", varnel::bench::locks},
                                        {"transfer", varnel::bench::transfer}}};

} // namespace

int main(int argc, char **argv) {
    const std::string_view only = argc == 2 ? argv[1] : "";
    bool found = false;
    for (const bench &each : benches) {
        if (argc == 1 || each.name == only) {
            each.run();
            found = true;
        }
    }
    if (!found) {
        std::fputs("usage: bench_ipc [queues|locks|transfer]\n", stderr);
        return 2;
    }
    return 0;
}
