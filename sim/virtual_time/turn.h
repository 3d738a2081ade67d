// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include <sys/types.h>

#include "host/descriptor.h"
#include "sim/protocol/shared_turn.h"

namespace varnel::sim::virtual_time {

/// The right of one thread at a time to use the board, and how often each has looked at clocks or used the board since it
/// waited.
class turn {
  public:
    /// Throws std::system_error.
    turn();

    /// What turn_variable has to be for programs that this process supervises.
    [[nodiscard]] std::string file_name() const;

    /// 0 for none.
    [[nodiscard]] pid_t holder() const { return shared_->thread; }
    void give(pid_t thread);
    void end() { give(0); }

    /// Counts one more look of a thread, and returns how many there were.
    uint32_t count_look(pid_t thread);
    /// The thread has waited, or begun.
    void forget_looks(pid_t thread);

  private:
    host::descriptor memory_;
    shared_turn *shared_;
    std::map<pid_t, uint32_t> looks_ = {}; ///< of threads that do not have the turn
};

} // namespace varnel::sim::virtual_time
