// SPDX-License-Identifier: Apache-2.0
// Part of the library where script/coverage counts conditions: a process that a failed assertion ends leaves its counters.
#include <csignal>

extern "C" int __llvm_profile_write_file();

namespace {

void leave_counters(int signal) {
    __llvm_profile_write_file();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

[[gnu::constructor]] void notice_aborts() { std::signal(SIGABRT, leave_counters); }

} // namespace
