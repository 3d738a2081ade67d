// SPDX-License-Identifier: Apache-2.0
#include "ini/system_calls.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include <unistd.h>

#include "support/command.h"

namespace varnel::bench {

namespace {

action find_action(std::string_view name, std::string_view job) {
    const auto found = std::find_if(libraries().begin(), libraries().end(),
                                    [&](const library &each) { return each.name == name; });
    return job == "get" ? found->get : found->set;
}

std::string traced_command(const std::string &name, const std::string &job, const entry &where) {
    std::string command = "strace -qq";
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    for (const std::string &word :
         {self, std::string("--once"), name, job, where.path, where.section, where.key}) {
        command.append(" ").append(quoted(word));
    }
    return command + " 2>&1";
}

} // namespace

// Counts the calls between the two getppid() calls of ran_once().
std::map<std::string, int> system_calls(const std::string &name, const std::string &job, const entry &where) {
    std::istringstream trace(output_of(traced_command(name, job, where)));
    std::map<std::string, int> counts;
    int marks = 0;
    for (std::string line; std::getline(trace, line);) {
        const std::string call = line.substr(0, line.find('('));
        if (call == "getppid") {
            ++marks;
        } else if (marks == 1) {
            ++counts[call];
        }
    }
    if (marks != 2) {
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
