// SPDX-License-Identifier: Apache-2.0
// Clocks, processes and failed calls, for benchmarks that measure more than this process.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include <sys/types.h>

namespace varnel::bench {

double now(); ///< seconds, monotonic

/// Processor seconds of this process so far, including the kernel; other processes are not counted.
double processor_seconds();

/// Throws std::system_error with the call and its errno when `result` is negative.
long checked(long result, const char *call);

/// Runs `body` in another process. An exception ends that process with a line on standard error and status 1.
pid_t start_process(const std::function<void()> &body);
/// Waits until it ends; returns the processor seconds it used. Throws std::runtime_error when it failed.
double finish_process(pid_t id);

/// The `count` values that `measure` returns in another process, which has a fresh heap.
std::vector<double> measured_apart(std::size_t count, const std::function<std::vector<double>()> &measure);

} // namespace varnel::bench
