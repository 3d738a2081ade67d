// SPDX-License-Identifier: Apache-2.0
#include "base/system_log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <sys/single_threaded.h>
#endif

namespace varnel::platform {

namespace {

/// State of the locks of the C library that vsyslog() takes: its own and that of the time zone.
enum class lock_state { free, unknown, taken_for_ever };

std::atomic<lock_state> locks = lock_state::free;
bool forked_among_threads = false;

/// Only glibc says whether there are any; elsewhere there may be.
void look_for_threads() {
#ifdef __GLIBC__
    forked_among_threads = __libc_single_threaded == 0;
#else
    forked_among_threads = true;
#endif
}

void doubt_locks_in_child() {
    if (forked_among_threads && locks == lock_state::free) {
        locks = lock_state::unknown;
    }
}

[[gnu::constructor]] void watch_fork() { pthread_atfork(look_for_threads, nullptr, doubt_locks_in_child); }

/// For a copy of this process: returns only if the locks are free.
void take_and_release_locks() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setlogmask(0);
    const time_t now = 0;
    tm local{};
    localtime_r(&now, &local);
}

bool ends_in_time(pid_t process) {
    constexpr timespec pause{0, 1'000'000};
    constexpr int pauses = 1000;
    for (int i = 0; i < pauses; ++i) {
        if (waitpid(process, nullptr, WNOHANG | __WALL) != 0) {
            return true;
        }
        nanosleep(&pause, nullptr);
    }
    kill(process, SIGKILL);
    waitpid(process, nullptr, __WALL);
    return false;
}

/// Tries the locks in a copy of this process, whose end raises no SIGCHLD; waits one second for it.
lock_state tried() {
    const long copy = syscall(SYS_clone, 0, nullptr, nullptr, nullptr, nullptr);
    if (copy == 0) {
        take_and_release_locks();
        _exit(0);
    }
    return copy > 0 && ends_in_time(static_cast<pid_t>(copy)) ? lock_state::free : lock_state::taken_for_ever;
}

bool locks_are_free() {
    if (locks == lock_state::unknown) {
        locks = tried();
    }
    return locks == lock_state::free;
}

bool send_to_log(int type, const char *text, std::size_t size) {
    const sockaddr_un log{AF_UNIX, "/dev/log"};
    const int to_log = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    const bool sent = connect(to_log, reinterpret_cast<const sockaddr *>(&log), sizeof log) == 0 &&
                      send(to_log, text, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    close(to_log);
    return sent;
}

/// Lines that are too long are truncated.
void send_line(int priority, const char *format, va_list arguments) {
    std::array<char, 8192> line;
    const int error = errno;
    const auto begun = static_cast<std::size_t>(std::snprintf(
        line.data(), line.size(), "<%d>%.256s: ", LOG_USER | priority, program_invocation_short_name));
    errno = error; // for %m
    const int length = std::vsnprintf(line.data() + begun, line.size() - begun, format, arguments);
    const std::size_t size = std::min(begun + static_cast<std::size_t>(std::max(length, 0)), line.size() - 1);
    // On a stream, the NUL ends the line.
    if (!send_to_log(SOCK_DGRAM, line.data(), size)) {
        send_to_log(SOCK_STREAM, line.data(), size + 1);
    }
}

} // namespace

void log_to_system(int priority, const char *format, va_list arguments) {
    const int error = errno;
    const bool free = locks_are_free();
    errno = error; // for %m
    if (free) {
        vsyslog(priority, format, arguments);
    } else {
        send_line(priority, format, arguments);
    }
}

} // namespace varnel::platform
