// SPDX-License-Identifier: Apache-2.0
#include "sim/virtual_time/timed_call.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <vector>

#include <arpa/inet.h>
#include <linux/futex.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim/board/virtual_clock.h"
#include "sim/device_files/calling_process.h"
#include "sim/virtual_time/caller_data.h"

namespace varnel::sim::virtual_time {

using device_files::process_memory;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

/// More descriptors than that are not waited for.
constexpr uint64_t most_descriptors = 65536;

std::size_t at_most(uint64_t most, uint64_t number) {
    return static_cast<std::size_t>(std::min(most, number));
}

/// A struct timespec (`unit` 1 ns) or timeval (1 us) of the caller; nothing for null, or for what the kernel refuses.
std::optional<nanoseconds> time_at(const system_call &call, std::size_t argument, nanoseconds unit) {
    const auto time = read<timespec>(call, argument);
    return time ? time_of(time->tv_sec, time->tv_nsec, unit) : std::nullopt;
}

struct wait_limit {
    std::size_t argument;
    enum { timespec, timeval, number_of_milliseconds } form = timespec;
    bool absolute = false;
    uint64_t clock = CLOCK_MONOTONIC;
};

constexpr uint64_t futex_commands = 0x7F;

/// Where a system call says how long it waits.
std::optional<wait_limit> limit_of(const system_call &call) {
    const auto &arguments = call.arguments;
    switch (call.number) {
    case SYS_nanosleep:
        return wait_limit{0};
    case SYS_clock_nanosleep:
        return wait_limit{2, wait_limit::timespec, (arguments[1] & TIMER_ABSTIME) != 0, arguments[0]};
#ifdef SYS_poll
    case SYS_poll:
        return wait_limit{2, wait_limit::number_of_milliseconds};
    case SYS_epoll_wait:
        return wait_limit{3, wait_limit::number_of_milliseconds};
#endif
#ifdef SYS_select
    case SYS_select:
        return wait_limit{4, wait_limit::timeval};
#endif
    case SYS_epoll_pwait:
        return wait_limit{3, wait_limit::number_of_milliseconds};
    case SYS_epoll_pwait2:
        return wait_limit{3};
    case SYS_ppoll:
    case SYS_rt_sigtimedwait:
        return wait_limit{2};
    case SYS_semtimedop:
        return wait_limit{3};
    case SYS_pselect6:
        return wait_limit{4};
    case SYS_mq_timedsend:
    case SYS_mq_timedreceive:
        return wait_limit{4, wait_limit::timespec, true, CLOCK_REALTIME};
    case SYS_futex:
        return wait_limit{3, wait_limit::timespec, (arguments[1] & futex_commands) == FUTEX_WAIT_BITSET,
                          (arguments[1] & FUTEX_CLOCK_REALTIME) != 0 ? uint64_t{CLOCK_REALTIME}
                                                                     : uint64_t{CLOCK_MONOTONIC}};
    default:
        return std::nullopt;
    }
}

std::optional<nanoseconds> length_of(const system_call &call, const wait_limit &limit) {
    if (limit.form == wait_limit::number_of_milliseconds) {
        const auto number = static_cast<int32_t>(call.arguments[limit.argument]);
        return number < 0 ? std::nullopt : std::optional<nanoseconds>(milliseconds(number));
    }
    return time_at(call, limit.argument,
                   limit.form == wait_limit::timeval ? microseconds(1) : nanoseconds(1));
}

/// Descriptors of a process and what it waits for at each; copies of them exist only while they are looked at.
class watched_files {
  public:
    explicit watched_files(pid_t thread)
        : process_(static_cast<int>(syscall(SYS_pidfd_open, device_files::process_of(thread), 0))) {}

    void add(int number, short events) {
        host::descriptor copy(static_cast<int>(syscall(SYS_pidfd_getfd, process_.get(), number, 0)));
        bad_ = bad_ || !copy.is_open();
        polled_.push_back({copy.get(), events, 0});
        copies_.push_back(std::move(copy));
    }
    /// A descriptor that is not open is ready: the kernel says so.
    [[nodiscard]] bool any_ready() { return bad_ || ::poll(polled_.data(), polled_.size(), 0) != 0; }

