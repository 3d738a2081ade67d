// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/keeper.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <sys/syscall.h>

#include "host/json.h"
#include "sim/virtual_time/vdso.h"

namespace varnel::sim::virtual_time {

using json = nlohmann::ordered_json;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

/// In place of the number of a request.
constexpr uint64_t look_again = 0;

/// How soon to look again while a thread works: at first, and at most.
constexpr nanoseconds shortest_pause = microseconds(100);
constexpr nanoseconds longest_pause = milliseconds(2);
/// How often to look whether something came from outside.
constexpr nanoseconds idle_pause = milliseconds(10);

/// After how much real time without a moment at which all wait the user is told.
constexpr std::chrono::seconds long_work{5};

/// So much longer each look at a clock, or use of the board, is than the one before it, after many of them.
constexpr nanoseconds look_step = microseconds(1);
constexpr nanoseconds longest_look = milliseconds(1);

/// The kernel does not wait for a shorter time: it waits up to 50 us longer than it is asked to (timer slack).
constexpr nanoseconds shortest_wait = microseconds(50);

/// Time that something takes which was done so often: none at first.
nanoseconds delay_of(unsigned int times) {
    return times <= shared_turn::free_looks
               ? nanoseconds(0)
               : std::min(longest_look, (times - shared_turn::free_looks) * look_step);
}

/// Each program makes this call soon after it is executed.
bool starts_program(int number) {
#ifdef SYS_arch_prctl
    return number == SYS_arch_prctl;
#else
    return number == SYS_set_tid_address;
#endif
}

/// What starts a thread or a process.
bool starts_thread(int number) {
    switch (number) {
#ifdef SYS_fork
    case SYS_fork:
    case SYS_vfork:
#endif
    case SYS_clone:
    case SYS_clone3:
        return true;
    default:
        return false;
    }
}

bool looks_at_clock(int number) {
    switch (number) {
    case SYS_clock_gettime:
    case SYS_gettimeofday:
#ifdef SYS_time
    case SYS_time:
#endif
    case SYS_sched_yield:
        return true;
    default:
        return false;
    }
}

bool concerns_timer(int number) {
    switch (number) {
    case SYS_timerfd_settime:
    case SYS_timerfd_gettime:
#ifdef SYS_alarm
    case SYS_alarm:
#endif
    case SYS_setitimer:
    case SYS_getitimer:
    case SYS_timer_create:
    case SYS_timer_settime:
    case SYS_timer_gettime:
    case SYS_timer_getoverrun:
    case SYS_timer_delete:
        return true;
    default:
        return false;
    }
}

/// Of these, only those come here that concern the board, and messages, some of which are for its server.
bool uses_board(int number) {
    return number == SYS_sendmsg || number == SYS_ioctl || number == SYS_read || number == SYS_write;
}

/// SplitMix64 of Steele, Lea and Flood: any two seeds give unrelated orders.
uint64_t mixed(uint64_t seed, uint64_t number) {
    uint64_t value = seed + number * 0x9E3779B97F4A7C15;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
    value = (value ^ value >> 27) * 0x94D049BB133111EB;
    return value ^ value >> 31;
}

json conversation(channel &server, const json &request) {
    server.send(request);
    const auto reply = server.receive_control();
    if (!reply) {
        throw std::runtime_error("the board's server has ended");
    }
    if (reply->contains("error")) {
        throw std::runtime_error(reply->at("error").get<std::string>());
    }
    return *reply;
}

} // namespace

struct keeper::membership {
    channel server;
    nanoseconds now;
    uint64_t seed;
    bool transfers_take_time;
    pid_t process;
};

keeper::membership keeper::join(const meeting_point &board) {
    channel server(board.connect());
    const json reply = conversation(server, {{"command", "keep-time"}, {"looks_again", true}});
    return {std::move(server), nanoseconds(reply.at("now").get<int64_t>()), reply.at("seed"),
            reply.at("transfers_take_time"), reply.at("server")};
}

keeper::keeper(const device_files::call_listener &calls, const meeting_point &board, surroundings others)
    : keeper(calls, join(board), std::move(others)) {}

keeper::keeper(const device_files::call_listener &calls, membership joined, surroundings others)
    : calls_(calls), others_(std::move(others)), turn_(others_.holder), server_(std::move(joined.server)),
      now_(joined.now), seed_(joined.seed), transfers_take_time_(joined.transfers_take_time),
      tasks_(joined.process) {}

