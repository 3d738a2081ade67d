// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "faults/system_calls.h"

/// Runs code in a process whose system calls are seen, and one of which is made to fail or is its last (ptrace(2)).
namespace varnel::test {

/// What happens at one of the calls that name_of() knows, counted from 0.
struct fault {
    std::size_t call = 0;
    std::optional<effect> how; ///< nothing: the process is killed instead of making the call
    system_call usual;         ///< the same call without a fault
};

struct traced {
    std::vector<system_call> calls; ///< those that name_of() knows
    int status = 0;                 ///< of waitpid(2)
};

/// Whether the machine permits it.
[[nodiscard]] bool can_trace();

/// In the process of trace(): from here on, or no longer, the system calls of this thread, and of those that it starts,
/// are seen.
void start_of_calls();
void end_of_calls();

/// Runs `body` in a process of its own and, unless it is null, `after_call` here after each call. When it returns, that
/// process and those that it started have ended.
traced trace(const std::function<void()> &body, const fault *planned,
             const std::function<void()> &after_call);

} // namespace varnel::test