  private:
    host::descriptor process_;
    std::vector<host::descriptor> copies_ = {};
    std::vector<pollfd> polled_ = {};
    bool bad_ = false;
};

std::vector<pollfd> polled_by(const system_call &call) {
    std::vector<pollfd> files(at_most(most_descriptors, call.arguments[1]));
    if (!process_memory(call.thread).read(call.arguments[0], bytes_of(files))) {
        files.clear();
    }
    return files;
}

bool poll_is_ready(const system_call &call) {
    watched_files files(call.thread);
    for (const pollfd &each : polled_by(call)) {
        if (each.fd >= 0) {
            files.add(each.fd, each.events);
        }
    }
    return files.any_ready();
}

constexpr std::size_t bits_of_word = 64;

/// A set of select(2), as the kernel has it: words of 64 bits, up to the highest descriptor. Empty for a null pointer.
std::vector<uint64_t> set_of(const system_call &call, std::size_t argument) {
    const std::size_t count = at_most(most_descriptors, call.arguments[0]);
    std::vector<uint64_t> words((count + bits_of_word - 1) / bits_of_word);
    if (!process_memory(call.thread).read(call.arguments[argument], bytes_of(words))) {
        words.clear();
    }
    return words;
}

bool select_is_ready(const system_call &call) {
    static constexpr std::array<short, 4> events{0, POLLIN, POLLOUT, POLLPRI};
    watched_files files(call.thread);
    for (std::size_t set = 1; set < events.size(); ++set) {
        const std::vector<uint64_t> words = set_of(call, set);
        for (std::size_t number = 0; number < words.size() * bits_of_word; ++number) {
            if ((words[number / bits_of_word] >> (number % bits_of_word) & 1U) != 0) {
                files.add(static_cast<int>(number), events[set]);
            }
        }
    }
    return files.any_ready();
}

bool file_is_ready(const system_call &call, short events) {
    watched_files files(call.thread);
    files.add(static_cast<int>(call.arguments[0]), events);
    return files.any_ready();
}

/// Who wakes a waiter has changed the word before.
bool futex_is_ready(const system_call &call) {
    const auto word = read<uint32_t>(call, 0);
    return !word || *word != static_cast<uint32_t>(call.arguments[2]);
}

bool semaphores_are_ready(const system_call &call) {
    static constexpr uint64_t most_operations = 500;
    std::vector<sembuf> operations(at_most(most_operations, call.arguments[2]));
    if (!process_memory(call.thread).read(call.arguments[1], bytes_of(operations))) {
        return true;
    }
    return std::ranges::all_of(operations, [&](const sembuf &one) {
        const int value = semctl(static_cast<int>(call.arguments[0]), one.sem_num, GETVAL);
        return value < 0 || one.sem_op > 0 || (one.sem_op == 0 ? value == 0 : value >= -one.sem_op);
    });
}

bool signal_is_ready(const system_call &call, const task *caller) {
    const auto wanted = read<uint64_t>(call, 0);
    return !wanted || (caller != nullptr && (caller->pending & *wanted) != 0);
}

/// The signals that are blocked while the call waits.
uint64_t mask_of(const system_call &call, const task &caller) {
    const auto chosen = [&](std::size_t argument) {
        return read<uint64_t>(call, argument).value_or(caller.blocked);
    };
    switch (call.number) {
    case SYS_ppoll:
        return chosen(3);
    case SYS_epoll_pwait:
    case SYS_epoll_pwait2:
        return chosen(4);
    case SYS_pselect6: { // the address of the mask is itself in memory
        system_call inner = call;
        inner.arguments[0] = read<uint64_t>(call, 5).value_or(0);
        return read<uint64_t>(inner, 0).value_or(caller.blocked);
    }
    default:
        return caller.blocked;
    }
}

int64_t clear_polled(const system_call &call) {
    std::vector<pollfd> files = polled_by(call);
    for (pollfd &each : files) {
        each.revents = 0;
    }
    return process_memory(call.thread).write(call.arguments[0], bytes_of(files)) ? 0 : -EFAULT;
}

int64_t clear_sets(const system_call &call) {
    bool stored = true;
    for (std::size_t set = 1; set <= 3; ++set) {
        std::vector<uint64_t> words = set_of(call, set);
        std::ranges::fill(words, 0);
        stored = process_memory(call.thread).write(call.arguments[set], bytes_of(words)) && stored;
    }
    write(call, 4, timespec{}); // what is left of the time; it may be read-only
    return stored ? 0 : -EFAULT;
}

} // namespace

std::optional<nanoseconds> time_on(uint64_t clock, nanoseconds now) {
    switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_REALTIME_ALARM:
    case CLOCK_TAI:
        return virtual_epoch + now;
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_BOOTTIME:
    case CLOCK_BOOTTIME_ALARM:
        return virtual_uptime + now;
    default:
        return std::nullopt;
    }
}

