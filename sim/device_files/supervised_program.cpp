// SPDX-License-Identifier: Apache-2.0
#include "sim/device_files/supervised_program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/standard_streams.h"
#include "sim/device_files/filter.h"
#include "sim/virtual_time/turn.h"

namespace varnel::sim::device_files {

namespace {

[[noreturn]] void fail(const char *what) { throw std::system_error(errno, std::generic_category(), what); }

/// A packet of one byte, with a descriptor or without.
struct packet {
    char byte = 0;
    iovec content{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};

    msghdr header() {
        msghdr message{};
        message.msg_iov = &content;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        return message;
    }
};

/// By sendmmsg(2): a supervisor may be asked about sendmsg(2), and there is none yet.
void send_descriptor(int socket, int sent) {
    packet out;
    mmsghdr message{out.header(), 0};
    cmsghdr *const part = CMSG_FIRSTHDR(&message.msg_hdr);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof sent);
    std::memcpy(CMSG_DATA(part), &sent, sizeof sent);
    if (sendmmsg(socket, &message, 1, 0) < 0) {
        fail("sendmmsg");
    }
}

/// Not open when the sender has left without one.
descriptor receive_descriptor(int socket) {
    packet in;
    msghdr message = in.header();
    const ssize_t size = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    const cmsghdr *const part = size > 0 ? CMSG_FIRSTHDR(&message) : nullptr;
    int received = -1;
    if (part != nullptr && part->cmsg_type == SCM_RIGHTS) {
        std::memcpy(&received, CMSG_DATA(part), sizeof received);
    }
    return descriptor(received);
}

/// An address that is the same in a child.
constexpr uint8_t in_every_child = 1;

/// The errno of reading a child's memory, as a supervisor has to. Some containers do not allow it.
int error_of_reading(pid_t child) {
    std::array<uint8_t, 1> byte{};
    return process_memory(child).read(reinterpret_cast<uint64_t>(&in_every_child), byte) ? 0 : errno;
}

/// The program's side: asks for supervision, and becomes the program.
[[noreturn]] void run_program(const std::vector<std::string> &words, const service &how, int to_supervisor) {
    int error = 0;
    const char *call = "process_vm_readv";
    if (read(to_supervisor, &error, sizeof error) != sizeof error) {
        _exit(1); // there is no supervisor any more
    }
    if (error == 0) {
        say_what_it_lacks(words.front());
        call = "seccomp";
        const descriptor listener(
            install_filter(how.virtual_time ? looked_at::device_files_and_time : looked_at::device_files));
        error = listener.is_open() ? 0 : errno;
        if (listener.is_open()) {
            send_descriptor(to_supervisor, listener.get());
        }
    }
    close(to_supervisor);
    say_how_served(how, call, error);
    if (how.virtual_time && !are_the_boards(how, error)) {
        _exit(1); // it would not live in virtual time
    }
    host::become(words);
}

/// Says a line at the program's standard error, without keeping it open.
std::function<void(const std::string &)> line_to(pid_t program) {
    return [name = fmt::format("/proc/{}/fd/{}", program, STDERR_FILENO)](const std::string &line) {
        const descriptor error(open(name.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC));
        const std::string whole = fmt::format("varnel-sim: {}\n", line);
        (void)!write(error.get(), whole.data(), whole.size());
    };
}

/// Keeps nothing of the terminal, so that signals from there and the end of the program's output are the program's.
void detach() {
    setsid();
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0); // daemons stay descendants
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing, standard);
    }
    close(nothing);
}

/// The supervisor's process, after it has started the program.
class supervision {
  public:
    supervision(pid_t program, descriptor status, int signals)
        : program_(program), status_(std::move(status)), signals_(signals) {}

    void run(std::optional<supervisor> &supervised) {
        while (status_.is_open() || supervised) {
            std::vector<pollfd> watched{{signals_, POLLIN, 0}};
            if (supervised) {
                watched.push_back({supervised->calls(), POLLIN, 0});
                const auto files = supervised->watched();
                watched.insert(watched.end(), files.begin(), files.end());
            }
            if (wait(watched, supervised ? supervised->time() : nullptr)) {
                handle(watched, supervised);
            }
        }
    }

