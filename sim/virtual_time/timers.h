// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <optional>

#include "sim/virtual_time/tasks.h"
#include "sim/virtual_time/timed_call.h"

namespace varnel::sim::virtual_time {

/// Something that runs while programs do something else, and expires once or again and again.
class timer {
  public:
    explicit timer(pid_t process) : process_(process) {}
    virtual ~timer() = default;

    [[nodiscard]] pid_t process() const { return process_; }
    [[nodiscard]] std::optional<nanoseconds> next() const { return next_; }
    [[nodiscard]] nanoseconds interval() const { return interval_; }
    /// What is left; 0 when it does not run.
    [[nodiscard]] nanoseconds left(nanoseconds now) const;
    /// Runs to `next`, then at an interval if that is not 0; nothing stops it.
    void set(std::optional<nanoseconds> next, nanoseconds interval);
    /// The time has come. Returns whether the timer is still of use.
    bool expire(const tasks &programs);

  protected:
    void belong_to(pid_t process) { process_ = process; }

  private:
    virtual bool notify(const tasks &programs) = 0;

    pid_t process_;
    std::optional<nanoseconds> next_ = std::nullopt;
    nanoseconds interval_{0};
};

/// The timers of programs: those of timerfd, the real-time timer of setitimer() and alarm(), and those of
/// timer_create(). They do not run in the kernel. When their time has come, the file becomes readable, or the signal is
/// sent.
class timers {
  public:
    /// Carries out a system call that creates, sets, reads or deletes a timer. Its result; nothing if it is the kernel's.
    [[nodiscard]] std::optional<int64_t> answer(const system_call &call, nanoseconds now);
    /// When the next one expires.
    [[nodiscard]] std::optional<nanoseconds> next() const;
    /// Lets the next one expire.
    void expire(const tasks &programs);

  private:
    template <class Kind, class Is>
    Kind *find(Is is) const;
    std::optional<int64_t> set_file(const system_call &call, nanoseconds now);
    std::optional<int64_t> read_file(const system_call &call, nanoseconds now) const;
    std::optional<int64_t> set_alarm(const system_call &call, nanoseconds now);
    std::optional<int64_t> set_interval_timer(const system_call &call, nanoseconds now);
    std::optional<int64_t> read_interval_timer(const system_call &call, nanoseconds now) const;
    std::optional<int64_t> create(const system_call &call);
    std::optional<int64_t> use_created(const system_call &call, nanoseconds now);
    [[nodiscard]] std::list<std::unique_ptr<timer>>::const_iterator earliest() const;

    std::list<std::unique_ptr<timer>> all_ = {};
    int next_id_ = 0x40000000; ///< not one of the kernel's
};

} // namespace varnel::sim::virtual_time
