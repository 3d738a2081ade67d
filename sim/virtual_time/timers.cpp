// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/timers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <linux/kcmp.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "sim/device_files/calling_process.h"
#include "sim/virtual_time/caller_data.h"

namespace varnel::sim::virtual_time {

using device_files::process_of;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

nanoseconds timer::left(nanoseconds now) const {
    return next_ ? std::max(*next_ - now, nanoseconds(1)) : nanoseconds(0);
}

void timer::set(std::optional<nanoseconds> next, nanoseconds interval) {
    next_ = next;
    interval_ = next ? interval : nanoseconds(0);
}

bool timer::expire(const tasks &programs) {
    next_ = interval_ > nanoseconds(0) ? std::optional(*next_ + interval_) : std::nullopt;
    return notify(programs);
}

namespace {

#ifndef TFD_IOC_SET_TICKS
constexpr unsigned long set_ticks = _IOW('T', 0, uint64_t);
#else
constexpr unsigned long set_ticks = TFD_IOC_SET_TICKS;
#endif

/// A number in what /proc says of our file.
uint64_t field_of_file(int file, std::string_view label) {
    std::ifstream lines(fmt::format("/proc/self/fdinfo/{}", file));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(label)) {
            return std::strtoull(line.c_str() + label.size(), nullptr, 10);
        }
    }
    return 0;
}

/// A timerfd, which never runs itself.
class file_timer : public timer {
  public:
    file_timer(pid_t process, int number, host::descriptor copy)
        : timer(process), number_(number), copy_(std::move(copy)) {}

    [[nodiscard]] bool is(pid_t process, uint64_t number) const {
        return syscall(SYS_kcmp, getpid(), process, KCMP_FILE, copy_.get(), number) == 0;
    }
    [[nodiscard]] uint64_t clock() const { return field_of_file(copy_.get(), "clockid: "); }
    /// Stops what the kernel knows of, and forgets expirations.
    void clear() const {
        const itimerspec none{};
        timerfd_settime(copy_.get(), 0, &none, nullptr);
    }

  private:
    bool notify(const tasks &programs) override {
        const uint64_t ticks = field_of_file(copy_.get(), "ticks: ") + 1;
        if (ioctl(copy_.get(), set_ticks, &ticks) != 0) { // a kernel without it: one expiration
            const itimerspec past{{}, {0, 1}};
            timerfd_settime(copy_.get(), TFD_TIMER_ABSTIME, &past, nullptr);
        }
        return is(process(), static_cast<uint64_t>(number_)) || find_holder(programs);
    }

    /// Another process may have the file, under another number.
    bool find_holder(const tasks &programs) {
        for (const pid_t process : programs.processes()) {
            for (const int number : numbers_in(fmt::format("/proc/{}/fd", process))) {
                if (is(process, static_cast<uint64_t>(number))) {
                    belong_to(process);
                    number_ = number;
                    return true;
                }
            }
        }
        return false;
    }

    int number_;
    host::descriptor copy_;
};

/// ITIMER_REAL of a process.
class interval_timer : public timer {
  public:
    using timer::timer;

  private:
    bool notify(const tasks & /*programs*/) override { return kill(process(), SIGALRM) == 0; }
};

/// A timer of timer_create().
class created_timer : public timer {
  public:
    created_timer(pid_t process, int id, uint64_t clock, const sigevent &event)
        : timer(process), id_(id), clock_(clock), event_(event) {}

    [[nodiscard]] int id() const { return id_; }
    [[nodiscard]] uint64_t clock() const { return clock_; }
    [[nodiscard]] int overruns() const { return overruns_; }

  private:
    /// A signal that is still pending is not sent again.
    bool notify(const tasks &programs) override {
        if (event_.sigev_notify == SIGEV_NONE) {
            return true;
        }
        const pid_t thread = event_.sigev_notify == SIGEV_THREAD_ID ? event_._sigev_un._tid : process();
        const task *const receiver = programs.find(thread);
        if (receiver != nullptr && (receiver->pending >> (event_.sigev_signo - 1) & 1U) != 0) {
            ++overruns_;
            return true;
        }
        siginfo_t info{};
        info.si_signo = event_.sigev_signo;
        info.si_code = SI_TIMER;
        info.si_timerid = id_;
        info.si_overrun = std::exchange(overruns_, 0);
        info.si_value = event_.sigev_value;
        return event_.sigev_notify == SIGEV_THREAD_ID
                   ? syscall(SYS_rt_tgsigqueueinfo, process(), thread, info.si_signo, &info) == 0
                   : syscall(SYS_rt_sigqueueinfo, process(), info.si_signo, &info) == 0;
    }

