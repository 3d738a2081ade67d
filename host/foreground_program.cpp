// SPDX-License-Identifier: Apache-2.0
#include "host/foreground_program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>

#include <fmt/format.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/standard_streams.h"

namespace varnel::host {

namespace {

constexpr int cannot_execute = 126;
constexpr int not_found = 127;
constexpr int by_signal = 128;

volatile pid_t to_forward_to = 0;

void forward(int signal) {
    const int saved_errno = errno;
    if (to_forward_to > 0) {
        kill(to_forward_to, signal);
    }
    errno = saved_errno;
}

/// The C library of some systems declares pidfd_open() for C only.
int descriptor_of(pid_t process) { return static_cast<int>(syscall(SYS_pidfd_open, process, 0)); }

/// How we take signals while a program runs; restored for the program itself.
class foreground_signals {
  public:
    foreground_signals() {
        for (choice &each : choices_) {
            each.before = std::signal(each.signal, each.now);
        }
    }

    void restore() const {
        for (const choice &each : choices_) {
            std::signal(each.signal, each.before);
        }
    }

  private:
    struct choice {
        int signal;
        void (*now)(int);
        void (*before)(int) = SIG_DFL;
    };

    std::array<choice, 5> choices_{{
        {SIGINT, SIG_IGN}, // from the terminal: the program gets it as well, and decides
        {SIGQUIT, SIG_IGN},
        {SIGTERM, forward},
        {SIGPIPE, SIG_IGN}, // without a reader of the trace, the program goes on
        {SIGCHLD, SIG_DFL}, // our parent may have chosen SIG_IGN, with which wait() has no status
    }};
};

} // namespace

void become(const std::vector<std::string> &words) {
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str())); // execvp() does not write there
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    say(fmt::format("{}: {}: {}", program_invocation_short_name, words[0], std::strerror(error)));
    _exit(error == ENOENT ? not_found : cannot_execute);
}

int exit_status_of(int wait_status) {
    return WIFSIGNALED(wait_status) ? by_signal + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

foreground_program::foreground_program(const std::vector<std::string> &words)
    : foreground_program([&words] { become(words); }) {}

foreground_program::foreground_program(const std::function<void()> &body) {
    const foreground_signals signals;
    sigset_t termination;
    sigset_t before;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    sigprocmask(SIG_BLOCK, &termination, &before);
    std::fflush(nullptr);
    process_ = fork();
    if (process_ == 0) {
        signals.restore();
        sigprocmask(SIG_SETMASK, &before, nullptr);
        body();
    }
    to_forward_to = process_;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (process_ < 0 || (ending_ = descriptor_of(process_)) < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
}

foreground_program::~foreground_program() { close(ending_); }

int foreground_program::wait() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    to_forward_to = 0;
    return exit_status_of(status);
}

} // namespace varnel::host