  private:
    /// Waits for events; when there are none, time may go on. Returns whether there are.
    static bool wait(std::vector<pollfd> &watched, virtual_time::keeper *time) {
        if (time == nullptr) {
            return poll(watched.data(), watched.size(), -1) > 0;
        }
        const timespec pause{0, static_cast<decltype(timespec::tv_nsec)>(time->pause().count())};
        const bool events = ppoll(watched.data(), watched.size(), &pause, nullptr) != 0;
        if (!events) {
            time->look_around([&] { return poll(watched.data(), watched.size(), 0) == 0; });
        }
        return events;
    }

    void handle(const std::vector<pollfd> &watched, std::optional<supervisor> &supervised) {
        if (watched[0].revents != 0) {
            handle_signal();
            report_end(supervised);
            if (!supervised) {
                return;
            }
        }
        for (std::size_t i = 2; i < watched.size(); ++i) {
            if (watched[i].revents != 0) {
                supervised->attend(watched[i]);
            }
        }
        if (watched.size() > 1 && (watched[1].revents & POLLIN) != 0) {
            supervised->answer();
        } else if (watched.size() > 1 && watched[1].revents != 0) {
            supervised.reset(); // the last program has ended
        }
    }

    void handle_signal() {
        signalfd_siginfo signal{};
        if (read(signals_, &signal, sizeof signal) == sizeof signal && signal.ssi_signo == SIGTERM) {
            kill(program_, SIGTERM);
        }
        int status = 0;
        for (pid_t ended = 0; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
            if (ended == program_) {
                program_status_ = status;
            }
        }
    }

    /// Reports the program's end, after leaving the board if no other program is left: the board may end with it.
    void report_end(std::optional<supervisor> &supervised) {
        if (program_status_ && status_.is_open()) {
            if (supervised && !supervised->has_programs()) {
                supervised.reset();
            }
            if (supervised && supervised->time() != nullptr) {
                supervised->time()->rest();
            }
            (void)!write(status_.get(), &*program_status_, sizeof *program_status_);
            status_.close();
        }
    }

    pid_t program_;
    descriptor status_;
    int signals_;
    std::optional<int> program_status_ = std::nullopt;
};

[[noreturn]] void supervise(const std::vector<std::string> &words, const service &how, descriptor status) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail("socketpair");
    }
    sigset_t handled;
    sigset_t before;
    sigemptyset(&handled);
    sigaddset(&handled, SIGCHLD);
    sigaddset(&handled, SIGTERM);
    sigprocmask(SIG_BLOCK, &handled, &before);
    std::optional<virtual_time::turn> turn;
    if (how.virtual_time) {
        turn.emplace();
        setenv(turn_variable, turn->file_name().c_str(), 1);
    }
    const pid_t program = fork();
    if (program == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        close(ends[1]);
        run_program(words, how, ends[0]);
    }
    close(ends[0]);
    const int error = error_of_reading(program);
    (void)!write(ends[1], &error, sizeof error);
    descriptor listener = receive_descriptor(ends[1]);
    close(ends[1]);
    detach();
    std::optional<supervisor> supervised;
    if (listener.is_open()) {
        supervised.emplace(call_listener(std::move(listener)), how.files, turn ? &*turn : nullptr,
                           line_to(program));
    }
    const int signals = signalfd(-1, &handled, SFD_CLOEXEC);
    supervision all(program, std::move(status), signals);
    all.run(supervised);
    _exit(0);
}

} // namespace

supervised_program::supervised_program(const std::vector<std::string> &words, const service &how)
    : supervised_program(words, how, host::make_pipe()) {}

supervised_program::supervised_program(const std::vector<std::string> &words, const service &how,
                                       host::pipe_ends status)
    : status_(std::move(status.reading)), supervisor_([&] {
          status_.close();
          try {
              supervise(words, how, std::move(status.writing));
          } catch (const std::exception &problem) {
              host::say(fmt::format("varnel-sim: {}", problem.what()));
              _exit(1);
          }
      }) {}

int supervised_program::wait() {
    int status = 0;
    if (read(status_.get(), &status, sizeof status) != sizeof status) {
        throw std::runtime_error("the supervisor of the board's device files has ended");
    }
    return host::exit_status_of(status);
}

} // namespace varnel::sim::device_files