    int id_;
    uint64_t clock_;
    sigevent event_;
    int overruns_ = 0;
};

/// Where the structures are among the arguments of timerfd_settime() and timer_settime().
constexpr std::size_t flags_argument = 1;
constexpr std::size_t new_argument = 2;
constexpr std::size_t old_argument = 3;
static_assert(TFD_TIMER_ABSTIME == TIMER_ABSTIME);

itimerspec state_of(const timer *one, nanoseconds now) {
    return one == nullptr ? itimerspec{}
                          : itimerspec{timespec_of(one->interval()), timespec_of(one->left(now))};
}

/// As timer_settime() does.
int64_t set(const system_call &call, timer &one, uint64_t clock, nanoseconds now) {
    const auto wanted = read<itimerspec>(call, new_argument);
    if (!wanted) {
        return -EFAULT;
    }
    const auto value = time_of(wanted->it_value.tv_sec, wanted->it_value.tv_nsec, nanoseconds(1));
    const auto interval = time_of(wanted->it_interval.tv_sec, wanted->it_interval.tv_nsec, nanoseconds(1));
    if (!value || !interval) {
        return -EINVAL;
    }
    if (call.arguments[old_argument] != 0 && !write(call, old_argument, state_of(&one, now))) {
        return -EFAULT;
    }
    const bool absolute = (call.arguments[flags_argument] & TIMER_ABSTIME) != 0;
    const nanoseconds next =
        absolute ? *value - time_on(clock, nanoseconds(0)).value_or(nanoseconds(0)) : now + *value;
    one.set(*value == nanoseconds(0) ? std::nullopt : std::optional(std::max(next, now)), *interval);
    return 0;
}

itimerval interval_state_of(const timer *one, nanoseconds now) {
    const itimerspec precise = state_of(one, now);
    return {{precise.it_interval.tv_sec, precise.it_interval.tv_nsec / 1000},
            {precise.it_value.tv_sec, (precise.it_value.tv_nsec + 999) / 1000}};
}

} // namespace

template <class Kind, class Is>
Kind *timers::find(Is is) const {
    for (const auto &each : all_) {
        if (auto *const one = dynamic_cast<Kind *>(each.get()); one != nullptr && is(*one)) {
            return one;
        }
    }
    return nullptr;
}

std::optional<int64_t> timers::set_file(const system_call &call, nanoseconds now) {
    const pid_t process = process_of(call.thread);
    const uint64_t number = call.arguments[0];
    auto *one = find<file_timer>([&](const file_timer &each) { return each.is(process, number); });
    if (one == nullptr) {
        if (device_files::object_of(process, number) != "anon_inode:[timerfd]") {
            return std::nullopt;
        }
        auto fresh = std::make_unique<file_timer>(process, static_cast<int>(number),
                                                  device_files::copy_of_descriptor(process, number));
        one = fresh.get();
        all_.push_back(std::move(fresh));
    }
    const int64_t result = set(call, *one, one->clock(), now);
    if (result == 0) {
        one->clear();
    }
    all_.remove_if([one](const auto &each) { return each.get() == one && !one->next(); });
    return result;
}

std::optional<int64_t> timers::read_file(const system_call &call, nanoseconds now) const {
    const pid_t process = process_of(call.thread);
    const auto *const one =
        find<file_timer>([&](const file_timer &each) { return each.is(process, call.arguments[0]); });
    if (one == nullptr) {
        return std::nullopt;
    }
    return write(call, 1, state_of(one, now)) ? 0 : -EFAULT;
}

std::optional<int64_t> timers::set_alarm(const system_call &call, nanoseconds now) {
    const pid_t process = process_of(call.thread);
    auto *one = find<interval_timer>([&](const timer &each) { return each.process() == process; });
    const nanoseconds left = one == nullptr ? nanoseconds(0) : one->left(now);
    if (one == nullptr) {
        all_.push_back(std::make_unique<interval_timer>(process));
        one = static_cast<interval_timer *>(all_.back().get());
    }
    const seconds wanted(static_cast<uint32_t>(call.arguments[0]));
    one->set(wanted == seconds(0) ? std::nullopt : std::optional(now + wanted), nanoseconds(0));
    const int64_t rounded = std::chrono::round<seconds>(left).count();
    return left == nanoseconds(0) ? 0 : std::max<int64_t>(rounded, 1);
}

