// SPDX-License-Identifier: Apache-2.0
#include "faults/injector.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>

#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/child_process.h"

namespace varnel::test {

namespace {

constexpr long marker = 0x7661726e; // no option of prctl(2)
constexpr int stop_of_call = SIGTRAP | 0x80;
constexpr std::size_t longest_path = 256;
constexpr unsigned int longest_run = 20; // seconds

[[noreturn]] void give_up(const char *what) {
    std::perror(what);
    std::abort();
}

std::string text_at(pid_t process, uint64_t address) {
    std::array<char, longest_path> text{};
    iovec here{text.data(), text.size() - 1};
    iovec there{reinterpret_cast<void *>(address), text.size() - 1};
    process_vm_readv(process, &here, 1, &there, 1, 0); // less, where its memory ends
    return text.data();
}

/// The file that a call is about; empty for one without a file.
std::string path_of(pid_t process, const system_call &call) {
    const bool by_name = call.number == SYS_openat || call.number == SYS_newfstatat;
    const std::string name = by_name ? text_at(process, call.arguments[1]) : "";
    if (!name.empty() || !(by_name || has_descriptor(call.number))) {
        return name;
    }
    const auto descriptor = static_cast<int>(call.arguments[0]);
    const std::string link = "/proc/" + std::to_string(process) + "/fd/" + std::to_string(descriptor);
    std::error_code none;
    return std::filesystem::read_symlink(link, none).string();
}

/// The registers of a thread that stands before or behind a system call.
class stopped_call {
  public:
    explicit stopped_call(pid_t thread) : thread_(thread) {
        ptrace(PTRACE_GETREGS, thread_, nullptr, &registers_);
    }

    void skip() { set(registers_.orig_rax, ~0ULL); }
    void set_first_argument(uint64_t value) { set(registers_.rdi, value); }
    void set_size(uint64_t bytes) { set(registers_.rdx, bytes); }
    void set_result(int64_t result) { set(registers_.rax, static_cast<uint64_t>(result)); }

  private:
    void set(unsigned long long &value, uint64_t to) {
        value = to;
        ptrace(PTRACE_SETREGS, thread_, nullptr, &registers_);
    }

    pid_t thread_;
    user_regs_struct registers_{};
};

class tracer {
  public:
    tracer(pid_t process, const fault *planned, const std::function<void()> &after_call)
        : process_(process), planned_(planned), after_call_(after_call) {}

    /// Until the process has ended; it is the leader of its process group.
    traced run() {
        int status = 0;
        for (;;) {
            const pid_t thread = waitpid(-process_, &status, __WALL);
            if (thread < 0 && errno != EINTR) {
                give_up("waitpid");
            }
            if (thread == process_ && !WIFSTOPPED(status)) {
                end_group();
                result_.status = status;
                return std::move(result_);
            }
            if (thread > 0 && WIFSTOPPED(status)) {
                handle(thread, status);
            }
        }
    }

  private:
    /// What is to be done when a thread's call returns.
    struct pending {
        bool recorded = false;
        std::size_t index = 0;
        std::optional<int64_t> result;
    };

    void handle(pid_t thread, int status) {
        const int signal = WSTOPSIG(status);
        if (signal == stop_of_call) {
            handle_call(thread);
            return;
        }
        const bool is_new = !seen_[thread];
        if (seen_.size() == 1) {
            ptrace(PTRACE_SETOPTIONS, thread, nullptr,
                   PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
        }
        seen_[thread] = true;
        const bool is_event = status >> 16 != 0;
        go_on(thread, is_new || is_event ? 0 : signal);
    }

    static void go_on(pid_t thread, int signal) { ptrace(PTRACE_SYSCALL, thread, nullptr, signal); }

    void handle_call(pid_t thread) {
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            const auto number = static_cast<long>(info.entry.nr);
            if (number == SYS_prctl && info.entry.args[0] == marker) {
                ptrace(PTRACE_DETACH, thread, nullptr, 0);
                return;
            }
            enter(thread, number, info.entry.args);
        } else {
            leave(thread, info.exit.rval);
        }
        go_on(thread, 0);
    }

    void enter(pid_t thread, long number, const auto &arguments) {
        pending_[thread] = {};
        if (number == SYS_clock_nanosleep) {
            stopped_call(thread).skip();
            pending_[thread].result = 0;
        } else if (!name_of(number).empty()) {
            system_call call{number, {}, {}, 0};
            std::copy_n(arguments, call.arguments.size(), call.arguments.begin());
            call.path = path_of(thread, call);
            pending_[thread] = {true, result_.calls.size(), std::nullopt};
            if (planned_ != nullptr && planned_->call == result_.calls.size()) {
                disturb(thread, number);
            }
            result_.calls.push_back(std::move(call));
        }
    }

    void disturb(pid_t thread, long number) {
        stopped_call call(thread);
        if (!planned_->how) {
            call.skip();
            kill(-process_, SIGKILL);
            return;
        }
        pending &then = pending_[thread];
        switch (planned_->how->what) {
        case effect::shape::error:
            if (number == SYS_brk) {
                call.set_first_argument(0); // it changes nothing and returns where the memory ends
                return;
            }
            call.skip();
            then.result = -planned_->how->number;
            break;
        case effect::shape::error_afterwards:
            then.result = -planned_->how->number;
            break;
        case effect::shape::short_count:
            call.set_size(static_cast<uint64_t>(planned_->usual.result / 2));
            break;
        case effect::shape::end:
            call.skip();
            then.result = 0;
            break;
        }
    }

    void leave(pid_t thread, int64_t result) {
        const pending &then = pending_[thread];
        if (then.result) {
            result = *then.result;
            stopped_call(thread).set_result(result);
        }
        if (then.recorded) {
            result_.calls[then.index].result = result;
            if (after_call_) {
                after_call_();
            }
        }
    }

    /// Shells that the process started may outlive it; they are children of this process then.
    void end_group() const {
        kill(-process_, SIGKILL);
        while (waitpid(-process_, nullptr, __WALL) > 0 || errno == EINTR) {
        }
    }

    pid_t process_;
    const fault *planned_;
    const std::function<void()> &after_call_;
    std::map<pid_t, bool> seen_;
    std::map<pid_t, pending> pending_;
    traced result_;
};

} // namespace

bool can_trace() {
    return child_process([] { return ptrace(PTRACE_TRACEME) == 0 ? 0 : 1; }).exits_with(0);
}

void start_of_calls() {
    alarm(longest_run);
    if (ptrace(PTRACE_TRACEME) != 0) {
        give_up("ptrace");
    }
    raise(SIGSTOP);
}

void end_of_calls() {
    syscall(SYS_prctl, marker);
    alarm(0);
}

traced trace(const std::function<void()> &body, const fault *planned,
             const std::function<void()> &after_call) {
    std::fflush(nullptr); // otherwise the process would write it again
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    const pid_t process = fork();
    if (process == 0) {
        setpgid(0, 0);
        body();
        _exit(0);
    }
    if (process < 0) {
        give_up("fork");
    }
    setpgid(process, process);
    return tracer(process, planned, after_call).run();
}

} // namespace varnel::test