int64_t read_clock(const system_call &call, nanoseconds now) {
    const timespec time =
        timespec_of(*time_on(call.number == SYS_clock_gettime ? call.arguments[0] : CLOCK_REALTIME, now));
    switch (call.number) {
    case SYS_clock_gettime:
        return write(call, 1, time) ? 0 : -EFAULT;
#ifdef SYS_time
    case SYS_time:
        return call.arguments[0] == 0 || write(call, 0, time.tv_sec) ? time.tv_sec : -EFAULT;
#endif
    default:
        return call.arguments[0] == 0 || write(call, 0, timeval{time.tv_sec, time.tv_nsec / 1000}) ? 0
                                                                                                   : -EFAULT;
    }
}

bool is_wait(const system_call &call) { return limit_of(call).has_value(); }

std::optional<nanoseconds> end_of_wait(const system_call &call, nanoseconds now) {
    const auto limit = limit_of(call);
    const auto length = limit ? length_of(call, *limit) : std::nullopt;
    const auto clock = limit ? time_on(limit->clock, nanoseconds(0)) : std::nullopt;
    if (!length || !clock) {
        return std::nullopt;
    }
    return limit->absolute ? *length - *clock : now + *length;
}

bool is_ready(const system_call &call, const task *caller) {
    switch (call.number) {
#ifdef SYS_poll
    case SYS_poll:
        return poll_is_ready(call);
    case SYS_epoll_wait:
        return file_is_ready(call, POLLIN);
#endif
#ifdef SYS_select
    case SYS_select:
        return select_is_ready(call);
#endif
    case SYS_ppoll:
        return poll_is_ready(call);
    case SYS_pselect6:
        return select_is_ready(call);
    case SYS_epoll_pwait:
    case SYS_epoll_pwait2:
    case SYS_mq_timedreceive:
        return file_is_ready(call, POLLIN);
    case SYS_mq_timedsend:
        return file_is_ready(call, POLLOUT);
    case SYS_futex:
        return futex_is_ready(call);
    case SYS_semtimedop:
        return semaphores_are_ready(call);
    case SYS_rt_sigtimedwait:
        return signal_is_ready(call, caller);
    default:
        return false;
    }
}

bool is_interrupted(const system_call &call, const task &caller) {
    return caller.has_signal(mask_of(call, caller));
}

int64_t time_out(const system_call &call) {
    switch (call.number) {
#ifdef SYS_poll
    case SYS_poll:
        return clear_polled(call);
#endif
#ifdef SYS_select
    case SYS_select:
        return clear_sets(call);
#endif
    case SYS_ppoll:
        return clear_polled(call);
    case SYS_pselect6:
        return clear_sets(call);
    case SYS_futex:
    case SYS_mq_timedsend:
    case SYS_mq_timedreceive:
        return -ETIMEDOUT;
    case SYS_semtimedop:
    case SYS_rt_sigtimedwait:
        return -EAGAIN;
    default:
        return 0;
    }
}

std::optional<int64_t> interrupt(const system_call &call, nanoseconds left) {
    const bool is_nanosleep = call.number == SYS_nanosleep;
    if (!is_nanosleep && call.number != SYS_clock_nanosleep && call.number != SYS_futex) {
        return std::nullopt;
    }
    const bool is_relative =
        is_nanosleep || (call.number == SYS_clock_nanosleep && (call.arguments[1] & TIMER_ABSTIME) == 0);
    const std::size_t remainder = is_nanosleep ? 1 : 3;
    if (is_relative && call.arguments[remainder] != 0) {
        write(call, remainder, timespec_of(std::max(left, nanoseconds(0))));
    }
    return -EINTR;
}

std::string outside_peer(const system_call &call) {
    sockaddr_in6 address{}; // the longer one
    const auto size = at_most(sizeof address, call.arguments[2]);
    const process_memory memory(call.thread);
    if (!memory.read(call.arguments[1], bytes_of(address).first(size))) {
        return {};
    }
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.sin6_family == AF_INET6 && !IN6_IS_ADDR_LOOPBACK(&address.sin6_addr)) {
        return inet_ntop(AF_INET6, &address.sin6_addr, text.data(), text.size());
    }
    sockaddr_in version_4{};
    std::memcpy(&version_4, &address, sizeof version_4);
    static constexpr uint32_t loopback_network = 127;
    return version_4.sin_family == AF_INET && ntohl(version_4.sin_addr.s_addr) >> 24 != loopback_network
               ? inet_ntop(AF_INET, &version_4.sin_addr, text.data(), text.size())
               : "";
}

} // namespace varnel::sim::virtual_time