std::optional<int64_t> timers::set_interval_timer(const system_call &call, nanoseconds now) {
    if (call.arguments[0] != ITIMER_REAL) {
        return std::nullopt;
    }
    const auto wanted = call.arguments[1] == 0 ? std::optional(itimerval{}) : read<itimerval>(call, 1);
    if (!wanted) {
        return -EFAULT;
    }
    const auto value = time_of(wanted->it_value.tv_sec, wanted->it_value.tv_usec, microseconds(1));
    const auto interval = time_of(wanted->it_interval.tv_sec, wanted->it_interval.tv_usec, microseconds(1));
    if (!value || !interval) {
        return -EINVAL;
    }
    const pid_t process = process_of(call.thread);
    auto *one = find<interval_timer>([&](const timer &each) { return each.process() == process; });
    if (call.arguments[2] != 0 && !write(call, 2, interval_state_of(one, now))) {
        return -EFAULT;
    }
    if (one == nullptr) {
        all_.push_back(std::make_unique<interval_timer>(process));
        one = static_cast<interval_timer *>(all_.back().get());
    }
    one->set(*value == nanoseconds(0) ? std::nullopt : std::optional(now + *value), *interval);
    return 0;
}

std::optional<int64_t> timers::read_interval_timer(const system_call &call, nanoseconds now) const {
    if (call.arguments[0] != ITIMER_REAL) {
        return std::nullopt;
    }
    const pid_t process = process_of(call.thread);
    const auto *const one =
        find<interval_timer>([&](const timer &each) { return each.process() == process; });
    return write(call, 1, interval_state_of(one, now)) ? 0 : -EFAULT;
}

/// Timers of processor time are the kernel's.
std::optional<int64_t> timers::create(const system_call &call) {
    if (!time_on(call.arguments[0], nanoseconds(0))) {
        return std::nullopt;
    }
    const int id = next_id_++;
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    event.sigev_value.sival_int = id;
    if (call.arguments[1] != 0) {
        const auto chosen = read<sigevent>(call, 1);
        if (!chosen) {
            return -EFAULT;
        }
        event = *chosen;
    }
    if (event.sigev_notify != SIGEV_NONE && (event.sigev_signo < 1 || event.sigev_signo > SIGRTMAX)) {
        return -EINVAL;
    }
    all_.push_back(std::make_unique<created_timer>(process_of(call.thread), id, call.arguments[0], event));
    return write(call, 2, id) ? 0 : -EFAULT;
}

std::optional<int64_t> timers::use_created(const system_call &call, nanoseconds now) {
    const pid_t process = process_of(call.thread);
    auto *const one = find<created_timer>([&](const created_timer &each) {
        return each.process() == process && each.id() == static_cast<int>(call.arguments[0]);
    });
    if (one == nullptr) {
        return std::nullopt;
    }
    switch (call.number) {
    case SYS_timer_settime:
        return set(call, *one, one->clock(), now);
    case SYS_timer_gettime:
        return write(call, 1, state_of(one, now)) ? 0 : -EFAULT;
    case SYS_timer_getoverrun:
        return one->overruns();
    default:
        all_.remove_if([one](const auto &each) { return each.get() == one; });
        return 0;
    }
}

std::optional<int64_t> timers::answer(const system_call &call, nanoseconds now) {
    switch (call.number) {
    case SYS_timerfd_settime:
        return set_file(call, now);
    case SYS_timerfd_gettime:
        return read_file(call, now);
#ifdef SYS_alarm
    case SYS_alarm:
        return set_alarm(call, now);
#endif
    case SYS_setitimer:
        return set_interval_timer(call, now);
    case SYS_getitimer:
        return read_interval_timer(call, now);
    case SYS_timer_create:
        return create(call);
    default:
        return use_created(call, now);
    }
}

std::list<std::unique_ptr<timer>>::const_iterator timers::earliest() const {
    auto first = all_.end();
    for (auto each = all_.begin(); each != all_.end(); ++each) {
        if ((*each)->next() && (first == all_.end() || (*each)->next() < (*first)->next())) {
            first = each;
        }
    }
    return first;
}

std::optional<nanoseconds> timers::next() const {
    const auto first = earliest();
    return first == all_.end() ? std::nullopt : (*first)->next();
}

void timers::expire(const tasks &programs) {
    const auto first = earliest();
    if (first != all_.end() && !(*first)->expire(programs)) {
        all_.erase(first);
    }
}

} // namespace varnel::sim::virtual_time