bool keeper::takes(const system_call &call) {
    withdraw();
    worked_ = true;
    pause_ = shortest_pause;
    tasks_.note_caller(call.thread);
    if (starts_thread(call.number)) {
        tasks_.note_start();
        calls_.pass_on(call);
    } else if (starts_program(call.number)) {
        turn_.forget_looks(call.thread);
        hold_clocks(call.thread);
        calls_.pass_on(call);
    } else if (call.number == SYS_connect) {
        say_where_it_connects(call);
        calls_.pass_on(call);
    } else if (looks_at_clock(call.number)) {
        take_look(call);
    } else if (concerns_timer(call.number)) {
        take_timer(call);
    } else {
        return uses_board(call.number) ? take_turn(call) : take_wait(call);
    }
    return true;
}

void keeper::take_timer(const system_call &call) {
    learn_time();
    const auto result = lost_ ? std::nullopt : timers_.answer(call, now_);
    result ? finish(call, *result) : calls_.pass_on(call);
}

void keeper::take_look(const system_call &call) {
    learn_time();
    if (lost_ || (call.number == SYS_clock_gettime && !time_on(call.arguments[0], now_))) {
        calls_.pass_on(call);
        return;
    }
    const nanoseconds delay = delay_of(turn_.count_look(call.thread));
    if (call.number == SYS_sched_yield || delay != nanoseconds(0)) {
        hold(call, reason::clock, now_ + delay);
    } else {
        answer_look(call);
    }
}

bool keeper::take_turn(const system_call &call) {
    const nanoseconds delay = delay_of(turn_.count_look(call.thread));
    if (!lost_ && (call.thread != turn_.holder() || delay != nanoseconds(0))) {
        hold(call, reason::board, now_ + delay);
        return true;
    }
    if (call.number == SYS_sendmsg) {
        calls_.pass_on(call);
        return true;
    }
    return false;
}

bool keeper::take_wait(const system_call &call) {
    if (!is_wait(call)) {
        return false;
    }
    learn_time();
    const auto until = end_of_wait(call, now_);
    if (lost_ || !until || is_ready(call, nullptr)) {
        calls_.pass_on(call);
    } else if (*until > now_) {
        hold(call, reason::wait, std::max(*until, now_ + shortest_wait));
    } else if (const nanoseconds delay = delay_of(turn_.count_look(call.thread)); delay != nanoseconds(0)) {
        hold(call, reason::retry, now_ + delay);
    } else {
        finish(call, time_out(call));
    }
    return true;
}

void keeper::hold(const system_call &call, reason why, nanoseconds until) {
    held_.push_back({call, why, until});
    pause_ = nanoseconds(0);
}

void keeper::answer_look(const system_call &call) {
    if (call.number == SYS_sched_yield) {
        calls_.pass_on(call);
    } else {
        finish(call, read_clock(call, now_));
    }
}

void keeper::finish(const system_call &call, int64_t result) const {
    if (result < 0) {
        calls_.fail(call, static_cast<int>(-result));
    } else {
        calls_.succeed(call, result);
    }
}

/// When a held call can be let go, if all threads wait now.
nanoseconds keeper::due(const held_call &held) const {
    if (held.why == reason::clock || held.why == reason::board) {
        return held.until;
    }
    const task *const caller = tasks_.find(held.call.thread);
    const bool now = is_ready(held.call, caller) || (caller != nullptr && is_interrupted(held.call, *caller));
    return now ? now_ : held.until;
}

uint64_t keeper::order_of(pid_t thread) const {
    const uint64_t rank = tasks_.rank(thread);
    return seed_ == 0 ? rank : mixed(seed_, rank);
}

keeper::held_calls::iterator keeper::next() {
    auto best = held_.end();
    std::pair<nanoseconds, uint64_t> earliest{};
    for (auto each = held_.begin(); each != held_.end(); ++each) {
        const std::pair key(std::max(due(*each), now_), order_of(each->call.thread));
        if (best == held_.end() || key < earliest) {
            best = each;
            earliest = key;
        }
    }
    return best;
}

void keeper::forget_dead() {
    held_.remove_if([this](const held_call &held) { return !calls_.waits(held.call); });
}

void keeper::rest() {
    drives_ = false;
    asked_.reset(); // to be asked again
}

/// Waits that have begun start again, in real time.
void keeper::lose_board() {
    lost_ = true;
    for (const held_call &each : std::exchange(held_, {})) {
        each.why == reason::board ? others_.answer(each.call) : calls_.pass_on(each.call);
    }
}

/// Whether there was a moment at which all threads waited. One that is held may be killed meanwhile.
bool keeper::all_wait() {
    forget_dead();
    std::set<pid_t> held;
    for (const held_call &each : held_) {
        held.insert(each.call.thread);
    }
    return tasks_.all_wait(held, turn_.holder(), asked_ ? tasks::also::nobody : tasks::also::server) &&
           std::ranges::all_of(held_, [this](const held_call &each) { return calls_.waits(each.call); });
}

