// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::bench {

/// Microseconds from exec to main() of a daemon (daemon.c).
double start_time(const std::string &program);

/// What the dynamic loader does before main().
struct loader_work {
    double lookups;  ///< relocations for which a symbol is looked up
    double relative; ///< relocations by the load address alone
};
loader_work loader_work_of(const std::string &program);

/// What a daemon has in memory once it has done its jobs, in KiB.
struct memory_use {
    double resident;
    double proportional; ///< pages shared with other processes count by their share
    double private_dirty;
    double libraries; ///< mapped, the dynamic loader among them
};
/// The daemon has to print `expected`.
memory_use memory_of(const std::string &program, const std::string &expected);

} // namespace varnel::bench
