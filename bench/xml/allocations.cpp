// SPDX-License-Identifier: Apache-2.0
#include "xml/allocations.h"

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include <dlfcn.h>

#include "support/command.h"

namespace varnel::bench {

namespace {

constexpr const char *counter_name = "bench_allocation_counts"; // of allocation_counter.cpp

} // namespace

allocation_counts count_allocations(const tree_library &who, const document &what) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    std::istringstream counted(output_of("LD_PRELOAD=" + quoted(ALLOCATION_COUNTER) + " " + quoted(self) +
                                         " --count " + quoted(who.name()) + " " + quoted(what.name)));
    allocation_counts counts{};
    if (!(counted >> counts.allocations >> counts.most_held)) {
        throw std::runtime_error("cannot count the allocations of " + std::string(who.name()));
    }
    return counts;
}

int print_allocations(const std::string &library, const std::string &document) {
    auto *const counts = static_cast<allocation_counts *>(dlsym(RTLD_DEFAULT, counter_name));
    if (counts == nullptr) {
        return 2;
    }
    const auto what = measured_document(document);
    const auto who = tree_library_named(library);
    const stream in = stream_of(what.text);
    (void)fgetc(in.get()); // allocates the stream's buffer
    rewind(in.get());
    const allocation_counts before = *counts;
    counts->most_held = counts->held;
    const bool good = who->read(what.text, in.get());
    (void)printf("%lu %lu\n", counts->allocations - before.allocations, counts->most_held - before.held);
    return good ? 0 : 1;
}

} // namespace varnel::bench
