// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace varnel::bench {

/// Microseconds from exec to main() of a daemon (daemon.c).
double start_time(const std::string &program);

/// What the dynamic loader does before main().
struct loader_work {
    double lookups;  ///< relocations that need a symbol lookup
    double relative; ///< relocations that need only the load address
};
loader_work loader_work_of(const std::string &program);

/// Memory of a daemon after its jobs, in KiB.
struct memory_use {
    double resident;
    double proportional; ///< pages shared with other processes count by their share
    double private_dirty;
    double libraries; ///< number of mapped libraries, including the dynamic loader
};
/// Throws std::runtime_error unless the daemon prints `expected`.
memory_use memory_of(const std::string &program, const std::string &expected);

} // namespace varnel::bench
