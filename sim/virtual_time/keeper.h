// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <optional>

#include "sim/device_files/notification.h"
#include "sim/protocol/meeting_point.h"
#include "sim/virtual_time/tasks.h"
#include "sim/virtual_time/timed_call.h"
#include "sim/virtual_time/timers.h"
#include "sim/virtual_time/turn.h"

namespace varnel::sim::virtual_time {

/// Keeps the time of programs: the board's, which stands still while any of them works.
///
/// System calls that read a clock are answered at once. Those that wait for a limited time are held until all threads
/// wait; then the board's server advances the clock to the earliest limit, and one call is let go. Until all threads
/// wait again, the thread that made it is the only one which may use the board; transfers of others are held. So one
/// thread after another has its turn, in the order of their limits and of their creation.
class keeper {
  public:
    struct surroundings {
        std::function<void(const system_call &)> answer;  ///< answers a call that concerns the board
        std::function<void(const std::string &line)> say; ///< tells the user
        turn &holder;                                     ///< says which thread may use the board
    };

    /// Throws std::runtime_error when the board lives in real time.
    keeper(const device_files::call_listener &calls, const meeting_point &board, surroundings others);
    keeper(const keeper &) = delete;
    keeper &operator=(const keeper &) = delete;

    /// To be watched for messages of the board's server.
    [[nodiscard]] int get() const { return lost_ ? -1 : server_.get(); }
    void hear();

    /// Whether the call has been answered, or will be.
    [[nodiscard]] bool takes(const system_call &call);

    /// How long nothing has to happen until it is time for look_around().
    [[nodiscard]] nanoseconds pause() const { return pause_; }
    /// Moves time if all threads wait. `is_calm` says whether there is nothing left to be handled before.
    void look_around(const std::function<bool()> &is_calm);
    /// The program in the foreground has ended: time goes on only if other programs need it to.
    void rest();

  private:
    enum class reason {
        clock, ///< a look at a clock, one of many
        board, ///< the use of the board
        wait,
        retry, ///< a wait of no length, one of many
    };
    struct held_call {
        system_call call;
        reason why;
        nanoseconds until;
    };
    using held_calls = std::list<held_call>;

    struct membership;
    keeper(const device_files::call_listener &calls, membership joined, surroundings others);
    static membership join(const meeting_point &board);

    void take_timer(const system_call &call);
    void take_look(const system_call &call);
    bool take_turn(const system_call &call);
    bool take_wait(const system_call &call);
    void lose_board();
    void answer_look(const system_call &call);
    void hold(const system_call &call, reason why, nanoseconds until);

    [[nodiscard]] nanoseconds due(const held_call &held) const;
    [[nodiscard]] held_calls::iterator next();
    [[nodiscard]] uint64_t order_of(pid_t thread) const;
    void ask(std::optional<nanoseconds> until);
    void withdraw();
    void stop_waiting();
    void learn_time();
    uint64_t receive();
    void take_own_turn();
    void let_go(held_calls::iterator held);
    void end_wait(const held_call &held);
    void finish(const system_call &call, int64_t result) const;
    void forget_dead();
    [[nodiscard]] bool all_wait();
    void hold_clocks(pid_t process) const;
    void say_who_works();
    void say_where_it_connects(const system_call &call) const;

    const device_files::call_listener &calls_;
    surroundings others_;
    turn &turn_;
    channel server_;
    nanoseconds now_;
    uint64_t seed_;
    bool transfers_take_time_;
    tasks tasks_;
    timers timers_ = {};
    held_calls held_ = {};
    unsigned int turns_ = 0; ///< that were given while time hardly moved
    bool drives_ = true;
    bool lost_ = false; ///< the server has ended: programs live in real time
    struct request {
        uint64_t number;
        std::optional<nanoseconds> until;
    };
    std::optional<request> asked_ = std::nullopt; ///< waits for its reply
    uint64_t requests_ = 0;
    bool worked_ = true; ///< some thread, since it was last asked for a turn
    nanoseconds pause_{0};
    std::chrono::steady_clock::time_point works_since_ =
        std::chrono::steady_clock::now(); ///< some thread, in real time
    bool said_who_works_ = false;
};

} // namespace varnel::sim::virtual_time
