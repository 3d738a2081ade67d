// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "host/descriptor.h"

namespace varnel::sim::virtual_time {

/// A thread as the kernel describes it in /proc.
struct task {
    pid_t thread;
    pid_t process;
    pid_t parent; ///< process that started its process
    char state;
    uint64_t switches; ///< how often it gave up a processor
    uint64_t pending;  ///< signals, bit 0 is signal 1
    uint64_t blocked;
    uint64_t caught;

    /// Whether it waits for something, or has stopped or ended. A thread that a debugger has stopped does not.
    [[nodiscard]] bool waits() const;
    /// A signal that waits for this thread to run its handler. `mask` is what the thread blocks.
    [[nodiscard]] bool has_signal(uint64_t mask) const { return (pending & caught & ~mask) != 0; }
    bool operator==(const task &) const = default;
};

/// The files of a thread in /proc. They stay open: opening one takes longer than reading it.
class task_files {
  public:
    /// `folder` is the thread's in /proc.
    explicit task_files(const std::string &folder);

    /// Nothing when the thread has ended.
    [[nodiscard]] std::optional<task> look() const;

  private:
    host::descriptor status_;
    host::descriptor call_;
};

/// The names of a folder's entries that are numbers.
[[nodiscard]] std::vector<int> numbers_in(const std::string &folder);

/// Appends the processes that a thread, of which `folder` is the one in /proc, has started.
void add_children(const std::string &folder, std::vector<pid_t> &processes);

/// "NAME[PID]" of a thread's process.
[[nodiscard]] std::string name_of(pid_t thread);

} // namespace varnel::sim::virtual_time
