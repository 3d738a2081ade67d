// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/foreground_program.h"
#include "host/numbers.h"
#include "sim/scenario/regular_expression.h"

namespace varnel::sim::scenario {

namespace {

/// Prints the number of the process that becomes the program, as the first line.
std::string shell_text(const std::string &command) {
    const bool simple = command.find_first_of(";|&") == std::string::npos;
    return "echo $$; " + std::string(simple ? "exec " : "") + command;
}

[[noreturn]] void become_runner(std::vector<std::string> words, const std::string &command, int output) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM); // which `run` passes on
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    words.insert(words.end(), {"sh", "-c", shell_text(command)});
    host::become(words);
}

} // namespace

program::program(const std::vector<std::string> &runner, const std::string &command) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    output_ = host::descriptor(ends[0]);
    const host::descriptor written(ends[1]);
    fcntl(ends[1], F_SETFL, 0); // the program's end waits
    runner_ = fork();
    if (runner_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (runner_ == 0) {
        become_runner(runner, command, written.get());
    }
    setpgid(runner_, runner_);
}

program::~program() {
    if (!status_) {
        kill(-runner_, SIGKILL);
        waitpid(runner_, nullptr, 0);
    }
}

void program::look() {
    int state = 0;
    if (!status_ && waitpid(runner_, &state, WNOHANG) == runner_) {
        status_ = host::exit_status_of(state);
    }
    read_output();
}

void program::read_output() {
    std::array<char, 4096> buffer{};
    for (ssize_t size = 0; (size = read(output_.get(), buffer.data(), buffer.size())) > 0;) {
        unfinished_.append(buffer.data(), static_cast<std::size_t>(size));
    }
    for (std::size_t end = 0; (end = unfinished_.find('\n')) != std::string::npos;) {
        std::string line = unfinished_.substr(0, end);
        unfinished_.erase(0, end + 1);
        if (process_ < 0) {
            process_ = host::whole_number<pid_t>(line).value_or(0);
        } else {
            lines_.push_back(std::move(line));
        }
    }
}

bool program::prints(const std::string &pattern) {
    const regular_expression wanted(pattern);
    for (std::size_t i = seen_; i < lines_.size(); ++i) {
        if (wanted.matches(lines_[i])) {
            seen_ = i + 1;
            return true;
        }
    }
    return false;
}

void program::send(int signal) {
    if (process_ > 0 && !status_) {
        kill(process_, signal);
    }
}

} // namespace varnel::sim::scenario
