// SPDX-License-Identifier: Apache-2.0
#include "models/actor.h"

#include <cerrno>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace varnel::models {

namespace {

thread_local actor_link connection{-1, -1};
thread_local bool in_function = false;

// System calls without the C library's functions, which are intercepted.

void say(const std::string &text) {
    const std::string line = text + '\n';
    syscall(SYS_write, connection.reports, line.data(), line.size());
}

/// The next line; ends the process when the replay is gone.
std::string next_order() {
    std::string line;
    for (char c = 0;;) {
        const long n = syscall(SYS_read, connection.orders, &c, 1);
        if (n == 1 && c == '\n') {
            return line;
        }
        if (n == 1) {
            line += c;
        } else if (n == 0 || errno != EINTR) {
            _exit(2);
        }
    }
}

long with_error(long result) { return result == -1 ? -errno : result; }

} // namespace

bool acting() { return in_function; }

indivisible::indivisible() : before_(std::exchange(in_function, false)) {}
indivisible::~indivisible() { in_function = before_; }

std::string stop_before(std::string_view name) {
    const int error = errno;
    say("at " + std::string(name));
    std::string result = next_order();
    errno = error;
    return result;
}

void report_result(std::string_view name, long result) {
    const int error = errno;
    say(std::string(name) + " = " + std::to_string(with_error(result)));
    errno = error;
}

void act(actor_link link, const performer &perform) {
    connection = link;
    say("thread " + std::to_string(gettid()));
    for (;;) {
        const std::string function = next_order();
        if (function == "exit") {
            _exit(0);
        }
        in_function = true;
        const long result = perform(function);
        in_function = false;
        say("returns = " + std::to_string(result));
    }
}

} // namespace varnel::models
