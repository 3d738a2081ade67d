// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <cstdio>
#include <optional>
#include <utility>

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace varnel::test {

/// A child process that runs `body` and exits with its result. The destructor kills it unless it was waited
/// for.
class child_process {
  public:
    template <class callable>
    explicit child_process(callable body) {
        std::fflush(nullptr); // otherwise the child would write it again
        id_ = fork();
        if (id_ == 0) {
            const int result = body();
            std::fflush(nullptr);
            _exit(result);
        }
    }

    /// No process.
    static child_process none() { return child_process(); }

    ~child_process() {
        if (id_ > 0) {
            kill();
            wait();
        }
    }

    child_process(child_process &&other) noexcept : id_(std::exchange(other.id_, -1)) {}
    child_process &operator=(child_process &&other) noexcept {
        std::swap(id_, other.id_);
        return *this;
    }

    [[nodiscard]] pid_t id() const { return id_; }
    void kill(int signal = SIGKILL) const { ::kill(id_, signal); }
    bool running() const { return id_ > 0; }

    /// Waits until it ends; returns the status of waitpid(2).
    int wait() {
        int status = -1;
        waitpid(std::exchange(id_, -1), &status, 0);
        return status;
    }

    /// The same without waiting; nothing while it runs.
    std::optional<int> ended() {
        int status = -1;
        if (waitpid(id_, &status, WNOHANG) != id_) {
            return std::nullopt;
        }
        id_ = -1;
        return status;
    }

    /// Waits until it ends; returns whether it exited with this result.
    bool exits_with(int result) {
        const int status = wait();
        return WIFEXITED(status) && WEXITSTATUS(status) == result;
    }

  private:
    child_process() = default;

    pid_t id_ = -1;
};

} // namespace varnel::test
