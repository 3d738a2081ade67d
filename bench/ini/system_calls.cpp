// SPDX-License-Identifier: Apache-2.0
#include "ini/system_calls.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include <unistd.h>

namespace varnel::bench {

namespace {

action find_action(std::string_view name, std::string_view job) {
    const auto found = std::find_if(libraries().begin(), libraries().end(),
                                    [&](const library &each) { return each.name == name; });
    return job == "get" ? found->get : found->set;
}

std::string quoted(const std::string &word) { return " '" + word + "'"; }

std::string traced_command(const std::string &name, const std::string &job, const entry &where) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    return "strace -qq" + quoted(self) + " --once" + quoted(name) + quoted(job) + quoted(where.path) +
           quoted(where.section) + quoted(where.key) + " 2>&1";
}

} // namespace

// What counts is between the two getppid() calls of ran_once().
std::map<std::string, int> system_calls(const std::string &name, const std::string &job, const entry &where) {
    std::FILE *const trace = popen(traced_command(name, job, where).c_str(), "r");
    std::map<std::string, int> counts;
    int marks = 0;
    std::array<char, 4096> line{};
    while (trace != nullptr && std::fgets(line.data(), line.size(), trace) != nullptr) {
        const std::string call(line.data(), std::strcspn(line.data(), "("));
        if (call == "getppid") {
            ++marks;
        } else if (marks == 1) {
            ++counts[call];
        }
    }
    if (trace == nullptr || pclose(trace) != 0 || marks != 2) {
        throw std::runtime_error("strace did not work; without it system calls cannot be counted");
    }
    return counts;
}

bool ran_once(std::span<char *> arguments) {
    if (arguments.size() != 7 || std::string_view(arguments[1]) != "--once") {
        return false;
    }
    const action run = find_action(arguments[2], arguments[3]);
    const entry where{arguments[4], arguments[5], arguments[6]};
    run(where); // libraries are bound and the heap is set up
    getppid();
    run(where);
    getppid();
    return true;
}

} // namespace varnel::bench
