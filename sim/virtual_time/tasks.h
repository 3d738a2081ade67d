// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/virtual_time/task.h"

namespace varnel::sim::virtual_time {

/// All threads of the programs that this process supervises: of its descendants.
class tasks {
  public:
    /// `server` works for the programs: as long as it has not been found waiting, one of them may wait for it.
    explicit tasks(pid_t server);

    /// One of them has made a system call, perhaps its first.
    void note_caller(pid_t thread) { complete_ = complete_ && files_.contains(thread); }
    /// One of them is about to start another. Without this, nobody looks for new ones.
    void note_start() { complete_ = false; }

    enum class also { nobody, server };

    /// Whether there was a moment, since this call began, at which all of them waited. What wakes a thread, a program or
    /// the server, is itself at work then, so that they all go on waiting until something comes from outside. Those
    /// `held` are known to wait: in a system call that we have not answered. `likely` is looked at first.
    [[nodiscard]] bool all_wait(const std::set<pid_t> &held, pid_t likely, also server);
    /// Whether any of them had worked between the last two times that all_wait() returned true.
    [[nodiscard]] bool worked() const { return worked_; }
    /// As all_wait() found them when it last returned true; null when there was no such thread.
    [[nodiscard]] const task *find(pid_t thread) const;
    [[nodiscard]] std::set<pid_t> processes() const;
    /// The place of a thread in the order in which they were created.
    [[nodiscard]] uint64_t rank(pid_t thread) const;
    /// The thread that was at work when all_wait() returned false: "NAME[PID]".
    [[nodiscard]] std::string who_works() const { return worker_ == 0 ? "" : name_of(worker_); }

  private:
    using observed = std::map<pid_t, task>;

    void add_held(const std::set<pid_t> &held, observed &seen) const;
    void find_all();
    [[nodiscard]] bool is_at_work(pid_t thread);
    [[nodiscard]] bool is_at_work(const task &one);
    [[nodiscard]] std::optional<observed> look(const std::set<pid_t> &held, also server);
    void number_new_ones();
    void number_next_generation(const std::vector<task> &fresh, std::map<pid_t, uint64_t> &known);

    task_files server_;
    uint64_t server_switches_ = 0; ///< at the last look
    std::map<pid_t, task_files> files_ = {};
    bool complete_ = false; ///< files_ has all of them
    observed seen_ = {};
    bool worked_ = true;
    pid_t worker_ = 0;
    std::map<pid_t, uint64_t> ranks_ = {};
    uint64_t next_rank_ = 1;
};

} // namespace varnel::sim::virtual_time
