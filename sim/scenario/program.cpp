// SPDX-License-Identifier: Apache-2.0
#include "sim/scenario/program.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/foreground_program.h"
#include "host/numbers.h"
#include "host/pipe_ends.h"

namespace varnel::sim::scenario {

namespace {

/// Prints the number of the process that becomes the program, as the first line.
std::string shell_text(const std::string &command) {
    const bool simple = command.find_first_of(";|&") == std::string::npos;
    return "echo $$; " + std::string(simple ? "exec " : "") + command;
}

/// The C library of some systems declares pidfd_open() for C only.
int descriptor_of(pid_t process) { return static_cast<int>(syscall(SYS_pidfd_open, process, 0)); }

/// Who serves the device files of a program that is cut off needs no longer than this, unless programs that are not in
/// the program's process group go on.
constexpr int end_of_service_ms = 2000;

/// Keeps nothing of ours but the standard streams and `kept`: a connection would keep another board powered.
[[noreturn]] void become_program(const runner &become, const std::vector<std::string> &words, int input,
                                 int output, int kept) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM); // which the runner passes on
    if (input >= 0) {
        dup2(input, STDIN_FILENO);
    }
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    dup3(kept, STDERR_FILENO + 1, O_CLOEXEC);
    close_range(STDERR_FILENO + 2, UINT_MAX, 0);
    become(words);
    _exit(EXIT_FAILURE);
}

} // namespace

program::program(const runner &become, const std::vector<std::string> &words, int input)
    : prints_number_(false) {
    start(become, words, input);
}

program::program(const runner &become, const std::string &command) : prints_number_(true) {
    start(become, {"sh", "-c", shell_text(command)}, -1);
}

void program::start(const runner &become, const std::vector<std::string> &words, int input) {
    host::pipe_ends output = host::make_pipe();
    host::pipe_ends service = host::make_pipe();
    output_ = std::move(output.reading);
    service_ = std::move(service.reading);
    fcntl(output_.get(), F_SETFL, O_NONBLOCK);
    std::fflush(nullptr); // or the child would print it, too
    runner_ = fork();
    if (runner_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (runner_ == 0) {
        become_program(become, words, input, output.writing.get(), service.writing.get());
    }
    setpgid(runner_, runner_);
    ending_ = host::descriptor(descriptor_of(runner_));
}

program::~program() { cut_off(); }

void program::cut_off() {
    int state = 0;
    if (!status_) {
        kill(-runner_, SIGKILL);
        waitpid(runner_, &state, 0);
        status_ = host::exit_status_of(state);
        pollfd service{service_.get(), POLLIN, 0};
        (void)poll(&service, 1, end_of_service_ms);
    }
}

void program::add_watched(std::vector<pollfd> &watched) const {
    if (!status_) {
        watched.push_back({ending_.get(), POLLIN, 0});
        watched.push_back({output_.get(), POLLIN, 0});
    }
}

void program::look() {
    int state = 0;
    if (!status_ && waitpid(runner_, &state, WNOHANG) == runner_) {
        status_ = host::exit_status_of(state);
    }
    read_output();
}

void program::wait_for_begin() {
    for (look(); process_ < 0 && !status_; look()) {
        std::vector<pollfd> watched;
        add_watched(watched);
        (void)poll(watched.data(), watched.size(), -1);
    }
}

void program::wait_if_ended() {
    pollfd ended{process_ending_.get(), POLLIN, 0};
    int state = 0;
    if (!status_ && poll(&ended, 1, 0) > 0 && waitpid(runner_, &state, 0) == runner_) {
        status_ = host::exit_status_of(state);
    }
}

void program::read_output() {
    std::array<char, 4096> buffer{};
    ssize_t size = -1;
    while (output_.is_open() && (size = read(output_.get(), buffer.data(), buffer.size())) > 0) {
        unfinished_.append(buffer.data(), static_cast<std::size_t>(size));
    }
    if (size == 0) {
        output_.close();
    }
    for (std::size_t end = 0; (end = unfinished_.find('\n')) != std::string::npos;) {
        std::string line = unfinished_.substr(0, end);
        unfinished_.erase(0, end + 1);
        if (prints_number_ && process_ < 0) {
            process_ = host::whole_number<pid_t>(line).value_or(0);
            process_ending_ = host::descriptor(descriptor_of(process_));
        } else {
            lines_.add(std::move(line));
        }
    }
}

void program::send(int signal) {
    if (process_ > 0 && !status_) {
        kill(process_, signal);
    }
}

} // namespace varnel::sim::scenario
