// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace varnel::sim::virtual_time {

/// Whether this machine's programs can live in virtual time: 64-bit x86 only.
[[nodiscard]] bool is_supported();

/// Makes a process ask the kernel for the time: the functions of its vDSO, which read clocks without a system call, become
/// system calls. To be called when the process has executed a program and waits. Returns whether it could be done.
[[nodiscard]] bool make_clocks_system_calls(pid_t process);

} // namespace varnel::sim::virtual_time
