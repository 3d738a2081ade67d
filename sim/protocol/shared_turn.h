// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

namespace varnel::sim {

/// The environment variable with the name of a file that holds a shared_turn, for programs in virtual time.
inline constexpr const char *turn_variable = "VARNEL_SIM_TURN";

/// Who may use the board now, for programs in virtual time and their supervisor: memory that they share. Sending to the
/// board's server is a system call that the supervisor is asked about, which takes longer than the transfer. A thread
/// that has its turn need not ask, it sends by sendmmsg(2), which is not looked at.
struct shared_turn {
    /// How often a thread may look at clocks, or use the board, before each further time takes time. Without asking it
    /// uses the board only that often.
    static constexpr uint32_t free_looks = 100;

    std::atomic<int32_t> thread; ///< that has its turn; 0 for none
    std::atomic<uint32_t> looks; ///< that thread's since it waited
};

static_assert(std::atomic<uint32_t>::is_always_lock_free);

} // namespace varnel::sim
