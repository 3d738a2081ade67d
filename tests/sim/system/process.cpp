// SPDX-License-Identifier: Apache-2.0
#include "tests/sim/system/process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace varnel::test {

namespace {

struct pipe_ends {
    int read;
    int write;
};

pipe_ends make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    return {ends[0], ends[1]};
}

int milliseconds_left(std::chrono::steady_clock::time_point end) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<int64_t>(0, left.count()));
}

/// Appends what there is; returns false at the end.
bool append_some(int from, std::string &to) {
    std::array<char, 4096> chunk{};
    const ssize_t n = read(from, chunk.data(), chunk.size());
    if (n > 0) {
        to.append(chunk.data(), static_cast<std::size_t>(n));
    }
    return n > 0 || (n < 0 && errno == EINTR);
}

void wait_for(int descriptor, std::chrono::steady_clock::time_point end) {
    pollfd one{descriptor, POLLIN, 0};
    if (poll(&one, 1, milliseconds_left(end)) == 0) {
        throw std::runtime_error("the program takes too long");
    }
}

} // namespace

process::process(const std::vector<std::string> &words) {
    const pipe_ends in = make_pipe();
    const pipe_ends out = make_pipe();
    const pipe_ends err = make_pipe();
    std::vector<char *> arguments;
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.read, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.write, STDERR_FILENO);
    const int error = posix_spawnp(&id_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in.read);
    close(out.write);
    close(err.write);
    in_ = in.write;
    out_ = out.read;
    err_ = err.read;
    if (error != 0) {
        throw std::runtime_error("cannot start " + words[0]);
    }
}

process::process(process &&other) noexcept
    : out_so_far_(std::move(other.out_so_far_)), id_(std::exchange(other.id_, -1)),
      in_(std::exchange(other.in_, -1)), out_(std::exchange(other.out_, -1)),
      err_(std::exchange(other.err_, -1)) {}

process::~process() {
    if (id_ > 0) {
        try {
            finish(std::chrono::seconds(5));
        } catch (const std::exception &) {
            kill_and_forget();
        }
    }
    for (const int descriptor : {in_, out_, err_}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

void process::kill_and_forget() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
}

void process::write(const std::string &text) const {
    if (::write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("write");
    }
}

std::string process::read_line() {
    const auto end = std::chrono::steady_clock::now() + deadline;
    std::size_t length = 0;
    while ((length = out_so_far_.find('\n')) == std::string::npos) {
        wait_for(out_, end);
        if (!append_some(out_, out_so_far_)) {
            return std::exchange(out_so_far_, "");
        }
    }
    const std::string line = out_so_far_.substr(0, length);
    out_so_far_.erase(0, length + 1);
    return line;
}

void process::send(int signal) const { kill(id_, signal); }

finished process::finish(std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    close(std::exchange(in_, -1));
    finished result{0, std::move(out_so_far_), ""};
    std::array<pollfd, 2> open{{{out_, POLLIN, 0}, {err_, POLLIN, 0}}};
    while (open[0].fd >= 0 || open[1].fd >= 0) {
        if (poll(open.data(), open.size(), milliseconds_left(end)) == 0) {
            throw std::runtime_error("the program takes too long");
        }
        for (pollfd &one : open) {
            if (one.revents != 0 && !append_some(one.fd, one.fd == out_ ? result.out : result.err)) {
                one.fd = -1;
            }
        }
    }
    int status = 0;
    waitpid(std::exchange(id_, -1), &status, 0);
    result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

finished run(const std::vector<std::string> &words) { return process(words).finish(); }

} // namespace varnel::test