void keeper::look_around(const std::function<bool()> &is_calm) {
    if (lost_) {
        pause_ = idle_pause;
        return;
    }
    if (!all_wait()) {
        withdraw();
        say_who_works();
        pause_ = std::clamp(pause_ * 2, shortest_pause, longest_pause);
        return;
    }
    if (!is_calm()) {
        pause_ = nanoseconds(0);
        return;
    }
    turn_.end();
    worked_ = worked_ || tasks_.worked();
    works_since_ = std::chrono::steady_clock::now();
    pause_ = idle_pause;
    const auto first = next();
    std::optional<nanoseconds> until = timers_.next();
    if (first != held_.end()) {
        until = std::min(until.value_or(nanoseconds::max()), due(*first));
    }
    if (until &&
        *until <= now_) { // one more turn without a wait, perhaps of one more process of a shell's loop
        until = now_ + delay_of(turns_);
    }
    ask(until);
}

/// Asks for the turn at a time, or whenever others have moved the time.
void keeper::ask(std::optional<nanoseconds> until) {
    if (asked_ && asked_->until == until) {
        return;
    }
    asked_ = {++requests_, until};
    server_.send({{"command", "wait-until"},
                  {"number", asked_->number},
                  {"time", until ? json(until->count()) : json(nullptr)},
                  {"drives", drives_},
                  {"worked", std::exchange(worked_, false)}});
}

/// Something from outside has made a program work.
void keeper::withdraw() {
    if (asked_) {
        stop_waiting();
    }
}

void keeper::stop_waiting() {
    asked_.reset();
    server_.send({{"command", "go-on"}});
    while (!lost_ && receive() != look_again) {
    }
}

/// The thread whose turn it is may have moved the time by transfers.
void keeper::learn_time() {
    if (transfers_take_time_ && !lost_) {
        stop_waiting();
    }
}

/// Receives a message, and the time with it. Returns the number of the request that it answers; look_again also for
/// go-on.
uint64_t keeper::receive() {
    const auto message = server_.receive_control();
    if (!message) {
        lose_board();
        return look_again;
    }
    now_ = nanoseconds(message->at("now").get<int64_t>());
    return message->at("turn");
}

void keeper::hear() {
    const nanoseconds before = now_;
    const uint64_t number = receive();
    if (!asked_ || (number != asked_->number && number != look_again)) {
        return;
    }
    asked_.reset();
    pause_ = nanoseconds(0);
    if (number != look_again) {
        turns_ = now_ - before > longest_look ? 0 : turns_ + 1;
        pause_ = shortest_pause;
        worked_ = true;
        take_own_turn();
    }
}

void keeper::take_own_turn() {
    if (const auto timer = timers_.next(); timer && *timer <= now_) {
        return timers_.expire(tasks_);
    }
    const auto first = next();
    if (first != held_.end() && due(*first) <= now_) {
        let_go(first);
    }
}

void keeper::let_go(held_calls::iterator held) {
    const held_call released = *held;
    held_.erase(held);
    turn_.give(released.call.thread);
    switch (released.why) {
    case reason::clock:
        return answer_look(released.call);
    case reason::board:
        return released.call.number == SYS_sendmsg ? calls_.pass_on(released.call)
                                                   : others_.answer(released.call);
    case reason::wait:
        turn_.forget_looks(released.call.thread);
        return end_wait(released);
    case reason::retry:
        return end_wait(released);
    }
}

void keeper::end_wait(const held_call &held) {
    const task *const caller = tasks_.find(held.call.thread);
    const bool interrupted = caller != nullptr && is_interrupted(held.call, *caller);
    const auto result = interrupted ? interrupt(held.call, held.until - now_) : std::nullopt;
    if (result) {
        finish(held.call, *result);
    } else if (interrupted || is_ready(held.call, caller)) {
        calls_.pass_on(held.call); // the kernel finds the same
    } else {
        finish(held.call, time_out(held.call));
    }
}

void keeper::hold_clocks(pid_t process) const {
    if (!make_clocks_system_calls(process)) {
        others_.say(fmt::format("{} reads its clocks without a system call: it lives in real time",
                                name_of(process)));
    }
}

/// Time stands still for a program that never waits; who does not expect it has to know why.
void keeper::say_who_works() {
    const std::string who = tasks_.who_works();
    if (!said_who_works_ && !who.empty() && std::chrono::steady_clock::now() - works_since_ > long_work) {
        said_who_works_ = true;
        others_.say(fmt::format("time stands still: {} has been working for {} s without waiting", who,
                                long_work.count()));
    }
}

void keeper::say_where_it_connects(const system_call &call) const {
    if (const std::string peer = outside_peer(call); !peer.empty()) {
        others_.say(fmt::format("{} connects to {}, which does not live in the board's time",
                                name_of(call.thread), peer));
    }
}

} // namespace varnel::sim::virtual_time
