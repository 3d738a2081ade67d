// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

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

    bool is_held; ///< in a system call that we have not answered

    /// Whether it waits for something, or has stopped or ended. A thread that a debugger has stopped does not.
    [[nodiscard]] bool waits() const;
    /// A signal that waits for this thread to run its handler. `mask` is what the thread blocks.
    [[nodiscard]] bool has_signal(uint64_t mask) const { return (pending & caught & ~mask) != 0; }
    bool operator==(const task &) const = default;
};

/// Whether a thread has work for a processor.
[[nodiscard]] bool runs(pid_t thread);

/// The names of a folder's entries that are numbers.
[[nodiscard]] std::vector<int> numbers_in(const std::string &folder);

/// "NAME[PID]" of a thread's process.
[[nodiscard]] std::string name_of(pid_t thread);

/// All threads of the programs that this process supervises: of its descendants.
class tasks {
  public:
    /// `server` works for the programs: as long as it has not been found waiting, one of them may wait for it.
    explicit tasks(pid_t server) : server_(server) {}

    enum class also { nobody, server };

    /// Whether there was a moment, since this call began, at which all of them waited. What wakes a thread, a program or
    /// the server, is itself at work then, so that they all go on waiting until something comes from outside.
    [[nodiscard]] bool all_wait(const std::set<pid_t> &held, also server);
    /// As all_wait() found them; null when there is no such thread.
    [[nodiscard]] const task *find(pid_t thread) const;
    [[nodiscard]] std::set<pid_t> processes() const;
    /// The place of a thread in the order in which they were created.
    [[nodiscard]] uint64_t rank(pid_t thread) const;
    /// The thread that was at work when all_wait() returned false: "NAME[PID]".
    [[nodiscard]] std::string who_works() const;

  private:
    [[nodiscard]] std::vector<task> look(const std::set<pid_t> &held, also server) const;
    void number_new_ones();
    void number_next_generation(const std::vector<task> &fresh, std::map<pid_t, uint64_t> &known);

    pid_t server_;
    std::vector<task> seen_ = {};
    std::map<pid_t, uint64_t> ranks_ = {};
    uint64_t next_rank_ = 1;
};

} // namespace varnel::sim::virtual_time
