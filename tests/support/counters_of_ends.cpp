// SPDX-License-Identifier: Apache-2.0
// Part of the libraries where script/coverage counts conditions: a process that a failed assertion or quick_exit() ends
// leaves its counters. Each library has counters of its own.
#include <csignal>
#include <cstdlib>

extern "C" int __llvm_profile_write_file();

namespace {

void (*earlier_handler)(int);

void leave_counters_of_abort(int signal) {
    __llvm_profile_write_file();
    std::signal(signal, earlier_handler); // of another library, or the default
    std::raise(signal);
}

void leave_counters() { __llvm_profile_write_file(); }

[[gnu::constructor]] void notice_ends() {
    earlier_handler = std::signal(SIGABRT, leave_counters_of_abort);
    std::at_quick_exit(leave_counters);
}

} // namespace
